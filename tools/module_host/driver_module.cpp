#include "tools/module_host/driver_module.h"

#include "force_feedback/legacy/product_config.h"

namespace {

constexpr std::int32_t kRawMax = 1023;

}  // namespace

FfdrvVirtualDevice PlausibleDevice(std::uint32_t joystickId, std::uint8_t containerSeed) {
    FfdrvVirtualDevice d{};
    d.size = sizeof d;
    d.joystickId = joystickId;
    d.vendorId = kVendorId;
    d.versionNumber = 0x0100;
    d.inputReportLength = 9;
    d.outputReportLength = 65;
    d.featureReportLength = 65;
    for (int i = 0; i < 16; ++i) d.containerId[i] = static_cast<std::uint8_t>(containerSeed + joystickId + i);
    d.hasCalibration = 1;
    const std::int32_t calibration[6] = {0, kRawMax / 2 + 1, kRawMax, 0, kRawMax / 2 + 1, kRawMax};
    for (int i = 0; i < 6; ++i) d.calibration[i] = calibration[i];
    d.axes[0] = {10, 0, kRawMax};
    d.axes[1] = {10, 0, kRawMax};
    d.buttonCount = 12;
    return d;
}

DriverModule::DriverModule(const std::string& path) {
    m_library = platform::LoadLibraryPath(path, &m_error);
    if (!m_library) return;
    Find(&getClassObject, "DllGetClassObject");
    Find(&canUnloadNow, "DllCanUnloadNow");
    Find(&registerServer, "DllRegisterServer");
    Find(&unregisterServer, "DllUnregisterServer");
    Find(&plug, "FfdrvVirtualPlug");
    Find(&unplug, "FfdrvVirtualUnplug");
    Find(&setInput, "FfdrvVirtualSetInput");
    Find(&setWriteMode, "FfdrvVirtualSetWriteMode");
    Find(&pendingIo, "FfdrvVirtualPendingIo");
    Find(&reportCount, "FfdrvVirtualReportCount");
    Find(&getReport, "FfdrvVirtualGetReport");
    Find(&clearReports, "FfdrvVirtualClearReports");
    Find(&useVirtual, "FfdrvVirtualClockUseVirtual");
    Find(&useReal, "FfdrvVirtualClockUseReal");
    Find(&advance, "FfdrvVirtualClockAdvance");
    Find(&now, "FfdrvVirtualClockNow");
}

bool DriverModule::HasVirtualDevices() const {
    return plug && unplug && setInput && setWriteMode && pendingIo && reportCount && getReport && clearReports &&
           useVirtual && useReal && advance && now;
}

IDirectInputEffectDriver* DriverModule::CreateDriver(REFCLSID clsid) {
    IClassFactory* factory = nullptr;
    if (!getClassObject || FAILED(getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory))))
        return nullptr;
    IDirectInputEffectDriver* driver = nullptr;
    factory->CreateInstance(nullptr, IID_IDirectInputEffectDriver, reinterpret_cast<void**>(&driver));
    factory->Release();
    return driver;
}
