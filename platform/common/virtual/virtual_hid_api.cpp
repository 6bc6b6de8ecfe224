// The virtual-device API over the virtual devices; the clock part of it is
// each backend's own.
#include "platform/virtual_hid_api.h"

#include <algorithm>
#include <cstring>

#include "platform/common/virtual/virtual_devices.h"

using platform::vhid::Device;

namespace {
template <typename Fn>
std::int32_t WithDevice(std::uint32_t joystickId, Fn fn) {
    auto lock = platform::vhid::LockDevices();
    auto device = platform::vhid::FindByIdLocked(joystickId);
    if (!device) return FFDRV_VIRTUAL_E_NO_DEVICE;
    return fn(*device);
}
}  // namespace

extern "C" {

int32_t FfdrvVirtualPlug(const FfdrvVirtualDevice* device) {
    if (device == nullptr) return FFDRV_VIRTUAL_E_ARGUMENT;
    auto lock = platform::vhid::LockDevices();
    return platform::vhid::PlugLocked(*device);
}

int32_t FfdrvVirtualUnplug(uint32_t joystickId) {
    auto lock = platform::vhid::LockDevices();
    return platform::vhid::UnplugLocked(joystickId);
}

int32_t FfdrvVirtualSetInput(uint32_t joystickId, int32_t x, int32_t y, uint64_t buttons) {
    return WithDevice(joystickId, [&](Device& d) {
        platform::vhid::SendInputLocked(d, x, y, buttons);
        return FFDRV_VIRTUAL_OK;
    });
}

int32_t FfdrvVirtualSendInputReport(uint32_t joystickId, const uint8_t* report, uint32_t length) {
    if (report == nullptr && length != 0) return FFDRV_VIRTUAL_E_ARGUMENT;
    return WithDevice(joystickId, [&](Device& d) {
        std::vector<std::uint8_t> bytes(d.config.inputReportLength, 0);
        if (length != 0) std::memcpy(bytes.data(), report, std::min<std::size_t>(length, bytes.size()));
        platform::vhid::SendInputReportLocked(d, std::move(bytes));
        return FFDRV_VIRTUAL_OK;
    });
}

int32_t FfdrvVirtualSetWriteMode(uint32_t joystickId, uint32_t mode) {
    if (mode > FFDRV_VIRTUAL_WRITE_ERROR) return FFDRV_VIRTUAL_E_ARGUMENT;
    return WithDevice(joystickId, [&](Device& d) {
        d.writeMode = mode;
        return FFDRV_VIRTUAL_OK;
    });
}

int32_t FfdrvVirtualReportCount(uint32_t joystickId) {
    return WithDevice(joystickId, [](Device& d) { return static_cast<int32_t>(d.reports.size()); });
}

int32_t FfdrvVirtualGetReport(uint32_t joystickId, uint32_t index, uint32_t* kind, uint32_t* timeMs, uint8_t* buffer,
                              uint32_t capacity) {
    if (buffer == nullptr && capacity != 0) return FFDRV_VIRTUAL_E_ARGUMENT;
    return WithDevice(joystickId, [&](Device& d) {
        if (index >= d.reports.size()) return FFDRV_VIRTUAL_E_RANGE;
        const platform::vhid::Recorded& r = d.reports[index];
        if (kind != nullptr) *kind = r.kind;
        if (timeMs != nullptr) *timeMs = r.timeMs;
        if (capacity != 0) std::memcpy(buffer, r.bytes.data(), std::min<std::size_t>(capacity, r.bytes.size()));
        return static_cast<int32_t>(r.bytes.size());
    });
}

int32_t FfdrvVirtualClearReports(uint32_t joystickId) {
    return WithDevice(joystickId, [](Device& d) {
        d.reports.clear();
        return FFDRV_VIRTUAL_OK;
    });
}

int32_t FfdrvVirtualPendingIo(uint32_t joystickId) {
    return WithDevice(joystickId, [](Device& d) { return static_cast<int32_t>(d.reads.size() + d.writes.size()); });
}

}  // extern "C"
