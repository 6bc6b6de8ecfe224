// Windows builds talk to real devices only; the virtual-device API is there so
// that hosts and tests link on both backends, and refuses every request.
#include "platform/virtual_hid_api.h"

#include "platform/sim_clock.h"

extern "C" {
int32_t FfdrvVirtualPlug(const FfdrvVirtualDevice*) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualUnplug(uint32_t) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualSetInput(uint32_t, int32_t, int32_t, uint64_t) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualSetWriteMode(uint32_t, uint32_t) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualReportCount(uint32_t) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualGetReport(uint32_t, uint32_t, uint32_t*, uint32_t*, uint8_t*, uint32_t) {
    return FFDRV_VIRTUAL_E_UNSUPPORTED;
}
int32_t FfdrvVirtualClearReports(uint32_t) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualPendingIo(uint32_t) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualClockUseVirtual(uint32_t) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualClockUseReal(void) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
uint32_t FfdrvVirtualClockNow(void) { return platform::SimTimeMs(); }
int32_t FfdrvVirtualClockAdvance(uint32_t) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualClockLockHeldUntil(uint32_t*) { return 0; }
}
