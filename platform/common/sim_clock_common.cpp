// The parts of the simulation clock that are the same on both backends.
#include "platform/sim_clock.h"
#include "platform/thread.h"

namespace platform {

std::uint32_t BracketedSimTimeMs() {
    SimTimerGuard guard;
    guard.Activate();
    const std::uint32_t now = SimTimeMs();
    guard.Deactivate();
    return now;
}

void JoinSimThread(Thread& thread) {
    if (!IsVirtualClock()) {
        thread.Join(kSimInfinite);
        return;
    }
    while (!thread.Join(0)) AdvanceVirtualClock(1);
}

}  // namespace platform
