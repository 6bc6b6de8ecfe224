// The HID contract against virtual devices (platform/portable/virtual_hid.h).
#include "platform/hid.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

#include "platform/debug.h"
#include "platform/portable/virtual_hid.h"

namespace platform::hid {

struct DirectInputOpaque {};
struct ControllerOpaque {
    std::shared_ptr<vhid::Device> device;
};
struct PreparsedOpaque {
    FfdrvVirtualDevice config;
};
struct AsyncIo::Impl {
    std::shared_ptr<IoRecord> record;
};

namespace {
constexpr HRESULT kDiErrUnplugged = static_cast<HRESULT>(0x80040209u);
constexpr HRESULT kDiErrNotFound = static_cast<HRESULT>(0x80070002u);
constexpr DWORD kErrorGenFailure = 31;
constexpr DWORD kErrorInvalidParameter = 87;
constexpr DWORD kErrorDeviceNotConnected = 1167;
constexpr DWORD kErrorFileNotFound = 2;
constexpr DWORD kStatusDeviceNotConnected = 0xC000009Du;
constexpr NtStatus kHidpStatusInvalidReportLength = static_cast<NtStatus>(0xC0110003u);
constexpr ULONG kFirstButtonByte = 5;
// The class GUID of HID device interfaces.
constexpr GUID kHidClassGuid = {0x4D1E55B2, 0xF16F, 0x11CF, {0x88, 0xCB, 0x00, 0x11, 0x11, 0x00, 0x00, 0x30}};

thread_local DWORD t_lastError = 0;

bool Fail(DWORD error) {
    t_lastError = error;
    return false;
}

vhid::OpenFile* AsFile(File file) {
    return file == InvalidFile() || file == nullptr ? nullptr : static_cast<vhid::OpenFile*>(file);
}

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

// ---- DirectInput ----

HRESULT CreateDirectInput(void*, DirectInput* out) {
    *out = new DirectInputOpaque;
    return S_OK;
}
void ReleaseDirectInput(DirectInput input) { delete input; }

HRESULT EnumGameControllers(DirectInput, DWORD, EnumCallback callback, void* context) {
    std::vector<GUID> instances;
    {
        auto lock = sched::Lock();
        for (auto& device : vhid::ListLocked()) instances.push_back(vhid::InstanceGuid(device->config.joystickId));
    }
    for (const GUID& instance : instances) {
        if (!callback(instance, context)) break;
    }
    return S_OK;
}

HRESULT CreateDevice(DirectInput, const GUID& instance, Controller* out) {
    auto lock = sched::Lock();
    for (auto& device : vhid::ListLocked()) {
        if (vhid::InstanceGuid(device->config.joystickId) == instance) {
            *out = new ControllerOpaque{device};
            return S_OK;
        }
    }
    return kDiErrNotFound;
}

void ReleaseController(Controller controller) {
    auto lock = sched::Lock();  // the device may die with it; keep it under the device lock
    delete controller;
}

HRESULT GetJoystickId(Controller controller, DWORD* id) {
    auto lock = sched::Lock();
    if (!controller->device->plugged) return kDiErrUnplugged;
    *id = controller->device->config.joystickId;
    return S_OK;
}

HRESULT GetGuidAndPath(Controller controller, GuidAndPath* out) {
    auto lock = sched::Lock();
    if (!controller->device->plugged) return kDiErrUnplugged;
    out->classGuid = kHidClassGuid;
    std::wcsncpy(out->path, controller->device->path.c_str(), kMaxPath - 1);
    out->path[kMaxPath - 1] = L'\0';
    return S_OK;
}

HRESULT GetCalibration(Controller controller, DWORD offset, LONG out[3]) {
    auto lock = sched::Lock();
    const FfdrvVirtualDevice& c = controller->device->config;
    if (!c.hasCalibration || (offset != 0 && offset != 4)) return E_NOTIMPL;
    std::memcpy(out, &c.calibration[offset == 0 ? 0 : 3], 3 * sizeof(LONG));
    return S_OK;
}

HRESULT Unacquire(Controller) { return S_OK; }
HRESULT SetJoystickDataFormat(Controller) { return S_OK; }

bool GetContainerId(const wchar_t* interfacePath, GUID* out) {
    auto lock = sched::Lock();
    auto device = vhid::FindByPathLocked(interfacePath);
    if (!device) return false;
    std::memcpy(out, device->config.containerId, sizeof(GUID));
    return true;
}

// ---- Files and HID ----

File OpenOverlapped(const wchar_t* path) {
    auto lock = sched::Lock();
    auto device = vhid::FindByPathLocked(path);
    if (!device) {
        Fail(kErrorFileNotFound);
        return InvalidFile();
    }
    return new vhid::OpenFile{device};
}

void CloseFile(File file) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr) return;
    auto lock = sched::Lock();
    // Closing a handle cancels everything in flight on it, whoever issued it.
    CancelLocked(open->device->reads, open, nullptr);
    CancelLocked(open->device->writes, open, nullptr);
    delete open;
}

DWORD LastError() { return t_lastError; }

bool GetAttributes(File file, Attributes* out) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr) return Fail(kErrorInvalidParameter);
    auto lock = sched::Lock();
    const FfdrvVirtualDevice& c = open->device->config;
    *out = Attributes{sizeof(Attributes), c.vendorId, c.productId, c.versionNumber};
    return true;
}

bool GetPreparsedData(File file, Preparsed* out) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr) return Fail(kErrorInvalidParameter);
    auto lock = sched::Lock();
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

bool SetFeature(File file, const void* report, ULONG length) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr || report == nullptr) return Fail(kErrorInvalidParameter);
    auto lock = sched::Lock();
    vhid::Device& device = *open->device;
    if (!device.plugged) return Fail(kErrorDeviceNotConnected);
    if (length != device.config.featureReportLength) return Fail(kErrorInvalidParameter);
    auto bytes = static_cast<const std::uint8_t*>(report);
    device.reports.push_back({FFDRV_VIRTUAL_REPORT_FEATURE, sched::TimeMsLocked(), {bytes, bytes + length}});
    return true;
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
    if (!device.plugged) return Fail(kErrorDeviceNotConnected);
    if (length != device.config.outputReportLength) return Fail(kErrorInvalidParameter);
    if (device.writeMode == FFDRV_VIRTUAL_WRITE_FAIL) return Fail(kErrorGenFailure);
    const vhid::Pending pending{open, io->impl()->record, completion, nullptr, sched::CurrentThreadQueue(), nullptr,
                                length};
    io->impl()->record->status = kStatusPending;
    switch (device.writeMode) {
    case FFDRV_VIRTUAL_WRITE_STALL:
        device.writes.push_back(pending);
        break;
    case FFDRV_VIRTUAL_WRITE_ERROR:
        vhid::CompleteLocked(pending, kErrorGenFailure, 0);
        break;
    default: {
        auto bytes = static_cast<const std::uint8_t*>(data);
        device.reports.push_back({FFDRV_VIRTUAL_REPORT_OUTPUT, sched::TimeMsLocked(), {bytes, bytes + length}});
        vhid::CompleteLocked(pending, 0, length);
    }
    }
    return true;
}

namespace {
bool StartRead(File file, void* data, DWORD length, AsyncIo* io, IoCompletion completion, SimEvent* event) {
    vhid::OpenFile* open = AsFile(file);
    if (open == nullptr || data == nullptr || io == nullptr) return Fail(kErrorInvalidParameter);
    auto lock = sched::Lock();
    vhid::Device& device = *open->device;
    if (!device.plugged) return Fail(kErrorDeviceNotConnected);
    const vhid::Pending pending{open, io->impl()->record, completion, event, sched::CurrentThreadQueue(),
                                static_cast<std::uint8_t*>(data), length};
    io->impl()->record->status = kStatusPending;
    if (device.inputQueue.empty()) {
        device.reads.push_back(pending);
        return true;
    }
    std::vector<std::uint8_t> report = std::move(device.inputQueue.front());
    device.inputQueue.erase(device.inputQueue.begin());
    const DWORD n = std::min<DWORD>(length, static_cast<DWORD>(report.size()));
    std::memcpy(data, report.data(), n);
    vhid::CompleteLocked(pending, 0, n);
    return true;
}
}  // namespace

bool ReadFileEx(File file, void* data, DWORD length, AsyncIo* io, IoCompletion completion) {
    if (completion == nullptr) return Fail(kErrorInvalidParameter);
    return StartRead(file, data, length, io, completion, nullptr);
}

bool ReadFileOverlapped(File file, void* data, DWORD length, AsyncIo* io, SimEvent* event) {
    if (event == nullptr) return Fail(kErrorInvalidParameter);
    event->Reset();
    return StartRead(file, data, length, io, nullptr, event);
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
