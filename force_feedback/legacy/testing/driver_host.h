// The one end-to-end test host: the built module loaded by path and reached
// through its exports only, a virtual device of a given model plugged in
// through them, the module's virtual clock, and the reports the device
// recorded. Wheel, joystick, rumble and bridge suites derive their fixture
// from DriverHostTest and parameterise it by model.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "force_feedback/legacy/driver/joy_force_api.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/product_config.h"
#include "force_feedback/legacy/testing/recorded_reports.h"
#include "force_feedback/legacy/testing/virtual_clock.h"
#include "tools/module_host/driver_module.h"

class DriverHost {
public:
    static constexpr DWORD kDirectInputVersion = 0x0800;
    static constexpr std::uint32_t kPassMs = 8;
    // Where the virtual clock starts unless a suite says otherwise.
    static constexpr std::uint32_t kClockStartMs = 40000;

    // The process's one loaded module (kept loaded, as DirectInput keeps it).
    static DriverModule& Module();
    // A plausible device of `model` at `joystick` (VirtualWheel's reports,
    // the model's IDs); the Karvona stick has its 64-byte output report and
    // its one 2-byte feature report.
    static FfdrvVirtualDevice DeviceOf(Model model, std::uint32_t joystick);

    DriverHost() = default;
    DriverHost(const DriverHost&) = delete;
    DriverHost& operator=(const DriverHost&) = delete;
    // Releases the driver, unplugs the device, puts the real clock back.
    ~DriverHost();

    // The module with its virtual-device exports, on the virtual clock from
    // `clockStartMs`; the real clock for the few tests that race on it.
    void StartVirtualClock(std::uint32_t clockStartMs = kClockStartMs);
    void StartRealClock();
    void Plug(const FfdrvVirtualDevice& device);
    // The driver of the class-table row, through the module's class factory.
    void MakeDriver(int classIndex);
    // The whole opening: virtual clock, device of `model`, the driver of
    // `classIndex` (the model's own by default), DeviceID, three passes.
    void OpenModel(Model model, std::uint32_t joystick, int classIndex = -1,
                   std::uint32_t clockStartMs = kClockStartMs);
    void Open();
    void Close();

    void Advance(std::uint32_t ms);
    std::uint32_t Now();
    void SetInput(std::int32_t x, std::int32_t y, std::uint64_t buttons = 0);
    std::vector<RecordedReport> Reports();
    void ClearReports();
    // The reports from `from` on must be exactly `expected`, in order.
    void ExpectReports(std::size_t from, const std::vector<std::vector<BYTE>>& expected);
    DWORD Download(EffectBlock& block, DWORD type, DWORD flags = kAllParams);
    // The legacy settings interface, as a settings tool makes it.
    ISVJoyForceAPI* MakeJoyForceApi();

    DriverModule& m_module = Module();
    IDirectInputEffectDriver* m_driver = nullptr;
    std::uint32_t m_joystick = 0;

private:
    bool m_plugged = false;
    bool m_clockTaken = false;
};

template <class Base = ::testing::Test>
class DriverHostTest : public Base, public DriverHost {};
