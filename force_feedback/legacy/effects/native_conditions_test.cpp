// Native condition commands where the end-to-end suites cannot reach: a
// gain change resending, a second stop sending nothing, no slot sending
// nothing, the mirrored block's offset and saturations, the wheel's choice
// of X; the factory's class choice. The command bytes, slot targets,
// per-axis stops and axis blocks are pinned byte for byte by the wheel and
// joystick effect suites.
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

TEST_F(NativeConditionTest, UnchangedCommandsAndRepeatedStopsAreNotResent) {
    CHiResWheelSpringEffect spring;
    Play(spring, {kSpring});
    for (int i = 0; i < 10; ++i) Tick(spring, 8);
    EXPECT_EQ(1u, host.queued.size());
    block.Gain(5000);
    ASSERT_EQ(S_OK, spring.SetParameters(DIEP_GAIN, block.Get()));
    Tick(spring, 8);
    ASSERT_EQ(2u, host.queued.size());
    EXPECT_EQ(0x84, host.queued[1][4]);  // k+ 5000 -> 7.5 -> 8, k- -2500 -> 3.75 -> 4
    spring.Stop();
    spring.Stop();
    ASSERT_EQ(3u, host.queued.size());
    EXPECT_EQ(0x43, host.queued[2][0]);
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
