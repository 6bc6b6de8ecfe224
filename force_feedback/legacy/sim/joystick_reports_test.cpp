// The two-axis joystick force report step.
#include "force_feedback/legacy/sim/joystick_reports.h"

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

TEST_F(JoystickForceOutputTest, ByteRangeAppliesToBothAxes) {
    EXPECT_EQ((Bytes{0x00, 0x51, 0x08, 0xF0, 0x10, 0x00, 0x00, 0}), Pass(127, 127, {0x10, 0xF0}));
    // A lower bound above the centre makes "no force" a force.
    EXPECT_EQ((Bytes{0x00, 0x51, 0x08, 0x90, 0x90, 0x00, 0x00, 0}), Pass(0, 0, {0x90, 0xFF}));
}

}  // namespace
