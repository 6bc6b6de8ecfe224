// The HID contract against virtual devices (platform/common/virtual/): how
// requests are issued, cancelled and completed through the simulation
// scheduler.
#include "platform/hid.h"

#include "platform/common/virtual/virtual_devices.h"
#include "platform/debug.h"

namespace platform::hid {

struct AsyncIo::Impl {
    std::shared_ptr<IoRecord> record;
};

namespace {
constexpr DWORD kErrorInvalidParameter = 87;
constexpr DWORD kErrorDeviceNotConnected = 1167;
constexpr DWORD kStatusDeviceNotConnected = 0xC000009Du;

DWORD StatusFor(DWORD error) {
    if (error == 0) return 0;
    return error == kErrorOperationAborted ? kStatusCancelled : kStatusDeviceNotConnected;
}

// Cancels the requests of `file` in `list`; all of them, or only the calling
// thread's when `issuer` is given (CancelIo's rule).
void CancelLocked(std::vector<vhid::Pending>& list, vhid::OpenFile* file, const sched::ApcQueue* issuer) {
    std::vector<vhid::Pending> keep;
    std::vector<vhid::Pending> cancelled;
    for (const vhid::Pending& p : list) {
        const bool mine = p.file == file && (issuer == nullptr || p.issuer.get() == issuer);
        (mine ? cancelled : keep).push_back(p);
    }
    list.swap(keep);
    for (const vhid::Pending& p : cancelled) vhid::CompleteLocked(p, kErrorOperationAborted, 0);
}
}  // namespace

}  // namespace platform::hid

namespace platform::vhid {
void CompleteLocked(const Pending& pending, DWORD error, DWORD bytes) {
    pending.record->status = hid::StatusFor(error);
    if (pending.completion != nullptr) {
        std::shared_ptr<hid::IoRecord> record = pending.record;
        hid::IoCompletion completion = pending.completion;
        sched::QueueApcLocked(pending.issuer, [=] {
            hid::AsyncIo* owner = nullptr;
            {
                auto lock = sched::Lock();
                owner = record->owner;
            }
            // The routine's argument is the AsyncIo; one freed meanwhile
            // gets no call.
            if (owner != nullptr) completion(error, bytes, owner);
        });
    } else if (pending.event != nullptr) {
        sched::SetEventLocked(pending.event->impl());
    }
}

void WithdrawLocked(const hid::IoRecord& record) {
    auto mine = [&](const Pending& p) { return p.record.get() == &record; };
    for (const std::shared_ptr<Device>& device : ListLocked()) {
        std::erase_if(device->reads, mine);
        std::erase_if(device->writes, mine);
    }
}
}  // namespace platform::vhid

namespace platform::hid {

void CloseFile(File file) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr) return;
    auto lock = sched::Lock();
    // Closing a handle cancels everything in flight on it, whoever issued it.
    CancelLocked(open->device->reads, open, nullptr);
    CancelLocked(open->device->writes, open, nullptr);
    delete open;
}

// ---- Overlapped I/O ----

AsyncIo::AsyncIo() : m_impl(new Impl{std::make_shared<IoRecord>()}) { m_impl->record->owner = this; }

AsyncIo::~AsyncIo() {
    bool inFlight = false;
    {
        auto lock = sched::Lock();
        m_impl->record->owner = nullptr;
        inFlight = m_impl->record->status == kStatusPending;
        // Nothing may complete into the issuer's buffer or call its routine
        // once the issuer has let the record go.
        if (inFlight) vhid::WithdrawLocked(*m_impl->record);
    }
    if (inFlight) DebugTrace(L"hid: an overlapped record was freed while its request was in flight");
}

DWORD AsyncIo::Status() const {
    auto lock = sched::Lock();
    return m_impl->record->status;
}

void AsyncIo::Reset() {
    auto lock = sched::Lock();
    m_impl->record->status = 0;
}

bool WriteFileEx(File file, const void* data, DWORD length, AsyncIo* io, IoCompletion completion) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr || data == nullptr || io == nullptr) return Fail(kErrorInvalidParameter);
    auto lock = sched::Lock();
    vhid::Device& device = *open->device;
    if (!vhid::WritableLocked(device, length)) return false;
    const vhid::Pending pending{open, io->impl()->record, completion, nullptr, sched::CurrentThreadQueue(), nullptr,
                                length};
    io->impl()->record->status = kStatusPending;
    vhid::StartWriteLocked(device, pending, data, length);
    return true;
}

bool StartRead(File file, void* data, DWORD length, AsyncIo* io, IoCompletion completion, SimEvent* event) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr || data == nullptr || io == nullptr) return Fail(kErrorInvalidParameter);
    auto lock = sched::Lock();
    vhid::Device& device = *open->device;
    if (!device.plugged) return Fail(kErrorDeviceNotConnected);
    const vhid::Pending pending{open, io->impl()->record, completion, event, sched::CurrentThreadQueue(),
                                static_cast<std::uint8_t*>(data), length};
    io->impl()->record->status = kStatusPending;
    vhid::StartReadLocked(device, pending);
    return true;
}

bool CancelIo(File file) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr) return Fail(kErrorInvalidParameter);
    auto lock = sched::Lock();
    auto self = sched::CurrentThreadQueue();
    CancelLocked(open->device->reads, open, self.get());
    CancelLocked(open->device->writes, open, self.get());
    return true;
}

}  // namespace platform::hid
