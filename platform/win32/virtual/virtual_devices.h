// The virtual devices of the Windows test build: a registry of plugged
// devices by joystick ID, each with its input report source, the reports the
// driver wrote, and the requests in flight. Guarded by Lock().
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/hid.h"
#include "platform/virtual_hid_api.h"

namespace platform::vdev {

struct Recorded {
    std::uint32_t kind;  // FFDRV_VIRTUAL_REPORT_*
    std::uint32_t timeMs;
    std::vector<std::uint8_t> bytes;
};

struct OpenFile;

// A read or write waiting on the device.
struct Pending {
    Pending(OpenFile* file, hid::AsyncIo* io, hid::IoCompletion completion, HANDLE event, std::uint8_t* readBuffer,
            DWORD length);
    OpenFile* file;
    hid::AsyncIo* io;
    hid::IoCompletion completion;  // null: signal `event` instead
    HANDLE event;
    std::uint8_t* readBuffer;  // null for a write
    DWORD length;
    DWORD issuerId;           // the issuing thread, for CancelIo
    HANDLE issuer = nullptr;  // its handle, to queue the completion routine to
};

struct Device {
    FfdrvVirtualDevice config;
    std::wstring path;
    bool plugged = true;
    std::uint32_t writeMode = FFDRV_VIRTUAL_WRITE_COMPLETE;
    std::vector<std::vector<std::uint8_t>> inputQueue;
    std::vector<Pending> reads;
    std::vector<Pending> writes;  // stalled
    std::vector<Recorded> reports;
};

struct OpenFile {
    std::shared_ptr<Device> device;
};

std::mutex& Lock();

std::shared_ptr<Device> FindByIdLocked(std::uint32_t joystickId);
std::shared_ptr<Device> FindByPathLocked(const wchar_t* path);
std::vector<std::shared_ptr<Device>> ListLocked();
std::int32_t PlugLocked(const FfdrvVirtualDevice& config);
std::int32_t UnplugLocked(std::uint32_t joystickId);
void SendInputLocked(Device& device, std::int32_t x, std::int32_t y, std::uint64_t buttons);
// One input report as given: the read in flight takes it (its first bytes,
// when it is shorter), else it waits in the queue.
void SendInputReportLocked(Device& device, std::vector<std::uint8_t> report);
// Status into the request's record, then its routine queued to the issuing
// thread or its event set. Runs once per request.
void CompleteLocked(Pending& pending, DWORD error, DWORD bytes);
GUID InstanceGuid(std::uint32_t joystickId);

}  // namespace platform::vdev
