// The clock part of the virtual-device API: the portable backend's virtual
// clock.
#include "platform/virtual_hid_api.h"

#include "platform/sim_clock.h"

extern "C" {

int32_t FfdrvVirtualClockUseVirtual(uint32_t startMs) {
    return platform::UseVirtualClock(startMs) ? FFDRV_VIRTUAL_OK : FFDRV_VIRTUAL_E_CLOCK;
}

int32_t FfdrvVirtualClockUseReal(void) {
    platform::UseRealClock();
    return FFDRV_VIRTUAL_OK;
}

uint32_t FfdrvVirtualClockNow(void) { return platform::SimTimeMs(); }

int32_t FfdrvVirtualClockAdvance(uint32_t ms) {
    return platform::AdvanceVirtualClock(ms) ? FFDRV_VIRTUAL_OK : FFDRV_VIRTUAL_E_CLOCK;
}

int32_t FfdrvVirtualClockLockHeldUntil(uint32_t* untilMs) { return platform::SimLockHeldUntil(untilMs) ? 1 : 0; }

}  // extern "C"
