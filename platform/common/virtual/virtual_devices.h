// The virtual HID devices the test builds drive the driver with: a registry
// of plugged devices by joystick ID, each with an input report source, an
// output sink that records what the driver wrote, and the requests in flight
// on it. What a request is and how it completes belongs to the backend
// (virtual_backend.h, found on the backend's include path), as does the lock
// that guards all device state.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/hid.h"
#include "platform/virtual_hid_api.h"
#include "virtual_backend.h"

namespace platform::vhid {

struct Recorded {
    std::uint32_t kind;  // FFDRV_VIRTUAL_REPORT_*
    std::uint32_t timeMs;
    std::vector<std::uint8_t> bytes;
};

struct Device {
    FfdrvVirtualDevice config;
    std::wstring path;
    bool plugged = true;
    std::uint32_t writeMode = FFDRV_VIRTUAL_WRITE_COMPLETE;
    std::vector<std::vector<std::uint8_t>> inputQueue;  // reports not yet read
    std::vector<Pending> reads;
    std::vector<Pending> writes;  // stalled
    std::vector<Recorded> reports;
};

struct OpenFile {
    std::shared_ptr<Device> device;
};

// Lookups; the caller holds LockDevices().
std::shared_ptr<Device> FindByIdLocked(std::uint32_t joystickId);
std::shared_ptr<Device> FindByPathLocked(const wchar_t* path);
// Plugged devices in joystick ID order.
std::vector<std::shared_ptr<Device>> ListLocked();

std::int32_t PlugLocked(const FfdrvVirtualDevice& config);
std::int32_t UnplugLocked(std::uint32_t joystickId);
// Builds the input report from the given state and hands it to the oldest
// pending read, or keeps it for the next one.
void SendInputLocked(Device& device, std::int32_t x, std::int32_t y, std::uint64_t buttons);
// Sends one input report as given: the read in flight takes it (its first
// bytes, when it is shorter), else it waits in the queue.
void SendInputReportLocked(Device& device, std::vector<std::uint8_t> report);

// A read just issued: takes the oldest queued report into it and completes
// it, or leaves it waiting on the device.
void StartReadLocked(Device& device, Pending pending);
// Whether a write of `length` bytes may be issued now; if not, the reason
// is the thread's last error.
bool WritableLocked(const Device& device, DWORD length);
// A write just issued, handled as the device's write mode says.
void StartWriteLocked(Device& device, Pending pending, const void* data, DWORD length);

// The instance GUID DirectInput enumeration shows for a joystick ID.
GUID InstanceGuid(std::uint32_t joystickId);

}  // namespace platform::vhid

namespace platform::hid {
// Records `error` as the calling thread's last error; returns false.
bool Fail(DWORD error);
vhid::OpenFile* AsFile(File file);
// Issues a read on the backend: completing through `completion`, or else by
// setting `event`.
bool StartRead(File file, void* data, DWORD length, AsyncIo* io, IoCompletion completion, SimEvent* event);
}  // namespace platform::hid
