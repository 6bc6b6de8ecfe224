// Rumble pads: motor speeds, the amplitude combination and the refresh
// countdown (the two report layouts are pinned byte for byte end to end).
#include "force_feedback/legacy/sim/rumble_reports.h"

#include <gtest/gtest.h>

namespace {

using Buffer = BYTE[rumble::kReportBufferLength];

TEST(RumbleMotorsTest, EachAxisDrivesOneMotorAtTwiceItsMagnitude) {
    const MotorPair m = MotorsFromForce(-127, 0);
    EXPECT_EQ(254, m.a);
    EXPECT_EQ(0, m.b);
    const MotorPair n = MotorsFromForce(3, -100);
    EXPECT_EQ(6, n.a);
    EXPECT_EQ(200, n.b);
}

TEST(RumbleCombineTest, StrongCombinedForceRunsMotorBCappedAt255) {
    // sqrt(254^2 + 254^2) = 359.2, capped at 255; threshold 5000 -> 128.
    const MotorPair m = CombineByAmplitude({254, 254}, 5000);
    EXPECT_EQ(0, m.a);
    EXPECT_EQ(255, m.b);
}

TEST(RumbleCombineTest, WeakCombinedForceRunsMotorA) {
    // sqrt(60^2 + 80^2) = 100 < 6320 * 256 / 10000 = 161.
    const MotorPair m = CombineByAmplitude({60, 80}, 6320);
    EXPECT_EQ(100, m.a);
    EXPECT_EQ(0, m.b);
}

TEST(RumbleCombineTest, AmplitudeIsTruncatedAndAtThresholdCountsAsStrong) {
    // sqrt(100^2 + 100^2) = 141.42 -> 141, below 5547 * 256 / 10000 = 142.
    const MotorPair weak = CombineByAmplitude({100, 100}, 5547);
    EXPECT_EQ(141, weak.a);
    EXPECT_EQ(0, weak.b);
    // 141.42 is not below 5508 * 256 / 10000 = 141.
    EXPECT_EQ(141, CombineByAmplitude({100, 100}, 5508).b);
    // sqrt(60^2 + 80^2) = 100 exactly, threshold 3907 * 256 / 10000 = 100.
    const MotorPair equal = CombineByAmplitude({60, 80}, 3907);
    EXPECT_EQ(0, equal.a);
    EXPECT_EQ(100, equal.b);
}

class RumbleOutputTest : public ::testing::Test {
protected:
    RumbleDecision Pass(LONG x, LONG y) { return output.Decide(x, y, output.StartPass(), settings); }

    RumbleOutput output;
    RumbleSettingsView settings;
};

TEST_F(RumbleOutputTest, UnchangedForcesAreResentEverySixteenthPass) {
    ASSERT_EQ(RumbleSend::Motors, Pass(50, 20).send);  // pass 1
    for (int pass = 2; pass <= 15; ++pass) {
        SCOPED_TRACE(pass);
        EXPECT_EQ(RumbleSend::Nothing, Pass(50, 20).send);
    }
    const RumbleDecision again = Pass(50, 20);  // pass 16
    EXPECT_EQ(RumbleSend::Motors, again.send);
    EXPECT_EQ(100, again.motors.a);
    EXPECT_EQ(40, again.motors.b);
    EXPECT_EQ(RumbleSend::Nothing, Pass(50, 20).send);
}

TEST_F(RumbleOutputTest, ForcesBeyondTheRangeAreClampedFirst) {
    const RumbleDecision d = Pass(400, -300);
    EXPECT_EQ(254, d.motors.a);
    EXPECT_EQ(254, d.motors.b);
    EXPECT_EQ(RumbleSend::Nothing, Pass(127, -127).send);
}

TEST_F(RumbleOutputTest, CombinationNeedsSettingsAndTheSwitch) {
    settings.amplitudeBasedForce = 1;
    settings.amplitudeBasedForceThreshold = 5000;
    EXPECT_EQ(254, Pass(127, 127).motors.a);  // no settings object: no combination
    settings.present = true;
    const RumbleDecision d = Pass(127, 126);
    EXPECT_EQ(0, d.motors.a);
    EXPECT_EQ(255, d.motors.b);
}

TEST_F(RumbleOutputTest, ByteRangeAppliesAfterCombination) {
    settings.present = true;
    settings.range = {10, 200};
    const RumbleDecision d = Pass(127, 0);
    EXPECT_EQ(200, d.motors.a);
    EXPECT_EQ(10, d.motors.b);
    // A raised lower bound keeps the motors turning: never a stop.
    EXPECT_EQ(RumbleSend::Motors, Pass(0, 0).send);
}

TEST(RumbleLayoutTest, BareFamilyComputesButNeverSends) {
    Buffer b;
    EXPECT_FALSE(BuildRumbleStop(RumbleLayout::None, b));
    EXPECT_FALSE(BuildRumbleStart(RumbleLayout::None, b));
    EXPECT_FALSE(BuildRumbleReport(RumbleLayout::None, {RumbleSend::Motors, {10, 10}}, b));
    EXPECT_FALSE(BuildRumbleReport(RumbleLayout::A, {RumbleSend::Nothing, {10, 10}}, b));
}

}  // namespace
