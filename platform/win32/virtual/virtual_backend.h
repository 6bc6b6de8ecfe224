// What the Windows test build's virtual devices (platform/common/virtual/)
// leave to it: completion routines are user APCs queued to the issuing
// thread, overlapped reads signal their Win32 event, time is the system's
// millisecond clock, and a plain mutex guards all device state.
#pragma once

#include <windows.h>

#include <cstdint>
#include <mutex>
#include <string>

#include "platform/hid.h"

namespace platform::vhid {

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

std::mutex& Lock();
inline std::unique_lock<std::mutex> LockDevices() { return std::unique_lock<std::mutex>(Lock()); }
std::uint32_t ReportTimeMsLocked();
inline bool SamePath(const std::wstring& devicePath, const wchar_t* path) {
    return _wcsicmp(devicePath.c_str(), path) == 0;
}

// Status into the request's record, then its routine queued to the issuing
// thread or its event set. Runs once per request.
void CompleteLocked(Pending& pending, DWORD error, DWORD bytes);

}  // namespace platform::vhid
