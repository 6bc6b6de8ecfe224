// The centering spring computation and the commands each family queues.
#include "force_feedback/legacy/devices/wheel_centering.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Bytes = std::vector<BYTE>;

Bytes Head(const CommandBuffer& c, std::size_t n) { return Bytes(c.begin(), c.begin() + n); }

bool ZeroFrom(const CommandBuffer& c, std::size_t n) {
    for (std::size_t i = n; i < c.size(); ++i) {
        if (c[i] != 0) return false;
    }
    return true;
}

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

class PlanCenteringTest : public ::testing::Test {
protected:
    // k = 5 at full strength, saturation 100.
    const CenteringBytes fiveAtFull{0, 5, 9, 0, 100, 150};
};

TEST_F(PlanCenteringTest, HighResolutionWheelWithActuatorsOffCentresItself) {
    const CenteringPlan plan = PlanCentering(kHiResWheelCentering, 10000, fiveAtFull, /*actuatorsOff=*/true, /*centeringEnabled=*/false);
    EXPECT_EQ((Bytes{0xFE, 0x0D, 5, 5, 100, 0x00, 0x00}), Head(plan.parameters, 7));
    EXPECT_TRUE(ZeroFrom(plan.parameters, 7));
    EXPECT_EQ(0x14, plan.switchCommand[0]);
    EXPECT_TRUE(ZeroFrom(plan.switchCommand, 1));
    EXPECT_EQ(100u, plan.appliedValue);
}

TEST_F(PlanCenteringTest, RunningGameWithCenteringDisabledSwitchesItOff) {
    const CenteringPlan plan = PlanCentering(kHiResWheelCentering, 10000, fiveAtFull, /*actuatorsOff=*/false, /*centeringEnabled=*/false);
    EXPECT_EQ((Bytes{0xFE, 0x0D, 5, 5, 100, 0x00, 0x00}), Head(plan.parameters, 7));
    EXPECT_EQ(0xF5, plan.switchCommand[0]);
    EXPECT_EQ(0u, plan.appliedValue);
}

TEST_F(PlanCenteringTest, RunningGameWithCenteringEnabledKeepsItOn) {
    const CenteringPlan plan = PlanCentering(kLowResWheelCentering, 10000, fiveAtFull, /*actuatorsOff=*/false, /*centeringEnabled=*/true);
    EXPECT_EQ(0xF4, plan.switchCommand[0]);
    EXPECT_EQ(100u, plan.appliedValue);
}

TEST_F(PlanCenteringTest, LowResolutionSwapsFiveAndSix) {
    // The low-resolution firmware's swap (intentional, keep).
    const CenteringPlan five = PlanCentering(kLowResWheelCentering, 10000, fiveAtFull, true, false);
    EXPECT_EQ((Bytes{0xFE, 0x03, 6, 6, 100, 0x00, 0x00}), Head(five.parameters, 7));
    const CenteringBytes sixAtFull{0, 6, 9, 0, 100, 150};
    const CenteringPlan six = PlanCentering(kLowResJoystickCentering, 10000, sixAtFull, true, false);
    EXPECT_EQ((Bytes{0xFE, 0x03, 5, 5, 100, 0x00, 0x00}), Head(six.parameters, 7));
    const CenteringBytes sevenAtFull{0, 7, 9, 0, 100, 150};
    const CenteringPlan seven = PlanCentering(kLowResWheelCentering, 10000, sevenAtFull, true, false);
    EXPECT_EQ(7, seven.parameters[2]);
}

TEST_F(PlanCenteringTest, HighResolutionKeepsFive) {
    const CenteringPlan plan = PlanCentering(kHiResJoystickCentering, 10000, fiveAtFull, true, false);
    EXPECT_EQ(5, plan.parameters[2]);
}

TEST_F(PlanCenteringTest, HighResolutionJoystickWithActuatorsOffUsesF4) {
    const CenteringBytes bytes{10, 30, 60, 0, 100, 150};
    const CenteringPlan plan = PlanCentering(kHiResJoystickCentering, 12500, bytes, true, false);
    EXPECT_EQ((Bytes{0xFE, 0x0D, 45, 45, 125, 0x00, 0x00}), Head(plan.parameters, 7));
    EXPECT_EQ(0xF4, plan.switchCommand[0]);
    EXPECT_EQ(125u, plan.appliedValue);
}

TEST(CenteringProtocolTest, OnlyWheelLikeFamiliesHaveACenteringCommand) {
    EXPECT_EQ(0x14, CenteringProtocolOf(Product(Model::Quintar).family)->onCommand);
    EXPECT_EQ(0x03, CenteringProtocolOf(Product(Model::Ravik).family)->selector);
    EXPECT_EQ(0xF4, CenteringProtocolOf(Product(Model::Tavrin).family)->onCommand);
    EXPECT_TRUE(CenteringProtocolOf(Product(Model::Oskra).family)->swapFiveSix);
    EXPECT_EQ(nullptr, CenteringProtocolOf(Product(Model::Karvona).family));
    EXPECT_EQ(nullptr, CenteringProtocolOf(Product(Model::Vesk).family));
}

}  // namespace
