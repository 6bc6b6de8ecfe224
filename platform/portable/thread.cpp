#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/thread.h"

namespace platform {

struct Event::Impl {
    std::mutex mutex;
    std::condition_variable cv;
    bool manual;
    bool signaled;
};

Event::Event(bool manualReset, bool initiallySignaled) : m_impl(new Impl{{}, {}, manualReset, initiallySignaled}) {}
Event::~Event() = default;

void Event::Set() {
    std::lock_guard lock(m_impl->mutex);
    m_impl->signaled = true;
    if (m_impl->manual)
        m_impl->cv.notify_all();
    else
        m_impl->cv.notify_one();
}

void Event::Reset() {
    std::lock_guard lock(m_impl->mutex);
    m_impl->signaled = false;
}

WaitResult Event::Wait(std::uint32_t timeoutMs) {
    std::unique_lock lock(m_impl->mutex);
    auto ready = [this] { return m_impl->signaled; };
    if (timeoutMs == 0xFFFFFFFFu) {
        m_impl->cv.wait(lock, ready);
    } else if (!m_impl->cv.wait_for(lock, std::chrono::milliseconds(timeoutMs), ready)) {
        return WaitResult::kTimeout;
    }
    if (!m_impl->manual) m_impl->signaled = false;
    return WaitResult::kSignaled;
}

struct Thread::Impl {
    std::thread thread;
    std::mutex mutex;
    std::condition_variable cv;
    bool done = false;
    std::atomic<std::uint32_t> id{0};
};

std::unique_ptr<Thread> Thread::Start(std::function<void()> body, ThreadPriority priority) {
    // The running body shares ownership so a detached thread never outlives
    // the state it signals.
    auto impl = std::make_shared<Impl>();
    Impl* raw = impl.get();
    std::mutex started;
    std::condition_variable startedCv;
    bool idKnown = false;
    raw->thread = std::thread([raw, keep = impl, body = std::move(body), &started, &startedCv, &idKnown] {
        {
            std::lock_guard lock(started);
            raw->id = static_cast<std::uint32_t>(syscall(SYS_gettid));
            idKnown = true;
            // Notify under the lock: Start's locals die as soon as it sees idKnown.
            startedCv.notify_one();
        }
        body();
        std::lock_guard lock(raw->mutex);
        raw->done = true;
        raw->cv.notify_all();
    });
    {
        std::unique_lock lock(started);
        startedCv.wait(lock, [&] { return idKnown; });
    }
    // Raising priority needs privileges on Linux; without them the thread
    // keeps normal scheduling, which only affects pacing jitter.
    if (priority == ThreadPriority::kHighest) {
        sched_param param{};
        param.sched_priority = sched_get_priority_min(SCHED_RR);
        pthread_setschedparam(raw->thread.native_handle(), SCHED_RR, &param);
    }
    return std::unique_ptr<Thread>(new Thread(std::move(impl)));
}

Thread::Thread(std::shared_ptr<Impl> impl) : m_impl(std::move(impl)) {}

Thread::~Thread() {
    if (m_impl->thread.joinable()) {
        if (Join(0))
            return;
        m_impl->thread.detach();
    }
}

bool Thread::Join(std::uint32_t timeoutMs) {
    {
        std::unique_lock lock(m_impl->mutex);
        auto finished = [this] { return m_impl->done; };
        if (timeoutMs == 0xFFFFFFFFu)
            m_impl->cv.wait(lock, finished);
        else if (!m_impl->cv.wait_for(lock, std::chrono::milliseconds(timeoutMs), finished))
            return false;
    }
    if (m_impl->thread.joinable()) m_impl->thread.join();
    return true;
}

std::uint32_t Thread::Id() const { return m_impl->id; }

void SleepMs(std::uint32_t ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

}  // namespace platform
