#include "platform/sim_clock.h"

#include <windows.h>
#include <mmsystem.h>

#include "platform/win32/sim_event_impl.h"

namespace platform {

namespace {
SimWaitResult FromWait(DWORD result) {
    switch (result) {
    case WAIT_OBJECT_0:
        return SimWaitResult::kSignaled;
    case WAIT_TIMEOUT:
        return SimWaitResult::kTimeout;
    case WAIT_IO_COMPLETION:
        return SimWaitResult::kIoCompletion;
    default:
        return SimWaitResult::kFailed;
    }
}
}  // namespace

std::uint32_t SimTimeMs() { return timeGetTime(); }

SimEvent::SimEvent(bool manualReset, bool initiallySignaled)
    : m_impl(new Impl{CreateEventW(nullptr, manualReset, initiallySignaled, nullptr)}) {}
SimEvent::~SimEvent() {
    if (m_impl->handle) CloseHandle(m_impl->handle);
}
bool SimEvent::IsValid() const { return m_impl->handle != nullptr; }
void SimEvent::Set() { SetEvent(m_impl->handle); }
void SimEvent::Reset() { ResetEvent(m_impl->handle); }

SimWaitResult SimSleep(std::uint32_t ms, bool alertable) {
    return SleepEx(ms, alertable) == WAIT_IO_COMPLETION ? SimWaitResult::kIoCompletion : SimWaitResult::kTimeout;
}

void SimSleepHoldingLock(std::uint32_t ms) { SleepEx(ms, FALSE); }

// No virtual clock here: nothing waits for the time to be moved.
bool SimLockHeldUntil(std::uint32_t*) { return false; }

SimWaitResult SimWait(SimEvent& event, std::uint32_t ms, bool alertable) {
    return FromWait(WaitForSingleObjectEx(event.impl()->handle, ms, alertable));
}

SimTimerGuard::~SimTimerGuard() { Deactivate(); }

void SimTimerGuard::Activate() {
    if (m_active) return;
    TIMECAPS caps{};
    UINT period = 1;
    if (timeGetDevCaps(&caps, sizeof caps) == MMSYSERR_NOERROR) {
        period = caps.wPeriodMin;
        if (period < 1) period = 1;
        if (period > caps.wPeriodMax) period = caps.wPeriodMax;
    }
    m_period = period;
    timeBeginPeriod(period);
    m_active = true;
}

void SimTimerGuard::Deactivate() {
    if (!m_active) return;
    timeEndPeriod(m_period);
    m_active = false;
}

// Windows threads run on real time only; there is nothing to wait for.
SimParticipant::SimParticipant() = default;
SimParticipant::~SimParticipant() = default;
void SimParticipant::Attach() {}

bool UseVirtualClock(std::uint32_t) { return false; }
void UseRealClock() {}
bool IsVirtualClock() { return false; }
bool AdvanceVirtualClock(std::uint32_t) { return false; }

}  // namespace platform
