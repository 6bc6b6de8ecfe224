// Force laws of constant, ramp and periodic effects, tick by tick, where the
// pass-by-pass reports of wheel_effects_e2e_portable_test.cpp do not reach:
// odd periods, phase changes, offsets, clamps and an endless ramp.
#include <cmath>
#include <memory>

#include <gtest/gtest.h>

#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/effects/force_effects.h"

namespace {

// Polar north: the whole force lands on y, y = MulDiv(1023 * f, 127, 10240000).
constexpr LONG kNorth = 0;

TEST(ConstantForceTest, MagnitudeIsScaledByGainThenSplit) {
    CConstantEffect effect;
    EffectBlock block;
    ASSERT_EQ(S_OK, effect.SetParameters(kAllParams, block.Polar(9000).Gain(5000).Params(DICONSTANTFORCE{5000}).Get()));
    effect.Start(0, 1);
    // f = 2500; x = 1023 * 2500 * 127 / 10240000 = 31.7.
    const Force f = Tick(effect, 8);
    EXPECT_EQ(32, f.x);
    EXPECT_EQ(0, f.y);
    EXPECT_EQ(1, f.summingClass);
}

TEST(ConstantForceTest, AttackFromZeroReachesHalfForceHalfwayThroughTheAttack) {
    CConstantEffect effect;
    EffectBlock block;
    block.Polar(9000).StartDelayMs(10).Envelope(0, 100000, 0, 0).Params(DICONSTANTFORCE{10000});
    ASSERT_EQ(S_OK, effect.SetParameters(kAllParams | DIEP_ENVELOPE, block.Get()));
    effect.Start(0, 1);
    Tick(effect, 10);  // the delay
    for (int i = 0; i < 4; ++i) Tick(effect, 10);
    // 50 ms into the attack: m = 5000, x = 1023 * 5000 * 127 / 10240000 = 63.4.
    EXPECT_EQ(63, Tick(effect, 10).x);
}

class RampTest : public ::testing::Test {
protected:
    void Download(DWORD durationMs, LONG start, LONG end) {
        ASSERT_EQ(S_OK, effect.SetParameters(kAllParams, block.Polar(9000).DurationMs(durationMs)
                                                              .Params(DIRAMPFORCE{start, end}).Get()));
        effect.Start(0, 1);
    }
    CRampEffect effect;
    EffectBlock block;
};

// An infinite duration divides by -1: the ramp runs backwards: intentional, keep.
TEST_F(RampTest, InfiniteDurationRunsBackwardsWithoutEnd) {
    Download(kInfinite, 0, 100);
    EXPECT_EQ(-10, Tick(effect, 8).x);   // 0 + 100 * 8 / -1 = -800
    EXPECT_EQ(-20, Tick(effect, 8).x);   // -1600
}

// Periodic effects at full magnitude and gain, direction north.
template <typename T>
std::unique_ptr<CEffect> Periodic(DWORD periodUs, DWORD phase = 0, DWORD magnitude = 10000, LONG offset = 0,
                                  DWORD gain = 10000) {
    auto effect = std::make_unique<T>();
    EffectBlock block;
    block.Polar(kNorth).Gain(gain).Params(DIPERIODIC{magnitude, offset, phase, periodUs});
    EXPECT_EQ(S_OK, effect->SetParameters(kAllParams, block.Get()));
    effect->Start(0, kInfinite);
    return effect;
}

// A 100 ms period advances (8 << 24) / 100 = 1342177 per 8 ms tick. The
// square is positive while the accumulator is below 0x800000: ticks 1-6,
// negative for 7-12, then, after the wrap leaves 671085, positive 13-18.
TEST(PeriodicSequenceTest, SquareOfHundredMillisecondsSampledEveryEightMilliseconds) {
    auto square = Periodic<CSquareEffect>(100000);
    for (int tick = 1; tick <= 19; ++tick) {
        SCOPED_TRACE(tick);
        const bool positive = tick <= 6 || (tick >= 13 && tick <= 18);
        EXPECT_EQ(positive ? 127 : -127, Tick(*square, 8).y);
    }
}

// The reference builds the quarter table from its definition and the force
// from the laws, independently of the effect code.
LONG ReferenceSineForceY(DWORD accumulator) {
    auto table = [](int i) { return static_cast<LONG>(std::sin(i * 3.141592654 * 0.0078125) * 1024); };
    const int i = (accumulator >> 16) & 0xFF;
    const LONG w = i < 64 ? table(i) : i < 128 ? table(127 - i) : i < 192 ? -table(i - 128) : -table(255 - i);
    const double f = std::round(w * 10000.0 / 1024.0);  // gain 10000 leaves f unchanged
    return static_cast<LONG>(std::lround(1023.0 * f * 127.0 / 10240000.0));
}

TEST(PeriodicSequenceTest, SineOfHundredMillisecondsSampledEveryEightMilliseconds) {
    auto sine = Periodic<CSineEffect>(100000);
    DWORD accumulator = 0;
    for (int tick = 1; tick <= 40; ++tick) {
        SCOPED_TRACE(tick);
        accumulator = (accumulator + 1342177) & 0xFFFFFF;
        EXPECT_EQ(ReferenceSineForceY(accumulator), Tick(*sine, 8).y);
    }
}

TEST(PeriodicSequenceTest, SinePeaksAtIndicesSixtyThreeAndSixtyFour) {
    // Phase 9000 centidegrees is index 64: w = 1023, f = 9990, y = 127; the
    // same peak one index earlier proves the 127 - i mirror.
    EXPECT_EQ(127, Tick(*Periodic<CSineEffect>(1000000, 9000), 0).y);
    // At magnitude 5000: f = 1023 * 5000 / 1024 = 4995, y = 1023 * 4995 * 127 / 10240000 = 63.4.
    EXPECT_EQ(63, Tick(*Periodic<CSineEffect>(1000000, 8860, 5000), 0).y);  // index 63
    EXPECT_EQ(63, Tick(*Periodic<CSineEffect>(1000000, 9000, 5000), 0).y);  // index 64
}

TEST(PeriodicShortPeriodTest, BelowSixteenMillisecondsPlaysSixteenFromAQuarterPeriod) {
    // Phase 18000 would start at index 128 (0); the override starts at 64 (peak).
    auto sine = Periodic<CSineEffect>(10000, 18000);
    EXPECT_EQ(127, Tick(*sine, 0).y);
    // 8 ms is half of 16 ms: the wave alternates between its two peaks.
    EXPECT_EQ(-127, Tick(*sine, 8).y);
    EXPECT_EQ(127, Tick(*sine, 8).y);
}

TEST(PeriodicShortPeriodTest, BelowTwentyFourMillisecondsKeepsThePeriodButStartsAtAQuarter) {
    auto sine = Periodic<CSineEffect>(20000, 0);
    EXPECT_EQ(127, Tick(*sine, 0).y);
    // 20 ms period: 8 ms is 6710886, from 0x400000 to index 166: -table[38].
    const LONG expected = ReferenceSineForceY(0x400000 + 6710886);
    EXPECT_EQ(expected, Tick(*sine, 8).y);
}

TEST(PeriodicShortPeriodTest, LongerPeriodsKeepTheirPhase) {
    EXPECT_EQ(0, Tick(*Periodic<CSineEffect>(24000, 0), 0).y);
}

TEST(PeriodicPhaseChangeTest, ChangingThePhaseWhilePlayingMovesTheWaveByOldMinusNew) {
    auto sine = Periodic<CSineEffect>(1000000, 0);
    EXPECT_EQ(0, Tick(*sine, 0).y);
    EffectBlock block;
    block.Params(DIPERIODIC{10000, 0, 9000, 1000000});
    ASSERT_EQ(S_OK, sine->SetParameters(DIEP_TYPESPECIFICPARAMS, block.Get()));
    // delta = 0 - 64: index 192, the negative peak (not the positive one).
    EXPECT_EQ(-127, Tick(*sine, 0).y);
}

TEST(PeriodicLawTest, OffsetIsAddedAfterTheGain) {
    // Square high: f = 10000 * 5000 / 10000 + 2000 = 7000 -> 88.8.
    EXPECT_EQ(89, Tick(*Periodic<CSquareEffect>(1000000, 0, 10000, 2000, 5000), 0).y);
}

TEST(PeriodicLawTest, SquareWithOffsetEqualToMagnitudeAlternatesBetweenFullAndZero) {
    auto square = Periodic<CSquareEffect>(16000, 0, 5000, 5000);  // 16 ms: phase 64, half a period per 8 ms
    EXPECT_EQ(127, Tick(*square, 0).y);
    EXPECT_EQ(0, Tick(*square, 8).y);
    EXPECT_EQ(127, Tick(*square, 8).y);
}

TEST(PeriodicLawTest, MagnitudeAndOffsetAreClamped) {
    // Magnitude 0xFFFFFFFF is full scale, the offset -30000 is -10000: a
    // square's high half gives 0.
    EXPECT_EQ(0, Tick(*Periodic<CSquareEffect>(1000000, 0, 0xFFFFFFFF, -30000), 0).y);
}

TEST(PeriodicLawTest, TriangleReachesFullScaleAtAQuarter) {
    EXPECT_EQ(127, Tick(*Periodic<CTriangleEffect>(1000000, 9000), 0).y);   // R[63] = 1024
    EXPECT_EQ(-127, Tick(*Periodic<CTriangleEffect>(1000000, 27000), 0).y);  // index 192
    EXPECT_EQ(0, Tick(*Periodic<CTriangleEffect>(1000000, 0), 0).y);
}

// Both saws stay on one side of zero for a whole period: intentional, keep.
TEST(PeriodicLawTest, SawsAreOneSided) {
    auto up = Periodic<CSawUpEffect>(100000);
    auto down = Periodic<CSawDownEffect>(100000);
    EXPECT_EQ(0, Tick(*up, 0).y);      // R[0]
    EXPECT_EQ(127, Tick(*down, 0).y);  // R[63] = 1024
    LONG previousUp = -1;
    for (int tick = 1; tick <= 12; ++tick) {
        SCOPED_TRACE(tick);
        const LONG u = Tick(*up, 8).y;
        EXPECT_GE(u, 0);
        EXPECT_GT(u, previousUp);  // rising through the period
        previousUp = u;
        EXPECT_GE(Tick(*down, 8).y, 0);
    }
}

TEST(PeriodicLawTest, InfinitePeriodHoldsThePhase) {
    auto sine = Periodic<CSineEffect>(kInfinite, 9000);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(127, Tick(*sine, 8).y);
}

}  // namespace
