// The wheel devices in process on a virtual wheel: the settings operations,
// the centering command of each resolution, the Prazen shift indicator and
// the Corrin input status, checked by the reports and results they produce.
#include <gtest/gtest.h>

#include <cstring>

#include "force_feedback/legacy/devices/wheel_device.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/sim/wheel_sim_thread.h"
#include "force_feedback/legacy/testing/recorded_reports.h"
#include "force_feedback/legacy/testing/virtual_clock.h"

namespace {

constexpr std::uint32_t kJoystick = 11;
constexpr std::uint32_t kPassMs = 8;

DWORD Bits(float f) {
    DWORD d = 0;
    std::memcpy(&d, &f, sizeof d);
    return d;
}

class WheelDeviceTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(m_plug.Result(), FFDRV_VIRTUAL_OK); }
    static void Advance(std::uint32_t ms) { ASSERT_TRUE(platform::AdvanceVirtualClock(ms)); }
    // Command bytes (after the report ID) of the reports from `from` on.
    static std::vector<std::vector<BYTE>> Commands(std::size_t from, std::size_t bytes) {
        std::vector<std::vector<BYTE>> out;
        const auto reports = RecordedReports(kJoystick);
        for (std::size_t i = from; i < reports.size(); ++i) {
            out.emplace_back(reports[i].bytes.begin() + 1, reports[i].bytes.begin() + 1 + bytes);
        }
        return out;
    }

    VirtualClockScope m_clock{20000};
    PluggedDevice m_plug{VirtualWheel(kJoystick)};
};

// (The indicator escape without a thread is the absent-device suite's.)
TEST_F(WheelDeviceTest, CenteringWithoutAThreadIsAHandleError) {
    CVQuintarWheelDevice wheel;
    EXPECT_EQ(wheel.ApplyCenteringSettings(10000, 1), kNoThreadResult);
}

TEST_F(WheelDeviceTest, SettingsRejectIndexFiveIndicesAboveSixAndStrengthsAbove15000) {
    CVPrazenWheelDevice wheel;
    CGlobalData* s = wheel.GetGlobalData();
    ASSERT_NE(s, nullptr);
    const DWORD stamp = s->GetChangeStamp();
    Advance(5);
    const struct {
        DWORD index, value;
        HRESULT result;
    } cases[] = {{0, 15001, E_INVALIDARG}, {3, 15001, E_INVALIDARG}, {5, 1, E_INVALIDARG},
                 {7, 1, E_INVALIDARG},     {0xFFFFFFFF, 0, E_INVALIDARG}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.index);
        SVJOYFORCEPARAM p{c.index, 0, c.value};
        EXPECT_EQ(wheel.SetSetting(&p), c.result);
        EXPECT_EQ(wheel.GetSetting(&p), c.index <= 4 ? S_OK : E_INVALIDARG);
    }
    EXPECT_EQ(s->GetChangeStamp(), stamp) << "a refused value moved the change stamp";
    EXPECT_EQ(wheel.SetSetting(nullptr), E_POINTER);

    SVJOYFORCEPARAM ok{3, 0, 15000};
    EXPECT_EQ(wheel.SetSetting(&ok), S_OK);
    EXPECT_EQ(s->GetCenteringSpring(), 15000u);
    EXPECT_EQ(s->GetChangeStamp(), platform::SimTimeMs());
    // A strength change recomputes the derived values: the combined gain.
    SVJOYFORCEPARAM overall{0, 0, 2500};
    EXPECT_EQ(wheel.SetSetting(&overall), S_OK);
    EXPECT_EQ(s->GetCombinedGain(), 2500u);
    SVJOYFORCEPARAM read{6, 0, 99};
    EXPECT_EQ(wheel.GetSetting(&read), S_OK);
    EXPECT_EQ(read.dwValue, s->GetPersistentCenteringSpring());
    overall.dwValue = 10000;
    ok.dwValue = 10000;
    wheel.SetSetting(&overall);
    wheel.SetSetting(&ok);
}

// Strength above 10000 on the Dastrin's centering bytes 0, 3, 7:
// k = MulDiv(strength - 10000, 4, 5000) + 3.
struct SwapCase {
    const char* name;
    DWORD strength;
    BYTE sent;
};

class LowResCenteringTest : public WheelDeviceTest, public ::testing::WithParamInterface<SwapCase> {};

TEST_P(LowResCenteringTest, CoefficientsFiveAndSixTradePlaces) {
    CVDastrinWheelDevice wheel;
    ASSERT_EQ(wheel.Open(kJoystick), S_OK);
    Advance(3 * kPassMs);
    const std::size_t before = RecordedReports(kJoystick).size();
    {
        std::lock_guard lock(wheel.Mutex());
        ASSERT_EQ(wheel.ApplyCenteringSettings(GetParam().strength, 0), S_OK);
    }
    Advance(3 * kPassMs);
    const auto commands = Commands(before, 7);
    ASSERT_EQ(commands.size(), 2u);
    EXPECT_EQ(commands[0], (std::vector<BYTE>{0xFE, 0x03, GetParam().sent, GetParam().sent, commands[0][4], 0, 0}));
    // Actuators are still off: the wheel centres itself.
    EXPECT_EQ(commands[1][0], 0xF4);
    EXPECT_EQ(wheel.Close(), S_OK);
}

INSTANTIATE_TEST_SUITE_P(Strengths, LowResCenteringTest,
                         ::testing::Values(SwapCase{"KFour", 11250, 4}, SwapCase{"KFiveSentAsSix", 12500, 6},
                                           SwapCase{"KSixSentAsFive", 13750, 5}, SwapCase{"KSeven", 15000, 7}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(WheelDeviceTest, ShiftIndicatorFollowsTheLevelsAndBlinksAtTheTop) {
    CVPrazenWheelDevice wheel;
    ASSERT_EQ(wheel.Open(kJoystick), S_OK);
    Advance(3 * kPassMs);
    const std::size_t before = RecordedReports(kJoystick).size();
    const float lo = 1000, hi = 7000;
    auto send = [&](float x) { EXPECT_EQ(wheel.EscapeSetValues(Bits(x), Bits(lo), Bits(hi)), S_OK); };
    for (float x : {999.0f, 1000.0f, 4000.0f, 4000.0f, 6999.0f, 7000.0f}) send(x);
    Advance(10 * kPassMs);
    std::vector<BYTE> patterns;
    for (const auto& c : Commands(before, 3)) {
        EXPECT_EQ(c[0], 0xF8);
        EXPECT_EQ(c[1], 0x12);
        patterns.push_back(c[2]);
    }
    // 4000: 1 + 6 * 3000 / 6000 = level 4; the repeat sends nothing; 6999
    // is level 6 (all five lights, like 5); 7000 lights all once.
    EXPECT_EQ(patterns, (std::vector<BYTE>{0x00, 0x01, 0x0F, 0x1F, 0x1F}));

    // Above the top the lights toggle, at most every 150 ms.
    const std::size_t blinkFrom = RecordedReports(kJoystick).size();
    for (int i = 0; i < 40; ++i) {
        send(7500.0f);
        Advance(10);
    }
    const auto toggles = Commands(blinkFrom, 3);
    ASSERT_GE(toggles.size(), 2u);
    ASSERT_LE(toggles.size(), 3u);  // 400 ms of calls
    for (std::size_t i = 0; i < toggles.size(); ++i) EXPECT_EQ(toggles[i][2], (i % 2 == 0) ? 0x00 : 0x1F) << i;
    EXPECT_EQ(wheel.Close(), S_OK);
}

TEST_F(WheelDeviceTest, CorrinInputReportsSetTheStatusValue) {
    CVCorrinWheelDevice wheel;
    ASSERT_EQ(wheel.Open(kJoystick), S_OK);
    Advance(2 * kPassMs);
    DIEFFESCAPE esc{};
    const DWORD in[3] = {12, 1, 42};
    esc.dwSize = sizeof esc;
    esc.dwCommand = kEscapeSetStatus;
    esc.lpvInBuffer = const_cast<DWORD*>(in);
    esc.cbInBuffer = sizeof in;
    ASSERT_EQ(wheel.Escape(0, &esc), S_OK);
    const LONG* status = static_cast<const LONG*>(esc.lpvOutBuffer);
    // The virtual wheel's report has byte 3 = Y low byte: 0x00 has bit 7
    // clear, so the status becomes 1 (byte 11 lies past its 9 bytes).
    ASSERT_EQ(FfdrvVirtualSetInput(kJoystick, 512, 0, 0), FFDRV_VIRTUAL_OK);
    Advance(2 * kPassMs);
    EXPECT_EQ(*status, 1);
    EXPECT_EQ(wheel.Close(), S_OK);
}

}  // namespace
