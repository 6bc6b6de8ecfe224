#include "platform/sim_clock.h"

#include <new>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "platform/portable/sim_scheduler.h"

// Every blocked thread sleeps on a slot of its own, and whoever makes a wait's
// condition true wakes exactly that thread: an event knows the waits on it, a
// thread's completion-routine queue knows the thread's alertable wait, and a
// deadline is the waiting thread's own timed sleep. (With one shared condition
// variable every wake-up and every new wait roused every sleeping thread, so
// the cost of a device grew with the number of devices.)
//
// The one scheduler lock stays: it keeps the virtual clock's view of who is
// busy exact (a thread is never seen idle while a wake-up for it is on its
// way), and the virtual devices keep their state under it. A thread sleeps
// without it, though, and on the real clock a set event hands its result
// straight to the woken thread, which then returns without taking the lock
// again, so a wake-up costs the woken thread one switch and never a second
// one queueing for the lock its waker still holds. The paths that find nothing
// to wait for, and plain timed sleeps, do not take the lock at all there.

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

// Per thread: the queue of its completion routines and the slot it sleeps on.
// Shared, so a waker can finish raising the slot even if the woken thread
// runs on and ends at once.
struct ApcQueue {
    std::deque<std::function<void()>> routines;  // under the scheduler lock
    std::atomic<std::size_t> queued{0};          // routines.size(), readable without the lock
    Waiter* waiter = nullptr;                    // the thread's alertable wait, while blocked in one

    std::mutex slotMutex;
    std::condition_variable slotRaised;
    std::uint64_t block = 0;  // under slotMutex: which of the thread's waits sleeps here
    bool raised = false;      // under slotMutex
};

// One blocked thread: what it waits for and until when (clock microseconds).
// Everything but `handed` is under the scheduler lock; `handed` is written
// under it by the waker before the slot is raised, and read by the woken
// thread after it saw the slot raised.
struct Waiter {
    Micros deadline = ~Micros{0};
    SimEvent::Impl* event = nullptr;  // cleared if the event dies first
    ApcQueue* apcs = nullptr;         // null for a non-alertable wait
    std::shared_ptr<ApcQueue> self;   // the waiting thread's slot
    std::uint64_t block = 0;          // numbers the thread's waits, so a late raise is not taken for a new one
    bool participant = false;
    bool registered = false;
    bool woken = false;
    std::optional<SimWaitResult> handed;  // the wait's result, decided by the waker
};
}  // namespace sched

namespace {
using sched::ApcQueue;
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
    // Blocked threads; one woken without a result stays here until it runs.
    std::vector<Waiter*> waiters;
    // Deadlines of the sleeps made holding a lock (SimSleepHoldingLock).
    std::vector<Micros> lockHolds;
    // Events set by a thread the clock does not wait for, whose attached
    // waiters wake at the next advance (see SimEvent::Set).
    std::vector<SimEvent::Impl*> deferredSets;
};

// Never destroyed: worker threads may still wait while statics go away. Built
// in static storage rather than on the heap, so a host that unloads the
// library is not left holding an unreachable allocation.
Scheduler& S() {
    alignas(Scheduler) static unsigned char storage[sizeof(Scheduler)];
    static Scheduler* scheduler = new (storage) Scheduler;
    return *scheduler;
}

// The lock is held for well under a microsecond at a time. A thread that finds
// it taken tries again a few times before it sleeps: sleeping on it would cost
// the very switch that a wake-up of one's own is meant to save. (No pause
// instruction in the loop: under a hypervisor a pause loop can give the whole
// virtual CPU away.)
constexpr int kLockTries = 32;

void Acquire(std::unique_lock<std::mutex>& lock) {
    for (int i = 0; i < kLockTries; ++i) {
        if (lock.try_lock()) return;
    }
    lock.lock();
}

std::unique_lock<std::mutex> LockScheduler() {
    std::unique_lock lock(S().mutex, std::defer_lock);
    Acquire(lock);
    return lock;
}

thread_local std::shared_ptr<ApcQueue> t_queue;
thread_local bool t_participant = false;

ApcQueue& OwnQueue() {
    if (!t_queue) t_queue = std::make_shared<ApcQueue>();
    return *t_queue;
}
thread_local std::uint64_t t_wakeups = 0;
thread_local std::uint64_t t_blocks = 0;

// Raises made while the lock is held, to be done once it is released (see
// DeferRaises); null when raises happen at once.
struct PendingRaise {
    std::shared_ptr<ApcQueue> slot;
    std::uint64_t block;
};
thread_local std::vector<PendingRaise>* t_deferred = nullptr;

Micros RealNow() {
    using namespace std::chrono;
    return static_cast<Micros>(duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count());
}

bool RealClock(const Scheduler& s) { return !s.virtualClock.load(std::memory_order_relaxed); }

Micros NowLocked(const Scheduler& s) { return RealClock(s) ? RealNow() : s.virtualNow; }

void NoteIdleLocked(Scheduler& s) {
    if (s.idleParticipants == s.participants) s.allIdle.notify_all();
}

template <typename T>
void Erase(std::vector<T*>& list, T* item) {
    auto it = std::find(list.begin(), list.end(), item);
    if (it != list.end()) list.erase(it);
}

void RegisterLocked(Scheduler& s, Waiter& w) {
    w.registered = true;
    s.waiters.push_back(&w);
    if (w.event != nullptr) w.event->waiters.push_back(&w);
    if (w.apcs != nullptr) w.apcs->waiter = &w;
}

void UnregisterLocked(Scheduler& s, Waiter& w) {
    if (!w.registered) return;
    w.registered = false;
    Erase(s.waiters, &w);
    if (w.event != nullptr) Erase(w.event->waiters, &w);
    if (w.apcs != nullptr && w.apcs->waiter == &w) w.apcs->waiter = nullptr;
}

// Marks the waiter as no longer idle; false when something woke it already.
bool ReleaseLocked(Scheduler& s, Waiter& w) {
    if (w.woken) return false;
    w.woken = true;
    if (w.participant) --s.idleParticipants;
    return true;
}

// Raises the slot if it still sleeps for the same wait. `slot` must be kept
// alive by the caller: the woken thread may run on and end at once.
void RaiseNow(ApcQueue& slot, std::uint64_t block) {
    {
        std::lock_guard guard(slot.slotMutex);
        if (slot.block != block) return;
        slot.raised = true;
    }
    slot.slotRaised.notify_one();
}

void Raise(const std::shared_ptr<ApcQueue>& slot, std::uint64_t block) {
    if (t_deferred != nullptr) {
        t_deferred->push_back({slot, block});
        return;
    }
    const std::shared_ptr<ApcQueue> keep = slot;  // `slot` lives in the waiter, which may go at once
    RaiseNow(*keep, block);
}

// For the span of a locked section that the caller is about to leave: the
// threads it wakes are raised only after the lock is released, so that a woken
// thread that runs at once, even on this CPU, does not find the lock still
// taken. A raise that comes late for a wait that ended meanwhile (its time ran
// out) is recognised by the wait's number and dropped.
// Declare it before the lock, so that the lock is released first.
class DeferRaises {
public:
    DeferRaises() { t_deferred = &m_pending; }
    ~DeferRaises() {
        t_deferred = nullptr;
        for (const PendingRaise& r : m_pending) RaiseNow(*r.slot, r.block);
    }
    DeferRaises(const DeferRaises&) = delete;
    DeferRaises& operator=(const DeferRaises&) = delete;

private:
    std::vector<PendingRaise> m_pending;
};

// Wakes the waiter's thread. With a result the wait is over: it is taken off
// every list here and the thread returns the result without the lock.
// Without one the thread looks again under the lock (a routine to run, a
// deadline reached, a clock switched).
void WakeLocked(Scheduler& s, Waiter& w, std::optional<SimWaitResult> result = std::nullopt) {
    if (!ReleaseLocked(s, w)) return;
    if (result) {
        w.handed = result;
        UnregisterLocked(s, w);
    }
    Raise(w.self, w.block);
}

// Sleeps on the thread's own slot until it is raised or the real-clock
// deadline passes; true when it was raised.
bool SleepOnSlot(ApcQueue& slot, Micros realDeadline) {
    std::unique_lock guard(slot.slotMutex);
    if (realDeadline == kNever) {
        while (!slot.raised) slot.slotRaised.wait(guard);
    } else {
        const auto until = std::chrono::steady_clock::time_point(std::chrono::microseconds(realDeadline));
        while (!slot.raised) {
            if (slot.slotRaised.wait_until(guard, until) == std::cv_status::timeout) break;
        }
    }
    const bool raised = slot.raised;
    slot.raised = false;
    return raised;
}

// Registers the waiter with everything that can end its wait and sleeps until
// one of them does (an event, a routine, the virtual clock reaching its
// deadline, or real time passing). Returns the result a waker handed over, with
// the lock released; otherwise returns with the lock held and the waiter off
// every list, for the caller to look again.
std::optional<SimWaitResult> BlockLocked(Scheduler& s, std::unique_lock<std::mutex>& lock, Waiter& w) {
    w.woken = false;
    w.handed.reset();
    w.participant = t_participant;
    w.block = ++t_blocks;
    {
        std::lock_guard guard(w.self->slotMutex);
        w.self->block = w.block;
        w.self->raised = false;
    }
    RegisterLocked(s, w);
    if (w.participant) {
        ++s.idleParticipants;
        NoteIdleLocked(s);
    }
    const Micros realDeadline = RealClock(s) ? w.deadline : kNever;
    lock.unlock();
    const bool raised = SleepOnSlot(*w.self, realDeadline);
    ++t_wakeups;
    if (raised && w.handed) return w.handed;
    Acquire(lock);
    // Timed out, unless a waker got here between the time-out and the lock;
    // its raise, done or still to come, is for this wait and is dropped by the
    // next one.
    if (!raised) ReleaseLocked(s, w);
    UnregisterLocked(s, w);
    if (w.handed) {
        lock.unlock();
        return w.handed;
    }
    return std::nullopt;
}

SimWaitResult RunApcs(std::unique_lock<std::mutex>& lock, ApcQueue& queue) {
    std::deque<std::function<void()>> due;
    due.swap(queue.routines);
    queue.queued.store(0, std::memory_order_relaxed);
    lock.unlock();
    for (auto& routine : due) routine();
    Acquire(lock);
    return SimWaitResult::kIoCompletion;
}

// On the real clock, the waits that need nothing from other threads: a zero
// sleep or a wait on a set manual-reset event with no completion routine
// queued for this thread, and a plain timed sleep, which nothing but time can
// end. The last one sleeps without the lock, so that threads whose timers
// expire together do not queue up for it on waking.
bool FinishWithoutLock(SimEvent::Impl* event, std::uint32_t ms, ApcQueue* queue, SimWaitResult* result) {
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
    ApcQueue* queue = alertable ? &OwnQueue() : nullptr;
    SimWaitResult quick;
    if (FinishWithoutLock(event, ms, queue, &quick)) return quick;
    auto lock = LockScheduler();
    Waiter w;
    w.event = event;
    w.apcs = queue;
    OwnQueue();
    w.self = t_queue;
    w.deadline = ms == kSimInfinite ? kNever : NowLocked(s) + Micros{ms} * 1000;
    for (;;) {
        if (queue != nullptr && !queue->routines.empty()) return RunApcs(lock, *queue);
        if (w.event != nullptr && w.event->signaled.load(std::memory_order_relaxed)) {
            if (!w.event->manual) w.event->signaled.store(false, std::memory_order_relaxed);
            return SimWaitResult::kSignaled;
        }
        if (NowLocked(s) >= w.deadline) return SimWaitResult::kTimeout;
        if (const std::optional<SimWaitResult> handed = BlockLocked(s, lock, w)) return *handed;
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

void WakeDeferredLocked(Scheduler& s) {
    for (SimEvent::Impl* event : std::exchange(s.deferredSets, {})) {
        if (!event->signaled.load(std::memory_order_relaxed)) continue;  // taken or reset meanwhile
        for (Waiter* w : event->waiters) WakeLocked(s, *w);
    }
}

// A switch of clocks makes every deadline in the old clock's units meaningless:
// every blocked thread looks again with the new clock.
void WakeAllLocked(Scheduler& s) {
    for (Waiter* w : s.waiters) WakeLocked(s, *w);
}
}  // namespace

namespace sched {
std::shared_ptr<ApcQueue> CurrentThreadQueue() {
    OwnQueue();
    return t_queue;
}

std::unique_lock<std::mutex> Lock() { return LockScheduler(); }

std::uint32_t TimeMsLocked() { return static_cast<std::uint32_t>(NowLocked(S()) / 1000); }

void QueueApcLocked(const std::shared_ptr<ApcQueue>& queue, std::function<void()> routine) {
    queue->routines.push_back(std::move(routine));
    queue->queued.store(queue->routines.size(), std::memory_order_release);
    if (queue->waiter != nullptr) WakeLocked(S(), *queue->waiter);
}

void SetEventLocked(SimEvent::Impl* event) {
    Scheduler& s = S();
    if (!RealClock(s)) {
        // The woken threads look again under the lock, in the order the
        // virtual clock has always seen: routines first, then the event.
        event->signaled.store(true, std::memory_order_release);
        for (Waiter* w : event->waiters) WakeLocked(s, *w);
        return;
    }
    // On the real clock the set is handed over: a manual-reset event releases
    // every waiter and stays set; an auto-reset one releases its oldest
    // waiter and stays clear, or stays set when no one waits.
    if (event->manual) {
        event->signaled.store(true, std::memory_order_release);
        const std::vector<Waiter*> all = event->waiters;
        for (Waiter* w : all) WakeLocked(s, *w, SimWaitResult::kSignaled);
        return;
    }
    // A waiter already woken for something else (a routine) looks at the
    // event itself when it runs.
    for (Waiter* w : event->waiters) {
        if (w->woken) continue;
        WakeLocked(s, *w, SimWaitResult::kSignaled);
        return;
    }
    event->signaled.store(true, std::memory_order_release);
}

std::size_t BlockedThreads() {
    auto lock = LockScheduler();
    return S().waiters.size();
}

std::uint64_t ThreadWakeups() { return t_wakeups; }
}  // namespace sched

std::uint32_t SimTimeMs() {
    if (RealClock(S())) return static_cast<std::uint32_t>(RealNow() / 1000);
    auto lock = LockScheduler();
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
    Erase(S().deferredSets, m_impl.get());
}

bool SimEvent::IsValid() const { return m_impl != nullptr; }

// On the virtual clock, a set made by a thread the clock does not wait for
// (a game's call waking a paused simulation thread) wakes the attached
// threads only when the time is next advanced, so the call runs on to its
// end first. Otherwise the woken thread's pass and the rest of the call
// would race for the device, and a pass that ends an effect would hold the
// device through its pause while the call, on the thread that moves the
// time, waited for it.
void SimEvent::Set() {
    DeferRaises raises;
    auto lock = LockScheduler();
    Scheduler& s = S();
    if (RealClock(s) || t_participant) return sched::SetEventLocked(m_impl.get());
    m_impl->signaled.store(true, std::memory_order_release);
    bool attachedWaiter = false;
    for (Waiter* w : m_impl->waiters) {
        if (w->participant) attachedWaiter = true;
        else WakeLocked(s, *w);
    }
    if (attachedWaiter && std::find(s.deferredSets.begin(), s.deferredSets.end(), m_impl.get()) == s.deferredSets.end())
        s.deferredSets.push_back(m_impl.get());
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

void SimSleepHoldingLock(std::uint32_t ms) {
    Scheduler& s = S();
    if (RealClock(s)) {
        SimSleep(ms, /*alertable=*/false);
        return;
    }
    Micros deadline = 0;
    {
        auto lock = LockScheduler();
        deadline = NowLocked(s) + Micros{ms} * 1000;
        s.lockHolds.push_back(deadline);
    }
    SimSleep(ms, /*alertable=*/false);
    auto lock = LockScheduler();
    auto it = std::find(s.lockHolds.begin(), s.lockHolds.end(), deadline);
    if (it != s.lockHolds.end()) s.lockHolds.erase(it);
}

bool SimLockHeldUntil(std::uint32_t* untilMs) {
    Scheduler& s = S();
    if (RealClock(s)) return false;
    auto lock = LockScheduler();
    if (s.lockHolds.empty()) return false;
    const Micros until = *std::max_element(s.lockHolds.begin(), s.lockHolds.end());
    if (untilMs != nullptr) *untilMs = static_cast<std::uint32_t>((until + 999) / 1000);
    return true;
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
    auto lock = LockScheduler();
    ++S().participants;
    m_counted = true;
}

SimParticipant::~SimParticipant() {
    Scheduler& s = S();
    auto lock = LockScheduler();
    if (m_counted) --s.participants;
    NoteIdleLocked(s);
}

void SimParticipant::Attach() { t_participant = true; }

bool UseVirtualClock(std::uint32_t startMs) {
    Scheduler& s = S();
    auto lock = LockScheduler();
    s.virtualClock.store(true, std::memory_order_relaxed);
    s.virtualNow = Micros{startMs} * 1000;
    WakeAllLocked(s);
    return true;
}

void UseRealClock() {
    Scheduler& s = S();
    auto lock = LockScheduler();
    s.deferredSets.clear();  // every waiter looks again below
    s.virtualClock.store(false, std::memory_order_relaxed);
    WakeAllLocked(s);
    s.allIdle.notify_all();
}

bool IsVirtualClock() { return !RealClock(S()); }

bool AdvanceVirtualClock(std::uint32_t ms) {
    Scheduler& s = S();
    auto lock = LockScheduler();
    if (RealClock(s)) return false;
    const Micros target = s.virtualNow + Micros{ms} * 1000;
    WakeDeferredLocked(s);
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
