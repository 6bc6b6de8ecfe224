#include "platform/muldiv.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>

namespace {

struct MulDivCase {
    std::int32_t a, b, c, expected;
};

class MulDivRounding : public ::testing::TestWithParam<MulDivCase> {};

TEST_P(MulDivRounding, MatchesWindowsRules) {
    const MulDivCase& k = GetParam();
    EXPECT_EQ(platform::MulDiv(k.a, k.b, k.c), k.expected);
    EXPECT_EQ(platform::PortableMulDiv(k.a, k.b, k.c), k.expected);
}

INSTANTIATE_TEST_SUITE_P(
    EdgeCases, MulDivRounding,
    ::testing::Values(MulDivCase{10, 10, 3, 33}, MulDivCase{5, 1, 2, 3}, MulDivCase{-5, 1, 2, -3},
                      MulDivCase{5, -1, 2, -3}, MulDivCase{-5, -1, 2, 3}, MulDivCase{5, 1, -2, -3},
                      MulDivCase{-5, 1, -2, 3}, MulDivCase{1, 1, 2, 1}, MulDivCase{-1, 1, 2, -1},
                      MulDivCase{1, 1, 3, 0}, MulDivCase{2, 1, 3, 1}, MulDivCase{-2, 1, 3, -1},
                      MulDivCase{3, 3, 2, 5}, MulDivCase{-3, 3, 2, -5}, MulDivCase{0, -7, 3, 0},
                      MulDivCase{7, 1, 0, -1}, MulDivCase{0, 0, 0, -1},
                      MulDivCase{INT_MAX, 1, 1, INT_MAX}, MulDivCase{INT_MAX, 2, 1, -1},
                      MulDivCase{INT_MAX, INT_MAX, INT_MAX, INT_MAX}, MulDivCase{INT_MIN, 1, 1, -1},
                      MulDivCase{INT_MIN, -1, 1, -1}, MulDivCase{INT_MIN, 1, 2, -1073741824},
                      MulDivCase{-INT_MAX, 1, 1, -INT_MAX}, MulDivCase{INT_MIN, INT_MIN, INT_MIN, -INT_MAX},
                      MulDivCase{INT_MIN, INT_MIN, INT_MAX, -1}, MulDivCase{10000, 5000, 10000, 5000},
                      MulDivCase{127, 7500, 10000, 95}, MulDivCase{-127, 7500, 10000, -95},
                      MulDivCase{1, INT_MIN, INT_MIN, 0}, MulDivCase{2, 2, INT_MIN, 0},
                      MulDivCase{1 << 30, 4, INT_MIN, 1}));

// An independent formulation: truncate, then move away from zero when the
// remainder is at least half the divisor.
std::int32_t ReferenceMulDiv(std::int32_t a, std::int32_t b, std::int32_t c) {
    if (c == 0) return -1;
    const std::int64_t num = static_cast<std::int64_t>(a) * b;
    std::int64_t q = num / c;
    const std::int64_t r = num % c;
    const std::int64_t absR = r < 0 ? -r : r;
    const std::int64_t absC = c < 0 ? -static_cast<std::int64_t>(c) : c;
    if (2 * absR >= absC + (absC & 1)) q += ((num < 0) != (c < 0)) ? -1 : 1;
    if (q > INT_MAX || q < -INT_MAX) return -1;
    return static_cast<std::int32_t>(q);
}

TEST(MulDivRandom, AgreesWithSystemAndReference) {
    std::mt19937 rng(20261122);
    const std::int32_t edges[] = {0, 1, -1, 2, -2, 3, 127, -127, 10000, -10000, 15000, INT_MAX, INT_MIN, INT_MAX - 1,
                                  INT_MIN + 1, 46341, -46341, 65536, -65536};
    auto pick = [&](int mode) -> std::int32_t {
        if (mode == 0) return edges[rng() % (sizeof edges / sizeof edges[0])];
        if (mode == 1) return static_cast<std::int32_t>(rng() % 40001) - 20000;
        return static_cast<std::int32_t>(rng());
    };
    for (int i = 0; i < 200000; ++i) {
        const std::int32_t a = pick(rng() % 3), b = pick(rng() % 3), c = pick(rng() % 3);
        ASSERT_EQ(platform::MulDiv(a, b, c), platform::PortableMulDiv(a, b, c)) << a << " * " << b << " / " << c;
        // INT_MIN cannot be negated in 32 bits: with a negative divisor the
        // system keeps its sign, which the edge table pins instead.
        if (c == INT_MIN || (c < 0 && a == INT_MIN)) continue;
        ASSERT_EQ(platform::PortableMulDiv(a, b, c), ReferenceMulDiv(a, b, c)) << a << " * " << b << " / " << c;
    }
}

}  // namespace
