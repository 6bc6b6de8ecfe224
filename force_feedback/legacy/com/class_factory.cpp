#include "force_feedback/legacy/com/class_factory.h"

#include <array>
#include <new>
#include <utility>

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
// One factory class per class-table row; they differ only in the driver they
// make.
template <typename Driver>
class CDriverClassFactory final : public CFFServerClassFactory {
public:
    CFFDrv* CreateDriver() override { return new (std::nothrow) Driver(); }
};

template <Model M>
using CCFSV = CDriverClassFactory<CFFDrvSV<M>>;

template <typename Factory>
CServerClassFactory* Make() {
    return new (std::nothrow) Factory();
}

using FactoryMaker = CServerClassFactory* (*)();

// Class-table order: the settings interface, each model row's own factory,
// the legacy wheel.
template <std::size_t... I>
constexpr std::array<FactoryMaker, kClassCount> FactoryMakers(std::index_sequence<I...>) {
    return {Make<CCFSVJoyForceAPI>, Make<CCFSV<static_cast<Model>(I)>>..., Make<CDriverClassFactory<CFFDrvLegacyWheel>>};
}

constexpr std::array<FactoryMaker, kClassCount> kFactoryMakers =
    FactoryMakers(std::make_index_sequence<kModelCount>{});
}  // namespace

// The factories' names, as the class table lists them.
using CCFSVNimbalForce = CCFSV<Model::Oskra>;
using CCFSVDastrin = CCFSV<Model::Dastrin>;
using CCFSVTollund = CCFSV<Model::Tollund>;
using CCFSVTavrin = CCFSV<Model::Tavrin>;
using CCFSVDrovik = CCFSV<Model::Drovik>;
using CCFSVLumisk = CCFSV<Model::Lumisk>;
using CCFSVQuintar = CCFSV<Model::Quintar>;
using CCFSVRavik = CCFSV<Model::Ravik>;
using CCFSVZorvel = CCFSV<Model::Zorvel>;
using CCFSVVesk = CCFSV<Model::Vesk>;
using CCFSVBrennick = CCFSV<Model::Brennick>;
using CCFSVPelvar = CCFSV<Model::Pelvar>;
using CCFSVFerolla = CCFSV<Model::Ferolla>;
using CCFSVCorrin = CCFSV<Model::Corrin>;
using CCFSVWendlow = CCFSV<Model::Wendlow>;
using CCFSVPrazen = CCFSV<Model::Prazen>;
using CCFSVKarvona = CCFSV<Model::Karvona>;
using CCFWLegacyWheel = CDriverClassFactory<CFFDrvLegacyWheel>;

CServerClassFactory* NewClassFactory(int classIndex) {
    if (classIndex < 0 || classIndex >= kClassCount) return nullptr;
    return kFactoryMakers[classIndex]();
}
