// Device discovery and HID access: the DirectInput, device-setup and HID
// class-driver calls the input object needs, and overlapped report I/O.
//
// win32: the real DirectInput 8, SetupDi, HidD_/HidP_ and ReadFileEx /
// WriteFileEx / CancelIo calls. portable: the same operations against the
// virtual HID devices plugged in through platform/virtual_hid_api.h, with
// completion routines delivered during the issuing thread's alertable waits
// on the simulation clock (platform/sim_clock.h), as APCs are on Windows.
//
// Results keep their Windows meaning: HRESULTs for DirectInput, NTSTATUS
// values for HidP_ calls, BOOL-style success for HidD_ and file calls with
// the Win32 error in LastError().
#pragma once

#include <cstdint>
#include <memory>

#include "com_abi.h"
#include "platform/sim_clock.h"

namespace platform::hid {

// ---- DirectInput --------------------------------------------------------

struct DirectInputOpaque;
using DirectInput = DirectInputOpaque*;
struct ControllerOpaque;
using Controller = ControllerOpaque*;

// Force-feedback devices only, aliases and phantom (not present) devices
// included, attached-only not requested.
constexpr DWORD kEnumForceFeedbackAll = 0x30100;
constexpr std::size_t kMaxPath = 260;

// DirectInput8Create, version 0x0800, IID_IDirectInput8W.
HRESULT CreateDirectInput(void* instance, DirectInput* out);
void ReleaseDirectInput(DirectInput input);

// EnumDevices over DI8DEVCLASS_GAMECTRL. The callback gets each instance GUID
// and returns true to go on, false to stop (DIENUM_CONTINUE / DIENUM_STOP).
using EnumCallback = bool (*)(const GUID& instance, void* context);
HRESULT EnumGameControllers(DirectInput input, DWORD flags, EnumCallback callback, void* context);

HRESULT CreateDevice(DirectInput input, const GUID& instance, Controller* out);
void ReleaseController(Controller controller);
// DIPROP_JOYSTICKID on the whole device.
HRESULT GetJoystickId(Controller controller, DWORD* id);
// DIPROP_GUIDANDPATH on the whole device: class GUID and HID device path.
struct GuidAndPath {
    GUID classGuid;
    wchar_t path[kMaxPath];
};
HRESULT GetGuidAndPath(Controller controller, GuidAndPath* out);
// DIPROP_CALIBRATION of the axis at data offset `offset` (X 0, Y 4):
// minimum, centre, maximum.
HRESULT GetCalibration(Controller controller, DWORD offset, LONG out[3]);
HRESULT Unacquire(Controller controller);
// SetDataFormat with the standard joystick format (DIJOYSTATE).
HRESULT SetJoystickDataFormat(Controller controller);

// ---- Device setup -------------------------------------------------------

// DEVPKEY_Device_ContainerId of the device behind an interface path; false
// when any SetupDi step fails.
bool GetContainerId(const wchar_t* interfacePath, GUID* out);

// ---- Files and the HID class driver --------------------------------------

using File = void*;
inline File InvalidFile() { return reinterpret_cast<File>(~std::uintptr_t{0}); }

// CreateFileW: read and write access, shared read and write, open existing,
// overlapped. InvalidFile() on failure.
File OpenOverlapped(const wchar_t* path);
void CloseFile(File file);
DWORD LastError();

using NtStatus = std::int32_t;
constexpr NtStatus kHidpStatusSuccess = 0x00110000;
constexpr NtStatus kHidpStatusBufferTooSmall = static_cast<NtStatus>(0xC0110007u);
constexpr NtStatus kHidpStatusUsageNotFound = static_cast<NtStatus>(0xC0110004u);
constexpr NtStatus kHidpStatusInvalidPreparsedData = static_cast<NtStatus>(0xC0110001u);

constexpr std::uint16_t kUsagePageGenericDesktop = 0x01;
constexpr std::uint16_t kUsagePageButton = 0x09;
constexpr std::uint16_t kUsageX = 0x30;
constexpr std::uint16_t kUsageY = 0x31;

struct Attributes {  // HIDD_ATTRIBUTES
    DWORD size;
    std::uint16_t vendorId;
    std::uint16_t productId;
    std::uint16_t versionNumber;
};

struct Caps {  // the HIDP_CAPS fields the driver reads
    std::uint16_t usage;
    std::uint16_t usagePage;
    std::uint16_t inputReportByteLength;
    std::uint16_t outputReportByteLength;
    std::uint16_t featureReportByteLength;
};

struct ValueCaps {  // the HIDP_VALUE_CAPS fields the driver reads
    std::uint16_t usagePage;
    std::uint16_t bitSize;
    LONG logicalMin;
    LONG logicalMax;
};

struct UsageAndPage {  // USAGE_AND_PAGE
    std::uint16_t usage;
    std::uint16_t usagePage;
};

struct PreparsedOpaque;
using Preparsed = PreparsedOpaque*;

bool GetAttributes(File file, Attributes* out);
bool GetPreparsedData(File file, Preparsed* out);
void FreePreparsedData(Preparsed data);
NtStatus GetCaps(Preparsed data, Caps* out);
// HidP_MaxUsageListLength for input reports, all usage pages.
ULONG MaxInputUsageListLength(Preparsed data);
// HidP_GetSpecificValueCaps for input reports. `*count` is the capacity of
// `caps` on entry and the number filled on return.
NtStatus GetSpecificInputValueCaps(Preparsed data, std::uint16_t usagePage, std::uint16_t linkCollection,
                                   std::uint16_t usage, ValueCaps* caps, std::uint16_t* count);
// HidP_GetUsageValue on an input report.
NtStatus GetInputUsageValue(Preparsed data, std::uint16_t usagePage, std::uint16_t linkCollection,
                            std::uint16_t usage, ULONG* value, const std::uint8_t* report, ULONG length);
// HidP_GetUsagesEx on an input report. `*count` is the capacity of `list` on
// entry and the number of usages found on return.
NtStatus GetInputUsagesEx(Preparsed data, std::uint16_t linkCollection, UsageAndPage* list, ULONG* count,
                          const std::uint8_t* report, ULONG length);
// HidD_SetFeature.
bool SetFeature(File file, const void* report, ULONG length);

// ---- Overlapped I/O ------------------------------------------------------

// NTSTATUS of a request still in flight, as the overlapped record shows it,
// and of one that CancelIo ended (its completion routine gets
// kErrorOperationAborted).
constexpr DWORD kStatusPending = 259;
constexpr DWORD kStatusCancelled = 0xC0000120u;
constexpr DWORD kErrorOperationAborted = 995;

// One overlapped request (an OVERLAPPED record). The issuer keeps it alive,
// at the same address, until the request has completed and its completion
// routine, if any, has run: to end a request early, CancelIo and then wait
// alertably until the routine ran (or the event is set). Freeing it while a
// request is in flight is a fault the backends contain rather than a write
// into freed memory: the record stays with the request until it completes
// and its routine is not called (win32), or the request is withdrawn from
// the device (portable); either way a debug trace line reports it.
class AsyncIo {
public:
    AsyncIo();
    ~AsyncIo();
    AsyncIo(const AsyncIo&) = delete;
    AsyncIo& operator=(const AsyncIo&) = delete;

    // The request's status: kStatusPending while in flight, 0 after success,
    // an NTSTATUS error code after failure or cancellation.
    DWORD Status() const;
    // Clears the record (offsets and status) before it is reused.
    void Reset();

    void* context = nullptr;  // free for the issuer, as OVERLAPPED.hEvent is

    struct Impl;
    Impl* impl() const { return m_impl.get(); }

private:
    std::unique_ptr<Impl> m_impl;
};

// Runs on the issuing thread during one of its alertable waits.
using IoCompletion = void (*)(DWORD error, DWORD bytes, AsyncIo* io);

// WriteFileEx / ReadFileEx. False when the request could not be started.
bool WriteFileEx(File file, const void* data, DWORD length, AsyncIo* io, IoCompletion completion);
bool ReadFileEx(File file, void* data, DWORD length, AsyncIo* io, IoCompletion completion);
// ReadFile with an overlapped record whose manual-reset event is set when the
// read completes. False when the read neither completed nor is pending.
bool ReadFileOverlapped(File file, void* data, DWORD length, AsyncIo* io, SimEvent* event);
// CancelIo: cancels the calling thread's requests on the file; their
// completion routines still run, with kErrorOperationAborted.
bool CancelIo(File file);

}  // namespace platform::hid
