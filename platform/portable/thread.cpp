#include <sys/resource.h>
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

namespace {
// Waiters on several events sleep here; every Set wakes them to look again.
// Set notifies under this mutex, so a waiter that has just checked cannot
// miss the wake-up.
std::mutex g_anyMutex;
std::condition_variable g_anyCv;

bool TryConsume(Event::Impl& e) {
    std::lock_guard lock(e.mutex);
    if (!e.signaled) return false;
    if (!e.manual) e.signaled = false;
    return true;
}
}  // namespace

Event::Event(bool manualReset, bool initiallySignaled) : m_impl(new Impl{{}, {}, manualReset, initiallySignaled}) {}
Event::~Event() = default;

void Event::Set() {
    {
        std::lock_guard lock(m_impl->mutex);
        m_impl->signaled = true;
        if (m_impl->manual)
            m_impl->cv.notify_all();
        else
            m_impl->cv.notify_one();
    }
    // Taken after the event's own lock is released: waiters on several
    // events hold this one while they look at each event's lock.
    std::lock_guard anyLock(g_anyMutex);
    g_anyCv.notify_all();
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

int WaitForAnyEvent(Event* const* events, std::size_t count, std::uint32_t timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    std::unique_lock lock(g_anyMutex);
    for (;;) {
        for (std::size_t i = 0; i < count; ++i)
            if (TryConsume(*events[i]->impl())) return static_cast<int>(i);
        if (timeoutMs == 0xFFFFFFFFu)
            g_anyCv.wait(lock);
        else if (g_anyCv.wait_until(lock, deadline) == std::cv_status::timeout)
            return -1;
    }
}

struct Thread::Impl {
    std::thread thread;
    std::mutex mutex;
    std::condition_variable cv;
    bool done = false;
    std::atomic<std::uint32_t> id{0};
};

constexpr int kLowestNice = 10;

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
    // A nice value rather than SCHED_IDLE: an idle-class thread can starve
    // for seconds on a busy machine while holding a lock someone waits for.
    if (priority == ThreadPriority::kLowest) setpriority(PRIO_PROCESS, static_cast<id_t>(raw->id.load()), kLowestNice);
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
