// Native condition commands: bytes, targets, send-on-change and stop-once;
// the Karvona-style axis blocks; the factory's class choice.
#include <gtest/gtest.h>

#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/effects/native_conditions.h"

namespace {

using Bytes = std::vector<BYTE>;

// The first seven bytes of a command followed by 57 zeros.
Bytes Command(std::initializer_list<BYTE> head) {
    Bytes b(head);
    b.resize(kConditionCommandSize, 0);
    return b;
}

// Offset 0, k+ 10000, k- -5000, full saturations, dead band 1000.
const DICONDITION kSpring = {0, 10000, -5000, 10000, 10000, 1000};

class NativeConditionTest : public ::testing::Test {
protected:
    // Downloads with one condition per entry of `blocks` on the given axes;
    // the thread lends `slot` before the start, as the simulation pass does.
    void Play(CEffect& effect, std::vector<DICONDITION> blocks, std::vector<DWORD> axes = {kAxisX},
              std::vector<LONG> directions = {1}, LONG slot = 1, DWORD gain = 10000) {
        effect.SetSimThread(&host);
        effect.SetHardwareSlot(slot);
        block.Cartesian(std::move(axes), std::move(directions)).Gain(gain).Conditions(std::move(blocks));
        ASSERT_EQ(S_OK, effect.SetParameters(kAllParams, block.Get()));
        effect.Start(0, 1);
        Tick(effect, 8);
    }
    FakeEffectHost host;  // calibration 0, 32768, 65535 on both axes
    EffectBlock block;
};

TEST_F(NativeConditionTest, WheelSlotsAnswerToBitsFiveToSeven) {
    for (LONG slot : {0, 1, 2}) {
        SCOPED_TRACE(slot);
        CHiResWheelDamperEffect damper;
        host.queued.clear();
        Play(damper, {kSpring}, {kAxisX}, {1}, slot);
        ASSERT_EQ(1u, host.queued.size());
        EXPECT_EQ(static_cast<BYTE>((0x20 << slot) | 0x01), host.queued[0][0]);
    }
}

// Joystick edges: span 32767, c = 0: lower 29491 >> 8 = 115, upper 140; the
// second block with offset 2000 and no dead band: c = 6553, 39321 >> 8 = 153.
TEST_F(NativeConditionTest, HiResJoystickSpringCommandsPerAxis) {
    CHiResJoystickSpringEffect spring;
    Play(spring, {kSpring, {2000, 2000, 2000, 5000, 5000, 0}}, {kAxisX, kAxisY}, {0, 0});
    ASSERT_EQ(2u, host.queued.size());
    EXPECT_EQ(Command({0x21, 0x0B, 115, 140, 0xF8, 0x01, 255}), host.queued[0]);
    EXPECT_EQ(Command({0x81, 0x0B, 153, 153, 0x33, 0x00, 128}), host.queued[1]);
}

// Damper: negative coefficient first, one byte each. Gain 5000: k+ 1500 ->
// 2.25 -> 2, k- -5000 -> 7.5 -> 8 with its sign bit.
TEST_F(NativeConditionTest, HiResDamperCommand) {
    CHiResJoystickDamperEffect damper;
    Play(damper, {{0, 3000, -10000, 10000, 10000, 0}}, {kAxisX}, {1}, 0, 5000);
    ASSERT_EQ(2u, host.queued.size());
    EXPECT_EQ(Command({0x21, 0x0C, 8, 1, 2, 0, 1}), host.queued[0]);
    // Axis 1 has no condition: its stop keeps the bytes of the last command.
    EXPECT_EQ(Command({0x83, 0x0C, 8, 1, 2, 0, 1}), host.queued[1]);
}

TEST_F(NativeConditionTest, LowResJoystickUsesTypesOneAndTwoOnASevenStepScale) {
    CLowResJoystickSpringEffect spring;
    Play(spring, {kSpring});
    ASSERT_EQ(2u, host.queued.size());
    EXPECT_EQ(Command({0x21, 0x01, 115, 140, 0x74, 0x01, 255}), host.queued[0]);  // 7 and 3.5 -> 4
    CLowResJoystickDamperEffect damper;
    host.queued.clear();
    Play(damper, {{0, 3000, -10000, 10000, 10000, 0}}, {kAxisX}, {1}, 0, 5000);
    EXPECT_EQ(Command({0x21, 0x02, 4, 1, 1, 0, 1}), host.queued.at(0));  // 3.5 -> 4, 1.05 -> 1
}

TEST_F(NativeConditionTest, UnchangedCommandsAreNotResent) {
    CHiResWheelSpringEffect spring;
    Play(spring, {kSpring});
    for (int i = 0; i < 10; ++i) Tick(spring, 8);
    EXPECT_EQ(1u, host.queued.size());
    block.Gain(5000);
    ASSERT_EQ(S_OK, spring.SetParameters(DIEP_GAIN, block.Get()));
    Tick(spring, 8);
    ASSERT_EQ(2u, host.queued.size());
    EXPECT_EQ(0x84, host.queued[1][4]);  // k+ 5000 -> 7.5 -> 8, k- -2500 -> 3.75 -> 4
}

// Wheel edges: span 32768, h = MulDiv(1000, 65535, 10000) / 2 = 3277; lower
// (32768 - 3277) >> 5 = 921, upper 36045 >> 5 = 1126. Bytes 2 and 3 carry
// bits 10..3 (115, 140); byte 5: upper bits 2..0 (6) at 7..5, s+ 0, lower
// bits 2..0 (1) at 3..1, s- 1. Coefficients 15 and 7.5 -> 8.
TEST_F(NativeConditionTest, HiResWheelSpringCommandAndItsStopSentOnce) {
    CHiResWheelSpringEffect spring;
    Play(spring, {kSpring});
    spring.Stop();
    spring.Stop();
    ASSERT_EQ(2u, host.queued.size());
    EXPECT_EQ(Command({0x41, 0x0B, 115, 140, 0xF8, 0xC3, 255}), host.queued[0]);
    EXPECT_EQ(Command({0x43, 0x0B, 115, 140, 0xF8, 0xC3, 255}), host.queued[1]);
}

TEST_F(NativeConditionTest, JoystickStopClearsBothAxes) {
    CHiResJoystickSpringEffect spring;
    Play(spring, {kSpring, kSpring}, {kAxisX, kAxisY}, {0, 0});
    host.queued.clear();
    spring.Stop();
    ASSERT_EQ(2u, host.queued.size());
    EXPECT_EQ(0x23, host.queued[0][0]);
    EXPECT_EQ(0x83, host.queued[1][0]);
}

TEST_F(NativeConditionTest, WithoutADeviceSlotNothingIsSent) {
    CHiResWheelSpringEffect spring;
    Play(spring, {kSpring}, {kAxisX}, {1}, kNoHardwareSlot);
    spring.Stop();
    EXPECT_TRUE(host.queued.empty());
}

// One block on two axes with a negative chosen component plays mirrored:
// offset negated, sides swapped, dead band kept.
TEST_F(NativeConditionTest, NegativeDirectionMirrorsTheCondition) {
    CHiResJoystickSpringEffect spring;
    Play(spring, {{1000, 10000, -5000, 10000, 2000, 0}}, {kAxisX, kAxisY}, {0, -5});
    ASSERT_EQ(2u, host.queued.size());
    EXPECT_EQ(0x23, host.queued[0][0]);  // X cleared
    // Mirrored: k+ -5000 (8, sign), k- 10000 (15); offset -1000: c = -3277,
    // (32768 - 3277) >> 8 = 115 for both edges; clip from saturation 2000: 51.
    EXPECT_EQ(Command({0x81, 0x0B, 115, 115, 0x8F, 0x10, 51}), host.queued[1]);
}

TEST_F(NativeConditionTest, WheelPlaysOnlyTheConditionChosenForX) {
    CHiResWheelSpringEffect spring;
    Play(spring, {kSpring}, {kAxisX, kAxisY}, {0, 5});  // chosen for Y
    ASSERT_EQ(1u, host.queued.size());
    EXPECT_EQ(Command({0x43}), host.queued[0]);
}

class KarvonaConditionTest : public NativeConditionTest {};

// Coefficient 10000 at full gain is 50; saturation 10000 is 0x7F; dead band
// 1000 is 25.5 -> 26 of 255.
TEST_F(KarvonaConditionTest, SpringFillsTheAxisBlock) {
    CKarvonaStyleSpringEffect spring;
    Play(spring, {kSpring});
    ASSERT_TRUE(host.karvona[0].has_value());
    EXPECT_EQ(kKarvonaSpringMode, host.karvona[0]->mode);
    EXPECT_EQ(50, host.karvona[0]->coefficient);
    EXPECT_EQ(0x7F, host.karvona[0]->saturation);
    EXPECT_EQ(26, host.karvona[0]->deadBand);
    EXPECT_FALSE(spring.IsSimulated());
}

TEST_F(KarvonaConditionTest, StopClearsOnlyTheAxesItWrote) {
    CKarvonaStyleDamperEffect damper;
    Play(damper, {{0, 5000, 5000, 10000, 10000, 0}}, {kAxisX}, {1}, 0, 5000);
    ASSERT_TRUE(host.karvona[0].has_value());
    EXPECT_EQ(kKarvonaDamperMode, host.karvona[0]->mode);
    EXPECT_EQ(13, host.karvona[0]->coefficient);  // 2500 -> 12.5 -> 13
    damper.Stop();
    EXPECT_FALSE(host.karvona[0].has_value());
    EXPECT_EQ(1, host.karvonaClears[0]);
    EXPECT_EQ(0, host.karvonaClears[1]);
}

struct FactoryCase {
    const char* name;
    EffectFamily family;
    bool springSimulated;
    bool damperSimulated;
};

class EffectFactoryTest : public ::testing::TestWithParam<FactoryCase> {};

TEST_P(EffectFactoryTest, ForcesAreSimulatedAndConditionsFollowTheFamily) {
    const FactoryCase& c = GetParam();
    for (DWORD type : {kEffectConstant, kEffectRamp, kEffectSquare, kEffectSine, kEffectTriangle, kEffectSawUp,
                       kEffectSawDown, kEffectCustom}) {
        SCOPED_TRACE(type);
        auto effect = CreateEffect(c.family, type);
        ASSERT_NE(nullptr, effect);
        EXPECT_TRUE(effect->IsSimulated());
    }
    EXPECT_EQ(c.springSimulated, CreateEffect(c.family, kEffectSpring)->IsSimulated());
    for (DWORD type : {kEffectDamper, kEffectInertia, kEffectFriction}) {
        SCOPED_TRACE(type);
        EXPECT_EQ(c.damperSimulated, CreateEffect(c.family, type)->IsSimulated());
    }
    for (DWORD type : {11u, 255u, 257u, 0xFFFFFFFFu}) EXPECT_EQ(nullptr, CreateEffect(c.family, type));
}

const FactoryCase kFactoryCases[] = {
    {"HiResWheel", EffectFamily::kHiResWheel, false, false},
    {"HiResWheelSimulatedDampers", EffectFamily::kHiResWheelSimulatedDampers, false, true},
    {"LowResWheel", EffectFamily::kLowResWheel, true, true},
    {"HiResJoystick", EffectFamily::kHiResJoystick, false, false},
    {"LowResJoystick", EffectFamily::kLowResJoystick, false, false},
    {"KarvonaStyleJoystick", EffectFamily::kKarvonaStyleJoystick, false, false},
    {"Rumble", EffectFamily::kRumble, true, true},
};

INSTANTIATE_TEST_SUITE_P(Families, EffectFactoryTest, ::testing::ValuesIn(kFactoryCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
