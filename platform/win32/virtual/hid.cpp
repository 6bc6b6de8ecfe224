// The HID contract against virtual devices on Windows, for the test build of
// the DLL only (the shipped DLL talks to real devices). The devices are the
// shared ones (platform/common/virtual/); everything around them stays the
// system's: completion routines are user APCs queued to the issuing thread
// and run in its alertable waits, overlapped reads signal their Win32 event,
// and time is the system's millisecond clock.
#include "platform/hid.h"

#include <windows.h>
#include <mmsystem.h>

#include <memory>
#include <mutex>
#include <vector>

#include "platform/common/virtual/virtual_devices.h"
#include "platform/win32/sim_event_impl.h"

namespace platform::hid {

struct AsyncIo::Impl {
    DWORD status = 0;
};

}  // namespace platform::hid

namespace platform::vhid {
namespace {
constexpr DWORD kStatusCancelled = 0xC0000120u;
constexpr DWORD kStatusDeviceNotConnected = 0xC000009Du;

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
}  // namespace

std::mutex& Lock() {
    static std::mutex lock;
    return lock;
}

std::uint32_t ReportTimeMsLocked() { return timeGetTime(); }

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

}  // namespace platform::vhid

namespace platform::hid {

namespace {
using Guard = std::lock_guard<std::mutex>;

// Cancels the requests of `file` in `list`: all of them, or only those of
// the thread `issuerId` (CancelIo's rule) when it is non-zero.
void CancelLocked(std::vector<vhid::Pending>& list, vhid::OpenFile* file, DWORD issuerId) {
    std::vector<vhid::Pending> keep;
    std::vector<vhid::Pending> cancelled;
    for (const vhid::Pending& p : list) {
        const bool mine = p.file == file && (issuerId == 0 || p.issuerId == issuerId);
        (mine ? cancelled : keep).push_back(p);
    }
    list.swap(keep);
    for (vhid::Pending& p : cancelled) vhid::CompleteLocked(p, kErrorOperationAborted, 0);
}
}  // namespace

bool StartRead(File file, void* data, DWORD length, AsyncIo* io, IoCompletion completion, SimEvent* event) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr || data == nullptr || io == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    Guard lock(vhid::Lock());
    vhid::Device& device = *open->device;
    if (!device.plugged) return Fail(ERROR_DEVICE_NOT_CONNECTED);
    vhid::Pending pending(open, io, completion, event != nullptr ? event->impl()->handle : nullptr,
                          static_cast<std::uint8_t*>(data), length);
    io->impl()->status = kStatusPending;
    vhid::StartReadLocked(device, pending);
    return true;
}

void CloseFile(File file) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr) return;
    Guard lock(vhid::Lock());
    CancelLocked(open->device->reads, open, 0);
    CancelLocked(open->device->writes, open, 0);
    delete open;
}

AsyncIo::AsyncIo() : m_impl(new Impl) {}
AsyncIo::~AsyncIo() = default;

DWORD AsyncIo::Status() const {
    Guard lock(vhid::Lock());
    return m_impl->status;
}

void AsyncIo::Reset() {
    Guard lock(vhid::Lock());
    m_impl->status = 0;
}

bool WriteFileEx(File file, const void* data, DWORD length, AsyncIo* io, IoCompletion completion) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr || data == nullptr || io == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    Guard lock(vhid::Lock());
    vhid::Device& device = *open->device;
    if (!vhid::WritableLocked(device, length)) return false;
    vhid::Pending pending(open, io, completion, nullptr, nullptr, length);
    io->impl()->status = kStatusPending;
    vhid::StartWriteLocked(device, pending, data, length);
    return true;
}

bool CancelIo(File file) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    Guard lock(vhid::Lock());
    CancelLocked(open->device->reads, open, GetCurrentThreadId());
    CancelLocked(open->device->writes, open, GetCurrentThreadId());
    return true;
}

}  // namespace platform::hid
