// The driver module loaded the way DirectInput loads it: by path, then
// reached through its exported functions only. The player, the benchmarks
// and the end-to-end tests all host the module through this one loader.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>

#include "com_abi.h"
#include "platform/library.h"
#include "platform/virtual_hid_api.h"

// A plausible force device for the virtual HID stack at `joystickId`: 10-bit
// X and Y calibrated 0..1023 (centre 512), 12 buttons, 9-byte input and
// 65-byte output and feature reports, the maker's vendor ID with product ID
// 0; its container ID counts up from `containerSeed + joystickId`, so each
// host keeps its devices apart from another's.
FfdrvVirtualDevice PlausibleDevice(std::uint32_t joystickId, std::uint8_t containerSeed);

class DriverModule {
public:
    using GetClassObjectFn = HRESULT(STDMETHODCALLTYPE*)(REFCLSID, REFIID, LPVOID*);
    using NoArgFn = HRESULT(STDMETHODCALLTYPE*)();

    // FFDRV_MODULE names the module when set (the Wine runs pass a Windows
    // path; the benchmarks compare another build); otherwise the one this
    // build produced.
    static std::string DefaultPath() {
        if (const char* env = std::getenv("FFDRV_MODULE"); env && *env) return env;
#ifdef FFDRV_MODULE_PATH
        return FFDRV_MODULE_PATH;
#else
        return "svjoyff";
#endif
    }

    // Loads the module and looks its exports up; a missing export stays null.
    explicit DriverModule(const std::string& path = DefaultPath());
    // The module stays loaded for the life of the process, as DirectInput
    // keeps a driver loaded while its process runs: a device's threads may
    // still be winding down, and the module's process-wide objects stay
    // reachable for the leak checker instead of vanishing with the image.
    ~DriverModule() = default;

    bool Loaded() const { return m_library != nullptr; }
    // Why loading failed, as the system put it.
    const std::string& Error() const { return m_error; }
    void* Symbol(const char* name) const { return platform::LibrarySymbol(m_library, name); }
    // True when the virtual-device and virtual-clock exports are all there
    // (builds with virtual devices only).
    bool HasVirtualDevices() const;

    // A driver of `clsid` through the module's own class factory; null when
    // either refuses.
    IDirectInputEffectDriver* CreateDriver(REFCLSID clsid);

    GetClassObjectFn getClassObject = nullptr;
    NoArgFn canUnloadNow = nullptr;
    NoArgFn registerServer = nullptr;
    NoArgFn unregisterServer = nullptr;

    // The virtual-device and virtual-clock exports.
    decltype(&FfdrvVirtualPlug) plug = nullptr;
    decltype(&FfdrvVirtualUnplug) unplug = nullptr;
    decltype(&FfdrvVirtualSetInput) setInput = nullptr;
    decltype(&FfdrvVirtualSetWriteMode) setWriteMode = nullptr;
    decltype(&FfdrvVirtualPendingIo) pendingIo = nullptr;
    decltype(&FfdrvVirtualReportCount) reportCount = nullptr;
    decltype(&FfdrvVirtualGetReport) getReport = nullptr;
    decltype(&FfdrvVirtualClearReports) clearReports = nullptr;
    decltype(&FfdrvVirtualClockUseVirtual) useVirtual = nullptr;
    decltype(&FfdrvVirtualClockUseReal) useReal = nullptr;
    decltype(&FfdrvVirtualClockAdvance) advance = nullptr;
    decltype(&FfdrvVirtualClockNow) now = nullptr;

private:
    template <typename Fn>
    void Find(Fn* fn, const char* name) {
        *fn = reinterpret_cast<Fn>(Symbol(name));
    }

    platform::Library m_library = nullptr;
    std::string m_error;
};
