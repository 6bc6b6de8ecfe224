// Condition scaling, the load figure, the host spring and damper laws, the
// axis choice of the host conditions, and the rumble conditions.
#include <gtest/gtest.h>

#include "force_feedback/legacy/effects/condition_effects.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/effects/native_conditions.h"

namespace {

DICONDITION Condition(LONG positive, LONG negative, DWORD posSaturation = 10000, DWORD negSaturation = 10000,
                      LONG offset = 0, LONG deadBand = 0) {
    return DICONDITION{offset, positive, negative, posSaturation, negSaturation, deadBand};
}

// One X-axis condition played by a host spring or damper against the fake
// thread's raw calibration (0, 128, 255 by default).
template <typename T>
class HostConditionTest : public ::testing::Test {
protected:
    Force Play(std::vector<DICONDITION> blocks, DWORD gain = 10000) {
        effect.SetSimThread(&host);
        EXPECT_EQ(S_OK, effect.SetParameters(kAllParams, block.Cartesian({kAxisX}, {1}).Gain(gain)
                                                              .Conditions(std::move(blocks)).Get()));
        effect.Start(0, 1);
        return Tick(effect, 8);
    }
    FakeEffectHost host;
    T effect;
    EffectBlock block;
};

using HostSpringTest = HostConditionTest<CSimulatedSpringEffect>;

TEST_F(HostSpringTest, FullDeflectionDividesBySpanPlusOne) {
    // P = 255: span 128, d = 127 * 10000 / 129 = 9845; g = 4 * 9845 * 2500 / 10000.
    host.position[0] = 255;
    const Force f = Play({Condition(2500, 2500)});
    EXPECT_EQ(125, f.x);  // 9845 * 127 / 10000 = 125.03 (9922 would give 126)
    EXPECT_EQ(0, f.summingClass);  // springs go to the sum the boost curve leaves alone
}

TEST_F(HostSpringTest, NegativeSideUsesTheLowerSpan) {
    host.position[0] = 0;  // span 129, d = -128 * 10000 / 130 = -9846
    EXPECT_EQ(-125, Play({Condition(0, 2500)}).x);
}

TEST_F(HostSpringTest, PositionOutsideCalibrationIsClamped) {
    host.position[0] = 100000;
    EXPECT_EQ(125, Play({Condition(2500, 2500)}).x);
}

TEST_F(HostSpringTest, SaturationLimitsTheForce) {
    host.position[0] = 255;
    EXPECT_EQ(25, Play({Condition(10000, 10000, /*posSaturation=*/2000)}).x);  // 2000 * 127 / 10000
}

// Inside the dead band there is no force, and an exact zero x becomes 1:
// intentional, keep.
TEST_F(HostSpringTest, DisplacementInsideTheDeadBandGivesNoForce) {
    host.rawCalibration = CalibrationRecord{{{0, 1000, 2000}, {0, 1000, 2000}}};
    host.position[0] = 1040;  // d = 40 * 10000 / 1002 = 399, band -500..500
    EXPECT_EQ(1, Play({Condition(10000, 10000, 10000, 10000, 0, 1000)}).x);
}

TEST_F(HostSpringTest, DisplacementPastTheBandCountsFromTheEdge) {
    host.rawCalibration = CalibrationRecord{{{0, 1000, 2000}, {0, 1000, 2000}}};
    host.position[0] = 1100;  // d = 998, e = 498, g = 1992
    EXPECT_EQ(25, Play({Condition(10000, 10000, 10000, 10000, 0, 1000)}).x);
}

TEST_F(HostSpringTest, NoCalibrationMeansNoDisplacement) {
    host.rawCalibration.reset();
    host.position[0] = 255;
    EXPECT_EQ(1, Play({Condition(10000, 10000)}).x);
}

// The zero-saturation rule runs after scaling: saturation 0 at strength 5000
// stays unlimited (10000), not 5000.
TEST_F(HostSpringTest, ZeroSaturationStaysUnlimitedAfterStrengthScaling) {
    host.springStrength = 5000;
    host.position[0] = 255;
    // k = 5000 after scaling: g = 4 * 9845 * 5000 / 10000 = 19690, limit 10000.
    EXPECT_EQ(127, Play({Condition(10000, 10000, /*posSaturation=*/0)}).x);
}

TEST_F(HostSpringTest, StrengthScalesCoefficientsAndSaturations) {
    host.springStrength = 5000;
    host.position[0] = 255;
    // Saturation 4000 -> 2000.
    EXPECT_EQ(25, Play({Condition(10000, 10000, 4000)}).x);
}

TEST_F(HostSpringTest, CoefficientsAreClampedToFullScaleAfterScaling) {
    host.springStrength = 15000;
    host.position[0] = 255;
    // 2000 * 1.5 = 3000 vs 8000 * 1.5 -> 10000: g = 4 * 9845 = 39380 -> saturation 3000 limits.
    EXPECT_EQ(38, Play({Condition(8000, 8000, 2000)}).x);  // 3000 * 127 / 10000 = 38.1
}

using HostDamperTest = HostConditionTest<CSimulatedDamperEffect>;

TEST_F(HostDamperTest, ForceFollowsVelocityAndTruncates) {
    host.velocity[0] = 65536;  // 1.0
    EXPECT_EQ(20, Play({Condition(10000, 0)}).x);  // 10000 * 65536 * 20 / 655360000
}

TEST_F(HostDamperTest, DivisionTruncatesTowardZero) {
    host.velocity[0] = -65536;
    EXPECT_EQ(-6, Play({Condition(0, 3333)}).x);  // -6.67 (MulDiv would give -7)
}

TEST_F(HostDamperTest, GainScalesTheCoefficient) {
    host.velocity[0] = 3 * 65536;
    EXPECT_EQ(30, Play({Condition(10000, 0)}, /*gain=*/5000).x);
}

TEST_F(HostDamperTest, ItsOwnStrengthScalesItNotTheSprings) {
    host.springStrength = 15000;
    host.damperStrength = 5000;
    host.velocity[0] = 3 * 65536;
    EXPECT_EQ(30, Play({Condition(10000, 0)}).x);  // coefficient 5000, as with gain 5000
}

// Axis choice, observed with a damper: axis 0 moves at 1.0 and axis 1 at 3.0,
// block 0 has coefficient 10000 and block 1 5000. Block 0 on x gives 20, on y
// 60; block 1 on x 10, on y 30.
struct AxisChoiceCase {
    const char* name;
    DWORD flags;
    std::vector<DWORD> axes;
    std::vector<LONG> directions;
    int blocks;
    Force expected;
};

class HostAxisChoiceTest : public ::testing::TestWithParam<AxisChoiceCase> {};

TEST_P(HostAxisChoiceTest, PicksTheAxisOfEachBlock) {
    const AxisChoiceCase& c = GetParam();
    FakeEffectHost host;
    host.velocity[0] = 65536;
    host.velocity[1] = 3 * 65536;
    CSimulatedDamperEffect effect;
    effect.SetSimThread(&host);
    EffectBlock block;
    std::vector<DICONDITION> blocks{Condition(10000, 10000)};
    if (c.blocks == 2) blocks.push_back(Condition(5000, 5000));
    block.Axes(c.axes, c.directions).Conditions(blocks);
    block.effect.dwFlags = DIEFF_OBJECTIDS | c.flags;
    ASSERT_EQ(S_OK, effect.SetParameters(kAllParams, block.Get()));
    effect.Start(0, 1);
    const Force f = Tick(effect, 8);
    EXPECT_EQ(c.expected.x, f.x);
    EXPECT_EQ(c.expected.y, f.y);
}

const AxisChoiceCase kAxisChoiceCases[] = {
    {"PolarEastToX", DIEFF_POLAR, {kAxisX, kAxisY}, {9000, 0}, 1, {20, 0}},
    {"PolarNorthToY", DIEFF_POLAR, {kAxisX, kAxisY}, {0, 0}, 1, {1, 60}},
    {"PolarAngle46ToX", DIEFF_POLAR, {kAxisX, kAxisY}, {6469, 0}, 1, {20, 0}},
    {"PolarAngle45ToY", DIEFF_POLAR, {kAxisX, kAxisY}, {6328, 0}, 1, {1, 60}},
    // The ranges read like degrees but apply to angle units: west (192) is
    // not in 226..314 and goes to Y: intentional, keep.
    {"PolarWestToY", DIEFF_POLAR, {kAxisX, kAxisY}, {27000, 0}, 1, {1, 60}},
    {"PolarAngle230ToX", DIEFF_POLAR, {kAxisX, kAxisY}, {32344, 0}, 1, {20, 0}},
    // -9000 is stored as -64, outside both ranges as it stands: intentional, keep.
    {"PolarMinusNinetyToY", DIEFF_POLAR, {kAxisX, kAxisY}, {-9000, 0}, 1, {1, 60}},
    {"CartesianLargerXToX", DIEFF_CARTESIAN, {kAxisX, kAxisY}, {2, 1}, 1, {20, 0}},
    {"CartesianEqualToY", DIEFF_CARTESIAN, {kAxisX, kAxisY}, {1, 1}, 1, {1, 60}},
    {"TwoBlocksInAxisOrder", DIEFF_CARTESIAN, {kAxisX, kAxisY}, {0, 0}, 2, {20, 30}},
    {"TwoBlocksOnSwappedAxes", DIEFF_CARTESIAN | DIEFF_POLAR, {kAxisY, kAxisX}, {0, 0}, 2, {10, 60}},
    {"OneBlockOnTheYAxisAlone", DIEFF_CARTESIAN, {kAxisY}, {1}, 1, {1, 60}},
};

INSTANTIATE_TEST_SUITE_P(Conditions, HostAxisChoiceTest, ::testing::ValuesIn(kAxisChoiceCases),
                         [](const auto& info) { return std::string(info.param.name); });

// The load figure ranks native conditions; read through a native wheel leaf.
class ConditionLoadTest : public ::testing::Test {
protected:
    template <typename T>
    DWORD LoadOf(std::vector<DICONDITION> blocks, DWORD gain = 10000, bool play = true) {
        T effect;
        EffectBlock block;
        block.Cartesian({kAxisX}, {1}).Gain(gain).Conditions(std::move(blocks));
        EXPECT_EQ(S_OK, effect.SetParameters(kAllParams, block.Get()));
        if (play) effect.Start(0, 1);
        return effect.GetLoad();
    }
};

TEST_F(ConditionLoadTest, DamperSumsBothGainedCoefficients) {
    EXPECT_EQ(30u, LoadOf<CHiResWheelDamperEffect>({Condition(4000, -2000)}));
    EXPECT_EQ(15u, LoadOf<CHiResWheelDamperEffect>({Condition(4000, -2000)}, 5000));
}

// Block 0 counts once per block and later blocks are never read: intentional, keep.
TEST_F(ConditionLoadTest, LaterBlocksAreNeverRead) {
    EXPECT_EQ(30u, LoadOf<CHiResWheelDamperEffect>({Condition(4000, -2000), Condition(10000, 10000)}));
}

// A spring's coefficients are not gained but its saturations are: intentional, keep.
TEST_F(ConditionLoadTest, SpringTakesTheSmallerOfCoefficientAndGainedSaturation) {
    EXPECT_EQ(40u, LoadOf<CHiResWheelSpringEffect>({Condition(8000, -8000, 5000, 3000)}));
    EXPECT_EQ(20u, LoadOf<CHiResWheelSpringEffect>({Condition(8000, -8000, 5000, 3000)}, 5000));
}

TEST_F(ConditionLoadTest, StoppedConditionHasNoLoad) {
    EXPECT_EQ(0u, LoadOf<CHiResWheelSpringEffect>({Condition(8000, 8000)}, 10000, /*play=*/false));
}

// No block: MulDiv by zero gives -1, which ranks highest: intentional, keep.
TEST_F(ConditionLoadTest, PlayingConditionWithoutBlocksRanksHighest) {
    EXPECT_EQ(0xFFFFFFFFu, LoadOf<CHiResJoystickDamperEffect>({}));
}

class RumbleConditionTest : public ::testing::Test {
protected:
    template <typename T>
    Force Play(T& effect, DICONDITION c) {
        effect.SetSimThread(&host);
        EffectBlock block;
        EXPECT_EQ(S_OK, effect.SetParameters(kAllParams, block.Cartesian({kAxisX}, {1}).Conditions({c}).Get()));
        effect.Start(0, 1);
        return Tick(effect, 8);
    }
    FakeEffectHost host;
};

TEST_F(RumbleConditionTest, RestingStickIsSilent) {
    CRumbleSpringEffect spring;
    CRumbleDamperEffect damper;
    EXPECT_EQ(Force{}, Play(spring, Condition(10000, 10000)));
    EXPECT_EQ(Force{}, Play(damper, Condition(10000, 10000)));
}

TEST_F(RumbleConditionTest, SpringFollowsTheHostLawOnTheStick) {
    CRumbleSpringEffect spring;
    host.position[0] = 255;
    EXPECT_EQ(125, Play(spring, Condition(2500, 2500)).x);
}

TEST_F(RumbleConditionTest, DeltaAdjustRaisesOrLowersTheSpringInMotorSteps) {
    host.position[0] = 255;
    host.deltaX = 20;  // 10 force units
    CRumbleSpringEffect up;
    EXPECT_EQ(127, Play(up, Condition(2500, 2500)).x);  // 125 + 10, capped
    host.adjustDown = 1;
    CRumbleSpringEffect down;
    EXPECT_EQ(115, Play(down, Condition(2500, 2500)).x);
}

TEST_F(RumbleConditionTest, FlipMovesTheSpringToTheOtherMotor) {
    host.position[0] = 255;
    host.flipToY = 1;
    CRumbleSpringEffect spring;
    EXPECT_EQ((Force{0, 125}), Play(spring, Condition(2500, 2500)));
}

TEST_F(RumbleConditionTest, DamperFollowsTheHostLaw) {
    host.velocity[0] = 65536;
    CRumbleDamperEffect damper;
    EXPECT_EQ(20, Play(damper, Condition(10000, 10000)).x);
}

}  // namespace
