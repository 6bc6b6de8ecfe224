// The virtual HID devices behind the portable HID backend: a registry of
// plugged devices by joystick ID, each with an input report source, an output
// sink that records what the driver wrote, and the requests in flight on it.
// All device state is guarded by the simulation clock's lock, so that a
// completion never races the virtual clock's view of who is busy.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/hid.h"
#include "platform/portable/sim_scheduler.h"
#include "platform/virtual_hid_api.h"

namespace platform::hid {
// The part of an AsyncIo that its requests complete into. Shared with the
// requests in flight and with their queued completion routines, so that it
// lives as long as any of them does. Under sched::Lock().
struct IoRecord {
    DWORD status = 0;
    AsyncIo* owner = nullptr;  // null once the AsyncIo is gone
};
}  // namespace platform::hid

namespace platform::vhid {

struct Recorded {
    std::uint32_t kind;  // FFDRV_VIRTUAL_REPORT_*
    std::uint32_t timeMs;
    std::vector<std::uint8_t> bytes;
};

struct OpenFile;

// A read or write waiting on the device. It holds its record (the shared
// part of the issuer's AsyncIo), not the AsyncIo: an issuer that frees the
// AsyncIo too early withdraws the request, and a completion routine already
// queued for it sees that the owner is gone.
struct Pending {
    OpenFile* file;
    std::shared_ptr<hid::IoRecord> record;
    hid::IoCompletion completion;  // null: signal `event` instead
    SimEvent* event;
    std::shared_ptr<sched::ApcQueue> issuer;
    std::uint8_t* readBuffer;  // null for a write
    DWORD length;
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

// Lookups; the caller holds sched::Lock().
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

// Completes a pending request: status and bytes into its record, then its
// completion routine queued to the issuing thread, or its event set.
void CompleteLocked(const Pending& pending, DWORD error, DWORD bytes);

// Takes the requests of `record` off every plugged device, uncompleted; for
// an AsyncIo that goes while they are in flight.
void WithdrawLocked(const hid::IoRecord& record);

// The instance GUID DirectInput enumeration shows for a joystick ID.
GUID InstanceGuid(std::uint32_t joystickId);

}  // namespace platform::vhid
