// The Karvona-style periodic report: force words, axis blocks, centring and
// the send-on-change rule.
#include "force_feedback/legacy/sim/karvona_report.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<BYTE>;

class KarvonaReportTest : public ::testing::Test {
protected:
    // The report a pass sends, or empty.
    Bytes Take(unsigned length = 64) {
        Bytes out(length, 0xEE);
        if (!report.TakeIfChanged(out.data(), length)) return {};
        return out;
    }

    static Bytes Expected(std::initializer_list<std::pair<std::size_t, BYTE>> set) {
        Bytes b(64, 0);
        for (const auto& [at, value] : set) b[at] = value;
        return b;
    }

    KarvonaReport report;
};

TEST_F(KarvonaReportTest, YWordKeepsItsSign) {
    report.SetForce(0, 127);
    EXPECT_EQ(Expected({{31, 0xFF}, {32, 0x7F}}), Take());
    report.SetForce(-64, -64);
    // x: -(-64 * 32767 / 127) = 16513 = 0x4081; y: -16513 = 0xBF7F.
    EXPECT_EQ(Expected({{1, 0x81}, {2, 0x40}, {31, 0x7F}, {32, 0xBF}}), Take());
}

TEST_F(KarvonaReportTest, UnchangedReportIsNotSentAgain) {
    EXPECT_TRUE(Take().empty());  // all zero, as last sent
    report.SetForce(5, 0);
    EXPECT_FALSE(Take().empty());
    report.SetForce(5, 0);
    EXPECT_TRUE(Take().empty());
    report.SetForce(0, 0);
    EXPECT_EQ(Expected({}), Take());
}

TEST_F(KarvonaReportTest, CentringAtFullUserStrengthFillsBothBlocks) {
    report.ApplyCentering(15000, /*on=*/true);
    EXPECT_EQ(Expected({{4, 50}, {5, 0x7F}, {6, 0x46}, {34, 50}, {35, 0x7F}, {36, 0x46}}), Take());
}

TEST_F(KarvonaReportTest, CentringOffClearsTheWholeBlockIncludingTheMode) {
    const KarvonaAxisBlock spring{kKarvonaSpringMode, 20, 0x40, 0x10};
    report.SetAxisBlock(1, &spring);
    report.SetForce(10, 0);
    report.ApplyCentering(10000, /*on=*/false);
    // x word -2580 = 0xF5EC; nothing left of the Y block.
    EXPECT_EQ(Expected({{1, 0xEC}, {2, 0xF5}}), Take());
}

TEST_F(KarvonaReportTest, ConditionBlocksLandAtTheirAxis) {
    const KarvonaAxisBlock damper{kKarvonaDamperMode, 13, 0x7F, 0};
    report.SetAxisBlock(0, &damper);
    EXPECT_EQ(Expected({{3, 0x02}, {4, 13}, {5, 0x7F}}), Take());
    report.SetAxisBlock(0, nullptr);
    EXPECT_EQ(Expected({}), Take());
    report.SetAxisBlock(2, &damper);  // no such axis: nothing changes
    EXPECT_TRUE(Take().empty());
}

TEST_F(KarvonaReportTest, CentringOverAConditionKeepsItsMode) {
    const KarvonaAxisBlock spring{kKarvonaSpringMode, 20, 0x40, 0x10};
    report.SetAxisBlock(0, &spring);
    report.ApplyCentering(15000, true);
    EXPECT_EQ(Expected({{3, 0x01}, {4, 50}, {5, 0x7F}, {6, 0x46}, {34, 50}, {35, 0x7F}, {36, 0x46}}), Take());
}

TEST_F(KarvonaReportTest, ShorterOutputReportGetsThePrefix) {
    report.SetForce(0, 127);
    const Bytes sent = Take(32);
    ASSERT_EQ(32u, sent.size());
    EXPECT_EQ(0xFF, sent[31]);
}

}  // namespace
