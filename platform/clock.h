// The millisecond clock and the system timer resolution.
//
// TimeGetTime is timeGetTime: milliseconds since an arbitrary start,
// wrapping at 2^32. A time source can be plugged in behind it (a virtual
// clock that tests step by hand); without one it reads the system clock.
//
// TimerResolutionGuard is the bracket every clock read sits in: it raises
// the system timer resolution to the smallest period the system supports
// (timeGetDevCaps, timeBeginPeriod) and restores it (timeEndPeriod).
#pragma once

#include <cstdint>

namespace platform {

class TimeSource {
public:
    virtual ~TimeSource() = default;
    virtual std::uint32_t NowMs() = 0;
};

// Replaces the clock behind TimeGetTime for the whole process; null returns
// to the system clock. The source must outlive its installation.
void SetTimeSource(TimeSource* source);

std::uint32_t TimeGetTime();

// The period a guard asks for, from the system's supported range: the
// minimum, but at least 1 ms and at most the maximum.
constexpr std::uint32_t TimerPeriodFor(std::uint32_t minPeriod, std::uint32_t maxPeriod) {
    std::uint32_t period = minPeriod < 1 ? 1 : minPeriod;
    return period > maxPeriod ? maxPeriod : period;
}

// Scoped raise of the system timer resolution. Owned by whoever reads the
// clock, on its own thread; not shared between threads.
class TimerResolutionGuard {
public:
    // Activates at once unless told otherwise.
    explicit TimerResolutionGuard(bool activate = true);
    ~TimerResolutionGuard();
    TimerResolutionGuard(const TimerResolutionGuard&) = delete;
    TimerResolutionGuard& operator=(const TimerResolutionGuard&) = delete;

    // Begins the period; a second Activate while active does nothing. False
    // when the system refused (the guard then stays inactive).
    bool Activate();
    // Ends the period it began, once.
    void Deactivate();

    bool IsActive() const { return m_active; }
    std::uint32_t Period() const { return m_period; }

private:
    std::uint32_t m_period = 0;
    bool m_active = false;
};

namespace timer {
// The backend's timeGetDevCaps / timeBeginPeriod / timeEndPeriod; each
// returns true on success.
bool GetDevCaps(std::uint32_t* minPeriod, std::uint32_t* maxPeriod);
bool BeginPeriod(std::uint32_t period);
bool EndPeriod(std::uint32_t period);
// The backend's own millisecond clock.
std::uint32_t SystemTimeMs();
}  // namespace timer

}  // namespace platform
