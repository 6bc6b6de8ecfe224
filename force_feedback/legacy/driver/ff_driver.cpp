#include "force_feedback/legacy/driver/ff_driver.h"

#include "force_feedback/legacy/com/module.h"
#include "force_feedback/legacy/devices/device_catalog.h"

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

#define FFDRV_FORWARD(call)                          \
    CVDevice* device = DeviceAt(dwID);               \
    return device ? device->call : E_INVALIDARG

HRESULT CFFDrv::Escape(DWORD dwID, DWORD dwEffect, LPDIEFFESCAPE pesc) { FFDRV_FORWARD(Escape(dwEffect, pesc)); }
HRESULT CFFDrv::SetGain(DWORD dwID, DWORD dwGain) { FFDRV_FORWARD(SetGain(dwGain)); }
HRESULT CFFDrv::SendForceFeedbackCommand(DWORD dwID, DWORD dwCommand) {
    FFDRV_FORWARD(SendForceFeedbackCommand(dwCommand));
}
HRESULT CFFDrv::GetForceFeedbackState(DWORD dwID, LPDIDEVICESTATE pds) { FFDRV_FORWARD(GetForceFeedbackState(pds)); }
HRESULT CFFDrv::DownloadEffect(DWORD dwID, DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) {
    FFDRV_FORWARD(DownloadEffect(dwEffectId, pdwEffect, peff, dwFlags));
}
HRESULT CFFDrv::DestroyEffect(DWORD dwID, DWORD dwEffect) { FFDRV_FORWARD(DestroyEffect(dwEffect)); }
HRESULT CFFDrv::StartEffect(DWORD dwID, DWORD dwEffect, DWORD dwMode, DWORD dwCount) {
    FFDRV_FORWARD(StartEffect(dwEffect, dwMode, dwCount));
}
HRESULT CFFDrv::StopEffect(DWORD dwID, DWORD dwEffect) { FFDRV_FORWARD(StopEffect(dwEffect)); }
HRESULT CFFDrv::GetEffectStatus(DWORD dwID, DWORD dwEffect, LPDWORD pdwStatus) {
    FFDRV_FORWARD(GetEffectStatus(dwEffect, pdwStatus));
}

#undef FFDRV_FORWARD

HRESULT CFFDrvModel::DeviceID(DWORD, DWORD dwExternalID, DWORD fBegin, DWORD, LPVOID) {
    if (dwExternalID >= kSlotCount) return E_INVALIDARG;
    CVDevice*& slot = m_devices[dwExternalID];
    if (!fBegin) {
        if (slot == nullptr) return E_INVALIDARG;
        slot->Close();
        delete slot;
        slot = nullptr;
        return S_OK;
    }
    if (slot != nullptr) {
        delete slot;  // no Close here, unlike the end path: intentional, keep
        slot = nullptr;
    }
    slot = NewDevice(m_deviceModel);
    if (slot == nullptr) return E_OUTOFMEMORY;
    slot->Open(dwExternalID);  // failures surface later through the forwarded calls
    return S_OK;
}
