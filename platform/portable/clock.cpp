// The monotonic clock stands in for timeGetTime. There is no system timer
// period to raise: the kernel's timers are already fine-grained, so the
// period calls succeed and change nothing.
#include <time.h>

#include "platform/clock.h"

namespace platform::timer {

bool GetDevCaps(std::uint32_t* minPeriod, std::uint32_t* maxPeriod) {
    *minPeriod = 1;
    *maxPeriod = 1000000;
    return true;
}

bool BeginPeriod(std::uint32_t period) { return period >= 1; }
bool EndPeriod(std::uint32_t period) { return period >= 1; }

std::uint32_t SystemTimeMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    // Wraps at 2^32 like timeGetTime.
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 1000u +
                                      static_cast<std::uint64_t>(now.tv_nsec) / 1000000u);
}

}  // namespace platform::timer
