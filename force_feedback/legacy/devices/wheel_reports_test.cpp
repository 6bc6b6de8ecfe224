// The wheel force report step and the input rules that set a wheel's status
// value. The mode and stop reports are checked byte for byte on every wheel
// in wheel_e2e_portable_test.cpp.
#include "force_feedback/legacy/devices/wheel_reports.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr unsigned kOutputLength = 8;

using Bytes = std::vector<BYTE>;

class WheelForceOutputTest : public ::testing::Test {
protected:
    // The report a pass sends, or an empty vector when it sends none.
    Bytes Pass(LONG x, LONG y, ByteRange range = {}) {
        Bytes report(kOutputLength, 0xEE);
        if (!output.Build(x, y, range, report.data(), kOutputLength)) return {};
        return report;
    }

    WheelForceOutput output;
};

TEST_F(WheelForceOutputTest, ForceThatStaysAtOneFromTheStartIsNeverSent) {
    EXPECT_TRUE(Pass(1, 0).empty());
    EXPECT_TRUE(Pass(1, 50).empty());
}

TEST_F(WheelForceOutputTest, NoForceOnTheFirstPassSendsForceOff) {
    EXPECT_EQ((Bytes{0x00, 0x13, 0, 0, 0, 0, 0, 0}), Pass(0, 0));
}

TEST_F(WheelForceOutputTest, ForceToTheRightSendsTheConstantForceCommand) {
    EXPECT_EQ((Bytes{0x00, 0x11, 0x08, 0xC0, 0x80, 0x00, 0x00, 0}), Pass(64, 0));
}

TEST_F(WheelForceOutputTest, SecondChannelIsMirrored) {
    EXPECT_EQ((Bytes{0x00, 0x11, 0x08, 0x01, 0xFF, 0x00, 0x00, 0}), Pass(-127, -127));
    EXPECT_EQ((Bytes{0x00, 0x11, 0x08, 0xFF, 0x01, 0x00, 0x00, 0}), Pass(127, 127));
}

TEST_F(WheelForceOutputTest, ChangeOfYAloneIsNotSent) {
    ASSERT_FALSE(Pass(20, 0).empty());
    EXPECT_TRUE(Pass(20, 90).empty());
    // The next x change carries the y of its own pass.
    EXPECT_EQ((Bytes{0x00, 0x11, 0x08, 0x95, 0x26, 0x00, 0x00, 0}), Pass(21, 90));
}

TEST_F(WheelForceOutputTest, RaisedLowerBoundTurnsNoForceIntoConstantForce) {
    EXPECT_EQ((Bytes{0x00, 0x11, 0x08, 0x90, 0x90, 0x00, 0x00, 0}), Pass(0, 0, {0x90, 0xFF}));
}

TEST_F(WheelForceOutputTest, BothBytesAreHeldInsideTheByteRange) {
    // Ravik's range 8..246.
    EXPECT_EQ((Bytes{0x00, 0x11, 0x08, 0xF6, 0x08, 0x00, 0x00, 0}), Pass(127, 127, {8, 246}));
    EXPECT_EQ((Bytes{0x00, 0x11, 0x08, 0x08, 0xF6, 0x00, 0x00, 0}), Pass(-127, -127, {8, 246}));
}

TEST_F(WheelForceOutputTest, ForceReturningToCentreSendsForceOffAgain) {
    ASSERT_FALSE(Pass(100, 0).empty());
    EXPECT_EQ((Bytes{0x00, 0x13, 0, 0, 0, 0, 0, 0}), Pass(0, 30));
}

TEST_F(WheelForceOutputTest, ShortReportKeepsOnlyWhatFits) {
    Bytes report(4, 0xEE);
    ASSERT_TRUE(output.Build(64, 0, {}, report.data(), 4));
    EXPECT_EQ((Bytes{0x00, 0x11, 0x08, 0xC0}), report);
}

struct StatusCase {
    const char* name;
    InputStatusRule rule;
    BYTE byte3;
    BYTE byte11;
    LONG expected;
};

class StatusAfterInputTest : public ::testing::TestWithParam<StatusCase> {};

TEST_P(StatusAfterInputTest, SetsTheStatusValue) {
    const StatusCase& c = GetParam();
    Bytes report(12, 0);
    report[3] = c.byte3;
    report[11] = c.byte11;
    EXPECT_EQ(c.expected, StatusAfterInput(c.rule, /*current=*/7, report.data(), 12));
}

INSTANTIATE_TEST_SUITE_P(
    Wheels, StatusAfterInputTest,
    ::testing::Values(StatusCase{"CorrinBothBitsSetKeepsValue", InputStatusRule::CorrinBits, 0x80, 0x01, 7},
                      StatusCase{"CorrinBit7ClearGivesOne", InputStatusRule::CorrinBits, 0x7F, 0x01, 1},
                      StatusCase{"CorrinBit0ClearGivesMinusOne", InputStatusRule::CorrinBits, 0x80, 0xFE, -1},
                      StatusCase{"CorrinBothClearEndsAtMinusOne", InputStatusRule::CorrinBits, 0x00, 0x00, -1},
                      StatusCase{"PrazenAlwaysOne", InputStatusRule::AlwaysOne, 0x80, 0x01, 1},
                      StatusCase{"OtherWheelsKeepValue", InputStatusRule::None, 0x00, 0x00, 7}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(StatusAfterInputShortReportTest, CorrinReportTooShortForByte11TestsOnlyByte3) {
    const Bytes report = {0, 0, 0, 0x00};
    EXPECT_EQ(1, StatusAfterInput(InputStatusRule::CorrinBits, -1, report.data(), 4));
    EXPECT_EQ(-1, StatusAfterInput(InputStatusRule::CorrinBits, -1, report.data(), 3));
}

}  // namespace
