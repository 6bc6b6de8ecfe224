// The centering spring computation. The commands each family queues, the
// low-resolution 5/6 swap and the switch commands are pinned on the wire by
// the wheel and joystick suites.
#include "force_feedback/legacy/devices/wheel_centering.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct ValueCase {
    const char* name;
    DWORD strength;
    LONG expected;
};

class CenteringValueTest : public ::testing::TestWithParam<ValueCase> {};

// Minimum 10, default 30, maximum 60.
TEST_P(CenteringValueTest, ScalesBetweenMinimumDefaultAndMaximum) {
    EXPECT_EQ(GetParam().expected, CenteringValue(GetParam().strength, 10, 30, 60));
}

INSTANTIATE_TEST_SUITE_P(
    Strengths, CenteringValueTest,
    ::testing::Values(ValueCase{"Full", 10000, 30}, ValueCase{"OneTwentyFive", 12500, 45}, ValueCase{"OneFifty", 15000, 60},
                      ValueCase{"AboveOneFiftyHeldAtMaximum", 20000, 60}, ValueCase{"Half", 5000, 10},
                      // The lower branch scales only the span 20: just below
                      // 100 % gives 20, not 30 (intentional, keep).
                      ValueCase{"JustBelowFull", 9999, 20}, ValueCase{"QuarterRaisedToMinimum", 2500, 10},
                      ValueCase{"Zero", 0, 10}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CenteringComputeTest, SaturationFollowsItsOwnBytes) {
    const CenteringBytes bytes{0, 4, 7, 0, 100, 150};
    const CenteringLevel full = ComputeCentering(10000, bytes);
    EXPECT_EQ(4, full.k);
    EXPECT_EQ(100, full.s);
    const CenteringLevel most = ComputeCentering(15000, bytes);
    EXPECT_EQ(7, most.k);
    EXPECT_EQ(150, most.s);
    const CenteringLevel half = ComputeCentering(5000, bytes);
    EXPECT_EQ(2, half.k);
    EXPECT_EQ(50, half.s);
}

TEST(CenteringComputeTest, MaximumBelowDefaultHoldsTheDefault) {
    // A settings block whose maximum fell below the default: at most c, then
    // at least b.
    EXPECT_EQ(30, CenteringValue(15000, 10, 30, 20));
}

}  // namespace
