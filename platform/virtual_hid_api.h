/* Virtual HID devices and the virtual clock, for hosts of the portable build.
 *
 * A host (a test, a tool, an effect player) loads the driver library, plugs
 * virtual force-feedback controllers in at DirectInput joystick IDs, then
 * drives the driver through its COM exports exactly as DirectInput would. The
 * driver finds the virtual devices through its usual enumeration and talks to
 * them over its usual HID path; every output and feature report it writes is
 * recorded with its time on the simulation clock.
 *
 * Plain C, separate from the COM exports. Every function returns
 * FFDRV_VIRTUAL_OK (0) or a negative FFDRV_VIRTUAL_E_* code unless it says
 * otherwise. On Windows builds the functions exist but are not exported and
 * report FFDRV_VIRTUAL_E_UNSUPPORTED.
 *
 * Input report layout of a virtual device (report ID 0):
 *   byte 0       report ID, 0
 *   bytes 1..2   X, little-endian, the low `bitSize` bits of axes[0]
 *   bytes 3..4   Y, likewise for axes[1]
 *   bytes 5..    buttons, one bit each: button 1 is bit 0 of byte 5
 * so inputReportLength must be at least 5 + (buttonCount + 7) / 8.
 */
#ifndef FFDRV_PLATFORM_VIRTUAL_HID_API_H
#define FFDRV_PLATFORM_VIRTUAL_HID_API_H

#include <stdint.h>

#if defined(__GNUC__) && !defined(_WIN32)
#define FFDRV_VIRTUAL_API __attribute__((visibility("default")))
#else
#define FFDRV_VIRTUAL_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

#define FFDRV_VIRTUAL_OK 0
#define FFDRV_VIRTUAL_E_ARGUMENT (-1)    /* null or inconsistent argument */
#define FFDRV_VIRTUAL_E_UNSUPPORTED (-2) /* no virtual devices in this build */
#define FFDRV_VIRTUAL_E_IN_USE (-3)      /* a device is already plugged at that ID */
#define FFDRV_VIRTUAL_E_NO_DEVICE (-4)   /* nothing plugged at that ID */
#define FFDRV_VIRTUAL_E_RANGE (-5)       /* report index past the end */
#define FFDRV_VIRTUAL_E_CLOCK (-6)       /* the virtual clock is off, or a thread hung */

/* How a device answers output report writes. */
#define FFDRV_VIRTUAL_WRITE_COMPLETE 0 /* accepted and completed at once */
#define FFDRV_VIRTUAL_WRITE_STALL 1    /* accepted, never completes until cancelled */
#define FFDRV_VIRTUAL_WRITE_FAIL 2     /* refused: the write call itself fails */
#define FFDRV_VIRTUAL_WRITE_ERROR 3    /* accepted, completes with a device error */

#define FFDRV_VIRTUAL_REPORT_OUTPUT 0
#define FFDRV_VIRTUAL_REPORT_FEATURE 1

typedef struct FfdrvVirtualAxis {
    uint16_t bitSize;   /* 1..16 */
    int32_t logicalMin; /* HID value capability of the axis */
    int32_t logicalMax;
} FfdrvVirtualAxis;

typedef struct FfdrvVirtualDevice {
    uint32_t size; /* sizeof(FfdrvVirtualDevice) */
    uint32_t joystickId;
    uint16_t vendorId;
    uint16_t productId;
    uint16_t versionNumber;
    uint16_t inputReportLength;  /* HID capability lengths, report ID byte included */
    uint16_t outputReportLength;
    uint16_t featureReportLength;
    uint8_t containerId[16]; /* GUID, in memory order */
    uint32_t hasCalibration; /* 0: DirectInput has no calibration for the axes */
    int32_t calibration[6];  /* DirectInput's X min, centre, max, Y min, centre, max */
    FfdrvVirtualAxis axes[2];
    uint32_t buttonCount; /* 0..64 */
    /* One more usage reported as set in every input report (page 0: none),
     * as a device with vendor or hat controls would. */
    uint16_t extraUsagePage;
    uint16_t extraUsage;
} FfdrvVirtualDevice;

FFDRV_VIRTUAL_API int32_t FfdrvVirtualPlug(const FfdrvVirtualDevice* device);
/* Pulls the device out: open handles stay valid but every read and write on
 * them fails from now on, and requests in flight complete with an error. */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualUnplug(uint32_t joystickId);

/* Sets the axes (raw HID values) and buttons (bit n: button n + 1) and sends
 * one input report carrying them. */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualSetInput(uint32_t joystickId, int32_t x, int32_t y, uint64_t buttons);
/* Sends one input report exactly as given (report ID byte included), padded
 * with zeros or cut to the device's input report length; the axes and
 * buttons that FfdrvVirtualSetInput keeps are left as they were. */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualSendInputReport(uint32_t joystickId, const uint8_t* report, uint32_t length);
FFDRV_VIRTUAL_API int32_t FfdrvVirtualSetWriteMode(uint32_t joystickId, uint32_t mode);

/* Recorded reports, oldest first. Returns the count (>= 0). */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualReportCount(uint32_t joystickId);
/* Copies up to `capacity` bytes of report `index`; returns the report's full
 * length (>= 0). `kind` and `timeMs` may be null. */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualGetReport(uint32_t joystickId, uint32_t index, uint32_t* kind,
                                                uint32_t* timeMs, uint8_t* buffer, uint32_t capacity);
FFDRV_VIRTUAL_API int32_t FfdrvVirtualClearReports(uint32_t joystickId);
/* Reads and writes in flight on the device. Returns the count (>= 0). */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualPendingIo(uint32_t joystickId);

/* The simulation clock. Switch clocks only while no device is open. */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualClockUseVirtual(uint32_t startMs);
FFDRV_VIRTUAL_API int32_t FfdrvVirtualClockUseReal(void);
FFDRV_VIRTUAL_API uint32_t FfdrvVirtualClockNow(void);
/* Moves virtual time forward, letting the driver's threads run every wait
 * that falls due on the way; returns once they are all waiting again. */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualClockAdvance(uint32_t ms);
/* 1 while a driver thread sleeps holding a device's lock (an effect's pause
 * before its final stop), with the time that sleep ends in `untilMs`; 0
 * otherwise. A call made on the thread that advances the clock would wait
 * for that lock with no one left to move the time: let the time run to
 * `untilMs` first. */
FFDRV_VIRTUAL_API int32_t FfdrvVirtualClockLockHeldUntil(uint32_t* untilMs);

#ifdef __cplusplus
}
#endif

#endif /* FFDRV_PLATFORM_VIRTUAL_HID_API_H */
