// How an input report changes a wheel's status value: the Corrin bits (byte 3
// bit 7 clear gives 1, then byte 11 bit 0 clear gives -1) and the Prazen's
// constant 1.
#include "force_feedback/legacy/devices/wheel_status.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Bytes = std::vector<BYTE>;

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
