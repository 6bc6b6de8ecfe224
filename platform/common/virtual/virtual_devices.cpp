// The virtual devices and the parts of the HID contract that depend on them
// alone; the backends add how a request is issued, cancelled and completed.
#include "platform/common/virtual/virtual_devices.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <map>

namespace platform::hid {

struct DirectInputOpaque {};
struct ControllerOpaque {
    std::shared_ptr<vhid::Device> device;
};
struct PreparsedOpaque {
    FfdrvVirtualDevice config;
};

}  // namespace platform::hid

namespace platform::vhid {
namespace {
constexpr std::size_t kFirstButtonByte = 5;
constexpr std::size_t kMaxQueuedInputReports = 32;  // what the HID class driver buffers by default
constexpr std::uint32_t kMaxButtons = 64;
constexpr DWORD kErrorGenFailure = 31;
constexpr DWORD kErrorInvalidParameter = 87;
constexpr DWORD kErrorDeviceNotConnected = 1167;

std::map<std::uint32_t, std::shared_ptr<Device>>& Registry() {
    // A plain static, so a host that unloads the library does not leave it
    // behind; devices still plugged at unload go with it.
    static std::map<std::uint32_t, std::shared_ptr<Device>> registry;
    return registry;
}

bool ValidConfig(const FfdrvVirtualDevice& c) {
    if (c.size != sizeof(FfdrvVirtualDevice) || c.buttonCount > kMaxButtons) return false;
    for (const FfdrvVirtualAxis& axis : c.axes) {
        if (axis.bitSize == 0 || axis.bitSize > 16) return false;
    }
    return c.inputReportLength >= kFirstButtonByte + (c.buttonCount + 7) / 8 && c.outputReportLength > 0;
}

void PutAxis(std::vector<std::uint8_t>& report, std::size_t at, std::int32_t value, std::uint16_t bits) {
    const std::uint32_t mask = (1u << bits) - 1;
    const std::uint32_t raw = static_cast<std::uint32_t>(value) & mask;
    report[at] = static_cast<std::uint8_t>(raw);
    report[at + 1] = static_cast<std::uint8_t>(raw >> 8);
}

void FailAllLocked(std::vector<Pending>& list, DWORD error) {
    std::vector<Pending> failing;
    failing.swap(list);
    for (Pending& p : failing) CompleteLocked(p, error, 0);
}
}  // namespace

GUID InstanceGuid(std::uint32_t joystickId) {
    return GUID{0x5649D000u + joystickId, 0x4A53, 0x11F0, {0x80, 0, 0x56, 0x49, 0x52, 0x54, 0x48, 0x49}};
}

std::shared_ptr<Device> FindByIdLocked(std::uint32_t joystickId) {
    auto it = Registry().find(joystickId);
    return it == Registry().end() ? nullptr : it->second;
}

std::shared_ptr<Device> FindByPathLocked(const wchar_t* path) {
    for (auto& [id, device] : Registry()) {
        if (SamePath(device->path, path)) return device;
    }
    return nullptr;
}

std::vector<std::shared_ptr<Device>> ListLocked() {
    std::vector<std::shared_ptr<Device>> list;
    for (auto& [id, device] : Registry()) list.push_back(device);
    return list;
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

std::int32_t UnplugLocked(std::uint32_t joystickId) {
    auto device = FindByIdLocked(joystickId);
    if (!device) return FFDRV_VIRTUAL_E_NO_DEVICE;
    device->plugged = false;
    FailAllLocked(device->reads, kErrorDeviceNotConnected);
    FailAllLocked(device->writes, kErrorDeviceNotConnected);
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

void StartReadLocked(Device& device, Pending pending) {
    if (device.inputQueue.empty()) {
        device.reads.push_back(pending);
        return;
    }
    std::vector<std::uint8_t> report = std::move(device.inputQueue.front());
    device.inputQueue.erase(device.inputQueue.begin());
    const DWORD n = std::min<DWORD>(pending.length, static_cast<DWORD>(report.size()));
    std::memcpy(pending.readBuffer, report.data(), n);
    CompleteLocked(pending, 0, n);
}

bool WritableLocked(const Device& device, DWORD length) {
    if (!device.plugged) return hid::Fail(kErrorDeviceNotConnected);
    if (length != device.config.outputReportLength) return hid::Fail(kErrorInvalidParameter);
    if (device.writeMode == FFDRV_VIRTUAL_WRITE_FAIL) return hid::Fail(kErrorGenFailure);
    return true;
}

void StartWriteLocked(Device& device, Pending pending, const void* data, DWORD length) {
    switch (device.writeMode) {
    case FFDRV_VIRTUAL_WRITE_STALL:
        device.writes.push_back(pending);
        break;
    case FFDRV_VIRTUAL_WRITE_ERROR:
        CompleteLocked(pending, kErrorGenFailure, 0);
        break;
    default: {
        auto bytes = static_cast<const std::uint8_t*>(data);
        device.reports.push_back({FFDRV_VIRTUAL_REPORT_OUTPUT, ReportTimeMsLocked(), {bytes, bytes + length}});
        CompleteLocked(pending, 0, length);
    }
    }
}

}  // namespace platform::vhid

namespace platform::hid {

namespace {
constexpr HRESULT kDiErrUnplugged = static_cast<HRESULT>(0x80040209u);
constexpr HRESULT kDiErrNotFound = static_cast<HRESULT>(0x80070002u);
constexpr DWORD kErrorInvalidParameter = 87;
constexpr DWORD kErrorDeviceNotConnected = 1167;
constexpr DWORD kErrorFileNotFound = 2;
constexpr NtStatus kHidpStatusInvalidReportLength = static_cast<NtStatus>(0xC0110003u);
constexpr ULONG kFirstButtonByte = 5;
// The class GUID of HID device interfaces.
constexpr GUID kHidClassGuid = {0x4D1E55B2, 0xF16F, 0x11CF, {0x88, 0xCB, 0x00, 0x11, 0x11, 0x00, 0x00, 0x30}};

thread_local DWORD t_lastError = 0;
}  // namespace

bool Fail(DWORD error) {
    t_lastError = error;
    return false;
}

vhid::OpenFile* AsFile(File file) {
    return file == InvalidFile() || file == nullptr ? nullptr : static_cast<vhid::OpenFile*>(file);
}

DWORD LastError() { return t_lastError; }

// ---- DirectInput ----

HRESULT CreateDirectInput(void*, DirectInput* out) {
    *out = new DirectInputOpaque;
    return S_OK;
}
void ReleaseDirectInput(DirectInput input) { delete input; }

HRESULT EnumGameControllers(DirectInput, DWORD, EnumCallback callback, void* context) {
    std::vector<GUID> instances;
    {
        auto lock = vhid::LockDevices();
        for (auto& device : vhid::ListLocked()) instances.push_back(vhid::InstanceGuid(device->config.joystickId));
    }
    for (const GUID& instance : instances) {
        if (!callback(instance, context)) break;
    }
    return S_OK;
}

HRESULT CreateDevice(DirectInput, const GUID& instance, Controller* out) {
    auto lock = vhid::LockDevices();
    for (auto& device : vhid::ListLocked()) {
        if (IsEqualGUID(vhid::InstanceGuid(device->config.joystickId), instance)) {
            *out = new ControllerOpaque{device};
            return S_OK;
        }
    }
    return kDiErrNotFound;
}

void ReleaseController(Controller controller) {
    auto lock = vhid::LockDevices();  // the device may die with it; keep it under the device lock
    delete controller;
}

HRESULT GetJoystickId(Controller controller, DWORD* id) {
    auto lock = vhid::LockDevices();
    if (!controller->device->plugged) return kDiErrUnplugged;
    *id = controller->device->config.joystickId;
    return S_OK;
}

HRESULT GetGuidAndPath(Controller controller, GuidAndPath* out) {
    auto lock = vhid::LockDevices();
    if (!controller->device->plugged) return kDiErrUnplugged;
    out->classGuid = kHidClassGuid;
    std::wcsncpy(out->path, controller->device->path.c_str(), kMaxPath - 1);
    out->path[kMaxPath - 1] = L'\0';
    return S_OK;
}

HRESULT GetCalibration(Controller controller, DWORD offset, LONG out[3]) {
    auto lock = vhid::LockDevices();
    const FfdrvVirtualDevice& c = controller->device->config;
    if (!c.hasCalibration || (offset != 0 && offset != 4)) return E_NOTIMPL;
    std::memcpy(out, &c.calibration[offset == 0 ? 0 : 3], 3 * sizeof(LONG));
    return S_OK;
}

HRESULT Unacquire(Controller) { return S_OK; }
HRESULT SetJoystickDataFormat(Controller) { return S_OK; }

bool GetContainerId(const wchar_t* interfacePath, GUID* out) {
    auto lock = vhid::LockDevices();
    auto device = vhid::FindByPathLocked(interfacePath);
    if (!device) return false;
    std::memcpy(out, device->config.containerId, sizeof(GUID));
    return true;
}

// ---- Files and HID ----

File OpenOverlapped(const wchar_t* path) {
    auto lock = vhid::LockDevices();
    auto device = vhid::FindByPathLocked(path);
    if (!device) {
        Fail(kErrorFileNotFound);
        return InvalidFile();
    }
    return new vhid::OpenFile{device};
}

bool GetAttributes(File file, Attributes* out) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr) return Fail(kErrorInvalidParameter);
    auto lock = vhid::LockDevices();
    const FfdrvVirtualDevice& c = open->device->config;
    *out = Attributes{sizeof(Attributes), c.vendorId, c.productId, c.versionNumber};
    return true;
}

bool GetPreparsedData(File file, Preparsed* out) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr) return Fail(kErrorInvalidParameter);
    auto lock = vhid::LockDevices();
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

bool ReadFileEx(File file, void* data, DWORD length, AsyncIo* io, IoCompletion completion) {
    if (completion == nullptr) return Fail(kErrorInvalidParameter);
    return StartRead(file, data, length, io, completion, nullptr);
}

bool ReadFileOverlapped(File file, void* data, DWORD length, AsyncIo* io, SimEvent* event) {
    if (event == nullptr) return Fail(kErrorInvalidParameter);
    event->Reset();
    return StartRead(file, data, length, io, nullptr, event);
}

bool SetFeature(File file, const void* report, ULONG length) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr || report == nullptr) return Fail(kErrorInvalidParameter);
    auto lock = vhid::LockDevices();
    vhid::Device& device = *open->device;
    if (!device.plugged) return Fail(kErrorDeviceNotConnected);
    if (length != device.config.featureReportLength) return Fail(kErrorInvalidParameter);
    auto bytes = static_cast<const std::uint8_t*>(report);
    device.reports.push_back({FFDRV_VIRTUAL_REPORT_FEATURE, vhid::ReportTimeMsLocked(), {bytes, bytes + length}});
    return true;
}

}  // namespace platform::hid
