// Report bytes below are written out from the legacy command tables; byte 0
// is the report ID (0), the command starts at byte 1.
#include "tools/player/hardware_emulator.h"

#include <gtest/gtest.h>

#include <cmath>

namespace ffplay {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Report(std::initializer_list<std::uint8_t> head, size_t length = 65) {
    Bytes r(head);
    r.resize(length, 0);
    return r;
}

class WheelDecodeTest : public testing::Test {
protected:
    CHardwareEmulator hi{EmulatedFamily::kHiResWheel};
    CHardwareEmulator low{EmulatedFamily::kLowResWheel};
};

TEST_F(WheelDecodeTest, ForceAndForceOff) {
    EXPECT_EQ(hi.DecodeOutput(Report({0x00, 0x11, 0x08, 0xB2, 0x80, 0x00, 0x00})), "force x=+50 (second channel 0x80)");
    EXPECT_EQ(hi.CommandForce(0), 50);
    hi.DecodeOutput(Report({0x00, 0x11, 0x08, 0x01, 0x80}));
    EXPECT_EQ(hi.CommandForce(0), -127);
    EXPECT_EQ(hi.DecodeOutput(Report({0x00, 0x13})), "force off");
    EXPECT_EQ(hi.CommandForce(0), 0);
}

TEST_F(WheelDecodeTest, CenteringParametersAndSwitchesPerResolution) {
    EXPECT_EQ(hi.DecodeOutput(Report({0x00, 0xFE, 0x0D, 30, 30, 200, 0x00, 0x00})),
              "centering parameters (high resolution) k=30/30 s=200");
    EXPECT_EQ(hi.CenteringCoefficient(), 30);
    EXPECT_EQ(hi.CenteringSaturation(), 200);
    EXPECT_EQ(hi.DecodeOutput(Report({0x00, 0x14})), "centering spring on");
    EXPECT_TRUE(hi.CenteringOn());
    EXPECT_EQ(hi.DecodeOutput(Report({0x00, 0xF5})), "centering spring off");
    EXPECT_FALSE(hi.CenteringOn());

    EXPECT_EQ(low.DecodeOutput(Report({0x00, 0xFE, 0x03, 6, 6, 90, 0x00, 0x00})),
              "centering parameters (low resolution) k=6/6 s=90");
    EXPECT_EQ(low.DecodeOutput(Report({0x00, 0xF4})), "centering spring on");
    EXPECT_TRUE(low.CenteringOn());
    // 0x14 is the high-resolution wheel's switch only.
    EXPECT_EQ(low.DecodeOutput(Report({0x00, 0x14})), "unknown command 0x14");
}

TEST_F(WheelDecodeTest, StopModeAndIndicator) {
    hi.DecodeOutput(Report({0x00, 0x11, 0x08, 0xB2, 0x80}));
    EXPECT_EQ(hi.DecodeOutput(Report({0x00, 0xF3})), "stop: all forces off");
    EXPECT_TRUE(hi.Stopped());
    EXPECT_EQ(hi.CommandForce(0), 0);
    EXPECT_EQ(hi.DecodeOutput(Report({0x00, 0x09, 0x03})), "mode open (0x03)");
    EXPECT_EQ(hi.DecodeOutput(Report({0x00, 0x09, 0x01})), "mode close (0x01)");
    EXPECT_EQ(hi.Mode(), 1);
    EXPECT_EQ(hi.DecodeOutput(Report({0x00, 0xF8, 0x12, 0x0F})), "indicator lights [****.]");
    EXPECT_EQ(hi.Lights(), 0x0F);
}

TEST_F(WheelDecodeTest, HighResolutionSpringInSlotOne) {
    // Edges 1009 and 1043 on the 11-bit scale: high bits in bytes 2 and 3,
    // low three bits in byte 5 (upper at bits 5-7, lower at bits 1-3), with
    // the negative coefficient's sign at bit 0.
    hi.DecodeOutput(Report({0x00, 0x41, 0x0B, 0x7E, 0x82, 0xFA, 0x63, 200}));
    const NativeCondition& s = hi.Slot(1);
    EXPECT_TRUE(s.active);
    EXPECT_FALSE(s.damper);
    EXPECT_EQ(s.lower, 1009 << 5);
    EXPECT_EQ(s.upper, 1043 << 5);
    EXPECT_EQ(s.positive, 15);
    EXPECT_EQ(s.negative, -10);
    EXPECT_EQ(s.steps, 15);
    EXPECT_EQ(s.clip, 200);
}

TEST_F(WheelDecodeTest, HighResolutionDamperInSlotTwoAndStop) {
    // Negative coefficient and its sign first, then the positive pair, then 1.
    hi.DecodeOutput(Report({0x00, 0x81, 0x0C, 12, 0, 9, 1, 1}));
    EXPECT_TRUE(hi.Slot(2).active);
    EXPECT_TRUE(hi.Slot(2).damper);
    EXPECT_EQ(hi.Slot(2).negative, 12);
    EXPECT_EQ(hi.Slot(2).positive, -9);
    EXPECT_EQ(hi.DecodeOutput(Report({0x00, 0x83, 0x0C, 12, 0, 9, 1, 1})), "condition slot 2 stopped");
    EXPECT_FALSE(hi.Slot(2).active);
}

TEST_F(WheelDecodeTest, LowResolutionConditionTypes) {
    low.DecodeOutput(Report({0x00, 0x21, 0x01, 0x80, 0x80, 0x77, 0x00, 255}));
    EXPECT_TRUE(low.Slot(0).active);
    EXPECT_EQ(low.Slot(0).steps, 7);
    EXPECT_EQ(low.Slot(0).positive, 7);
    low.DecodeOutput(Report({0x00, 0x41, 0x02, 3, 0, 4, 0, 1}));
    EXPECT_TRUE(low.Slot(1).damper);
    EXPECT_EQ(low.Slot(1).positive, 4);
    // The high-resolution spring type means nothing to a low-resolution wheel.
    EXPECT_EQ(low.DecodeOutput(Report({0x00, 0x81, 0x0B, 0, 0, 0, 0, 0})), "unknown condition type 0x0B");
}

TEST(JoystickDecodeTest, ForceMirrorsYAndConditionsPerAxis) {
    CHardwareEmulator joy(EmulatedFamily::kHiResJoystick);
    EXPECT_EQ(joy.DecodeOutput(Report({0x00, 0x51, 0x08, 0x80, 0xFF, 0x00, 0x00})), "force x=+0 y=-127");
    EXPECT_EQ(joy.DecodeOutput(Report({0x00, 0x53})), "force off");
    EXPECT_EQ(joy.DecodeOutput(Report({0x00, 0xFE, 0x0D, 20, 20, 100, 0, 0})),
              "centering parameters (high resolution) k=20/20 s=100");
    // The high-resolution joystick switches its centering on with 0xF4.
    EXPECT_EQ(joy.DecodeOutput(Report({0x00, 0xF4})), "centering spring on");
    joy.DecodeOutput(Report({0x00, 0x81, 0x0B, 0x70, 0x90, 0xF0, 0x00, 255}));
    EXPECT_TRUE(joy.Slot(1).active);
    EXPECT_EQ(joy.Slot(1).lower, 0x70 << 8);
    EXPECT_EQ(joy.Slot(1).upper, 0x90 << 8);
    EXPECT_EQ(joy.Slot(1).negative, 0);
    CHardwareEmulator lowJoy(EmulatedFamily::kLowResJoystick);
    lowJoy.DecodeOutput(Report({0x00, 0x21, 0x02, 7, 0, 7, 0, 1}));
    EXPECT_TRUE(lowJoy.Slot(0).damper);
}

TEST(KarvonaDecodeTest, ForceWordsAndAxisBlocks) {
    CHardwareEmulator k(EmulatedFamily::kKarvona);
    Bytes r(65, 0);
    r[1] = 0x01, r[2] = 0x80;              // X word 0x8001 = -32767: the driver's x = +127
    r[31] = 0x81, r[32] = 0x40;            // Y word 0x4081 = MulDiv(64, 0x7FFF, 0x7F)
    r[3] = 0x01, r[4] = 33, r[5] = 0x7F, r[6] = 0x46;  // X spring block
    r[33] = 0x02, r[34] = 50, r[35] = 0x7F;            // Y damper block
    EXPECT_EQ(k.DecodeOutput(r), "force x=+127 y=+64; X spring k=33 sat=127 db=70; Y damper k=50 sat=127 db=0");
    EXPECT_EQ(k.KarvonaAxis(0).coefficient, 33);
    EXPECT_EQ(k.DecodeFeature({0x04, 0x04}), "release: the stick returns to its own centering");
    EXPECT_EQ(k.KarvonaAxis(0).coefficient, 0);
}

TEST(KarvonaDecodeTest, EndOfThreadStopIsNotAForceWord) {
    CHardwareEmulator k(EmulatedFamily::kKarvona);
    Bytes force(65, 0);
    force[0] = 0x02;                              // the model's report ID
    force[1] = 0x01, force[2] = 0x80;             // x = +127
    force[3] = 0x01, force[4] = 50, force[5] = 0x7F;
    k.DecodeOutput(force);
    ASSERT_EQ(k.CommandForce(0), 127);
    // The shared stop: 0xF3 at byte 1, zeros after it.
    EXPECT_EQ(k.DecodeOutput(Report({0x02, 0xF3})), "stop: all forces off");
    EXPECT_EQ(k.CommandForce(0), 0);
    EXPECT_EQ(k.KarvonaAxis(0).coefficient, 0);
    EXPECT_TRUE(k.Stopped());
}

TEST(KarvonaDecodeTest, ModeZeroBlockIsTheSticksOwnCentringSpring) {
    CHardwareEmulator k(EmulatedFamily::kKarvona), free(EmulatedFamily::kKarvona);
    Bytes r(65, 0);
    // Centring at 100 %: coefficient MulDiv(10000, 50, 15000) = 33, saturation 0x7F, dead band 0x46.
    r[3] = 0x00, r[4] = 33, r[5] = 0x7F, r[6] = 0x46;
    r[33] = 0x00, r[34] = 33, r[35] = 0x7F, r[36] = 0x46;
    EXPECT_EQ(k.DecodeOutput(r),
              "force x=+0 y=+0; X centring spring k=33 sat=127 db=70; Y centring spring k=33 sat=127 db=70");
    k.Displace(1, 0.8, 0);
    free.Displace(1, 0.8, 0);
    for (int i = 0; i < 200; ++i) k.Step(0.001), free.Step(0.001);
    EXPECT_DOUBLE_EQ(free.Axis(1).position, 0.8);
    EXPECT_LT(k.Axis(1).position, 0.8);
}

TEST(RumbleDecodeTest, LayoutAAndLayoutB) {
    CHardwareEmulator a(EmulatedFamily::kRumbleA);
    EXPECT_EQ(a.DecodeOutput(Report({0x00, 0x51, 0x00, 200, 0x00, 50})), "motors A=200 B=50");
    EXPECT_EQ(a.Motor(0), 200);
    EXPECT_EQ(a.Motor(1), 50);
    EXPECT_EQ(a.DecodeOutput(Report({0x00, 0xFA, 0xFE})), "start");
    EXPECT_EQ(a.DecodeOutput(Report({0x00, 0xF3})), "stop: motors off");
    EXPECT_EQ(a.Motor(0), 0);
    CHardwareEmulator b(EmulatedFamily::kRumbleB);
    // Byte 0 reaches the pad as the report ID setting, not as 0x03.
    EXPECT_EQ(b.DecodeOutput(Report({0x00, 0x42, 0x00, 200, 50})), "motors A=200 B=50");
    EXPECT_EQ(b.DecodeOutput(Report({0x00, 0x42, 0x00, 0x00, 0x00})), "motors off");
    EXPECT_EQ(b.Motor(1), 0);
}

void Advance(CHardwareEmulator& e, int ms) {
    for (int i = 0; i < ms; ++i) e.Step(0.001);
}

TEST(ClosedLoopTest, NativeSpringReturnsADisplacedWheelTowardCentre) {
    CHardwareEmulator free(EmulatedFamily::kHiResWheel), sprung(EmulatedFamily::kHiResWheel);
    // Slot 0 spring, both edges at the centre (11-bit 1024), full coefficients, no clip.
    sprung.DecodeOutput(Report({0x00, 0x21, 0x0B, 0x80, 0x80, 0xFF, 0x00, 255}));
    free.Displace(0, 0.6, 0);
    sprung.Displace(0, 0.6, 0);
    Advance(free, 50);
    Advance(sprung, 50);
    EXPECT_DOUBLE_EQ(free.Axis(0).position, 0.6);
    EXPECT_LT(sprung.Axis(0).position, 0.6);
    EXPECT_LT(sprung.Axis(0).velocity, 0);
    Advance(sprung, 2950);
    EXPECT_LT(std::fabs(sprung.Axis(0).position), 0.1);
}

TEST(ClosedLoopTest, CenteringSpringPullsBackOnlyWhenOn) {
    CHardwareEmulator e(EmulatedFamily::kLowResWheel);
    e.DecodeOutput(Report({0x00, 0xFE, 0x03, 255, 255, 255, 0, 0}));
    e.Displace(0, -0.5, 0);
    Advance(e, 100);
    EXPECT_DOUBLE_EQ(e.Axis(0).position, -0.5);
    e.DecodeOutput(Report({0x00, 0xF4}));
    Advance(e, 100);
    EXPECT_GT(e.Axis(0).position, -0.5);
}

TEST(ClosedLoopTest, DamperSlowsAMovingWheel) {
    CHardwareEmulator free(EmulatedFamily::kHiResWheel), damped(EmulatedFamily::kHiResWheel);
    damped.DecodeOutput(Report({0x00, 0x21, 0x0C, 15, 0, 15, 0, 1}));
    free.Displace(0, 0, 1.0);
    damped.Displace(0, 0, 1.0);
    Advance(free, 100);
    Advance(damped, 100);
    EXPECT_GT(damped.Axis(0).velocity, 0);
    EXPECT_LT(damped.Axis(0).velocity, 0.6 * free.Axis(0).velocity);
    EXPECT_LT(damped.Axis(0).position, free.Axis(0).position);
}

// A force byte above the centre comes from the right and pushes the wheel
// left: the side the driver's host spring needs for a wheel turned right.
TEST(ClosedLoopTest, ConstantForceMovesTheWheelToItsEndStop) {
    CHardwareEmulator e(EmulatedFamily::kHiResWheel);
    e.DecodeOutput(Report({0x00, 0x11, 0x08, 0xFF, 0x80}));
    Advance(e, 3000);
    EXPECT_DOUBLE_EQ(e.Axis(0).position, -1.0);
    EXPECT_EQ(e.RawAxis(0), 0);
    e.DecodeOutput(Report({0x00, 0x11, 0x08, 0x01, 0x80}));
    Advance(e, 3000);
    EXPECT_DOUBLE_EQ(e.Axis(0).position, 1.0);
    EXPECT_EQ(e.RawAxis(0), CHardwareEmulator::kRawMax);
}

}  // namespace
}  // namespace ffplay
