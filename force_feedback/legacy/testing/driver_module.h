// The built driver module loaded the way DirectInput loads it: by path, then
// through its exported functions only.
#pragma once

#include <string>

#include "com_abi.h"
#include "platform/library.h"

class DriverModule {
public:
    using GetClassObjectFn = HRESULT(STDMETHODCALLTYPE*)(REFCLSID, REFIID, LPVOID*);
    using NoArgFn = HRESULT(STDMETHODCALLTYPE*)();

    // FFDRV_MODULE names the module when set (the Wine runs pass a Windows
    // path); otherwise the one this build produced.
    static std::string DefaultPath();

    explicit DriverModule(const std::string& path = DefaultPath());
    ~DriverModule();

    bool Loaded() const { return m_library != nullptr; }
    const std::string& Error() const { return m_error; }
    void* Symbol(const char* name) const { return platform::LibrarySymbol(m_library, name); }

    GetClassObjectFn getClassObject = nullptr;
    NoArgFn canUnloadNow = nullptr;
    NoArgFn registerServer = nullptr;
    NoArgFn unregisterServer = nullptr;

    // A driver of the class-table row through the module's own class factory.
    IDirectInputEffectDriver* CreateDriver(int classIndex);

private:
    platform::Library m_library = nullptr;
    std::string m_error;
};
