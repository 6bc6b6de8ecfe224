#include "force_feedback/legacy/driver/joy_force_api.h"

#include "force_feedback/legacy/module_count.h"
#include "force_feedback/legacy/devices/device_catalog.h"

CSVJoyForceAPI::CSVJoyForceAPI(Model device) : m_device(device) { ModuleIncrement(); }
CSVJoyForceAPI::~CSVJoyForceAPI() { ModuleDecrement(); }

HRESULT CSVJoyForceAPI::QueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_INVALIDARG;
    *ppv = nullptr;
    if (!IsEqualIID(riid, IID_IUnknown) && !IsEqualIID(riid, IID_ISVJoyForceAPI)) return E_NOINTERFACE;
    *ppv = static_cast<ISVJoyForceAPI*>(this);
    AddRef();
    return S_OK;
}

ULONG CSVJoyForceAPI::AddRef() { return ++m_refCount; }

ULONG CSVJoyForceAPI::Release() {
    if (--m_refCount != 0) return m_refCount;
    delete this;
    return 0;
}

template <typename Op>
HRESULT CSVJoyForceAPI::WithTemporaryDevice(DWORD deviceSelector, Op op) {
    if (deviceSelector != kSelectorWheel && deviceSelector != kSelectorWheelAlt) return E_NOTIMPL;
    CVDevice* device = NewDevice(m_device);
    if (device == nullptr) return E_OUTOFMEMORY;
    const HRESULT hr = op(device);
    delete device;
    return hr;
}

HRESULT CSVJoyForceAPI::SetParameter(DWORD deviceSelector, SVJOYFORCEPARAM* param) {
    return WithTemporaryDevice(deviceSelector, [param](CVDevice* d) { return d->SetSetting(param); });
}

HRESULT CSVJoyForceAPI::GetParameter(DWORD deviceSelector, SVJOYFORCEPARAM* param) {
    return WithTemporaryDevice(deviceSelector, [param](CVDevice* d) { return d->GetSetting(param); });
}
