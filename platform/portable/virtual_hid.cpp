#include "platform/portable/virtual_hid.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <map>

namespace platform::vhid {
namespace {
constexpr std::size_t kFirstButtonByte = 5;
constexpr std::size_t kMaxQueuedInputReports = 32;  // what the HID class driver buffers by default
constexpr std::uint32_t kMaxButtons = 64;
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
    for (const Pending& p : failing) CompleteLocked(p, error, 0);
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
        if (device->path == path) return device;
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

}  // namespace platform::vhid
