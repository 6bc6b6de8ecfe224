// The HID contract against virtual devices on Windows, for the test build of
// the DLL only (the shipped DLL talks to real devices). Everything around the
// devices stays the system's: completion routines are user APCs queued to the
// issuing thread and run in its alertable waits, overlapped reads signal
// their Win32 event, and time is the system's millisecond clock.
#include "platform/hid.h"

#include <windows.h>
#include <mmsystem.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/virtual_hid_api.h"
#include "platform/win32/sim_event_impl.h"
#include "platform/win32/virtual/virtual_devices.h"

namespace platform::hid {

struct DirectInputOpaque {};
struct ControllerOpaque {
    std::shared_ptr<vdev::Device> device;
};
struct PreparsedOpaque {
    FfdrvVirtualDevice config;
};
struct AsyncIo::Impl {
    DWORD status = 0;
};

}  // namespace platform::hid

namespace platform::vdev {
namespace {
constexpr std::size_t kFirstButtonByte = 5;
constexpr std::size_t kMaxQueuedInputReports = 32;
constexpr std::uint32_t kMaxButtons = 64;
constexpr DWORD kStatusCancelled = 0xC0000120u;
constexpr DWORD kStatusDeviceNotConnected = 0xC000009Du;

std::map<std::uint32_t, std::shared_ptr<Device>>& Registry() {
    static std::map<std::uint32_t, std::shared_ptr<Device>> registry;
    return registry;
}

struct ApcCall {
    hid::IoCompletion completion;
    DWORD error;
    DWORD bytes;
    hid::AsyncIo* io;
};

VOID CALLBACK RunCompletion(ULONG_PTR parameter) {
    std::unique_ptr<ApcCall> call(reinterpret_cast<ApcCall*>(parameter));
    call->completion(call->error, call->bytes, call->io);
}

bool ValidConfig(const FfdrvVirtualDevice& c) {
    if (c.size != sizeof(FfdrvVirtualDevice) || c.buttonCount > kMaxButtons) return false;
    for (const FfdrvVirtualAxis& axis : c.axes) {
        if (axis.bitSize == 0 || axis.bitSize > 16) return false;
    }
    return c.inputReportLength >= kFirstButtonByte + (c.buttonCount + 7) / 8 && c.outputReportLength > 0;
}

void PutAxis(std::vector<std::uint8_t>& report, std::size_t at, std::int32_t value, std::uint16_t bits) {
    const std::uint32_t raw = static_cast<std::uint32_t>(value) & ((1u << bits) - 1);
    report[at] = static_cast<std::uint8_t>(raw);
    report[at + 1] = static_cast<std::uint8_t>(raw >> 8);
}
}  // namespace

std::mutex& Lock() {
    static std::mutex lock;
    return lock;
}

Pending::Pending(OpenFile* f, hid::AsyncIo* i, hid::IoCompletion c, HANDLE e, std::uint8_t* buffer, DWORD n)
    : file(f), io(i), completion(c), event(e), readBuffer(buffer), length(n), issuerId(GetCurrentThreadId()) {
    // The routine runs on the thread that issued the request, as Windows does.
    if (completion != nullptr)
        DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &issuer, 0, FALSE,
                        DUPLICATE_SAME_ACCESS);
}

void CompleteLocked(Pending& p, DWORD error, DWORD bytes) {
    p.io->impl()->status = error == 0 ? 0 : error == hid::kErrorOperationAborted ? kStatusCancelled
                                                                               : kStatusDeviceNotConnected;
    if (p.completion != nullptr && p.issuer != nullptr) {
        auto* call = new ApcCall{p.completion, error, bytes, p.io};
        if (!QueueUserAPC(RunCompletion, p.issuer, reinterpret_cast<ULONG_PTR>(call))) delete call;
    } else if (p.event != nullptr) {
        SetEvent(p.event);
    }
    if (p.issuer != nullptr) CloseHandle(p.issuer);
    p.issuer = nullptr;
}

std::shared_ptr<Device> FindByIdLocked(std::uint32_t joystickId) {
    auto it = Registry().find(joystickId);
    return it == Registry().end() ? nullptr : it->second;
}

std::shared_ptr<Device> FindByPathLocked(const wchar_t* path) {
    for (auto& [id, device] : Registry()) {
        if (_wcsicmp(device->path.c_str(), path) == 0) return device;
    }
    return nullptr;
}

std::vector<std::shared_ptr<Device>> ListLocked() {
    std::vector<std::shared_ptr<Device>> list;
    for (auto& [id, device] : Registry()) list.push_back(device);
    return list;
}

GUID InstanceGuid(std::uint32_t joystickId) {
    return GUID{0x5649D000u + joystickId, 0x4A53, 0x11F0, {0x80, 0, 0x56, 0x49, 0x52, 0x54, 0x48, 0x49}};
}

std::int32_t PlugLocked(const FfdrvVirtualDevice& config) {
    if (!ValidConfig(config)) return FFDRV_VIRTUAL_E_ARGUMENT;
    if (Registry().count(config.joystickId) != 0) return FFDRV_VIRTUAL_E_IN_USE;
    auto device = std::make_shared<Device>();
    device->config = config;
    wchar_t path[hid::kMaxPath];
    std::swprintf(path, hid::kMaxPath, L"\\\\?\\hid#virtual&vid_%04x&pid_%04x#js%u#{4d1e55b2-f16f-11cf-88cb-001111000030}",
                  config.vendorId, config.productId, config.joystickId);
    device->path = path;
    Registry()[config.joystickId] = device;
    return FFDRV_VIRTUAL_OK;
}

void FailAllLocked(std::vector<Pending>& list, DWORD error) {
    std::vector<Pending> failing;
    failing.swap(list);
    for (Pending& p : failing) CompleteLocked(p, error, 0);
}

std::int32_t UnplugLocked(std::uint32_t joystickId) {
    auto device = FindByIdLocked(joystickId);
    if (!device) return FFDRV_VIRTUAL_E_NO_DEVICE;
    device->plugged = false;
    FailAllLocked(device->reads, ERROR_DEVICE_NOT_CONNECTED);
    FailAllLocked(device->writes, ERROR_DEVICE_NOT_CONNECTED);
    Registry().erase(joystickId);
    return FFDRV_VIRTUAL_OK;
}

void SendInputLocked(Device& device, std::int32_t x, std::int32_t y, std::uint64_t buttons) {
    const FfdrvVirtualDevice& c = device.config;
    std::vector<std::uint8_t> report(c.inputReportLength, 0);
    PutAxis(report, 1, x, c.axes[0].bitSize);
    PutAxis(report, 3, y, c.axes[1].bitSize);
    for (std::uint32_t b = 0; b < c.buttonCount; ++b) {
        if (buttons >> b & 1) report[kFirstButtonByte + b / 8] |= static_cast<std::uint8_t>(1u << (b % 8));
    }
    SendInputReportLocked(device, std::move(report));
}

void SendInputReportLocked(Device& device, std::vector<std::uint8_t> report) {
    if (!device.reads.empty()) {
        Pending read = device.reads.front();
        device.reads.erase(device.reads.begin());
        const DWORD n = std::min<DWORD>(read.length, static_cast<DWORD>(report.size()));
        std::memcpy(read.readBuffer, report.data(), n);
        CompleteLocked(read, 0, n);
        return;
    }
    if (device.inputQueue.size() == kMaxQueuedInputReports) device.inputQueue.erase(device.inputQueue.begin());
    device.inputQueue.push_back(std::move(report));
}

}  // namespace platform::vdev

namespace platform::hid {

namespace {
constexpr HRESULT kDiErrUnplugged = static_cast<HRESULT>(0x80040209u);
constexpr HRESULT kDiErrNotFound = static_cast<HRESULT>(0x80070002u);
constexpr NtStatus kHidpStatusInvalidReportLength = static_cast<NtStatus>(0xC0110003u);
constexpr ULONG kFirstButtonByte = 5;
constexpr GUID kHidClassGuid = {0x4D1E55B2, 0xF16F, 0x11CF, {0x88, 0xCB, 0x00, 0x11, 0x11, 0x00, 0x00, 0x30}};

thread_local DWORD t_lastError = 0;

bool Fail(DWORD error) {
    t_lastError = error;
    return false;
}

vdev::OpenFile* AsFile(File file) {
    return file == InvalidFile() || file == nullptr ? nullptr : static_cast<vdev::OpenFile*>(file);
}

using Guard = std::lock_guard<std::mutex>;

// Cancels the requests of `file` in `list`: all of them, or only those of
// the thread `issuerId` (CancelIo's rule) when it is non-zero.
void CancelLocked(std::vector<vdev::Pending>& list, vdev::OpenFile* file, DWORD issuerId) {
    std::vector<vdev::Pending> keep;
    std::vector<vdev::Pending> cancelled;
    for (const vdev::Pending& p : list) {
        const bool mine = p.file == file && (issuerId == 0 || p.issuerId == issuerId);
        (mine ? cancelled : keep).push_back(p);
    }
    list.swap(keep);
    for (vdev::Pending& p : cancelled) vdev::CompleteLocked(p, kErrorOperationAborted, 0);
}

bool StartRead(File file, void* data, DWORD length, AsyncIo* io, IoCompletion completion, HANDLE event) {
    vdev::OpenFile* open = AsFile(file);
    if (open == nullptr || data == nullptr || io == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    Guard lock(vdev::Lock());
    vdev::Device& device = *open->device;
    if (!device.plugged) return Fail(ERROR_DEVICE_NOT_CONNECTED);
    vdev::Pending pending(open, io, completion, event, static_cast<std::uint8_t*>(data), length);
    io->impl()->status = kStatusPending;
    if (device.inputQueue.empty()) {
        device.reads.push_back(pending);
        return true;
    }
    std::vector<std::uint8_t> report = std::move(device.inputQueue.front());
    device.inputQueue.erase(device.inputQueue.begin());
    const DWORD n = std::min<DWORD>(length, static_cast<DWORD>(report.size()));
    std::memcpy(data, report.data(), n);
    vdev::CompleteLocked(pending, 0, n);
    return true;
}
}  // namespace

HRESULT CreateDirectInput(void*, DirectInput* out) {
    *out = new DirectInputOpaque;
    return S_OK;
}
void ReleaseDirectInput(DirectInput input) { delete input; }

HRESULT EnumGameControllers(DirectInput, DWORD, EnumCallback callback, void* context) {
    std::vector<GUID> instances;
    {
        Guard lock(vdev::Lock());
        for (auto& device : vdev::ListLocked()) instances.push_back(vdev::InstanceGuid(device->config.joystickId));
    }
    for (const GUID& instance : instances) {
        if (!callback(instance, context)) break;
    }
    return S_OK;
}

HRESULT CreateDevice(DirectInput, const GUID& instance, Controller* out) {
    Guard lock(vdev::Lock());
    for (auto& device : vdev::ListLocked()) {
        if (IsEqualGUID(vdev::InstanceGuid(device->config.joystickId), instance)) {
            *out = new ControllerOpaque{device};
            return S_OK;
        }
    }
    return kDiErrNotFound;
}

void ReleaseController(Controller controller) {
    Guard lock(vdev::Lock());
    delete controller;
}

HRESULT GetJoystickId(Controller controller, DWORD* id) {
    Guard lock(vdev::Lock());
    if (!controller->device->plugged) return kDiErrUnplugged;
    *id = controller->device->config.joystickId;
    return S_OK;
}

HRESULT GetGuidAndPath(Controller controller, GuidAndPath* out) {
    Guard lock(vdev::Lock());
    if (!controller->device->plugged) return kDiErrUnplugged;
    out->classGuid = kHidClassGuid;
    std::wcsncpy(out->path, controller->device->path.c_str(), kMaxPath - 1);
    out->path[kMaxPath - 1] = L'\0';
    return S_OK;
}

HRESULT GetCalibration(Controller controller, DWORD offset, LONG out[3]) {
    Guard lock(vdev::Lock());
    const FfdrvVirtualDevice& c = controller->device->config;
    if (!c.hasCalibration || (offset != 0 && offset != 4)) return E_NOTIMPL;
    std::memcpy(out, &c.calibration[offset == 0 ? 0 : 3], 3 * sizeof(LONG));
    return S_OK;
}

HRESULT Unacquire(Controller) { return S_OK; }
HRESULT SetJoystickDataFormat(Controller) { return S_OK; }

bool GetContainerId(const wchar_t* interfacePath, GUID* out) {
    Guard lock(vdev::Lock());
    auto device = vdev::FindByPathLocked(interfacePath);
    if (!device) return false;
    std::memcpy(out, device->config.containerId, sizeof(GUID));
    return true;
}

File OpenOverlapped(const wchar_t* path) {
    Guard lock(vdev::Lock());
    auto device = vdev::FindByPathLocked(path);
    if (!device) {
        Fail(ERROR_FILE_NOT_FOUND);
        return InvalidFile();
    }
    return new vdev::OpenFile{device};
}

void CloseFile(File file) {
    vdev::OpenFile* open = AsFile(file);
    if (open == nullptr) return;
    Guard lock(vdev::Lock());
    CancelLocked(open->device->reads, open, 0);
    CancelLocked(open->device->writes, open, 0);
    delete open;
}

DWORD LastError() { return t_lastError; }

bool GetAttributes(File file, Attributes* out) {
    vdev::OpenFile* open = AsFile(file);
    if (open == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    Guard lock(vdev::Lock());
    const FfdrvVirtualDevice& c = open->device->config;
    *out = Attributes{sizeof(Attributes), c.vendorId, c.productId, c.versionNumber};
    return true;
}

bool GetPreparsedData(File file, Preparsed* out) {
    vdev::OpenFile* open = AsFile(file);
    if (open == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    Guard lock(vdev::Lock());
    *out = new PreparsedOpaque{open->device->config};
    return true;
}

void FreePreparsedData(Preparsed data) { delete data; }

NtStatus GetCaps(Preparsed data, Caps* out) {
    if (data == nullptr) return kHidpStatusInvalidPreparsedData;
    const FfdrvVirtualDevice& c = data->config;
    *out = Caps{0x04, kUsagePageGenericDesktop, c.inputReportLength, c.outputReportLength, c.featureReportLength};
    return kHidpStatusSuccess;
}

ULONG MaxInputUsageListLength(Preparsed data) {
    if (data == nullptr) return 0;
    return data->config.buttonCount + (data->config.extraUsagePage != 0 ? 1 : 0);
}

NtStatus GetSpecificInputValueCaps(Preparsed data, std::uint16_t usagePage, std::uint16_t linkCollection,
                                   std::uint16_t usage, ValueCaps* caps, std::uint16_t* count) {
    if (data == nullptr) return kHidpStatusInvalidPreparsedData;
    if (usagePage != kUsagePageGenericDesktop || linkCollection != 0 || (usage != kUsageX && usage != kUsageY)) {
        *count = 0;
        return kHidpStatusUsageNotFound;
    }
    if (*count < 1) {
        *count = 1;
        return kHidpStatusBufferTooSmall;
    }
    const FfdrvVirtualAxis& axis = data->config.axes[usage == kUsageX ? 0 : 1];
    caps[0] = ValueCaps{kUsagePageGenericDesktop, axis.bitSize, axis.logicalMin, axis.logicalMax};
    *count = 1;
    return kHidpStatusSuccess;
}

NtStatus GetInputUsageValue(Preparsed data, std::uint16_t usagePage, std::uint16_t linkCollection,
                            std::uint16_t usage, ULONG* value, const std::uint8_t* report, ULONG length) {
    if (data == nullptr) return kHidpStatusInvalidPreparsedData;
    if (usagePage != kUsagePageGenericDesktop || linkCollection != 0 || (usage != kUsageX && usage != kUsageY))
        return kHidpStatusUsageNotFound;
    const ULONG at = usage == kUsageX ? 1 : 3;
    if (report == nullptr || length < at + 2) return kHidpStatusInvalidReportLength;
    const std::uint16_t bits = data->config.axes[usage == kUsageX ? 0 : 1].bitSize;
    *value = (ULONG{report[at]} | ULONG{report[at + 1]} << 8) & ((1u << bits) - 1);
    return kHidpStatusSuccess;
}

NtStatus GetInputUsagesEx(Preparsed data, std::uint16_t linkCollection, UsageAndPage* list, ULONG* count,
                          const std::uint8_t* report, ULONG length) {
    if (data == nullptr) return kHidpStatusInvalidPreparsedData;
    const FfdrvVirtualDevice& c = data->config;
    if (linkCollection != 0 || report == nullptr || length < kFirstButtonByte + (c.buttonCount + 7) / 8)
        return kHidpStatusInvalidReportLength;
    std::vector<UsageAndPage> found;
    if (c.extraUsagePage != 0) found.push_back({c.extraUsage, c.extraUsagePage});
    for (std::uint32_t b = 0; b < c.buttonCount; ++b) {
        if (report[kFirstButtonByte + b / 8] >> (b % 8) & 1)
            found.push_back({static_cast<std::uint16_t>(b + 1), kUsagePageButton});
    }
    const ULONG capacity = *count;
    *count = static_cast<ULONG>(found.size());
    if (found.size() > capacity) return kHidpStatusBufferTooSmall;
    std::copy(found.begin(), found.end(), list);
    return kHidpStatusSuccess;
}

bool SetFeature(File file, const void* report, ULONG length) {
    vdev::OpenFile* open = AsFile(file);
    if (open == nullptr || report == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    Guard lock(vdev::Lock());
    vdev::Device& device = *open->device;
    if (!device.plugged) return Fail(ERROR_DEVICE_NOT_CONNECTED);
    if (length != device.config.featureReportLength) return Fail(ERROR_INVALID_PARAMETER);
    auto bytes = static_cast<const std::uint8_t*>(report);
    device.reports.push_back({FFDRV_VIRTUAL_REPORT_FEATURE, timeGetTime(), {bytes, bytes + length}});
    return true;
}

AsyncIo::AsyncIo() : m_impl(new Impl) {}
AsyncIo::~AsyncIo() = default;

DWORD AsyncIo::Status() const {
    Guard lock(vdev::Lock());
    return m_impl->status;
}

void AsyncIo::Reset() {
    Guard lock(vdev::Lock());
    m_impl->status = 0;
}

bool WriteFileEx(File file, const void* data, DWORD length, AsyncIo* io, IoCompletion completion) {
    vdev::OpenFile* open = AsFile(file);
    if (open == nullptr || data == nullptr || io == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    Guard lock(vdev::Lock());
    vdev::Device& device = *open->device;
    if (!device.plugged) return Fail(ERROR_DEVICE_NOT_CONNECTED);
    if (length != device.config.outputReportLength) return Fail(ERROR_INVALID_PARAMETER);
    if (device.writeMode == FFDRV_VIRTUAL_WRITE_FAIL) return Fail(ERROR_GEN_FAILURE);
    vdev::Pending pending(open, io, completion, nullptr, nullptr, length);
    io->impl()->status = kStatusPending;
    switch (device.writeMode) {
        case FFDRV_VIRTUAL_WRITE_STALL:
            device.writes.push_back(pending);
            break;
        case FFDRV_VIRTUAL_WRITE_ERROR:
            vdev::CompleteLocked(pending, ERROR_GEN_FAILURE, 0);
            break;
        default: {
            auto bytes = static_cast<const std::uint8_t*>(data);
            device.reports.push_back({FFDRV_VIRTUAL_REPORT_OUTPUT, timeGetTime(), {bytes, bytes + length}});
            vdev::CompleteLocked(pending, 0, length);
        }
    }
    return true;
}

bool ReadFileEx(File file, void* data, DWORD length, AsyncIo* io, IoCompletion completion) {
    if (completion == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    return StartRead(file, data, length, io, completion, nullptr);
}

bool ReadFileOverlapped(File file, void* data, DWORD length, AsyncIo* io, SimEvent* event) {
    if (event == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    event->Reset();
    return StartRead(file, data, length, io, nullptr, event->impl()->handle);
}

bool CancelIo(File file) {
    vdev::OpenFile* open = AsFile(file);
    if (open == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    Guard lock(vdev::Lock());
    CancelLocked(open->device->reads, open, GetCurrentThreadId());
    CancelLocked(open->device->writes, open, GetCurrentThreadId());
    return true;
}

}  // namespace platform::hid
