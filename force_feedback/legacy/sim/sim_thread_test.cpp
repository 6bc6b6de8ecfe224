// The pure steps of a simulation pass: the hardware-slot ranking and the
// strength scaling. Expected values follow from the ranking rule (strictly
// greater as unsigned, ties keep the earlier slot) and from MulDiv rounding
// (half away from zero).
#include "force_feedback/legacy/sim/sim_thread.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

struct Entry {
    DWORD load;
    LONG slot;
};

std::vector<Entry> Rank(const std::vector<DWORD>& loads) {
    LoadRanking ranking{};
    for (std::size_t i = 0; i < loads.size(); ++i) RankLoad(ranking, loads[i], static_cast<LONG>(i));
    std::vector<Entry> out;
    for (const LoadRank& r : ranking) out.push_back({r.load, r.slot});
    return out;
}

void ExpectRanking(const std::vector<Entry>& got, const std::vector<Entry>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < want.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(got[i].load, want[i].load);
        EXPECT_EQ(got[i].slot, want[i].slot);
    }
}

TEST(RankLoadTest, FourConditionsLeaveTheLowestWithoutASlot) {
    ExpectRanking(Rank({50, 80, 80, 20}), {{80, 1}, {80, 2}, {50, 0}});
}

TEST(RankLoadTest, EqualLoadsKeepTheEarlierSlotAhead) {
    ExpectRanking(Rank({30, 30, 30, 30}), {{30, 0}, {30, 1}, {30, 2}});
}

TEST(RankLoadTest, LoadsCompareUnsignedSoTopBitLoadsRankHighest) {
    ExpectRanking(Rank({100, 0x80000000u, 0xFFFFFFFFu, 7}), {{0xFFFFFFFFu, 2}, {0x80000000u, 1}, {100, 0}});
}

TEST(RankLoadTest, ZeroLoadsNeverTakeASlot) {
    ExpectRanking(Rank({0, 0, 5}), {{5, 2}, {0, kNoSlot}, {0, kNoSlot}});
}

TEST(RankLoadTest, LaterHigherLoadPushesEntriesDown) {
    ExpectRanking(Rank({10, 20, 30, 40}), {{40, 3}, {30, 2}, {20, 1}});
}

LONG Doubled(LONG f) { return 2 * f; }

TEST(ScaleSumsTest, BelowTheKneeAllFourSumsAreAttenuated) {
    ForceSums sums{100, -50, 31, -127};
    ScaleSums(sums, 5000, 10000, Doubled);
    EXPECT_EQ(sums.x1, 50);
    EXPECT_EQ(sums.y1, -25);
    EXPECT_EQ(sums.x2, 16);   // 15.5 rounds away from zero
    EXPECT_EQ(sums.y2, -64);  // -63.5 likewise
}

TEST(ScaleSumsTest, AboveTheKneeOnlyTheFirstPairIsClampedAndMapped) {
    ForceSums sums{200, -40, 300, -300};
    ScaleSums(sums, 12000, 10000, Doubled);
    EXPECT_EQ(sums.x1, 254);  // clamped to 127 before the curve
    EXPECT_EQ(sums.y1, -80);
    EXPECT_EQ(sums.x2, 300);
    EXPECT_EQ(sums.y2, -300);
}

TEST(ScaleSumsTest, AtTheKneeNothingChanges) {
    ForceSums sums{300, -5, 7, -300};
    ScaleSums(sums, 10000, 10000, Doubled);
    EXPECT_EQ(sums.x1, 300);
    EXPECT_EQ(sums.y1, -5);
    EXPECT_EQ(sums.x2, 7);
    EXPECT_EQ(sums.y2, -300);
}

}  // namespace
