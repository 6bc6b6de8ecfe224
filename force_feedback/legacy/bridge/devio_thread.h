// The process's bridge thread into the device library. One object per
// process, owned by the module state: created with the first class object,
// destroyed when the last COM object goes.
//
// This form carries the life cycle only: a worker that waits for its stop
// event. The command queue and device binding build on it.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "platform/thread.h"

class DevioThread {
public:
    DevioThread();
    // Signals the stop event and waits up to kStopWaitMs for the thread; no
    // thread of this object runs afterwards.
    virtual ~DevioThread();
    DevioThread(const DevioThread&) = delete;
    DevioThread& operator=(const DevioThread&) = delete;

    // Creates the thread when none exists. Safe from any thread.
    bool Start();
    // True while the thread has been created and has not finished.
    bool IsRunning();

    static constexpr std::uint32_t kStopWaitMs = 1000;

private:
    struct Shared;
    std::mutex m_mutex;
    std::shared_ptr<Shared> m_shared;
    std::unique_ptr<platform::Thread> m_thread;
};
