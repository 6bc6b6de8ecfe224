// A whole DirectInput session through the COM driver: a model driver whose
// device catalog makes probe devices, on a virtual wheel in virtual time.
// The report stream is worked out from the probe format (report ID, 0x11,
// x, y), the constant-force law (magnitude * 127 / 10000 on a pure X
// direction, MulDiv rounding), the gain attenuation below the curve knee and
// the 8 ms pass.
#include <gtest/gtest.h>

#include "force_feedback/legacy/driver/ff_driver.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/sim/sim_thread.h"
#include "force_feedback/legacy/testing/probe_family.h"
#include "force_feedback/legacy/testing/recorded_reports.h"
#include "force_feedback/legacy/testing/virtual_clock.h"

namespace {

constexpr std::uint32_t kJoystick = 9;
constexpr DWORD kDirectInputVersion = 0x0800;
constexpr BYTE kReportId = 0x03;
constexpr DWORD kPassMs = 8;

struct Expected {
    BYTE command;
    BYTE x;
};

class DriverStreamTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(m_plug.Result(), FFDRV_VIRTUAL_OK);
        m_driver = new CFFDrvSVDastrin();
        ASSERT_EQ(m_driver->DeviceID(kDirectInputVersion, kJoystick, TRUE, 0, nullptr), S_OK);
        // A second holder of the device's settings block sets what a user
        // would have set in the control panel.
        m_settings.Initialize(ScopedProbeDevices::LastSettingsId());
        m_settings.SetCurveKnee(10000);
        m_settings.SetOverallStrength(10000, 0, 0);
        m_settings.SetApplicationGain(10000);
        m_settings.SetReportId(kReportId);
        ASSERT_TRUE(platform::AdvanceVirtualClock(0));
    }
    void TearDown() override {
        if (m_driver) m_driver->Release();
    }
    static void Advance(std::uint32_t ms) { ASSERT_TRUE(platform::AdvanceVirtualClock(ms)); }

    VirtualClockScope m_clock{50000};
    PluggedDevice m_plug{VirtualWheel(kJoystick)};
    ScopedProbeDevices m_probes;
    CGlobalData m_settings;
    CFFDrv* m_driver = nullptr;
};

TEST_F(DriverStreamTest, SessionProducesTheForceReportsAndEndsWithTheResetCommand) {
    EffectBlock block;
    block.Params(DICONSTANTFORCE{5000}).Cartesian({kAxisX}, {1}).DurationMs(200);
    DWORD handle = 0;
    ASSERT_EQ(m_driver->DownloadEffect(kJoystick, kEffectConstant, &handle, block.Get(), kAllParams), S_OK);
    ASSERT_EQ(handle, 1u);
    const std::uint32_t startedAt = platform::SimTimeMs();
    ASSERT_EQ(m_driver->StartEffect(kJoystick, handle, 0, 1), S_OK);
    Advance(5 * kPassMs);
    ASSERT_EQ(m_driver->SetGain(kJoystick, 2500), S_OK);  // 64 * 0.25 = 16
    Advance(300);
    DIDEVICESTATE state{sizeof(DIDEVICESTATE), 0, 0};
    ASSERT_EQ(m_driver->GetForceFeedbackState(kJoystick, &state), S_OK);
    EXPECT_EQ(state.dwState & (DIGFFS_STOPPED | DIGFFS_ACTUATORSON | DIGFFS_EMPTY),
              DIGFFS_STOPPED | DIGFFS_ACTUATORSON);
    ASSERT_EQ(m_driver->DeviceID(kDirectInputVersion, kJoystick, FALSE, 0, nullptr), S_OK);

    const auto reports = RecordedReports(kJoystick);
    const Expected expected[] = {{kProbeForceCommand, 64}, {kProbeForceCommand, 16}, {kProbeForceCommand, 0},
                                 {kResetCommand, 0}};
    ASSERT_EQ(reports.size(), std::size(expected));
    for (std::size_t i = 0; i < reports.size(); ++i) {
        SCOPED_TRACE(i);
        ASSERT_EQ(reports[i].bytes.size(), 65u);
        EXPECT_EQ(reports[i].kind, static_cast<std::uint32_t>(FFDRV_VIRTUAL_REPORT_OUTPUT));
        EXPECT_EQ(reports[i].bytes[0], kReportId);
        EXPECT_EQ(reports[i].bytes[1], expected[i].command);
        EXPECT_EQ(reports[i].bytes[2], expected[i].x);
    }
    EXPECT_LE(reports[0].timeMs - startedAt, 2 * kPassMs);
    EXPECT_GE(reports[2].timeMs - startedAt, 200u);
    EXPECT_LE(reports[2].timeMs - startedAt, 200u + 3 * kPassMs);
}

TEST_F(DriverStreamTest, PauseHoldsTheForceAndContinueLetsItChange) {
    EffectBlock block;
    block.Params(DICONSTANTFORCE{10000}).Cartesian({kAxisX}, {1});
    DWORD handle = 0;
    ASSERT_EQ(m_driver->DownloadEffect(kJoystick, kEffectConstant, &handle, block.Get(), kAllParams | DIEP_START),
              S_OK);
    Advance(3 * kPassMs);
    ASSERT_EQ(m_driver->SendForceFeedbackCommand(kJoystick, DISFFC_PAUSE), S_OK);
    Advance(3 * kPassMs);
    ASSERT_EQ(m_driver->StopEffect(kJoystick, handle), S_OK);
    Advance(10 * kPassMs);
    EXPECT_EQ(RecordedReports(kJoystick).size(), 1u) << "a paused device wrote";
    ASSERT_EQ(m_driver->SendForceFeedbackCommand(kJoystick, DISFFC_CONTINUE), S_OK);
    Advance(3 * kPassMs);
    const auto reports = RecordedReports(kJoystick);
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(reports[0].bytes[2], 127);
    EXPECT_EQ(reports[1].bytes[2], 0);
}

}  // namespace
