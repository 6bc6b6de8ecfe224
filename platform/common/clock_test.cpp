#include "platform/clock.h"

#include <gtest/gtest.h>

#include <ostream>

namespace {

struct PeriodCase {
    const char* name;
    std::uint32_t minPeriod, maxPeriod, expected;
};

// Names the case in test listings instead of dumping its bytes.
void PrintTo(const PeriodCase& c, std::ostream* os) { *os << c.name; }

const PeriodCase kPeriodCases[] = {
    {"MinimumTaken", 2, 1000, 2},
    {"ZeroRaisedToOne", 0, 1000, 1},
    {"CappedAtMaximum", 20, 10, 10},
    {"OneOfOne", 1, 1, 1},
};

class TimerPeriodTest : public ::testing::TestWithParam<PeriodCase> {};

TEST_P(TimerPeriodTest, MinimumClampedToOneAndMaximum) {
    EXPECT_EQ(platform::TimerPeriodFor(GetParam().minPeriod, GetParam().maxPeriod), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Caps, TimerPeriodTest, ::testing::ValuesIn(kPeriodCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(TimerResolutionGuardTest, BeginsOnceAndEndsOnce) {
    platform::TimerResolutionGuard guard(/*activate=*/false);
    EXPECT_FALSE(guard.IsActive());
    ASSERT_TRUE(guard.Activate());
    EXPECT_TRUE(guard.IsActive());
    EXPECT_GE(guard.Period(), 1u);
    EXPECT_TRUE(guard.Activate());
    guard.Deactivate();
    EXPECT_FALSE(guard.IsActive());
    guard.Deactivate();
    EXPECT_FALSE(guard.IsActive());
}

class FixedSource : public platform::TimeSource {
public:
    std::uint32_t NowMs() override { return now; }
    std::uint32_t now = 0xFFFFFFF0u;
};

TEST(TimeGetTimeTest, ReadsAnInstalledSourceUntilRemoved) {
    FixedSource source;
    platform::SetTimeSource(&source);
    EXPECT_EQ(platform::TimeGetTime(), 0xFFFFFFF0u);
    source.now = 5;
    EXPECT_EQ(platform::TimeGetTime(), 5u);
    platform::SetTimeSource(nullptr);
    // The system clock is monotonic between two reads (modulo the wrap).
    const std::uint32_t a = platform::TimeGetTime();
    const std::uint32_t b = platform::TimeGetTime();
    EXPECT_LT(static_cast<std::uint32_t>(b - a), 1000u);
}

}  // namespace
