#include "force_feedback/legacy/com/exports.h"

#include "force_feedback/legacy/com/class_factory.h"
#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/module_count.h"
#include "force_feedback/legacy/bridge/process_bridge.h"

extern "C" FFDRV_EXPORT_API HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv) {
    // Nowhere to put an answer: refused before anything is made or written.
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    int index = 0;
    while (index < kClassCount && !IsEqualCLSID(rclsid, kClassTable[index].clsid)) ++index;
    if (index == kClassCount) return CLASS_E_CLASSNOTAVAILABLE;
    // IUnknown is refused here too: DirectInput only ever asks for the factory.
    if (!IsEqualIID(riid, IID_IClassFactory)) return E_NOINTERFACE;
    CServerClassFactory* factory = NewClassFactory(index);
    if (factory == nullptr) return E_OUTOFMEMORY;
    const HRESULT hr = factory->QueryInterface(riid, ppv);
    // When QueryInterface failed this Release drops the module count to zero
    // and destroys the bridge, which the next step then re-creates with no
    // object alive: intentional, keep.
    factory->Release();
    EnsureBridgeThread();
    return hr;
}

extern "C" FFDRV_EXPORT_API HRESULT STDMETHODCALLTYPE DllCanUnloadNow() {
    return ModuleObjectCount() == 0 ? S_OK : S_FALSE;
}
