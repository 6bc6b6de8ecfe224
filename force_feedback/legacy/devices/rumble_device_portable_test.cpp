// The rumble device's settings through its model block (the family's index
// rules are the settings field table's) and what its thread writes on a
// virtual pad: the motor combination switch, the byte range, the report
// queue and the bare family class. Report bytes are written out from the
// layout A table (report ID 0, 0x51 at byte 1, motor A at 3, motor B at 5).
#include "force_feedback/legacy/devices/rumble_device.h"

#include <gtest/gtest.h>

#include <vector>

#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/settings/model_global_data.h"
#include "force_feedback/legacy/testing/driver_host.h"
#include "force_feedback/legacy/testing/recorded_reports.h"
#include "force_feedback/legacy/testing/virtual_clock.h"

namespace {

constexpr std::uint32_t kJoystick = 11;
constexpr unsigned kReportLength = 65;

TEST(RumbleSettingsTest, NullRecordIsRefused) {
    CVRumbleDevice device;
    EXPECT_EQ(device.SetSetting(nullptr), E_POINTER);
    EXPECT_EQ(device.GetSetting(nullptr), E_POINTER);
}

// A pad with its model settings, and a second pad on the same settings
// block standing for another process.
class RumbleModelSettingsTest : public ::testing::Test {
protected:
    void TearDown() override {
        for (DWORD index : {0u, 256u, 257u, 258u, 259u}) {
            SVJOYFORCEPARAM reset{index, 0, index == 0 ? 10000u : index == 257 ? 6320u : 0u};
            m_pad.SetSetting(&reset);
        }
    }
    DWORD Get(CVRumbleDevice& d, DWORD index) {
        SVJOYFORCEPARAM p{index, 0, 0};
        EXPECT_EQ(d.GetSetting(&p), S_OK);
        return p.dwValue;
    }

    VirtualClockScope m_clock{20000};
    CVZorvelRumbleDevice m_pad;
    CVZorvelRumbleDevice m_other;
};

TEST_F(RumbleModelSettingsTest, ValuesRoundTripAndReachEveryHolderOfTheBlock) {
    ASSERT_TRUE(platform::AdvanceVirtualClock(5));
    EXPECT_FALSE(m_other.SettingsChanged());
    SVJOYFORCEPARAM threshold{257, 0, 5000};
    ASSERT_EQ(m_pad.SetSetting(&threshold), S_OK);
    EXPECT_TRUE(m_other.SettingsChanged());
    EXPECT_EQ(Get(m_other, 257), 5000u);
    // The spring adjustments are one byte wide.
    SVJOYFORCEPARAM deltaY{259, 0, 0x1234};
    ASSERT_EQ(m_pad.SetSetting(&deltaY), S_OK);
    EXPECT_EQ(Get(m_other, 259), 0x34u);
    SVJOYFORCEPARAM strength{0, 0, 12000};
    ASSERT_EQ(m_pad.SetSetting(&strength), S_OK);
    EXPECT_EQ(m_other.GetGlobalData()->GetCombinedGain(), 12000u);
    SVJOYFORCEPARAM tooStrong{0, 0, 15001};
    EXPECT_EQ(m_pad.SetSetting(&tooStrong), E_INVALIDARG);
    EXPECT_EQ(Get(m_other, 0), 12000u) << "a refused value changed the setting";
}

// An opened Zorvel pad on a virtual device.
class RumbleThreadTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(m_plug.Result(), FFDRV_VIRTUAL_OK);
        m_block.Initialize(ModelDeviceId(Model::Zorvel));
    }
    void TearDown() override {
        m_pad.Close();
        m_block.SetAmplitudeBasedForce(0, 0, 0);
        m_block.SetDeviceByteRange(0, 255);
    }
    void Play(LONG magnitude, bool onY) {
        EffectBlock block;
        block.Params(DICONSTANTFORCE{magnitude}).Cartesian({kAxisX, kAxisY}, {onY ? 0 : 1, onY ? 1 : 0});
        DWORD handle = 0;
        ASSERT_EQ(m_pad.DownloadEffect(kEffectConstant, &handle, block.Get(), kAllParams | DIEP_START), S_OK);
    }
    static std::vector<BYTE> Motors(BYTE a, BYTE b) {
        std::vector<BYTE> r(kReportLength, 0);
        r[1] = 0x51;
        r[3] = a;
        r[5] = b;
        return r;
    }
    std::vector<BYTE> LastReport() {
        const auto reports = RecordedReports(kJoystick);
        return reports.empty() ? std::vector<BYTE>{} : reports.back().bytes;
    }

    VirtualClockScope m_clock{30000};
    PluggedDevice m_plug{DriverHost::DeviceOf(Model::Zorvel, kJoystick)};
    CGlobalData m_block;
    CVZorvelRumbleDevice m_pad;
};

TEST_F(RumbleThreadTest, AmplitudeSwitchRunsOneMotorChosenByTheThreshold) {
    ASSERT_EQ(m_pad.Open(kJoystick), S_OK);
    ASSERT_TRUE(platform::AdvanceVirtualClock(5));
    SVJOYFORCEPARAM on{256, 0, 1};
    SVJOYFORCEPARAM threshold{257, 0, 5000};  // 5000 * 256 / 10000 = 128
    ASSERT_EQ(m_pad.SetSetting(&on), S_OK);
    ASSERT_EQ(m_pad.SetSetting(&threshold), S_OK);
    EXPECT_TRUE(m_pad.SettingsChanged());
    Play(2500, /*onY=*/true);  // y = 32: motor B alone would be 64
    ASSERT_TRUE(platform::AdvanceVirtualClock(40));
    EXPECT_EQ(LastReport(), Motors(64, 0)) << "a combined 64 is below 128: motor A";
    EXPECT_FALSE(m_pad.SettingsChanged()) << "the running pad did not take the new settings over";
    Play(10000, /*onY=*/false);  // x = 127: sqrt(254^2 + 64^2) is capped at 255
    ASSERT_TRUE(platform::AdvanceVirtualClock(40));
    EXPECT_EQ(LastReport(), Motors(0, 255));
}

TEST_F(RumbleThreadTest, MotorsStayInsideTheDeviceByteRange) {
    m_block.SetDeviceByteRange(10, 200);
    ASSERT_EQ(m_pad.Open(kJoystick), S_OK);
    ASSERT_TRUE(platform::AdvanceVirtualClock(40));
    // At rest both motors are raised to 10, so the pad gets motors, not stop.
    EXPECT_EQ(LastReport(), Motors(10, 10));
    Play(10000, /*onY=*/false);
    ASSERT_TRUE(platform::AdvanceVirtualClock(40));
    EXPECT_EQ(LastReport(), Motors(200, 10));
}

TEST_F(RumbleThreadTest, FullReportQueueRefusesWithoutBlockingAndThePassGoesOn) {
    ASSERT_EQ(m_pad.Open(kJoystick), S_OK);
    std::vector<BYTE> queued(kReportLength, 0x5A);
    int accepted = 0;
    for (int i = 0; i < 32; ++i) accepted += m_pad.Thread()->QueueReport(queued.data(), kReportLength) ? 1 : 0;
    EXPECT_EQ(accepted, 31);
    Play(10000, /*onY=*/true);
    ASSERT_TRUE(platform::AdvanceVirtualClock(40));
    EXPECT_EQ(LastReport(), Motors(0, 254));
    // The pad's pass writes only its own reports.
    for (const RecordedReport& r : RecordedReports(kJoystick)) EXPECT_NE(r.bytes[1], 0x5A);
}

TEST(RumbleBareFamilyTest, ComputesButNeverWrites) {
    VirtualClockScope clock{40000};
    PluggedDevice plug{VirtualWheel(kJoystick)};
    ASSERT_EQ(plug.Result(), FFDRV_VIRTUAL_OK);
    CVRumbleDevice device;
    ASSERT_EQ(device.Open(kJoystick), S_OK);
    EffectBlock block;
    block.Params(DICONSTANTFORCE{10000}).Cartesian({kAxisX}, {1});
    DWORD handle = 0;
    ASSERT_EQ(device.DownloadEffect(kEffectConstant, &handle, block.Get(), kAllParams | DIEP_START), S_OK);
    ASSERT_TRUE(platform::AdvanceVirtualClock(200));
    DWORD status = 0;
    ASSERT_EQ(device.GetEffectStatus(handle, &status), S_OK);
    EXPECT_EQ(status, 1u);
    ASSERT_EQ(device.Close(), S_OK);
    EXPECT_TRUE(RecordedReports(kJoystick).empty());
}

}  // namespace
