#include "force_feedback/legacy/testing/driver_module.h"

#include <cstdlib>

#include "force_feedback/legacy/com/class_table.h"

std::string DriverModule::DefaultPath() {
    if (const char* env = std::getenv("FFDRV_MODULE"); env && *env) return env;
#ifdef FFDRV_MODULE_PATH
    return FFDRV_MODULE_PATH;
#else
    return "svjoyff";
#endif
}

DriverModule::DriverModule(const std::string& path) {
    m_library = platform::LoadLibraryPath(path, &m_error);
    if (!m_library) return;
    getClassObject = reinterpret_cast<GetClassObjectFn>(Symbol("DllGetClassObject"));
    canUnloadNow = reinterpret_cast<NoArgFn>(Symbol("DllCanUnloadNow"));
    registerServer = reinterpret_cast<NoArgFn>(Symbol("DllRegisterServer"));
    unregisterServer = reinterpret_cast<NoArgFn>(Symbol("DllUnregisterServer"));
}

// The module stays loaded for the life of the test process, as DirectInput
// keeps a driver loaded while its process runs: a device's threads may still
// be winding down, and the module's process-wide objects stay reachable for
// the leak checker instead of vanishing with the unloaded image.
DriverModule::~DriverModule() = default;

IDirectInputEffectDriver* DriverModule::CreateDriver(int classIndex) {
    IClassFactory* factory = nullptr;
    if (FAILED(getClassObject(kClassTable[classIndex].clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory))))
        return nullptr;
    IDirectInputEffectDriver* driver = nullptr;
    factory->CreateInstance(nullptr, IID_IDirectInputEffectDriver, reinterpret_cast<void**>(&driver));
    factory->Release();
    return driver;
}
