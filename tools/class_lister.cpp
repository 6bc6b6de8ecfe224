// Loads the driver module through its exports, as DirectInput does, and shows
// every class it serves: CLSID, factory, and for each driver the versions it
// reports. Usage: ffdrv-classes [path-to-module]
#include <cstdio>
#include <string>

#include "com_abi.h"
#include "force_feedback/legacy/com/class_table.h"
#include "platform/guid.h"
#include "platform/library.h"

namespace {
using GetClassObjectFn = HRESULT(STDMETHODCALLTYPE*)(REFCLSID, REFIID, LPVOID*);
using CanUnloadNowFn = HRESULT(STDMETHODCALLTYPE*)();

std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

std::string DefaultModulePath(const char* argv0) {
    std::string self = argv0;
    const auto slash = self.find_last_of("/\\");
    const std::string dir = slash == std::string::npos ? "." : self.substr(0, slash);
    return dir + "/../force_feedback/" + FFDRV_DEFAULT_MODULE;
}

void ShowDriver(IClassFactory* factory) {
    IDirectInputEffectDriver* driver = nullptr;
    const HRESULT hr = factory->CreateInstance(nullptr, IID_IDirectInputEffectDriver, reinterpret_cast<void**>(&driver));
    if (FAILED(hr)) {
        std::printf("    CreateInstance(IDirectInputEffectDriver) -> 0x%08X\n", static_cast<unsigned>(hr));
        return;
    }
    DIDRIVERVERSIONS versions{};
    versions.dwSize = sizeof versions;
    const HRESULT vhr = driver->GetVersions(&versions);
    std::printf("    GetVersions -> 0x%08X  firmware %u, hardware %u, driver 0x%03X\n", static_cast<unsigned>(vhr),
                static_cast<unsigned>(versions.dwFirmwareRevision), static_cast<unsigned>(versions.dwHardwareRevision),
                static_cast<unsigned>(versions.dwFFDriverVersion));
    driver->Release();
}
}  // namespace

int main(int argc, char** argv) {
    const std::string path = argc > 1 ? argv[1] : DefaultModulePath(argv[0]);
    std::string error;
    platform::Library module = platform::LoadLibraryPath(path, &error);
    if (module == nullptr) {
        std::fprintf(stderr, "cannot load %s: %s\n", path.c_str(), error.c_str());
        return 1;
    }
    auto getClassObject = reinterpret_cast<GetClassObjectFn>(platform::LibrarySymbol(module, "DllGetClassObject"));
    auto canUnloadNow = reinterpret_cast<CanUnloadNowFn>(platform::LibrarySymbol(module, "DllCanUnloadNow"));
    if (getClassObject == nullptr || canUnloadNow == nullptr) {
        std::fprintf(stderr, "%s does not export the class-object functions\n", path.c_str());
        return 1;
    }
    std::printf("Module %s\n\n", path.c_str());
    int failures = 0;
    for (int index = 0; index < kClassCount; ++index) {
        const ClassRow& row = kClassTable[index];
        std::printf("%2d  %s  %-17s %s\n", index, Narrow(platform::FormatGuid(row.clsid)).c_str(), row.factoryName,
                    Narrow(FriendlyName(index)).c_str());
        IClassFactory* factory = nullptr;
        const HRESULT hr = getClassObject(row.clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory));
        if (FAILED(hr)) {
            std::printf("    DllGetClassObject -> 0x%08X\n", static_cast<unsigned>(hr));
            ++failures;
            continue;
        }
        if (row.kind != ClassKind::JoyForceApi) ShowDriver(factory);
        factory->Release();
    }
    std::printf("\nDllCanUnloadNow -> %s\n", canUnloadNow() == S_OK ? "S_OK" : "S_FALSE");
    platform::FreeLibraryHandle(module);
    return failures == 0 ? 0 : 1;
}
