#include "force_feedback/legacy/com/class_factory.h"

#include <new>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/module_count.h"
#include "force_feedback/legacy/driver/ff_driver.h"
#include "force_feedback/legacy/driver/joy_force_api.h"

CServerClassFactory::CServerClassFactory() {
    m_refCount.fetch_add(1);
    ModuleIncrement();
}

CServerClassFactory::~CServerClassFactory() { ModuleDecrement(); }

HRESULT CServerClassFactory::QueryInterface(REFIID riid, void** ppv) {
    *ppv = nullptr;
    if (!IsEqualIID(riid, IID_IUnknown) && !IsEqualIID(riid, IID_IClassFactory)) return E_NOINTERFACE;
    *ppv = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
}

ULONG CServerClassFactory::AddRef() { return m_refCount.fetch_add(1) + 1; }

ULONG CServerClassFactory::Release() {
    const ULONG now = m_refCount.fetch_sub(1) - 1;
    if (now != 0) return now;
    delete this;
    return 0;
}

HRESULT CServerClassFactory::CreateInstance(IUnknown*, REFIID, void**) { return E_NOTIMPL; }

HRESULT CServerClassFactory::LockServer(BOOL fLock) {
    if (fLock)
        ModuleIncrement();
    else
        ModuleDecrement();
    return S_OK;
}

HRESULT CFFServerClassFactory::CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppv) {
    if (pUnkOuter != nullptr) return CLASS_E_NOAGGREGATION;
    CFFDrv* driver = CreateDriver();
    if (driver == nullptr) return E_OUTOFMEMORY;
    if (const HRESULT hr = driver->Initialize(); FAILED(hr)) {
        driver->Release();
        return hr;
    }
    const HRESULT hr = driver->QueryInterface(riid, ppv);
    driver->Release();
    return hr;
}

HRESULT CCFSVJoyForceAPI::CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppv) {
    if (pUnkOuter != nullptr) return CLASS_E_NOAGGREGATION;
    auto* api = new (std::nothrow) CSVJoyForceAPI(kClassTable[kJoyForceApiIndex].device);
    if (api == nullptr) return E_OUTOFMEMORY;
    const HRESULT hr = api->QueryInterface(riid, ppv);
    api->Release();
    return hr;
}

namespace {
// One factory class per model row; they differ only in the driver they make.
template <typename Driver>
class CModelClassFactory final : public CFFServerClassFactory {
public:
    CFFDrv* CreateDriver() override { return new (std::nothrow) Driver(); }
};
}  // namespace

using CCFSVNimbalForce = CModelClassFactory<CFFDrvSVNimbal>;
using CCFSVDastrin = CModelClassFactory<CFFDrvSVDastrin>;
using CCFSVTollund = CModelClassFactory<CFFDrvSVTollund>;
using CCFSVTavrin = CModelClassFactory<CFFDrvSVTavrin>;
using CCFSVDrovik = CModelClassFactory<CFFDrvSVDrovik>;
using CCFSVLumisk = CModelClassFactory<CFFDrvSVLumisk>;
using CCFSVQuintar = CModelClassFactory<CFFDrvSVQuintar>;
using CCFSVRavik = CModelClassFactory<CFFDrvSVRavik>;
using CCFSVZorvel = CModelClassFactory<CFFDrvSVZorvel>;
using CCFSVVesk = CModelClassFactory<CFFDrvSVVesk>;
using CCFSVBrennick = CModelClassFactory<CFFDrvSVBrennick>;
using CCFSVPelvar = CModelClassFactory<CFFDrvSVPelvar>;
using CCFSVFerolla = CModelClassFactory<CFFDrvSVFerolla>;
using CCFSVCorrin = CModelClassFactory<CFFDrvSVCorrin>;
using CCFSVWendlow = CModelClassFactory<CFFDrvSVWendlow>;
using CCFSVPrazen = CModelClassFactory<CFFDrvSVPrazen>;
using CCFSVKarvona = CModelClassFactory<CFFDrvSVKarvona>;
using CCFWLegacyWheel = CModelClassFactory<CFFDrvLegacyWheel>;

namespace {
template <typename Factory>
CServerClassFactory* Make() {
    return new (std::nothrow) Factory();
}

// Parallel to kClassTable.
constexpr CServerClassFactory* (*kFactoryMakers[kClassCount])() = {
    Make<CCFSVJoyForceAPI>, Make<CCFSVNimbalForce>, Make<CCFSVDastrin>, Make<CCFSVTollund>, Make<CCFSVTavrin>,
    Make<CCFSVDrovik>,      Make<CCFSVLumisk>,      Make<CCFSVQuintar>, Make<CCFSVRavik>,   Make<CCFSVZorvel>,
    Make<CCFSVVesk>,        Make<CCFSVBrennick>,    Make<CCFSVPelvar>,  Make<CCFSVFerolla>, Make<CCFSVCorrin>,
    Make<CCFSVWendlow>,     Make<CCFSVPrazen>,      Make<CCFSVKarvona>, Make<CCFWLegacyWheel>,
};
}  // namespace

CServerClassFactory* NewClassFactory(int classIndex) {
    if (classIndex < 0 || classIndex >= kClassCount) return nullptr;
    return kFactoryMakers[classIndex]();
}
