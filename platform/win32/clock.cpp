#include <windows.h>
#include <mmsystem.h>

#include "platform/clock.h"

namespace platform::timer {

bool GetDevCaps(std::uint32_t* minPeriod, std::uint32_t* maxPeriod) {
    TIMECAPS caps{};
    if (timeGetDevCaps(&caps, sizeof caps) != MMSYSERR_NOERROR) return false;
    *minPeriod = caps.wPeriodMin;
    *maxPeriod = caps.wPeriodMax;
    return true;
}

bool BeginPeriod(std::uint32_t period) { return timeBeginPeriod(period) == TIMERR_NOERROR; }
bool EndPeriod(std::uint32_t period) { return timeEndPeriod(period) == TIMERR_NOERROR; }
std::uint32_t SystemTimeMs() { return timeGetTime(); }

}  // namespace platform::timer
