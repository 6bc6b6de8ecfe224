// The clock part of the virtual-device API in the Windows test build. Time
// is the system's own here: the virtual clock is not available.
#include "platform/virtual_hid_api.h"

#include "platform/sim_clock.h"

extern "C" {

int32_t FfdrvVirtualClockUseVirtual(uint32_t) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualClockUseReal(void) { return FFDRV_VIRTUAL_OK; }
uint32_t FfdrvVirtualClockNow(void) { return platform::SimTimeMs(); }
int32_t FfdrvVirtualClockAdvance(uint32_t) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualClockLockHeldUntil(uint32_t*) { return 0; }

}  // extern "C"
