// The nine-tap velocity filter and the wheel's velocity estimate.
#include "force_feedback/legacy/sim/wheel_filters.h"

#include <gtest/gtest.h>

namespace {

constexpr LONG kOne = 0x10000;  // 1.0 in 16.16

TEST(NineTapFilterTest, ImpulseWalksThroughTheTapsNewestFirst) {
    NineTapFilter filter(velocity::kWheelTaps, velocity::kUnityGain);
    // An impulse of 65536 returns each coefficient in turn.
    const LONG expected[] = {6523, 6542, 6557, 6568, 6574, 6574, 6568, 6557, 6542, 0};
    EXPECT_EQ(expected[0], filter.Feed(kOne));
    for (int i = 1; i < 10; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(expected[i], filter.Feed(0));
    }
}

TEST(NineTapFilterTest, SteadyInputSettlesAtNineTenths) {
    // Nine of ten window values: 59005 / 65536 of the input (intentional, keep).
    NineTapFilter filter(velocity::kWheelTaps, velocity::kUnityGain);
    LONG out = 0;
    for (int i = 0; i < 9; ++i) out = filter.Feed(10 * kOne);
    EXPECT_EQ(590050, out);
    EXPECT_EQ(590050, filter.Feed(10 * kOne));
}

TEST(NineTapFilterTest, NegativeSamplesTruncateTowardZero) {
    NineTapFilter filter(velocity::kWheelTaps, velocity::kUnityGain);
    EXPECT_EQ(-6523, filter.Feed(-kOne));
    EXPECT_EQ(0, NineTapFilter(velocity::kWheelTaps, velocity::kUnityGain).Feed(-1));
}

TEST(NineTapFilterTest, ExtremeSamplesSaturateInsteadOfWrapping) {
    NineTapFilter filter(velocity::kWheelTaps, /*gain=*/1);
    EXPECT_EQ(std::numeric_limits<LONG>::max(), filter.Feed(std::numeric_limits<LONG>::max()));
}

class WheelVelocityEstimatorTest : public ::testing::Test {
protected:
    static constexpr DWORD kStart = 5000;
    WheelVelocityEstimator estimator{{512, 128, 0, 0}, kStart};
};

TEST_F(WheelVelocityEstimatorTest, FirstReportIsMeasuredFromTheCentreAndConstruction) {
    // 40 units in 10 ms: 4 units per ms, 4.0 in 16.16, first tap 6523.
    estimator.OnInput({552, 128, 0, 0}, kStart + 10);
    EXPECT_EQ(4 * 6523, estimator.Velocity(0));
    EXPECT_EQ(0, estimator.Velocity(1));
}

TEST_F(WheelVelocityEstimatorTest, FeedsPositionDifferencesPerMillisecond) {
    estimator.OnInput({512, 128, 0, 0}, kStart + 8);
    // Y moves -16 units in 8 ms: -2 per ms.
    estimator.OnInput({512, 112, 0, 0}, kStart + 16);
    EXPECT_EQ(-2 * 6523, estimator.Velocity(1));
    // Then steady: the -2 sample moves to the second tap.
    estimator.OnInput({512, 112, 0, 0}, kStart + 24);
    EXPECT_EQ(-2 * 6542, estimator.Velocity(1));
}

TEST_F(WheelVelocityEstimatorTest, ReportsInTheSameMillisecondCountAsOneMillisecond) {
    estimator.OnInput({512, 128, 0, 0}, kStart + 8);
    estimator.OnInput({515, 128, 0, 0}, kStart + 8);
    EXPECT_EQ(3 * 6523, estimator.Velocity(0));
}

TEST_F(WheelVelocityEstimatorTest, SilenceOfMoreThanTwelveMsFeedsZeroToAxisZero) {
    estimator.OnInput({552, 168, 0, 0}, kStart + 10);
    const LONG y = estimator.Velocity(1);
    estimator.OnPass(kStart + 22);  // 12 ms: not yet
    EXPECT_EQ(4 * 6523, estimator.Velocity(0));
    estimator.OnPass(kStart + 23);
    EXPECT_EQ(4 * 6542, estimator.Velocity(0));
    estimator.OnPass(kStart + 31);
    EXPECT_EQ(4 * 6557, estimator.Velocity(0));
    // Only axis 0 decays on the pass.
    EXPECT_EQ(y, estimator.Velocity(1));
}

TEST_F(WheelVelocityEstimatorTest, UnknownAxisReadsZero) {
    estimator.OnInput({600, 600, 600, 600}, kStart + 1);
    EXPECT_EQ(0, estimator.Velocity(4));
    EXPECT_EQ(0, estimator.Velocity(-1));
}

}  // namespace
