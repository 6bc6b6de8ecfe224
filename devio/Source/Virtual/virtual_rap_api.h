/* Virtual RAP wheels on the device library's bus, for hosts of the portable
 * build: the library-side counterpart of the virtual HID devices
 * (platform/virtual_hid_api.h). A host plugs a RAP wheel carrying the same
 * container ID as a virtual HID wheel, and the driver's bridge thread binds
 * the two; the host then sees what the driver sent to the wheel's RPM
 * indicator feature (0x807A).
 *
 * Plain C, exported beside the virtual HID functions. Results are
 * FFDRV_VIRTUAL_OK (0) or a negative FFDRV_VIRTUAL_E_* code unless a function
 * says otherwise. Windows builds have no virtual bus: every function reports
 * FFDRV_VIRTUAL_E_UNSUPPORTED there.
 */
#ifndef FFDRV_DEVIO_VIRTUAL_RAP_API_H
#define FFDRV_DEVIO_VIRTUAL_RAP_API_H

#include <stdint.h>

#include "platform/virtual_hid_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#define FFDRV_VIRTUAL_E_TIMEOUT (-7) /* a wait ran out: what was waited for never came */

#define FFDRV_VIRTUAL_RAP_MAX_FEATURES 16

/* What FfdrvVirtualRapCount and FfdrvVirtualRapWait count. */
#define FFDRV_VIRTUAL_RAP_COMMANDS 0          /* complete feature commands taken */
#define FFDRV_VIRTUAL_RAP_VALUE_QUERIES 1     /* two-byte value queries answered */
#define FFDRV_VIRTUAL_RAP_READINESS_QUERIES 2 /* readiness queries answered */

typedef struct FfdrvVirtualRapDevice {
    uint32_t size; /* sizeof(FfdrvVirtualRapDevice) */
    uint8_t containerId[16]; /* GUID, in memory order, as in FfdrvVirtualDevice */
    uint16_t productId;
    uint16_t featureCount; /* 0..FFDRV_VIRTUAL_RAP_MAX_FEATURES */
    uint16_t features[FFDRV_VIRTUAL_RAP_MAX_FEATURES]; /* IDs at indices 1.. */
    uint8_t value[2];  /* the RPM indicator's two-byte value, as the wheel sends it */
    uint8_t ready;     /* non-zero: the RPM indicator takes commands */
    uint8_t stateFlag;
} FfdrvVirtualRapDevice;

/* Plugs a new wheel in; *handle names it in the other calls (never 0). */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualRapPlug(const FfdrvVirtualRapDevice* device, uint32_t* handle);
/* Pulls the wheel out (the library hears of its removal) and forgets it. */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualRapUnplug(uint32_t handle);
/* How many of `what` the wheel has seen (>= 0). */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualRapCount(uint32_t handle, uint32_t what);
/* Waits until the wheel has seen at least `count` of `what`; the timeout
 * only guards against hangs. */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualRapWait(uint32_t handle, uint32_t what, uint32_t count, uint32_t timeoutMs);
/* Command `index` (oldest first): its command byte into *command and up to
 * `capacity` of its values into `values`; returns its value count (>= 0). */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualRapGetCommand(uint32_t handle, uint32_t index, uint8_t* command,
                                                    uint32_t* values, uint32_t capacity);
/* 1 while a device manager listens on the bus (the driver's bridge thread
 * runs), else 0. */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualRapBusActive(void);

#ifdef __cplusplus
}
#endif

#endif /* FFDRV_DEVIO_VIRTUAL_RAP_API_H */
