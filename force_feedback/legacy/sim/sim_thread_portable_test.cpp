// The simulation thread on a virtual wheel in virtual time, through the probe
// family: idle passes, the held report ring, a vanished device and the end
// of a paused thread. Pass times follow from the 8 ms idle sleep and the 8 ms
// paced write. (Forces, effect ends, triggers and stalled writes on the wire
// are the family suites' and the write-fault suite's.)
#include "force_feedback/legacy/sim/sim_thread.h"

#include <gtest/gtest.h>

#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/settings/settings_test_support.h"
#include "force_feedback/legacy/testing/probe_family.h"
#include "force_feedback/legacy/testing/recorded_reports.h"
#include "force_feedback/legacy/testing/virtual_clock.h"

namespace {

constexpr std::uint32_t kJoystick = 6;
constexpr std::uint32_t kStart = 20000;
constexpr BYTE kReportId = 0x05;
constexpr DWORD kPassMs = 8;

class SimThreadTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(m_plug.Result(), FFDRV_VIRTUAL_OK);
        CGlobalData* settings = m_device.GetGlobalData();
        settings->SetCurveKnee(10000);
        settings->SetOverallStrength(10000, 0, 0);
        settings->SetApplicationGain(10000);
        settings->SetReportId(kReportId);
        ASSERT_EQ(m_device.Open(kJoystick), S_OK);
        ASSERT_NE(m_device.Thread(), nullptr);
        Advance(0);
    }
    void TearDown() override { m_device.Close(); }

    static void Advance(std::uint32_t ms) { ASSERT_TRUE(platform::AdvanceVirtualClock(ms)); }

    DWORD Download(LONG magnitude) {
        EffectBlock block;
        block.Params(DICONSTANTFORCE{magnitude}).Cartesian({kAxisX}, {1});
        DWORD handle = 0;
        EXPECT_EQ(m_device.DownloadEffect(kEffectConstant, &handle, block.Get(), kAllParams), S_OK);
        return handle;
    }

    VirtualClockScope m_clock{kStart};
    PluggedDevice m_plug{VirtualWheel(kJoystick)};
    CVProbeDevice m_device{Model::Dastrin, settings_test::UniqueDeviceId()};
};

TEST_F(SimThreadTest, IdleDeviceWritesNothingAndPassesEveryEightMs) {
    const unsigned before = m_device.Thread()->Passes();
    Advance(10 * kPassMs);
    EXPECT_EQ(m_device.Thread()->Passes() - before, 10u);
    EXPECT_TRUE(RecordedReports(kJoystick).empty());
}

TEST_F(SimThreadTest, PausedThreadHoldsThirtyOneQueuedReportsAndFlushesThemInOrder) {
    ASSERT_EQ(m_device.SendForceFeedbackCommand(DISFFC_PAUSE), S_OK);
    Advance(2 * kPassMs);
    for (BYTE i = 0; i < CReportQueue::kSlots - 1; ++i) {
        const BYTE command[1] = {static_cast<BYTE>(0x40 + i)};
        ASSERT_TRUE(m_device.Thread()->QueueReport(command, sizeof command)) << int(i);
    }
    const BYTE extra[1] = {0x7F};
    EXPECT_FALSE(m_device.Thread()->QueueReport(extra, sizeof extra));
    Advance(4 * kPassMs);
    EXPECT_TRUE(RecordedReports(kJoystick).empty());

    ASSERT_EQ(m_device.SendForceFeedbackCommand(DISFFC_CONTINUE), S_OK);
    Advance(40 * kPassMs);
    const auto reports = RecordedReports(kJoystick);
    ASSERT_EQ(reports.size(), 31u);
    for (std::size_t i = 0; i < reports.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(reports[i].bytes[0], kReportId);
        EXPECT_EQ(reports[i].bytes[1], 0x40 + i);
        EXPECT_EQ(reports[i].bytes[2], 0);
        if (i > 0) {
            EXPECT_GE(reports[i].timeMs - reports[i - 1].timeMs, kPassMs);
        }
    }
}

TEST_F(SimThreadTest, VanishedDeviceFailsWritesWithoutStoppingTheLoop) {
    const DWORD handle = Download(10000);
    ASSERT_EQ(m_device.StartEffect(handle, 0, 1), S_OK);
    Advance(4 * kPassMs);
    ASSERT_EQ(FfdrvVirtualUnplug(kJoystick), FFDRV_VIRTUAL_OK);
    const unsigned before = m_device.Thread()->Passes();
    ASSERT_EQ(m_device.SetGain(2000), S_OK);
    Advance(20 * kPassMs);
    EXPECT_GE(m_device.Thread()->Passes() - before, 10u);
    EXPECT_EQ(m_device.Close(), S_OK);
}

TEST_F(SimThreadTest, EndingAPausedThreadStillEndsItWithTheResetCommand) {
    const BYTE command[1] = {0x55};
    ASSERT_EQ(m_device.SendForceFeedbackCommand(DISFFC_PAUSE), S_OK);
    Advance(2 * kPassMs);
    ASSERT_TRUE(m_device.Thread()->QueueReport(command, sizeof command));
    ASSERT_EQ(m_device.Close(), S_OK);
    EXPECT_EQ(m_device.Thread(), nullptr);
    const auto reports = RecordedReports(kJoystick);
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(reports[0].bytes[1], 0x55);
    ASSERT_EQ(reports[1].bytes.size(), 65u);
    EXPECT_EQ(reports[1].bytes[0], kReportId);
    EXPECT_EQ(reports[1].bytes[1], kResetCommand);
    for (std::size_t i = 2; i < reports[1].bytes.size(); ++i) EXPECT_EQ(reports[1].bytes[i], 0) << i;
}

}  // namespace
