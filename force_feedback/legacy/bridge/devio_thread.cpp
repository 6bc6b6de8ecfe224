#include "force_feedback/legacy/bridge/devio_thread.h"

// The worker holds its own reference to the state it touches, so a thread
// that overruns the stop wait never reads a destroyed object.
struct DevioThread::Shared {
    platform::Event stop{true, false};
    std::atomic<bool> finished{false};
};

DevioThread::DevioThread() : m_shared(std::make_shared<Shared>()) {}

DevioThread::~DevioThread() {
    std::lock_guard lock(m_mutex);
    if (!m_thread) return;
    m_shared->stop.Set();
    m_thread->Join(kStopWaitMs);
    m_thread.reset();
}

bool DevioThread::Start() {
    std::lock_guard lock(m_mutex);
    if (m_thread) return true;
    m_shared->finished = false;
    m_thread = platform::Thread::Start(
        [shared = m_shared] {
            shared->stop.Wait(0xFFFFFFFFu);
            shared->finished = true;
        },
        platform::ThreadPriority::kNormal);
    return m_thread != nullptr;
}

bool DevioThread::IsRunning() {
    std::lock_guard lock(m_mutex);
    return m_thread != nullptr && !m_shared->finished;
}
