// The Prazen shift indicator: levels, patterns and the process-wide blink.
#include "force_feedback/legacy/devices/wheel_indicator.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr float kLo = 1000.0f;
constexpr float kHi = 7000.0f;

class WheelIndicatorTest : public ::testing::Test {
protected:
    // Patterns queued by one escape call, in order.
    std::vector<BYTE> Call(float x, DWORD nowMs = 0) { return CallOn(level, x, nowMs); }

    std::vector<BYTE> CallOn(DWORD& deviceLevel, float x, DWORD nowMs) {
        const IndicatorCommands c = UpdateIndicator(x, kLo, kHi, deviceLevel, blink, nowMs);
        std::vector<BYTE> patterns;
        for (const auto& cmd : {c.first, c.second}) {
            if (!cmd) continue;
            EXPECT_EQ(0xF8, (*cmd)[0]);
            EXPECT_EQ(0x12, (*cmd)[1]);
            for (std::size_t i = 3; i < cmd->size(); ++i) EXPECT_EQ(0, (*cmd)[i]) << "byte " << i;
            patterns.push_back((*cmd)[2]);
        }
        return patterns;
    }

    DWORD level = 0;
    IndicatorBlink blink;
};

using Patterns = std::vector<BYTE>;

TEST_F(WheelIndicatorTest, LevelsFollowTheValueInsideTheRange) {
    EXPECT_EQ(Patterns{0x00}, Call(999.0f));
    EXPECT_EQ(Patterns{0x01}, Call(1000.0f));
    EXPECT_EQ(Patterns{0x0F}, Call(4000.0f));
    EXPECT_EQ(4u, level);
    EXPECT_EQ(Patterns{}, Call(4000.0f));
    EXPECT_EQ(Patterns{0x1F}, Call(6999.0f));
    EXPECT_EQ(6u, level);
}

// Moving from level 5 to 6 re-sends the same pattern (intentional, keep).
TEST_F(WheelIndicatorTest, EveryLevelHasItsPattern) {
    const float values[] = {1000.0f, 2000.0f, 3000.0f, 4000.0f, 5000.0f, 6000.0f};
    const BYTE patterns[] = {0x01, 0x03, 0x07, 0x0F, 0x1F, 0x1F};
    for (int i = 0; i < 6; ++i) {
        SCOPED_TRACE(values[i]);
        EXPECT_EQ(Patterns{patterns[i]}, Call(values[i]));
        EXPECT_EQ(static_cast<DWORD>(i + 1), level);
    }
}

TEST_F(WheelIndicatorTest, BelowTheRangeSendsDarkOnEveryCall) {
    EXPECT_EQ(Patterns{0x00}, Call(0.0f));
    EXPECT_EQ(Patterns{0x00}, Call(0.0f));
    EXPECT_EQ(0u, level);
}

TEST_F(WheelIndicatorTest, AtTheTopAllLightThenBlinkEveryHundredFiftyMs) {
    EXPECT_EQ(Patterns{0x1F}, Call(7000.0f, 1000));  // blink period starts here
    EXPECT_EQ(7u, level);
    EXPECT_EQ(Patterns{}, Call(7000.0f, 1150));      // not more than 150 ms
    EXPECT_EQ(Patterns{0x00}, Call(7500.0f, 1151));
    EXPECT_EQ(Patterns{}, Call(7500.0f, 1200));
    EXPECT_EQ(Patterns{0x1F}, Call(7500.0f, 1302));
    EXPECT_EQ(Patterns{0x00}, Call(7500.0f, 1500));
}

TEST_F(WheelIndicatorTest, ReturningToTheTopSendsAllLitAndMayToggleInTheSameCall) {
    ASSERT_EQ(Patterns{0x1F}, Call(7000.0f, 0));
    ASSERT_EQ(Patterns{0x0F}, Call(4000.0f, 100));
    EXPECT_EQ((Patterns{0x1F, 0x00}), Call(7000.0f, 400));
}

TEST_F(WheelIndicatorTest, BlinkIsSharedByEveryWheel) {
    DWORD otherLevel = 0;
    ASSERT_EQ(Patterns{0x1F}, Call(7000.0f, 0));
    ASSERT_EQ(Patterns{0x00}, Call(7000.0f, 200));
    // A second wheel reaching the top sees the toggle the first one made.
    EXPECT_EQ(Patterns{0x1F}, CallOn(otherLevel, 7000.0f, 250));
    EXPECT_EQ(Patterns{0x1F}, CallOn(otherLevel, 7000.0f, 351));
    EXPECT_EQ(Patterns{}, Call(7000.0f, 400));
}

TEST_F(WheelIndicatorTest, BlinkTimerSurvivesTickCountWrap) {
    ASSERT_EQ(Patterns{0x1F}, Call(7000.0f, 0xFFFFFF00u));
    EXPECT_EQ(Patterns{0x00}, Call(7000.0f, 0x00000000u));  // 256 ms later
}

TEST(IndicatorLevelTest, OddThresholdsStayInsideTheLitLevels) {
    EXPECT_EQ(1u, IndicatorLevel(std::numeric_limits<float>::quiet_NaN(), 0.0f, 1.0f));
    EXPECT_EQ(6u, IndicatorLevel(0.99999994f, 0.0f, 1.0f));
    DWORD level = 3;
    IndicatorBlink blink;
    // lo == hi: every value is either below or at the top, never divides.
    const IndicatorCommands c = UpdateIndicator(5.0f, 5.0f, 5.0f, level, blink, 0);
    ASSERT_TRUE(c.first.has_value());
    EXPECT_EQ(0x1F, (*c.first)[2]);
}

}  // namespace
