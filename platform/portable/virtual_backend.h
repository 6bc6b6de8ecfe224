// What the portable backend's virtual devices (platform/common/virtual/)
// leave to it: requests complete through the simulation scheduler, and all
// device state is guarded by the simulation clock's lock, so that a
// completion never races the virtual clock's view of who is busy.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/hid.h"
#include "platform/portable/sim_scheduler.h"

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

inline std::unique_lock<std::mutex> LockDevices() { return sched::Lock(); }
inline std::uint32_t ReportTimeMsLocked() { return sched::TimeMsLocked(); }
inline bool SamePath(const std::wstring& devicePath, const wchar_t* path) { return devicePath == path; }

// Completes a pending request: status and bytes into its record, then its
// completion routine queued to the issuing thread, or its event set.
void CompleteLocked(const Pending& pending, DWORD error, DWORD bytes);

// Takes the requests of `record` off every plugged device, uncompleted; for
// an AsyncIo that goes while they are in flight.
void WithdrawLocked(const hid::IoRecord& record);

}  // namespace platform::vhid
