#include "platform/sim_clock.h"

#include <new>
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/portable/sim_scheduler.h"

namespace platform {

struct SimEvent::Impl {
    bool manual;
    bool signaled;
};

namespace sched {
struct ApcQueue {
    std::deque<std::function<void()>> routines;
};
}  // namespace sched

namespace {
using Micros = std::uint64_t;
constexpr Micros kNever = ~Micros{0};
constexpr auto kHangGuard = std::chrono::seconds(10);

// One blocked thread: what it waits for and until when (clock microseconds).
struct Waiter {
    Micros deadline = kNever;
    SimEvent::Impl* event = nullptr;
    sched::ApcQueue* apcs = nullptr;  // null for a non-alertable wait
    bool participant = false;
    bool woken = false;
};

struct Scheduler {
    std::mutex mutex;
    std::condition_variable changed;
    bool virtualClock = false;
    Micros virtualNow = 0;
    int participants = 0;      // attached threads, busy or not
    int idleParticipants = 0;  // of those, blocked with no wake-up pending
    std::vector<Waiter*> waiters;
};

// Never destroyed: worker threads may still wait while statics go away. Built
// in static storage rather than on the heap, so a host that unloads the
// library is not left holding an unreachable allocation.
Scheduler& S() {
    alignas(Scheduler) static unsigned char storage[sizeof(Scheduler)];
    static Scheduler* scheduler = new (storage) Scheduler;
    return *scheduler;
}

thread_local std::shared_ptr<sched::ApcQueue> t_queue;
thread_local bool t_participant = false;

Micros RealNow() {
    using namespace std::chrono;
    return static_cast<Micros>(duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count());
}

Micros NowLocked(const Scheduler& s) { return s.virtualClock ? s.virtualNow : RealNow(); }

void WakeLocked(Scheduler& s, Waiter& w) {
    if (w.woken) return;
    w.woken = true;
    if (w.participant) --s.idleParticipants;
}

// Registers the waiter, blocks until something wakes it (an event, a routine,
// the virtual clock reaching its deadline, or real time passing), unregisters.
void BlockLocked(Scheduler& s, std::unique_lock<std::mutex>& lock, Waiter& w) {
    w.woken = false;
    w.participant = t_participant;
    s.waiters.push_back(&w);
    if (w.participant) ++s.idleParticipants;
    s.changed.notify_all();
    if (s.virtualClock || w.deadline == kNever) {
        s.changed.wait(lock, [&] { return w.woken; });
    } else {
        const auto until = std::chrono::steady_clock::time_point(std::chrono::microseconds(w.deadline));
        while (!w.woken) {
            if (s.changed.wait_until(lock, until) == std::cv_status::timeout) WakeLocked(s, w);
        }
    }
    s.waiters.erase(std::find(s.waiters.begin(), s.waiters.end(), &w));
}

SimWaitResult RunApcs(std::unique_lock<std::mutex>& lock, sched::ApcQueue& queue) {
    std::deque<std::function<void()>> due;
    due.swap(queue.routines);
    lock.unlock();
    for (auto& routine : due) routine();
    lock.lock();
    return SimWaitResult::kIoCompletion;
}

SimWaitResult WaitCore(SimEvent::Impl* event, std::uint32_t ms, bool alertable) {
    Scheduler& s = S();
    std::shared_ptr<sched::ApcQueue> queue = alertable ? sched::CurrentThreadQueue() : nullptr;
    std::unique_lock lock(s.mutex);
    Waiter w;
    w.event = event;
    w.apcs = queue.get();
    w.deadline = ms == kSimInfinite ? kNever : NowLocked(s) + Micros{ms} * 1000;
    for (;;) {
        if (queue && !queue->routines.empty()) return RunApcs(lock, *queue);
        if (event != nullptr && event->signaled) {
            if (!event->manual) event->signaled = false;
            return SimWaitResult::kSignaled;
        }
        if (NowLocked(s) >= w.deadline) return SimWaitResult::kTimeout;
        BlockLocked(s, lock, w);
    }
}

bool WaitIdleLocked(Scheduler& s, std::unique_lock<std::mutex>& lock) {
    return s.changed.wait_for(lock, kHangGuard, [&] { return s.idleParticipants == s.participants; });
}

Micros EarliestDeadlineLocked(const Scheduler& s) {
    Micros next = kNever;
    for (const Waiter* w : s.waiters) {
        if (!w->woken) next = std::min(next, w->deadline);
    }
    return next;
}
}  // namespace

namespace sched {
std::shared_ptr<ApcQueue> CurrentThreadQueue() {
    if (!t_queue) t_queue = std::make_shared<ApcQueue>();
    return t_queue;
}

std::unique_lock<std::mutex> Lock() { return std::unique_lock(S().mutex); }

std::uint32_t TimeMsLocked() { return static_cast<std::uint32_t>(NowLocked(S()) / 1000); }

void QueueApcLocked(const std::shared_ptr<ApcQueue>& queue, std::function<void()> routine) {
    Scheduler& s = S();
    queue->routines.push_back(std::move(routine));
    for (Waiter* w : s.waiters) {
        if (w->apcs == queue.get()) WakeLocked(s, *w);
    }
    s.changed.notify_all();
}

void SetEventLocked(SimEvent::Impl* event) {
    Scheduler& s = S();
    event->signaled = true;
    for (Waiter* w : s.waiters) {
        if (w->event == event) WakeLocked(s, *w);
    }
    s.changed.notify_all();
}
}  // namespace sched

std::uint32_t SimTimeMs() {
    std::lock_guard lock(S().mutex);
    return sched::TimeMsLocked();
}

SimEvent::SimEvent(bool manualReset, bool initiallySignaled) : m_impl(new Impl{manualReset, initiallySignaled}) {}
SimEvent::~SimEvent() = default;
bool SimEvent::IsValid() const { return m_impl != nullptr; }

void SimEvent::Set() {
    auto lock = sched::Lock();
    sched::SetEventLocked(m_impl.get());
}

void SimEvent::Reset() {
    auto lock = sched::Lock();
    m_impl->signaled = false;
}

SimWaitResult SimSleep(std::uint32_t ms, bool alertable) {
    if (ms == 0 && !alertable) {
        std::this_thread::yield();
        return SimWaitResult::kTimeout;
    }
    return WaitCore(nullptr, ms, alertable);
}

SimWaitResult SimWait(SimEvent& event, std::uint32_t ms, bool alertable) {
    return WaitCore(event.impl(), ms, alertable);
}

// No system timer to raise here; the bracket only keeps its bookkeeping so
// callers behave the same on both backends.
SimTimerGuard::~SimTimerGuard() { Deactivate(); }
void SimTimerGuard::Activate() {
    if (m_active) return;
    m_period = 1;
    m_active = true;
}
void SimTimerGuard::Deactivate() { m_active = false; }

SimParticipant::SimParticipant() {
    std::lock_guard lock(S().mutex);
    ++S().participants;
    m_counted = true;
}

SimParticipant::~SimParticipant() {
    std::lock_guard lock(S().mutex);
    if (m_counted) --S().participants;
    S().changed.notify_all();
}

void SimParticipant::Attach() { t_participant = true; }

bool UseVirtualClock(std::uint32_t startMs) {
    std::lock_guard lock(S().mutex);
    S().virtualClock = true;
    S().virtualNow = Micros{startMs} * 1000;
    return true;
}

void UseRealClock() {
    std::lock_guard lock(S().mutex);
    S().virtualClock = false;
    S().changed.notify_all();
}

bool IsVirtualClock() {
    std::lock_guard lock(S().mutex);
    return S().virtualClock;
}

bool AdvanceVirtualClock(std::uint32_t ms) {
    Scheduler& s = S();
    std::unique_lock lock(s.mutex);
    if (!s.virtualClock) return false;
    const Micros target = s.virtualNow + Micros{ms} * 1000;
    for (;;) {
        if (!WaitIdleLocked(s, lock)) return false;
        const Micros next = EarliestDeadlineLocked(s);
        if (next > target) break;
        s.virtualNow = std::max(s.virtualNow, next);
        for (Waiter* w : s.waiters) {
            if (!w->woken && w->deadline <= s.virtualNow) WakeLocked(s, *w);
        }
        s.changed.notify_all();
    }
    s.virtualNow = target;
    return WaitIdleLocked(s, lock);
}

}  // namespace platform
