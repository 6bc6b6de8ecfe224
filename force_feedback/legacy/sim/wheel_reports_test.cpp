// The wheel force report step and the mode and stop reports.
#include "force_feedback/legacy/sim/wheel_reports.h"

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

}  // namespace
