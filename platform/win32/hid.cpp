#include "platform/hid.h"

#include <windows.h>
#include <setupapi.h>
#include <devpropdef.h>
// MinGW's HID headers declare C functions without a linkage block.
extern "C" {
#include <hidsdi.h>
#include <hidpi.h>
}

#include <cwchar>

#include "platform/debug.h"
#include "platform/win32/sim_event_impl.h"

namespace platform::hid {

struct DirectInputOpaque {
    IDirectInput8W* input;
};
struct ControllerOpaque {
    IDirectInputDevice8W* device;
};
struct AsyncIo::Impl {
    OVERLAPPED overlapped;  // first: completion routines get its address back
    AsyncIo* owner;         // null once the AsyncIo is gone
    IoCompletion completion;
    // A request with a completion routine holds the record until the routine
    // has run, which can be after the I/O itself completed.
    bool routineDue;
};

namespace {
// DEVPKEY_Device_ContainerId, spelled out so no translation unit has to own
// the devpkey.h definitions.
constexpr DEVPROPKEY kContainerIdKey = {
    {0x8C7ED206, 0x3F8A, 0x4827, {0xB3, 0xAB, 0xAE, 0x9E, 0x1F, 0xAE, 0xFC, 0x6C}}, 2};

struct EnumContext {
    EnumCallback callback;
    void* context;
};

BOOL CALLBACK EnumThunk(LPCDIDEVICEINSTANCEW instance, LPVOID ref) {
    auto* ctx = static_cast<EnumContext*>(ref);
    return ctx->callback(instance->guidInstance, ctx->context) ? DIENUM_CONTINUE : DIENUM_STOP;
}

void DeviceHeader(DIPROPHEADER* header, DWORD size, DWORD object, DWORD how) {
    header->dwSize = size;
    header->dwHeaderSize = sizeof(DIPROPHEADER);
    header->dwObj = object;
    header->dwHow = how;
}

VOID CALLBACK CompletionThunk(DWORD error, DWORD bytes, LPOVERLAPPED overlapped) {
    auto* impl = reinterpret_cast<AsyncIo::Impl*>(overlapped);
    impl->routineDue = false;
    // The record of an AsyncIo freed in flight was left to its request; this
    // was the last use of it.
    if (impl->owner == nullptr) {
        delete impl;
        return;
    }
    impl->completion(error, bytes, impl->owner);
}

bool InFlight(const AsyncIo::Impl& impl) {
    return impl.routineDue || static_cast<DWORD>(impl.overlapped.Internal) == kStatusPending;
}

PHIDP_PREPARSED_DATA Pp(Preparsed data) { return reinterpret_cast<PHIDP_PREPARSED_DATA>(data); }
PCHAR Report(const std::uint8_t* report) { return reinterpret_cast<PCHAR>(const_cast<std::uint8_t*>(report)); }
}  // namespace

HRESULT CreateDirectInput(void* instance, DirectInput* out) {
    IDirectInput8W* input = nullptr;
    const HRESULT hr = DirectInput8Create(static_cast<HINSTANCE>(instance), 0x0800, IID_IDirectInput8W,
                                          reinterpret_cast<void**>(&input), nullptr);
    if (FAILED(hr)) return hr;
    *out = new DirectInputOpaque{input};
    return hr;
}

void ReleaseDirectInput(DirectInput input) {
    if (input == nullptr) return;
    input->input->Release();
    delete input;
}

HRESULT EnumGameControllers(DirectInput input, DWORD flags, EnumCallback callback, void* context) {
    EnumContext ctx{callback, context};
    return input->input->EnumDevices(DI8DEVCLASS_GAMECTRL, EnumThunk, &ctx, flags);
}

HRESULT CreateDevice(DirectInput input, const GUID& instance, Controller* out) {
    IDirectInputDevice8W* device = nullptr;
    const HRESULT hr = input->input->CreateDevice(instance, &device, nullptr);
    if (FAILED(hr)) return hr;
    *out = new ControllerOpaque{device};
    return hr;
}

void ReleaseController(Controller controller) {
    if (controller == nullptr) return;
    controller->device->Release();
    delete controller;
}

HRESULT GetJoystickId(Controller controller, DWORD* id) {
    DIPROPDWORD prop{};
    DeviceHeader(&prop.diph, sizeof prop, 0, DIPH_DEVICE);
    const HRESULT hr = controller->device->GetProperty(DIPROP_JOYSTICKID, &prop.diph);
    if (SUCCEEDED(hr)) *id = prop.dwData;
    return hr;
}

HRESULT GetGuidAndPath(Controller controller, GuidAndPath* out) {
    DIPROPGUIDANDPATH prop{};
    DeviceHeader(&prop.diph, sizeof prop, 0, DIPH_DEVICE);
    const HRESULT hr = controller->device->GetProperty(DIPROP_GUIDANDPATH, &prop.diph);
    if (FAILED(hr)) return hr;
    out->classGuid = prop.guidClass;
    std::wcsncpy(out->path, prop.wszPath, kMaxPath - 1);
    out->path[kMaxPath - 1] = L'\0';
    return hr;
}

HRESULT GetCalibration(Controller controller, DWORD offset, LONG out[3]) {
    DIPROPCAL prop{};
    DeviceHeader(&prop.diph, sizeof prop, offset, DIPH_BYOFFSET);
    const HRESULT hr = controller->device->GetProperty(DIPROP_CALIBRATION, &prop.diph);
    if (FAILED(hr)) return hr;
    out[0] = prop.lMin;
    out[1] = prop.lCenter;
    out[2] = prop.lMax;
    return hr;
}

HRESULT Unacquire(Controller controller) { return controller->device->Unacquire(); }
HRESULT SetJoystickDataFormat(Controller controller) { return controller->device->SetDataFormat(&c_dfDIJoystick); }

bool GetContainerId(const wchar_t* interfacePath, GUID* out) {
    HDEVINFO set = SetupDiCreateDeviceInfoList(nullptr, nullptr);
    if (set == INVALID_HANDLE_VALUE) return false;
    SP_DEVICE_INTERFACE_DATA iface{};
    iface.cbSize = sizeof iface;
    SP_DEVINFO_DATA info{};
    info.cbSize = sizeof info;
    DEVPROPTYPE type = 0;
    GUID container{};
    const bool ok = SetupDiOpenDeviceInterfaceW(set, interfacePath, 0, &iface) &&
                    SetupDiEnumDeviceInfo(set, 0, &info) &&
                    SetupDiGetDevicePropertyW(set, &info, &kContainerIdKey, &type, reinterpret_cast<PBYTE>(&container),
                                              sizeof container, nullptr, 0) &&
                    type == DEVPROP_TYPE_GUID;
    SetupDiDestroyDeviceInfoList(set);
    if (ok) *out = container;
    return ok;
}

File OpenOverlapped(const wchar_t* path) {
    HANDLE h = CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    return h == INVALID_HANDLE_VALUE ? InvalidFile() : h;
}

void CloseFile(File file) {
    if (file != InvalidFile() && file != nullptr) CloseHandle(file);
}

DWORD LastError() { return GetLastError(); }

bool GetAttributes(File file, Attributes* out) {
    HIDD_ATTRIBUTES attributes{};
    attributes.Size = sizeof attributes;
    if (!HidD_GetAttributes(file, &attributes)) return false;
    *out = Attributes{attributes.Size, attributes.VendorID, attributes.ProductID, attributes.VersionNumber};
    return true;
}

bool GetPreparsedData(File file, Preparsed* out) {
    PHIDP_PREPARSED_DATA data = nullptr;
    if (!HidD_GetPreparsedData(file, &data)) return false;
    *out = reinterpret_cast<Preparsed>(data);
    return true;
}

void FreePreparsedData(Preparsed data) {
    if (data != nullptr) HidD_FreePreparsedData(Pp(data));
}

NtStatus GetCaps(Preparsed data, Caps* out) {
    HIDP_CAPS caps{};
    const NTSTATUS status = HidP_GetCaps(Pp(data), &caps);
    if (status == HIDP_STATUS_SUCCESS)
        *out = Caps{caps.Usage, caps.UsagePage, caps.InputReportByteLength, caps.OutputReportByteLength,
                    caps.FeatureReportByteLength};
    return status;
}

ULONG MaxInputUsageListLength(Preparsed data) { return HidP_MaxUsageListLength(HidP_Input, 0, Pp(data)); }

NtStatus GetSpecificInputValueCaps(Preparsed data, std::uint16_t usagePage, std::uint16_t linkCollection,
                                   std::uint16_t usage, ValueCaps* caps, std::uint16_t* count) {
    HIDP_VALUE_CAPS found[1] = {};
    USHORT length = 1;
    const NTSTATUS status =
        HidP_GetSpecificValueCaps(HidP_Input, usagePage, linkCollection, usage, found, &length, Pp(data));
    if ((status == HIDP_STATUS_SUCCESS || status == HIDP_STATUS_BUFFER_TOO_SMALL) && *count > 0 && length > 0) {
        caps[0] = ValueCaps{found[0].UsagePage, found[0].BitSize, found[0].LogicalMin, found[0].LogicalMax};
        *count = 1;
    } else {
        *count = 0;
    }
    return status;
}

NtStatus GetInputUsageValue(Preparsed data, std::uint16_t usagePage, std::uint16_t linkCollection,
                            std::uint16_t usage, ULONG* value, const std::uint8_t* report, ULONG length) {
    return HidP_GetUsageValue(HidP_Input, usagePage, linkCollection, usage, value, Pp(data), Report(report), length);
}

NtStatus GetInputUsagesEx(Preparsed data, std::uint16_t linkCollection, UsageAndPage* list, ULONG* count,
                          const std::uint8_t* report, ULONG length) {
    static_assert(sizeof(UsageAndPage) == sizeof(USAGE_AND_PAGE));
    return HidP_GetUsagesEx(HidP_Input, linkCollection, reinterpret_cast<PUSAGE_AND_PAGE>(list), count, Pp(data),
                            Report(report), length);
}

bool SetFeature(File file, const void* report, ULONG length) {
    return HidD_SetFeature(file, const_cast<void*>(report), length);
}

AsyncIo::AsyncIo() : m_impl(new Impl{}) { m_impl->owner = this; }

AsyncIo::~AsyncIo() {
    if (!InFlight(*m_impl)) return;
    // The system still writes into the record and queues its routine: leave
    // it to the request (the routine frees it; a request without one keeps
    // it for good, a small leak instead of a write into freed memory).
    m_impl->owner = nullptr;
    (void)m_impl.release();
    DebugTrace(L"hid: an overlapped record was freed while its request was in flight");
}
DWORD AsyncIo::Status() const { return static_cast<DWORD>(m_impl->overlapped.Internal); }
void AsyncIo::Reset() {
    HANDLE event = m_impl->overlapped.hEvent;
    m_impl->overlapped = OVERLAPPED{};
    m_impl->overlapped.hEvent = event;
}

bool WriteFileEx(File file, const void* data, DWORD length, AsyncIo* io, IoCompletion completion) {
    AsyncIo::Impl& impl = *io->impl();
    impl.completion = completion;
    impl.routineDue = ::WriteFileEx(file, data, length, &impl.overlapped, CompletionThunk) != FALSE;
    return impl.routineDue;
}

bool ReadFileEx(File file, void* data, DWORD length, AsyncIo* io, IoCompletion completion) {
    AsyncIo::Impl& impl = *io->impl();
    impl.completion = completion;
    impl.routineDue = ::ReadFileEx(file, data, length, &impl.overlapped, CompletionThunk) != FALSE;
    return impl.routineDue;
}

bool ReadFileOverlapped(File file, void* data, DWORD length, AsyncIo* io, SimEvent* event) {
    io->impl()->overlapped.hEvent = event->impl()->handle;
    if (::ReadFile(file, data, length, nullptr, &io->impl()->overlapped)) return true;
    return GetLastError() == ERROR_IO_PENDING;
}

bool CancelIo(File file) { return ::CancelIo(file); }

}  // namespace platform::hid
