#include "force_feedback/legacy/driver/ff_driver.h"

#include "force_feedback/legacy/module_count.h"
#include "force_feedback/legacy/devices/device_catalog.h"
#include "platform/sim_clock.h"

namespace {
constexpr DWORD kVersionsSize = 16;
constexpr DWORD kFirmwareRevision = 1;
constexpr DWORD kHardwareRevision = 1;
constexpr DWORD kFFDriverVersion = 0x100;
}  // namespace

CFFDrv::CFFDrv() {
    ModuleIncrement();
    m_refCount.fetch_add(1);
}

CFFDrv::~CFFDrv() {
    for (CVDevice*& device : m_devices) {
        if (device == nullptr) continue;
        device->Close();
        delete device;
        device = nullptr;
    }
    for (auto& recorder : m_recorders) recorder.reset();
    ModuleDecrement();
}

HRESULT CFFDrv::Initialize() { return S_OK; }

HRESULT CFFDrv::QueryInterface(REFIID riid, void** ppv) {
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IDirectInputEffectDriver)) {
        AddRef();
        *ppv = static_cast<IDirectInputEffectDriver*>(this);
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

ULONG CFFDrv::AddRef() { return m_refCount.fetch_add(1) + 1; }

ULONG CFFDrv::Release() {
    const ULONG before = m_refCount.fetch_sub(1);
    if (before != 1) return before - 1;
    delete this;
    return 0;
}

HRESULT CFFDrv::DeviceID(DWORD, DWORD, DWORD, DWORD, LPVOID) { return S_OK; }

HRESULT CFFDrv::GetVersions(LPDIDRIVERVERSIONS pvers) {
    if (pvers == nullptr || pvers->dwSize < kVersionsSize) return E_INVALIDARG;
    pvers->dwSize = kVersionsSize;
    pvers->dwFirmwareRevision = kFirmwareRevision;
    pvers->dwHardwareRevision = kHardwareRevision;
    pvers->dwFFDriverVersion = kFFDriverVersion;
    return S_OK;
}

CVDevice* CFFDrv::DeviceAt(DWORD id) const {
    // DirectInput's external IDs are 0..15; anything else has no slot.
    return id < kSlotCount ? m_devices[id] : nullptr;
}

// The recorder sees the call after the device: it needs the result, and
// the call's start time is taken before so waits replay as they happened.
#define FFDRV_FORWARD(call, record)                                       \
    CVDevice* device = DeviceAt(dwID);                                    \
    if (device == nullptr) return E_INVALIDARG;                           \
    CCallRecorder* recorder = m_recorders[dwID].get();                    \
    if (recorder == nullptr) return device->call;                         \
    const std::uint32_t timeMs = platform::SimTimeMs();                 \
    const HRESULT hr = device->call;                                      \
    recorder->record;                                                     \
    return hr

using Kind = CCallRecorder::Kind;

HRESULT CFFDrv::Escape(DWORD dwID, DWORD dwEffect, LPDIEFFESCAPE pesc) {
    FFDRV_FORWARD(Escape(dwEffect, pesc), Escape(timeMs, dwEffect, pesc, hr));
}
HRESULT CFFDrv::SetGain(DWORD dwID, DWORD dwGain) {
    FFDRV_FORWARD(SetGain(dwGain), Simple(Kind::kGain, timeMs, dwGain, 0, 0, hr));
}
HRESULT CFFDrv::SendForceFeedbackCommand(DWORD dwID, DWORD dwCommand) {
    FFDRV_FORWARD(SendForceFeedbackCommand(dwCommand), Simple(Kind::kCommand, timeMs, dwCommand, 0, 0, hr));
}
HRESULT CFFDrv::GetForceFeedbackState(DWORD dwID, LPDIDEVICESTATE pds) {
    FFDRV_FORWARD(GetForceFeedbackState(pds), Simple(Kind::kState, timeMs, 0, 0, 0, hr));
}
HRESULT CFFDrv::DownloadEffect(DWORD dwID, DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) {
    // The handle going in tells a download (0) from an update.
    const DWORD handleIn = pdwEffect ? *pdwEffect : 0;
    FFDRV_FORWARD(DownloadEffect(dwEffectId, pdwEffect, peff, dwFlags),
                  DownloadEffect(timeMs, dwEffectId, handleIn, pdwEffect ? *pdwEffect : 0, peff, dwFlags, hr));
}
HRESULT CFFDrv::DestroyEffect(DWORD dwID, DWORD dwEffect) {
    FFDRV_FORWARD(DestroyEffect(dwEffect), Simple(Kind::kDestroy, timeMs, dwEffect, 0, 0, hr));
}
HRESULT CFFDrv::StartEffect(DWORD dwID, DWORD dwEffect, DWORD dwMode, DWORD dwCount) {
    FFDRV_FORWARD(StartEffect(dwEffect, dwMode, dwCount), Simple(Kind::kStart, timeMs, dwEffect, dwMode, dwCount, hr));
}
HRESULT CFFDrv::StopEffect(DWORD dwID, DWORD dwEffect) {
    FFDRV_FORWARD(StopEffect(dwEffect), Simple(Kind::kStop, timeMs, dwEffect, 0, 0, hr));
}
HRESULT CFFDrv::GetEffectStatus(DWORD dwID, DWORD dwEffect, LPDWORD pdwStatus) {
    FFDRV_FORWARD(GetEffectStatus(dwEffect, pdwStatus), Simple(Kind::kStatus, timeMs, dwEffect, 0, 0, hr));
}

#undef FFDRV_FORWARD

HRESULT CFFDrvModel::DeviceID(DWORD, DWORD dwExternalID, DWORD fBegin, DWORD, LPVOID) {
    if (dwExternalID >= kSlotCount) return E_INVALIDARG;
    CVDevice*& slot = m_devices[dwExternalID];
    if (!fBegin) {
        if (slot == nullptr) return E_INVALIDARG;
        slot->SetInputSink(nullptr);
        m_recorders[dwExternalID].reset();
        slot->Close();
        delete slot;
        slot = nullptr;
        return S_OK;
    }
    if (slot != nullptr) {
        delete slot;  // no Close here, unlike the end path: intentional, keep
        slot = nullptr;
    }
    m_recorders[dwExternalID].reset();
    slot = NewDevice(m_deviceModel);
    if (slot == nullptr) return E_OUTOFMEMORY;
    m_recorders[dwExternalID] = CCallRecorder::Begin(CCallRecorder::RecordDirectory(), m_deviceModel, dwExternalID);
    slot->SetInputSink(m_recorders[dwExternalID].get());
    slot->Open(dwExternalID);  // failures surface later through the forwarded calls
    return S_OK;
}
