// The Windows build talks to real HID devices only: the virtual RAP bus is
// not the library's bus there, so the host API refuses every call.
#include "devio/Source/Virtual/virtual_rap_api.h"

extern "C" {

int32_t FfdrvVirtualRapPlug(const FfdrvVirtualRapDevice*, uint32_t*) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualRapUnplug(uint32_t) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualRapCount(uint32_t, uint32_t) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualRapWait(uint32_t, uint32_t, uint32_t, uint32_t) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }
int32_t FfdrvVirtualRapGetCommand(uint32_t, uint32_t, uint8_t*, uint32_t*, uint32_t) {
    return FFDRV_VIRTUAL_E_UNSUPPORTED;
}
int32_t FfdrvVirtualRapBusActive(void) { return FFDRV_VIRTUAL_E_UNSUPPORTED; }

}  // extern "C"
