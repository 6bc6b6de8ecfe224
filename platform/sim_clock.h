// The simulation's clock: every time read, sleep and timed wait of a
// simulation thread and of the report writer goes through here.
//
// win32: timeGetTime, SleepEx, WaitForSingleObjectEx and real APCs; the
// timer-resolution bracket is timeGetDevCaps/timeBeginPeriod/timeEndPeriod.
// portable: the monotonic clock by default, or a virtual clock that only
// moves when a test (or a host through the exported virtual-device API)
// advances it. On the virtual clock a whole run is deterministic: time stands
// still while any attached thread still has work to do, and every wait whose
// deadline is reached wakes in deadline order.
#pragma once

#include <cstdint>
#include <memory>

namespace platform {

class Thread;

// Milliseconds since an arbitrary origin, wrapping at 2^32 like timeGetTime.
// A bare read: callers hold a SimTimerGuard across it (and across whatever
// else the bracket covers).
std::uint32_t SimTimeMs();

enum class SimWaitResult {
    kSignaled,      // the event was set (WAIT_OBJECT_0)
    kTimeout,       // the time ran out (WAIT_TIMEOUT; also a finished sleep)
    kIoCompletion,  // an alertable wait ran completion routines (WAIT_IO_COMPLETION)
    kFailed,        // the wait itself failed (WAIT_FAILED)
};

constexpr std::uint32_t kSimInfinite = 0xFFFFFFFFu;

// A Win32 event whose waits run on the simulation clock.
class SimEvent {
public:
    SimEvent(bool manualReset, bool initiallySignaled);
    ~SimEvent();
    SimEvent(const SimEvent&) = delete;
    SimEvent& operator=(const SimEvent&) = delete;

    // False when the system could not create the event.
    bool IsValid() const;
    void Set();
    void Reset();

    struct Impl;
    Impl* impl() const { return m_impl.get(); }

private:
    std::unique_ptr<Impl> m_impl;
};

// SleepEx: kTimeout after `ms`, or kIoCompletion as soon as an alertable sleep
// ran completion routines. Sleep(0) only yields (and runs pending routines
// when alertable).
SimWaitResult SimSleep(std::uint32_t ms, bool alertable);

// A non-alertable SimSleep made while holding a lock that callers from other
// threads may be waiting for. On the virtual clock the sleep is announced:
// the thread that moves the time is the one that makes those calls, and a
// call that blocked on the lock would leave no one to end the sleep.
void SimSleepHoldingLock(std::uint32_t ms);

// On the virtual clock, while some thread sleeps in SimSleepHoldingLock:
// true, with the latest end of those sleeps in `untilMs` (clock time).
// False on the real clock and when no such sleep is under way.
bool SimLockHeldUntil(std::uint32_t* untilMs);

// WaitForSingleObjectEx on `event`; `ms` may be kSimInfinite.
SimWaitResult SimWait(SimEvent& event, std::uint32_t ms, bool alertable);

// The timer-resolution bracket around clock reads and report writes: Activate
// raises the system timer resolution to the smallest supported period (at
// least 1 ms, at most the largest supported period), Deactivate restores it
// once. Destruction deactivates.
class SimTimerGuard {
public:
    SimTimerGuard() = default;
    ~SimTimerGuard();
    SimTimerGuard(const SimTimerGuard&) = delete;
    SimTimerGuard& operator=(const SimTimerGuard&) = delete;

    void Activate();
    void Deactivate();
    std::uint32_t Period() const { return m_period; }
    bool IsActive() const { return m_active; }

private:
    std::uint32_t m_period = 0;
    bool m_active = false;
};

// The clock read on its own: SimTimeMs inside a SimTimerGuard that is
// activated just before and deactivated just after.
std::uint32_t BracketedSimTimeMs();

// A thread the virtual clock waits for. Create it on the thread that starts
// the worker (so the clock counts the worker as busy from the start), hand it
// to the worker, and call Attach there before its first wait. The clock moves
// only while every attached thread is blocked in one of the waits above.
// Without a virtual clock it costs nothing.
class SimParticipant {
public:
    SimParticipant();
    ~SimParticipant();
    SimParticipant(const SimParticipant&) = delete;
    SimParticipant& operator=(const SimParticipant&) = delete;

    void Attach();

private:
    bool m_counted = false;
};

// Virtual clock control. Switch only while no simulation thread is running.
// win32 has no virtual clock: UseVirtualClock returns false there.
bool UseVirtualClock(std::uint32_t startMs);
void UseRealClock();
bool IsVirtualClock();
// Lets every attached thread run until it blocks, then moves the virtual time
// forward by `ms`, stopping at each wait deadline on the way and letting the
// woken threads run to their next wait. Advance(0) just lets things settle.
// False without a virtual clock, or when an attached thread stayed busy for
// several seconds of real time (a hang guard, not a timing).
bool AdvanceVirtualClock(std::uint32_t ms);

// Joins `thread`, whose last steps may still wait on the simulation clock. On
// the virtual clock the joining caller is what lets that time pass, so it
// advances the clock 1 ms at a time until the thread is gone; on the real
// clock it is a plain join without a time limit.
void JoinSimThread(Thread& thread);

}  // namespace platform
