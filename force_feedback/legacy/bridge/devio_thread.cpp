#include "force_feedback/legacy/bridge/devio_thread.h"

#include <cmath>
#include <limits>

#include "devio/core/scoped_executor.h"
#include "devio/manager/rap_functions.h"
#include "force_feedback/legacy/bridge/bridge_device_table.h"
#include "force_feedback/legacy/product_config.h"

namespace {
constexpr std::uint32_t kInfinite = 0xFFFFFFFFu;
constexpr std::uint8_t kReadinessArgument = 0;
constexpr std::uint8_t kSelectArgument = 0;
constexpr char kCannotCast[] = "cannot cast feature to proper type";

// Truncation toward zero; values beyond the 32-bit range saturate and NaN
// becomes 0, where a plain cast would be undefined.
std::int32_t TruncateToInt(float value) {
    if (std::isnan(value)) return 0;
    if (value >= 2147483648.0f) return std::numeric_limits<std::int32_t>::max();
    if (value <= -2147483648.0f) return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(value);
}

void FreePayload(const BridgeCommand& command) {
    if (command.code == kSendFloatTriple) delete[] static_cast<float*>(command.payload);
    if (command.code == kSendFeatureCommand) delete static_cast<BridgeFeatureCommand*>(command.payload);
}

// Whether a queued command absorbs a new one: one pending library job at
// all, one attach or gone per slot; triples and feature commands only with
// the very same payload.
bool Merges(const BridgeCommand& queued, const BridgeCommand& incoming) {
    if (queued.code != incoming.code) return false;
    switch (incoming.code) {
        case kRunLibraryJob: return true;
        case kAttachDevice:
        case kDeviceGone: return queued.argument == incoming.argument;
        case kSendFloatTriple:
        case kSendFeatureCommand: return queued.argument == incoming.argument && queued.payload == incoming.payload;
        default: return false;
    }
}

void TellListener(const std::shared_ptr<BridgeDeviceEntry>& entry, bool connected) {
    IBridgeConnectionListener* listener = nullptr;
    {
        std::lock_guard lock(entry->m_mutex);
        listener = entry->m_listener;
    }
    if (listener) listener->OnBridgeConnection(entry->Slot(), connected);
}

std::shared_ptr<devio::IFeature807ARpmIndicator> FeatureOfSlot(std::uint32_t slot,
                                                               std::vector<std::uint8_t>* bytes = nullptr) {
    CBridgeDeviceTable& table = BridgeDeviceTable();
    std::lock_guard tableLock(table.Lock());
    auto entry = slot <= 0xFF ? table.EntryBySlot(static_cast<std::uint8_t>(slot)) : nullptr;
    if (!entry) return nullptr;
    std::lock_guard entryLock(entry->m_mutex);
    if (bytes) *bytes = entry->m_bytes;
    return entry->m_feature;
}
}  // namespace

DevioThread::DevioThread() : DevioThread(devio::CDevio::instance(kVendorId)) {}

DevioThread::DevioThread(std::shared_ptr<devio::CDevio> manager)
    : m_manager(std::move(manager)),
      m_runloop([this](std::uint64_t number) { Post(kRunLibraryJob, static_cast<std::uint32_t>(number), nullptr); }) {}

DevioThread::~DevioThread() {
    auto loop = std::static_pointer_cast<devio::runloop_executor_impl>(m_runloop.get_executor().impl());
    loop->shutdown();
    Stop();
    // Payloads still queued are not freed: the module is going away with
    // the process (intentional, keep).
    m_queue.clear();
}

bool DevioThread::Start() {
    std::lock_guard lock(m_queueMutex);
    if (m_thread) return true;
    m_thread = platform::Thread::Start([this] { Run(); }, platform::ThreadPriority::kNormal);
    if (!m_thread) return false;
    m_threadId = m_thread->Id();
    return true;
}

bool DevioThread::IsRunning() {
    std::lock_guard lock(m_queueMutex);
    return m_thread != nullptr;
}

// The handle is taken under the queue lock, the wait happens outside it: a
// thread busy with its queue needs that lock to reach its next wait.
void DevioThread::Stop() {
    std::unique_ptr<platform::Thread> thread;
    {
        std::lock_guard lock(m_queueMutex);
        if (!m_thread) return;
        thread = std::move(m_thread);
        m_events[kStopEvent].Set();
    }
    // A thread still running after the wait is neither waited for further
    // nor terminated (intentional, keep).
    thread->Join(kStopWaitMs);
}

void DevioThread::Post(std::uint32_t code, std::uint32_t argument, void* payload) {
    const BridgeCommand incoming{code, argument, payload};
    std::lock_guard lock(m_queueMutex);
    for (BridgeCommand& queued : m_queue) {
        if (!Merges(queued, incoming)) continue;
        if (queued.payload != incoming.payload) FreePayload(queued);
        queued.argument = argument;
        queued.payload = payload;
        return;
    }
    ++m_posted;
    m_queue.push_back(incoming);
    m_events[kWorkEvent].Set();
}

void DevioThread::SignalEvent(std::uint32_t index) {
    if (index == kWorkEvent || index == kStopEvent) m_events[index].Set();
}

std::uint32_t DevioThread::ThreadId() {
    std::lock_guard lock(m_queueMutex);
    return m_threadId;
}

std::uint32_t DevioThread::PostedCount() {
    std::lock_guard lock(m_queueMutex);
    return m_posted;
}

std::uint32_t DevioThread::TakenCount() {
    std::lock_guard lock(m_queueMutex);
    return m_taken;
}

std::size_t DevioThread::QueuedCount() {
    std::lock_guard lock(m_queueMutex);
    return m_queue.size();
}

void DevioThread::Run() {
    m_manager->configure(kManagerSoftwareId, kManagerOptions);
    devio::scoped_executor executor(m_runloop.get_executor());
    m_executor = executor.get_executor();
    subscribe(m_manager->arrivalRemoval(), m_executor);
    platform::Event* events[] = {&m_events[kWorkEvent], &m_events[kStopEvent]};
    for (;;) {
        const int which = platform::WaitForAnyEvent(events, 2, kInfinite);
        if (which == static_cast<int>(kStopEvent)) break;
        if (which == static_cast<int>(kWorkEvent)) DrainQueue();
    }
    unsubscribe();
    m_executor = devio::executor();
    // The bus's threads end here, on this thread, rather than at module
    // unload, where the loader lock would keep them from ending.
    m_manager->stop_bus();
}

void DevioThread::DrainQueue() {
    for (;;) {
        BridgeCommand command;
        {
            std::lock_guard lock(m_queueMutex);
            if (m_queue.empty()) return;
            command = m_queue.front();
            m_queue.pop_front();
            ++m_taken;
        }
        Handle(command);
    }
}

void DevioThread::Handle(const BridgeCommand& command) {
    switch (command.code) {
        case kRunLibraryJob: RunLibraryJobs(command.argument); break;
        case kAttachDevice: AttachDevice(command.argument); break;
        case kDeviceGone: break;  // the entry already left the table
        case kSendFloatTriple: SendFloatTriple(command.argument, static_cast<float*>(command.payload)); break;
        case kSendFeatureCommand:
            SendFeatureCommand(command.argument, static_cast<BridgeFeatureCommand*>(command.payload));
            break;
        default: break;
    }
}

// A merged RunLibraryJob carries only the newest job number; the jobs
// numbered before it, whose commands it absorbed, run first, in order.
void DevioThread::RunLibraryJobs(std::uint32_t last) {
    while (m_lastJobRun < last) m_runloop.run_job(++m_lastJobRun);
}

void DevioThread::AttachDevice(std::uint32_t slot) {
    CBridgeDeviceTable& table = BridgeDeviceTable();
    std::lock_guard tableLock(table.Lock());
    auto entry = slot <= 0xFF ? table.EntryBySlot(static_cast<std::uint8_t>(slot)) : nullptr;
    if (!entry) return;
    {
        std::lock_guard entryLock(entry->m_mutex);
        if (entry->m_device) return;
    }
    for (const auto& device : m_manager->presentDevices()) {
        if (!entry->Matches(*device)) continue;
        Bind(entry, device);
        return;
    }
}

// Called with the table lock held. The feature and its two-byte value come
// back as library continuations on this thread; the listener hears of the
// binding once both have been asked for.
void DevioThread::Bind(const std::shared_ptr<BridgeDeviceEntry>& entry,
                       const std::shared_ptr<devio::IDevice>& device) {
    std::lock_guard entryLock(entry->m_mutex);
    if (entry->m_device) return;
    entry->m_device = device;
    try {
        device->getFeature(devio::rapfn::kFeatureRpmIndicator)
            .then(m_executor, [this, entry, device](devio::future<std::shared_ptr<devio::IFeature>> f) {
                OnFeature(entry, device, std::move(f));
            })
            .ignore();
    } catch (const std::exception&) {
        // The run loop is closing: the binding stays without a feature.
    }
}

void DevioThread::OnFeature(const std::shared_ptr<BridgeDeviceEntry>& entry,
                            const std::shared_ptr<devio::IDevice>& device,
                            devio::future<std::shared_ptr<devio::IFeature>> found) {
    auto rpm = std::dynamic_pointer_cast<devio::IFeature807ARpmIndicator>(found.get());
    if (!rpm) devio::throw_devio_exception(static_cast<std::uint32_t>(devio::errc::WrongType), kCannotCast);
    {
        std::lock_guard entryLock(entry->m_mutex);
        if (entry->m_device != device) return;  // unbound meanwhile
        entry->m_feature = rpm;
    }
    rpm->setListener(entry);
    std::lock_guard queueLock(m_queueMutex);
    rpm->getValue16()
        .then(m_executor,
              [entry, device](devio::future<std::array<std::uint8_t, 2>> value) {
                  try {
                      const auto bytes = value.get();
                      std::lock_guard entryLock(entry->m_mutex);
                      if (entry->m_device == device) {
                          entry->m_value = std::make_unique<std::uint8_t[]>(2);
                          entry->m_value[0] = bytes[0];
                          entry->m_value[1] = bytes[1];
                      }
                  } catch (const std::exception&) {
                      // No answer: the wheel reads no value until a mode change.
                  }
                  TellListener(entry, true);
              })
        .ignore();
}

void DevioThread::onDeviceArrival(const std::shared_ptr<devio::IDevice>& device) {
    CBridgeDeviceTable& table = BridgeDeviceTable();
    std::lock_guard tableLock(table.Lock());
    auto entry = table.EntryByDevice(*device);
    if (entry) Bind(entry, device);
}

// Only the entry bound to this very device lets go, so that a late removal
// never unbinds a newer device with the same container ID.
void DevioThread::onDeviceRemoval(const std::shared_ptr<devio::IDevice>& device) {
    std::shared_ptr<BridgeDeviceEntry> entry;
    {
        CBridgeDeviceTable& table = BridgeDeviceTable();
        std::lock_guard tableLock(table.Lock());
        entry = table.EntryByDevice(*device);
        if (!entry) return;
        std::lock_guard entryLock(entry->m_mutex);
        if (entry->m_device != device) return;
        entry->m_device.reset();
        entry->m_feature.reset();
    }
    TellListener(entry, false);
}

void DevioThread::SendFeatureCommand(std::uint32_t slot, BridgeFeatureCommand* record) {
    std::unique_ptr<BridgeFeatureCommand> owned(record);
    auto feature = FeatureOfSlot(slot);
    if (!feature || !owned) return;
    const std::uint8_t command = owned->command;
    const std::uint8_t count = owned->count;
    std::vector<std::uint32_t> values(owned->values.begin(),
                                      owned->values.begin() + std::min<std::size_t>(count, owned->values.size()));
    std::lock_guard queueLock(m_queueMutex);
    try {
        feature->getReadiness(kReadinessArgument, kReadinessArgument)
            .then(m_executor,
                  [this, feature, command, count, values = std::move(values)](devio::future<bool> ready) mutable {
                      if (!ready.get()) return;  // not ready: dropped, no retry
                      std::lock_guard lock(m_queueMutex);
                      feature->sendCommand(command, count, std::move(values)).ignore();
                  })
            .ignore();
    } catch (const std::exception&) {
    }
}

// The wheel takes the triple as (f1, f2, f0), not in payload order
// (intentional, keep).
void DevioThread::WriteTriple(const std::shared_ptr<devio::IFeature807ARpmIndicator>& feature, std::int32_t f0,
                              std::int32_t f1, std::int32_t f2) {
    std::lock_guard lock(m_queueMutex);
    feature->setTriple(f1, f2, f0).ignore();
}

void DevioThread::SendFloatTriple(std::uint32_t slot, float* floats) {
    std::unique_ptr<float[]> owned(floats);
    std::vector<std::uint8_t> bytes;
    auto feature = FeatureOfSlot(slot, &bytes);
    if (!feature || !owned) return;
    const std::int32_t f0 = TruncateToInt(owned[0]), f1 = TruncateToInt(owned[1]), f2 = TruncateToInt(owned[2]);
    std::uint8_t selection = 0;
    for (std::uint8_t b : bytes)
        if (b != 0 && selection == 0) selection = b;
    std::lock_guard queueLock(m_queueMutex);
    try {
        feature->getStateFlag()
            .then(m_executor,
                  [this, feature, selection, f0, f1, f2](devio::future<std::uint8_t> flag) {
                      if (flag.get() != 0 || selection == 0) return WriteTriple(feature, f0, f1, f2);
                      std::lock_guard lock(m_queueMutex);
                      feature->select(selection, kSelectArgument)
                          .then(m_executor,
                                [this, feature, f0, f1, f2](devio::future<void> selected) {
                                    selected.get();  // a failed selection ends here
                                    WriteTriple(feature, f0, f1, f2);
                                })
                          .ignore();
                  })
            .ignore();
    } catch (const std::exception&) {
    }
}
