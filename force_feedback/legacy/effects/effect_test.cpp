// The effect object model: timing and repetitions, envelopes, directions and
// SetParameters intake, observed through a constant force.
#include <gtest/gtest.h>

#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/effects/force_effects.h"
#include "force_feedback/legacy/effects/native_conditions.h"

namespace {

constexpr DWORD kTickMs = 8;

class EffectTimingTest : public ::testing::Test {
protected:
    void Download(EffectBlock& block) {
        effect.SetSimThread(&host);
        ASSERT_EQ(S_OK, effect.SetParameters(kAllParams | DIEP_ENVELOPE, block.Get()));
    }
    FakeEffectHost host;
    CConstantEffect effect;
    EffectBlock block;
};

TEST_F(EffectTimingTest, TwoIterationsRestartOnceThenStopAfterTheFirstTickPastEachDuration) {
    Download(block.Polar(9000).DurationMs(1000).Params(DICONSTANTFORCE{10000}));
    effect.Start(0, 2);
    // 125 ticks reach exactly 1000 ms, which is not yet past the duration.
    for (int i = 1; i <= 125; ++i) Tick(effect, kTickMs);
    EXPECT_EQ(127, ForceOf(effect).x);
    Tick(effect, kTickMs);  // 1008 ms: restart, elapsed back to 0
    for (int i = 1; i <= 125; ++i) {
        SCOPED_TRACE(i);
        ASSERT_EQ(127, Tick(effect, kTickMs).x);
    }
    EXPECT_TRUE(host.sleeps.empty());
    EXPECT_EQ(Force{}, Tick(effect, kTickMs));
    EXPECT_FALSE(effect.IsPlaying());
    // The last force is given time to reach the device before the stop.
    EXPECT_EQ(std::vector<DWORD>{8}, host.sleeps);
}

TEST_F(EffectTimingTest, InfiniteIterationsNeverStop) {
    Download(block.Polar(9000).DurationMs(16).Params(DICONSTANTFORCE{10000}));
    effect.Start(0, kInfinite);
    for (int i = 0; i < 500; ++i) Tick(effect, kTickMs);
    EXPECT_TRUE(effect.IsPlaying());
}

TEST_F(EffectTimingTest, StartDelayPlaysNothingAndIsNotCountedAsElapsedTime) {
    Download(block.Polar(9000).DurationMs(16).StartDelayMs(20).Params(DICONSTANTFORCE{10000}));
    effect.Start(0, 1);
    // 20 ms of delay: 12 and 4 left, then the tick that ends it plays nothing.
    for (int i = 1; i <= 3; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(Force{}, Tick(effect, kTickMs));
    }
    EXPECT_EQ(127, Tick(effect, kTickMs).x);  // 8 ms
    EXPECT_EQ(127, Tick(effect, kTickMs).x);  // 16 ms, not past 16
    EXPECT_EQ(Force{}, Tick(effect, kTickMs));
    EXPECT_FALSE(effect.IsPlaying());
}

TEST_F(EffectTimingTest, AnEffectEndingOnItsFirstTickStopsWithoutPause) {
    Download(block.Polar(9000).DurationMs(0).Params(DICONSTANTFORCE{10000}));
    effect.Start(0, 1);
    Tick(effect, kTickMs);
    EXPECT_FALSE(effect.IsPlaying());
    EXPECT_TRUE(host.sleeps.empty());
}

TEST_F(EffectTimingTest, StartFlagInParametersPlaysOnce) {
    block.Polar(9000).DurationMs(8).Params(DICONSTANTFORCE{10000});
    effect.SetSimThread(&host);
    ASSERT_EQ(S_OK, effect.SetParameters(kAllParams | DIEP_START, block.Get()));
    EXPECT_TRUE(effect.IsPlaying());
    Tick(effect, kTickMs);
    Tick(effect, kTickMs);
    EXPECT_FALSE(effect.IsPlaying());
}

TEST_F(EffectTimingTest, StoppedEffectReportsNoForceAndRestartsFromScratch) {
    Download(block.Polar(9000).Params(DICONSTANTFORCE{10000}));
    effect.Start(0, 1);
    EXPECT_EQ(127, Tick(effect, kTickMs).x);
    effect.Stop();
    Force f = ForceOf(effect);
    EXPECT_EQ(Force{}, f);
    EXPECT_EQ(0, f.summingClass);
}

TEST(EffectForceTest, NativeEffectsHaveNoHostForce) {
    CHiResWheelSpringEffect spring;
    LONG x = 5, y = 5, c = 5;
    EXPECT_EQ(E_NOTIMPL, spring.GetForce(&x, &y, &c));
    EXPECT_EQ(0, x);
    EXPECT_EQ(0, y);
    EXPECT_EQ(0, c);
}

// ApplyEnvelope is read after the ticks that set the elapsed time.
class EnvelopeTest : public ::testing::Test {
protected:
    LONG EnvelopeAfter(DWORD elapsedMs, LONG magnitude, DWORD tickMs = 10) {
        effect.Start(0, 1);
        for (DWORD t = 0; t < elapsedMs; t += tickMs) Tick(effect, tickMs);
        return effect.ApplyEnvelope(magnitude);
    }
    void Download(EffectBlock& b) { ASSERT_EQ(S_OK, effect.SetParameters(kAllParams | DIEP_ENVELOPE, b.Get())); }
    CConstantEffect effect;
    EffectBlock block;
};

TEST_F(EnvelopeTest, AttackFromZeroReachesHalfWayAtHalfTheAttackTime) {
    Download(block.Polar(9000).Envelope(0, 100000, 0, 0).Params(DICONSTANTFORCE{8000}));
    EXPECT_EQ(4000, EnvelopeAfter(50, 8000));
    EXPECT_EQ(-4000, effect.ApplyEnvelope(-8000));
}

TEST_F(EnvelopeTest, AttackTimeZeroIsOneMillisecond) {
    Download(block.Polar(9000).Envelope(2000, 0, 0, 0).Params(DICONSTANTFORCE{8000}));
    EXPECT_EQ(2000, EnvelopeAfter(0, 8000));
    EXPECT_EQ(8000, EnvelopeAfter(10, 8000));
}

TEST_F(EnvelopeTest, LevelsAboveFullScaleAreClamped) {
    Download(block.Polar(9000).DurationMs(100).Envelope(15000, 100000, 20000, 50000).Params(DICONSTANTFORCE{0}));
    EXPECT_EQ(10000, EnvelopeAfter(0, 4000));
    EXPECT_EQ(-10000, EnvelopeAfter(100, -4000));  // at the end: the fade level
}

TEST_F(EnvelopeTest, FadeRunsLinearlyOverTheFadeTime) {
    Download(block.Polar(9000).DurationMs(1000).Envelope(0, 0, 0, 200000).Params(DICONSTANTFORCE{0}));
    EXPECT_EQ(10000, EnvelopeAfter(800, 10000));  // before the fade
    EXPECT_EQ(5000, EnvelopeAfter(900, 10000));
    EXPECT_EQ(-5000, effect.ApplyEnvelope(-10000));
    EXPECT_EQ(0, EnvelopeAfter(1000, 10000));
}

TEST_F(EnvelopeTest, InfiniteDurationNeverFades) {
    Download(block.Polar(9000).DurationMs(kInfinite).Envelope(0, 0, 0, 200000).Params(DICONSTANTFORCE{0}));
    EXPECT_EQ(7000, EnvelopeAfter(5000, 7000));
}

TEST_F(EnvelopeTest, NullEnvelopeWithFlagRemovesIt) {
    Download(block.Polar(9000).Envelope(0, 100000, 0, 0).Params(DICONSTANTFORCE{0}));
    block.envelope = {};
    ASSERT_EQ(S_OK, effect.SetParameters(DIEP_ENVELOPE, block.Get()));
    EXPECT_EQ(6000, EnvelopeAfter(0, 6000));
}

struct DirectionCase {
    const char* name;
    DWORD flags;
    std::vector<DWORD> axes;
    std::vector<LONG> directions;
    Force expected;
};

class DirectionTest : public ::testing::TestWithParam<DirectionCase> {};

// Full magnitude and gain: a unit vector maps to +-127 on its axis.
TEST_P(DirectionTest, SplitsFullForceAlongTheDirection) {
    const DirectionCase& c = GetParam();
    EffectBlock block;
    block.Params(DICONSTANTFORCE{10000}).Axes(c.axes, c.directions);
    block.effect.dwFlags = DIEFF_OBJECTIDS | c.flags;
    CConstantEffect effect;
    ASSERT_EQ(S_OK, effect.SetParameters(kAllParams, block.Get()));
    effect.Start(0, 1);
    const Force f = Tick(effect, 8);
    EXPECT_EQ(c.expected.x, f.x);
    EXPECT_EQ(c.expected.y, f.y);
}

const DirectionCase kDirectionCases[] = {
    // Polar: angle = centidegrees * 256 / 36000, x = sin, y = cos.
    {"PolarEast", DIEFF_POLAR, {kAxisX, kAxisY}, {9000, 0}, {127, 0}},
    {"PolarNorth", DIEFF_POLAR, {kAxisX, kAxisY}, {0, 0}, {0, 127}},
    {"PolarFullCircleIsNorth", DIEFF_POLAR, {kAxisX, kAxisY}, {36000, 0}, {0, 127}},
    {"PolarSouth", DIEFF_POLAR, {kAxisX, kAxisY}, {18000, 0}, {0, -127}},
    {"PolarMinusNinetyIsWest", DIEFF_POLAR, {kAxisX, kAxisY}, {-9000, 0}, {-127, 0}},
    // 4500 -> angle 32: sin 724, cos (entry 31) 706.
    {"PolarNorthEast", DIEFF_POLAR, {kAxisX, kAxisY}, {4500, 0}, {90, 88}},
    {"PolarSouthEast", DIEFF_POLAR, {kAxisX, kAxisY}, {13500, 0}, {88, -90}},
    // Cartesian: the second component is negated.
    {"CartesianX", DIEFF_CARTESIAN, {kAxisX, kAxisY}, {1, 0}, {127, 0}},
    {"CartesianPositiveYPushesNegative", DIEFF_CARTESIAN, {kAxisX, kAxisY}, {0, 1}, {0, -127}},
    {"CartesianZeroIsPositiveY", DIEFF_CARTESIAN, {kAxisX, kAxisY}, {0, 0}, {0, 127}},
    // (3, -4) / 5 * 1024 -> 614, -819.
    {"CartesianThreeFour", DIEFF_CARTESIAN, {kAxisX, kAxisY}, {3, 4}, {76, -102}},
    {"CartesianListInAxisInstanceOrder", DIEFF_CARTESIAN, {kAxisY, kAxisX}, {0, 5}, {127, 0}},
    {"OneAxisOnXWithZeroDirection", DIEFF_CARTESIAN, {kAxisX}, {0}, {127, 0}},
    {"OneAxisOnYWithZeroDirection", DIEFF_CARTESIAN, {kAxisY}, {0}, {0, -127}},
    {"ThreeAxesFallBackToPositiveY", DIEFF_CARTESIAN, {kAxisX, kAxisY, 0x200}, {5, 5, 5}, {0, 127}},
};

INSTANTIATE_TEST_SUITE_P(Directions, DirectionTest, ::testing::ValuesIn(kDirectionCases),
                         [](const auto& info) { return std::string(info.param.name); });

class SetParametersTest : public ::testing::Test {
protected:
    CConstantEffect effect;
    EffectBlock block;
};

TEST_F(SetParametersTest, NullBlockIsRefused) { EXPECT_EQ(E_POINTER, effect.SetParameters(kAllParams, nullptr)); }

TEST_F(SetParametersTest, BlockSmallerThanTheOldestLayoutIsRefused) {
    block.effect.dwSize = 16;
    EXPECT_EQ(E_INVALIDARG, effect.SetParameters(kAllParams, block.Get()));
}

TEST_F(SetParametersTest, ZeroAxisCountFailsButEarlierFieldsStay) {
    block.Polar(9000).DurationMs(8).Params(DICONSTANTFORCE{10000});
    const DIEFFECT* e = block.Get();
    block.effect.cAxes = 0;
    EXPECT_EQ(E_INVALIDARG, effect.SetParameters(kAllParams, e));
    // The duration was taken before the failing step: one tick past 8 ms stops it.
    effect.Start(0, 1);
    Tick(effect, 8);
    EXPECT_TRUE(effect.IsPlaying());
    Tick(effect, 8);
    EXPECT_FALSE(effect.IsPlaying());
}

TEST_F(SetParametersTest, NullArraysWithTheirFlagsAreRefused) {
    block.Polar(9000).Params(DICONSTANTFORCE{10000});
    const DIEFFECT* e = block.Get();
    block.effect.rgdwAxes = nullptr;
    EXPECT_EQ(E_INVALIDARG, effect.SetParameters(DIEP_AXES, e));
    block.effect.rglDirection = nullptr;
    EXPECT_EQ(E_INVALIDARG, effect.SetParameters(DIEP_DIRECTION, e));
}

// Axis lists of `count` Cartesian axes on instances 0, 1, 2, ... with
// direction x = `x` on the first and 0 elsewhere.
EffectBlock& ManyAxes(EffectBlock& block, DWORD count, LONG x) {
    std::vector<DWORD> axes(count);
    std::vector<LONG> directions(count, 0);
    for (DWORD i = 0; i < count; ++i) axes[i] = i << 8;
    directions[0] = x;
    return block.Cartesian(axes, directions);
}

// No axis count but zero is refused, however many axes the device has; a
// count beyond what the arrays were first made for gets larger arrays.
// One or two axes split the force by their directions (here along x), any
// other count pushes along +y, so the force shows which list the effect
// holds.
class AxisCountTest : public ::testing::TestWithParam<std::vector<DWORD>> {};

TEST_P(AxisCountTest, EveryNonZeroCountIsTakenInTurn) {
    CConstantEffect effect;
    EffectBlock block;
    block.Params(DICONSTANTFORCE{10000});
    for (DWORD count : GetParam()) {
        SCOPED_TRACE(count);
        ASSERT_EQ(S_OK, effect.SetParameters(kAllParams, ManyAxes(block, count, 5).Get()));
        effect.Start(0, 1);
        EXPECT_EQ((count <= 2 ? Force{127, 0} : Force{0, 127}), Tick(effect, 8));
    }
}

INSTANTIATE_TEST_SUITE_P(Sequences, AxisCountTest,
                         ::testing::Values(std::vector<DWORD>{33, 33}, std::vector<DWORD>{2, 33, 2},
                                           std::vector<DWORD>{33, 2, 200, 2}, std::vector<DWORD>{1, 32, 33, 2}),
                         [](const auto& info) {
                             std::string name = "Counts";
                             for (DWORD c : info.param) {
                                 name += '_';
                                 name += std::to_string(c);
                             }
                             return name;
                         });

// Directions may come with a longer count than the axes did: the axes the
// effect was never given read as instance 0, and nothing is read or written
// outside either array.
TEST_F(SetParametersTest, DirectionsWithMoreEntriesThanTheAxesStayInsideBothArrays) {
    ASSERT_EQ(S_OK, effect.SetParameters(kAllParams, ManyAxes(block, 2, 5).Params(DICONSTANTFORCE{10000}).Get()));
    ASSERT_EQ(S_OK, effect.SetParameters(DIEP_DIRECTION, ManyAxes(block, 40, 7).Get()));
    effect.Start(0, 1);
    EXPECT_EQ((Force{0, 127}), Tick(effect, 8));
    ASSERT_EQ(S_OK, effect.SetParameters(DIEP_AXES | DIEP_DIRECTION, ManyAxes(block, 2, 5).Get()));
    EXPECT_EQ((Force{127, 0}), Tick(effect, 8));
}

TEST_F(SetParametersTest, MoreAxesLaterReuseTheFirstArrays) {
    ASSERT_EQ(S_OK, effect.SetParameters(kAllParams, block.Cartesian({kAxisX}, {1}).Params(DICONSTANTFORCE{10000}).Get()));
    ASSERT_EQ(S_OK, effect.SetParameters(DIEP_AXES | DIEP_DIRECTION,
                                         block.Cartesian({kAxisX, kAxisY, 0x200, 0x300}, {0, 0, 0, 0}).Get()));
    effect.Start(0, 1);
    // Four axes: no split rule applies, the force falls back to positive y.
    EXPECT_EQ((Force{0, 127}), Tick(effect, 8));
}

TEST_F(SetParametersTest, ShortTypeSpecificBlockIsRefusedAndTheOldOneKept) {
    ASSERT_EQ(S_OK, effect.SetParameters(kAllParams, block.Polar(9000).Params(DICONSTANTFORCE{10000}).Get()));
    block.typeSpecific.assign(2, 0);
    EXPECT_EQ(E_INVALIDARG, effect.SetParameters(kAllParams, block.Get()));
    effect.Start(0, 1);
    EXPECT_EQ(127, Tick(effect, 8).x);
}

TEST_F(SetParametersTest, TypeSpecificFlagWithoutBlockKeepsTheOldOne) {
    ASSERT_EQ(S_OK, effect.SetParameters(kAllParams, block.Polar(9000).Params(DICONSTANTFORCE{-10000}).Get()));
    block.typeSpecific.clear();
    EXPECT_EQ(S_OK, effect.SetParameters(DIEP_TYPESPECIFICPARAMS, block.Get()));
    effect.Start(0, 1);
    EXPECT_EQ(-127, Tick(effect, 8).x);
}

TEST_F(SetParametersTest, OlderBlockWithoutStartDelayFieldPlaysAtOnce) {
    block.Polar(9000).StartDelayMs(1000).Params(DICONSTANTFORCE{10000});
    const DIEFFECT* e = block.Get();
    block.effect.dwSize = offsetof(DIEFFECT, dwStartDelay);
    ASSERT_EQ(S_OK, effect.SetParameters(kAllParams, e));
    effect.Start(0, 1);
    EXPECT_EQ(127, Tick(effect, 8).x);
}

TEST_F(SetParametersTest, EffectWithoutTypeSpecificBlockPlaysSilently) {
    ASSERT_EQ(S_OK, effect.SetParameters(kAllParams, block.Polar(9000).Get()));
    effect.Start(0, 1);
    EXPECT_EQ(Force{}, Tick(effect, 8));
}

}  // namespace
