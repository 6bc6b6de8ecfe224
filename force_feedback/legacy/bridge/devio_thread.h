// The process's bridge thread into the device library. One object per
// process, owned by the module state: created with the first class object,
// destroyed when the last COM object goes.
//
// The driver's threads talk to it only through Post (any thread, under the
// queue lock); every library job, continuation and event callback of the
// driver runs on its one worker thread, which also binds registered wheels
// (bridge_device_table.h) to arriving library devices.
//
// Locks: the queue lock guards the queue, the counts and the thread handle,
// and is held around every call into a feature. It is never held while the
// table lock is taken.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "devio/core/runloop_executor.h"
#include "devio/manager/devio_manager.h"
#include "devio/manager/feature_807a_rpm_indicator.h"
#include "platform/thread.h"

class BridgeDeviceEntry;

enum BridgeCommandCode : std::uint32_t {
    kRunLibraryJob = 0,
    kAttachDevice = 1,
    kDeviceGone = 2,
    kSendFloatTriple = 3,
    kSendFeatureCommand = 4,
};

// Payload of kSendFeatureCommand, allocated with new by the poster.
struct BridgeFeatureCommand {
    std::uint8_t command = 0;
    std::uint8_t count = 0;  // only the first count values are passed
    std::vector<std::uint32_t> values;
};

struct BridgeCommand {
    std::uint32_t code = 0;
    std::uint32_t argument = 0;  // slot, or job number for kRunLibraryJob
    void* payload = nullptr;     // float[3] (new[]) or BridgeFeatureCommand (new)
};

class DevioThread : public devio::Subscriber<devio::IDeviceManager::ArrivalRemoval> {
public:
    // Over the process's device manager.
    DevioThread();
    // Over another manager (tests use one over virtual devices).
    explicit DevioThread(std::shared_ptr<devio::CDevio> manager);
    // Closes the run loop, stops the thread (waiting at most kStopWaitMs),
    // then frees the rest.
    ~DevioThread() override;

    // Creates the thread when none runs. Safe from any thread.
    bool Start();
    // True while a thread handle is held.
    bool IsRunning();
    // Signals the stop event and waits at most kStopWaitMs; the handle is
    // forgotten either way. Nothing when no thread runs.
    void Stop();
    // Queues a command, merging it with a queued one where the rules allow.
    // The queue owns the payload from here on.
    void Post(std::uint32_t code, std::uint32_t argument, void* payload);
    // Sets events[index] (0 work, 1 stop); other indices do nothing.
    void SignalEvent(std::uint32_t index);

    // The worker's thread ID; all bits set before the first start.
    std::uint32_t ThreadId();
    std::uint32_t PostedCount();
    std::uint32_t TakenCount();
    std::size_t QueuedCount();
    // The executor whose jobs run on the bridge thread.
    devio::executor LibraryExecutor() const { return m_runloop.get_executor(); }

    void onDeviceArrival(const std::shared_ptr<devio::IDevice>& device) override;
    void onDeviceRemoval(const std::shared_ptr<devio::IDevice>& device) override;

    static constexpr std::uint32_t kStopWaitMs = 1000;
    // The device manager's configuration: the software ID of the driver's
    // requests and the option to enumerate at once.
    static constexpr std::uint32_t kManagerSoftwareId = 6;
    static constexpr std::uint32_t kManagerOptions = 1;
    static constexpr std::size_t kWorkEvent = 0;
    static constexpr std::size_t kStopEvent = 1;

private:
    void Run();
    void DrainQueue();
    void Handle(const BridgeCommand& command);
    void RunLibraryJobs(std::uint32_t last);
    void AttachDevice(std::uint32_t slot);
    void Bind(const std::shared_ptr<BridgeDeviceEntry>& entry, const std::shared_ptr<devio::IDevice>& device);
    void OnFeature(const std::shared_ptr<BridgeDeviceEntry>& entry, const std::shared_ptr<devio::IDevice>& device,
                   devio::future<std::shared_ptr<devio::IFeature>> feature);
    void SendFeatureCommand(std::uint32_t slot, BridgeFeatureCommand* record);
    void SendFloatTriple(std::uint32_t slot, float* floats);
    void WriteTriple(const std::shared_ptr<devio::IFeature807ARpmIndicator>& feature, std::int32_t f0,
                     std::int32_t f1, std::int32_t f2);

    std::shared_ptr<devio::CDevio> m_manager;
    platform::Event m_events[2]{{false, false}, {false, false}};
    std::unique_ptr<platform::Thread> m_thread;
    std::uint32_t m_threadId = 0xFFFFFFFFu;
    devio::runloop_executor m_runloop;
    devio::executor m_executor;  // over the run loop; touched on the thread only
    std::uint32_t m_lastJobRun = 0;
    std::deque<BridgeCommand> m_queue;
    std::uint32_t m_posted = 0;
    std::uint32_t m_taken = 0;
    // Recursive: a feature call made under it may be answered at once, and
    // the answer's continuation posts a library job.
    std::recursive_mutex m_queueMutex;
};
