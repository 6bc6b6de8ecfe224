#include "platform/sim_clock.h"

#include <new>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/portable/sim_scheduler.h"

// Every blocked thread sleeps on a condition variable of its own, and whoever
// makes a wait's condition true wakes exactly that thread: an event knows the
// waits on it, a thread's completion-routine queue knows the thread's
// alertable wait, and a deadline is the waiting thread's own timed sleep. With
// one shared condition variable every wake-up and every new wait would rouse
// every sleeping thread, so the cost of a device would grow with the number
// of devices.
//
// The one lock stays: it keeps the virtual clock's view of who is busy exact
// (a thread is never seen idle while a wake-up for it is on its way), and the
// virtual devices keep their state under it. In real-clock mode the paths that
// find nothing to wait for (a manual event that is already set, a zero sleep
// with no routine queued, a clock read) do not take it at all.

namespace platform {

namespace sched {
struct Waiter;
}

struct SimEvent::Impl {
    bool manual;
    // Written under the lock; read without it only for the real-clock fast
    // path of a manual-reset event.
    std::atomic<bool> signaled;
    std::vector<sched::Waiter*> waiters;  // under the lock

    Impl(bool manualReset, bool initiallySignaled) : manual(manualReset), signaled(initiallySignaled) {}
};

namespace sched {
using Micros = std::uint64_t;

// One blocked thread: what it waits for and until when (clock microseconds).
struct Waiter {
    Micros deadline = ~Micros{0};
    SimEvent::Impl* event = nullptr;  // cleared if the event dies first
    ApcQueue* apcs = nullptr;         // null for a non-alertable wait
    bool participant = false;
    bool woken = false;
    std::condition_variable wake;  // waited on with the scheduler lock
};

struct ApcQueue {
    std::deque<std::function<void()>> routines;  // under the lock
    // The size of `routines`, readable without the lock.
    std::atomic<std::size_t> queued{0};
    // The owning thread's alertable wait, while it is blocked in one.
    Waiter* waiter = nullptr;
};
}  // namespace sched

namespace {
using sched::Micros;
using sched::Waiter;
constexpr Micros kNever = ~Micros{0};
constexpr auto kHangGuard = std::chrono::seconds(10);

struct Scheduler {
    std::mutex mutex;
    // What AdvanceVirtualClock waits on: every attached thread blocked.
    std::condition_variable allIdle;
    std::atomic<bool> virtualClock{false};  // written under the lock
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
thread_local std::uint64_t t_wakeups = 0;

Micros RealNow() {
    using namespace std::chrono;
    return static_cast<Micros>(duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count());
}

bool RealClock(const Scheduler& s) { return !s.virtualClock.load(std::memory_order_relaxed); }

Micros NowLocked(const Scheduler& s) { return s.virtualClock.load(std::memory_order_relaxed) ? s.virtualNow : RealNow(); }

void NoteIdleLocked(Scheduler& s) {
    if (s.idleParticipants == s.participants) s.allIdle.notify_all();
}

// Marks the waiter as released; the caller wakes its thread if it sleeps.
bool ReleaseLocked(Scheduler& s, Waiter& w) {
    if (w.woken) return false;
    w.woken = true;
    if (w.participant) --s.idleParticipants;
    return true;
}

void WakeLocked(Scheduler& s, Waiter& w) {
    if (ReleaseLocked(s, w)) w.wake.notify_one();
}

void Erase(std::vector<Waiter*>& list, Waiter* w) {
    auto it = std::find(list.begin(), list.end(), w);
    if (it != list.end()) list.erase(it);
}

// Registers the waiter with everything that can end its wait, sleeps until
// one of them does (an event, a routine, the virtual clock reaching its
// deadline, or real time passing), and unregisters.
void BlockLocked(Scheduler& s, std::unique_lock<std::mutex>& lock, Waiter& w) {
    w.woken = false;
    w.participant = t_participant;
    s.waiters.push_back(&w);
    if (w.event != nullptr) w.event->waiters.push_back(&w);
    if (w.apcs != nullptr) w.apcs->waiter = &w;
    if (w.participant) {
        ++s.idleParticipants;
        NoteIdleLocked(s);
    }
    if (!RealClock(s) || w.deadline == kNever) {
        while (!w.woken) {
            w.wake.wait(lock);
            ++t_wakeups;
        }
    } else {
        const auto until = std::chrono::steady_clock::time_point(std::chrono::microseconds(w.deadline));
        while (!w.woken) {
            const bool timedOut = w.wake.wait_until(lock, until) == std::cv_status::timeout;
            ++t_wakeups;
            if (timedOut) ReleaseLocked(s, w);
        }
    }
    Erase(s.waiters, &w);
    if (w.event != nullptr) Erase(w.event->waiters, &w);
    if (w.apcs != nullptr) w.apcs->waiter = nullptr;
}

SimWaitResult RunApcs(std::unique_lock<std::mutex>& lock, sched::ApcQueue& queue) {
    std::deque<std::function<void()>> due;
    due.swap(queue.routines);
    queue.queued.store(0, std::memory_order_relaxed);
    lock.unlock();
    for (auto& routine : due) routine();
    lock.lock();
    return SimWaitResult::kIoCompletion;
}

// On the real clock, the waits that need nothing from other threads: a zero
// sleep or a wait on a set manual-reset event with no completion routine
// queued for this thread, and a plain timed sleep, which nothing but time can
// end. The last one sleeps without the lock, so that threads whose timers
// expire together do not queue up for it on waking.
bool FinishWithoutLock(SimEvent::Impl* event, std::uint32_t ms, sched::ApcQueue* queue, SimWaitResult* result) {
    if (!RealClock(S())) return false;
    if (event == nullptr && queue == nullptr && ms != kSimInfinite) {
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
        *result = SimWaitResult::kTimeout;
        return true;
    }
    if (queue != nullptr && queue->queued.load(std::memory_order_acquire) != 0) return false;
    if (event == nullptr) {
        if (ms != 0) return false;
        *result = SimWaitResult::kTimeout;
        return true;
    }
    if (!event->manual || !event->signaled.load(std::memory_order_acquire)) return false;
    *result = SimWaitResult::kSignaled;
    return true;
}

SimWaitResult WaitCore(SimEvent::Impl* event, std::uint32_t ms, bool alertable) {
    Scheduler& s = S();
    sched::ApcQueue* queue = alertable ? sched::CurrentThreadQueue().get() : nullptr;
    SimWaitResult quick;
    if (FinishWithoutLock(event, ms, queue, &quick)) return quick;
    std::unique_lock lock(s.mutex);
    Waiter w;
    w.event = event;
    w.apcs = queue;
    w.deadline = ms == kSimInfinite ? kNever : NowLocked(s) + Micros{ms} * 1000;
    for (;;) {
        if (queue != nullptr && !queue->routines.empty()) return RunApcs(lock, *queue);
        if (w.event != nullptr && w.event->signaled.load(std::memory_order_relaxed)) {
            if (!w.event->manual) w.event->signaled.store(false, std::memory_order_relaxed);
            return SimWaitResult::kSignaled;
        }
        if (NowLocked(s) >= w.deadline) return SimWaitResult::kTimeout;
        BlockLocked(s, lock, w);
    }
}

bool WaitIdleLocked(Scheduler& s, std::unique_lock<std::mutex>& lock) {
    return s.allIdle.wait_for(lock, kHangGuard, [&] { return s.idleParticipants == s.participants; });
}

Micros EarliestDeadlineLocked(const Scheduler& s) {
    Micros next = kNever;
    for (const Waiter* w : s.waiters) {
        if (!w->woken) next = std::min(next, w->deadline);
    }
    return next;
}

// A switch of clocks makes every deadline in the old clock's units meaningless:
// every blocked thread looks again with the new clock.
void WakeAllLocked(Scheduler& s) {
    for (Waiter* w : s.waiters) WakeLocked(s, *w);
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
    queue->routines.push_back(std::move(routine));
    queue->queued.store(queue->routines.size(), std::memory_order_release);
    if (queue->waiter != nullptr) WakeLocked(S(), *queue->waiter);
}

void SetEventLocked(SimEvent::Impl* event) {
    Scheduler& s = S();
    event->signaled.store(true, std::memory_order_release);
    // An auto-reset event releases one of them; the others see it taken and
    // sleep again. Events here have one waiter as a rule.
    for (Waiter* w : event->waiters) WakeLocked(s, *w);
}

std::size_t BlockedThreads() {
    std::lock_guard lock(S().mutex);
    return S().waiters.size();
}

std::uint64_t ThreadWakeups() { return t_wakeups; }
}  // namespace sched

std::uint32_t SimTimeMs() {
    if (RealClock(S())) return static_cast<std::uint32_t>(RealNow() / 1000);
    std::lock_guard lock(S().mutex);
    return sched::TimeMsLocked();
}

SimEvent::SimEvent(bool manualReset, bool initiallySignaled)
    : m_impl(new (std::nothrow) Impl(manualReset, initiallySignaled)) {}

// A wait still on the event when it goes carries on as a wait on a handle that
// is never set, instead of touching freed memory.
SimEvent::~SimEvent() {
    if (!m_impl) return;
    auto lock = sched::Lock();
    for (sched::Waiter* w : m_impl->waiters) w->event = nullptr;
}

bool SimEvent::IsValid() const { return m_impl != nullptr; }

void SimEvent::Set() {
    auto lock = sched::Lock();
    sched::SetEventLocked(m_impl.get());
}

void SimEvent::Reset() {
    auto lock = sched::Lock();
    m_impl->signaled.store(false, std::memory_order_relaxed);
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
    Scheduler& s = S();
    std::lock_guard lock(s.mutex);
    if (m_counted) --s.participants;
    NoteIdleLocked(s);
}

void SimParticipant::Attach() { t_participant = true; }

bool UseVirtualClock(std::uint32_t startMs) {
    Scheduler& s = S();
    std::lock_guard lock(s.mutex);
    s.virtualClock.store(true, std::memory_order_relaxed);
    s.virtualNow = Micros{startMs} * 1000;
    WakeAllLocked(s);
    return true;
}

void UseRealClock() {
    Scheduler& s = S();
    std::lock_guard lock(s.mutex);
    s.virtualClock.store(false, std::memory_order_relaxed);
    WakeAllLocked(s);
    s.allIdle.notify_all();
}

bool IsVirtualClock() { return !RealClock(S()); }

bool AdvanceVirtualClock(std::uint32_t ms) {
    Scheduler& s = S();
    std::unique_lock lock(s.mutex);
    if (RealClock(s)) return false;
    const Micros target = s.virtualNow + Micros{ms} * 1000;
    for (;;) {
        if (!WaitIdleLocked(s, lock)) return false;
        const Micros next = EarliestDeadlineLocked(s);
        if (next > target) break;
        s.virtualNow = std::max(s.virtualNow, next);
        for (Waiter* w : s.waiters) {
            if (!w->woken && w->deadline <= s.virtualNow) WakeLocked(s, *w);
        }
    }
    s.virtualNow = target;
    return WaitIdleLocked(s, lock);
}

}  // namespace platform
