#include "force_feedback/legacy/testing/driver_host.h"

#include <algorithm>
#include <string>

#include "force_feedback/legacy/com/class_table.h"

DriverModule& DriverHost::Module() {
    static DriverModule* module = new DriverModule();
    return *module;
}

FfdrvVirtualDevice DriverHost::DeviceOf(Model model, std::uint32_t joystick) {
    FfdrvVirtualDevice d = VirtualWheel(joystick);
    d.vendorId = kVendorId;
    d.productId = Product(model).productId;
    if (model == Model::Karvona) {
        d.outputReportLength = 64;
        d.featureReportLength = 2;
    }
    return d;
}

DriverHost::~DriverHost() {
    if (m_driver) m_driver->Release();
    if (m_plugged) m_module.unplug(m_joystick);
    if (m_clockTaken) m_module.useReal();
}

void DriverHost::StartVirtualClock(std::uint32_t clockStartMs) {
    ASSERT_TRUE(m_module.Loaded()) << DriverModule::DefaultPath() << ": " << m_module.Error();
    ASSERT_TRUE(m_module.HasVirtualDevices());
    m_clockTaken = true;
    ASSERT_EQ(m_module.useVirtual(clockStartMs), FFDRV_VIRTUAL_OK);
}

void DriverHost::StartRealClock() {
    ASSERT_TRUE(m_module.Loaded()) << DriverModule::DefaultPath() << ": " << m_module.Error();
    ASSERT_TRUE(m_module.HasVirtualDevices());
    m_clockTaken = true;
    ASSERT_EQ(m_module.useReal(), FFDRV_VIRTUAL_OK);
}

void DriverHost::Plug(const FfdrvVirtualDevice& device) {
    ASSERT_EQ(m_module.plug(&device), FFDRV_VIRTUAL_OK);
    m_joystick = device.joystickId;
    m_plugged = true;
}

void DriverHost::MakeDriver(int classIndex) {
    ASSERT_GE(classIndex, 0);
    m_driver = m_module.CreateDriver(kClassTable[classIndex].clsid);
    ASSERT_NE(m_driver, nullptr);
}

void DriverHost::OpenModel(Model model, std::uint32_t joystick, int classIndex, std::uint32_t clockStartMs) {
    ASSERT_NO_FATAL_FAILURE(StartVirtualClock(clockStartMs));
    ASSERT_NO_FATAL_FAILURE(Plug(DeviceOf(model, joystick)));
    ASSERT_NO_FATAL_FAILURE(MakeDriver(classIndex < 0 ? DriverClassOf(model) : classIndex));
    ASSERT_NO_FATAL_FAILURE(Open());
    Advance(3 * kPassMs);
}

void DriverHost::Open() { ASSERT_EQ(m_driver->DeviceID(kDirectInputVersion, m_joystick, TRUE, 0, nullptr), S_OK); }
void DriverHost::Close() { ASSERT_EQ(m_driver->DeviceID(kDirectInputVersion, m_joystick, FALSE, 0, nullptr), S_OK); }
void DriverHost::Advance(std::uint32_t ms) { ASSERT_EQ(m_module.advance(ms), FFDRV_VIRTUAL_OK); }
std::uint32_t DriverHost::Now() { return m_module.now(); }

void DriverHost::SetInput(std::int32_t x, std::int32_t y, std::uint64_t buttons) {
    ASSERT_EQ(m_module.setInput(m_joystick, x, y, buttons), FFDRV_VIRTUAL_OK);
}

std::vector<RecordedReport> DriverHost::Reports() {
    return ReadReports(m_joystick, m_module.reportCount, m_module.getReport);
}

void DriverHost::ClearReports() { ASSERT_EQ(m_module.clearReports(m_joystick), FFDRV_VIRTUAL_OK); }

void DriverHost::ExpectReports(std::size_t from, const std::vector<std::vector<BYTE>>& expected) {
    const auto reports = Reports();
    std::string seen;
    for (std::size_t i = from; i < reports.size(); ++i) {
        seen += std::to_string(reports[i].timeMs) + ":";
        for (std::size_t b = 0; b < std::min<std::size_t>(reports[i].bytes.size(), 8); ++b)
            seen += " " + std::to_string(reports[i].bytes[b]);
        seen += "\n";
    }
    ASSERT_EQ(reports.size(), from + expected.size()) << seen;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(reports[from + i].bytes, expected[i]);
    }
}

DWORD DriverHost::Download(EffectBlock& block, DWORD type, DWORD flags) {
    DWORD handle = 0;
    EXPECT_EQ(m_driver->DownloadEffect(m_joystick, type, &handle, block.Get(), flags), S_OK);
    return handle;
}

ISVJoyForceAPI* DriverHost::MakeJoyForceApi() {
    IClassFactory* factory = nullptr;
    EXPECT_EQ(m_module.getClassObject(CLSID_SVJoyForceAPI, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
              S_OK);
    if (factory == nullptr) return nullptr;
    ISVJoyForceAPI* api = nullptr;
    factory->CreateInstance(nullptr, IID_ISVJoyForceAPI, reinterpret_cast<void**>(&api));
    factory->Release();
    return api;
}
