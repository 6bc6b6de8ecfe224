// The two-axis joystick force report step where the end-to-end session in
// joystick_e2e_portable_test.cpp does not reach: send-on-change with both
// axes forced, and the byte range.
#include "force_feedback/legacy/devices/joystick_reports.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<BYTE>;
constexpr unsigned kOutputLength = 8;

class JoystickForceOutputTest : public ::testing::Test {
protected:
    Bytes Pass(LONG x, LONG y, ByteRange range = {}) {
        Bytes report(kOutputLength, 0xEE);
        if (!output.Build(x, y, range, report.data(), kOutputLength)) return {};
        return report;
    }

    JoystickForceOutput output;
};

TEST_F(JoystickForceOutputTest, ChangeOfYAloneIsSent) {
    ASSERT_FALSE(Pass(10, 0).empty());
    EXPECT_EQ((Bytes{0x00, 0x51, 0x08, 0x8A, 0x76, 0x00, 0x00, 0}), Pass(10, 10));
    EXPECT_TRUE(Pass(10, 10).empty());
}

TEST_F(JoystickForceOutputTest, ByteRangeAppliesToBothAxes) {
    EXPECT_EQ((Bytes{0x00, 0x51, 0x08, 0xF0, 0x10, 0x00, 0x00, 0}), Pass(127, 127, {0x10, 0xF0}));
    // A lower bound above the centre makes "no force" a force.
    EXPECT_EQ((Bytes{0x00, 0x51, 0x08, 0x90, 0x90, 0x00, 0x00, 0}), Pass(0, 0, {0x90, 0xFF}));
}

}  // namespace
