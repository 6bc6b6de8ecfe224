// What each effect class claims in kFeatures against what it does: the
// devices' OEM records tell DirectInput these bits, so a claimed capability
// must change what reaches the device, and an unclaimed one must not. Each
// class is made through the factory, as the devices make it, and watched
// through a fake simulation thread: its force, the condition commands it
// queues, or the Karvona axis blocks it writes.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/effects/effect_test_support.h"

namespace {

constexpr EffectFamily kFamilies[] = {
    EffectFamily::kHiResWheel,     EffectFamily::kHiResWheelSimulatedDampers,
    EffectFamily::kLowResWheel,    EffectFamily::kHiResJoystick,
    EffectFamily::kLowResJoystick, EffectFamily::kKarvonaStyleJoystick,
    EffectFamily::kRumble,
};
constexpr DWORD kConditionTypes[] = {kEffectSpring, kEffectDamper, kEffectInertia, kEffectFriction};
constexpr DWORD kForceTypes[] = {kEffectConstant, kEffectRamp, kEffectSquare, kEffectSine,
                                 kEffectTriangle, kEffectSawUp, kEffectSawDown, kEffectCustom};

// Where the stick is and how it moves while an output is watched.
struct Probe {
    LONG position;  // raw, calibration 0..255 around 128
    LONG velocity;  // 16.16
};
constexpr Probe kPushedPositive{255, 2 * 65536};
constexpr Probe kPushedNegative{0, -2 * 65536};

using Output = std::vector<LONG>;

// Everything the effect made reach the device side after two ticks.
Output Observe(EffectFamily family, DWORD type, EffectBlock& block, Probe probe, DWORD ticks = 2, DWORD tickMs = 10) {
    FakeEffectHost host;
    host.position[0] = host.position[1] = probe.position;
    host.velocity[0] = host.velocity[1] = probe.velocity;
    std::unique_ptr<CEffect> effect = CreateEffect(family, type);
    if (!effect) return {-1};
    effect->SetSimThread(&host);
    effect->SetHardwareSlot(0);
    effect->SetParameters(kAllParams | DIEP_ENVELOPE | DIEP_START, block.Get());
    Output out;
    for (DWORD i = 0; i < ticks; ++i) {
        const Force f = Tick(*effect, tickMs);
        if (effect->IsSimulated()) out.insert(out.end(), {f.x, f.y});
    }
    for (const auto& command : host.queued) out.insert(out.end(), command.begin(), command.end());
    for (const auto& axis : host.karvona) {
        if (axis) out.insert(out.end(), {axis->mode, axis->coefficient, axis->saturation, axis->deadBand});
    }
    return out;
}

// A one-block condition along X.
EffectBlock ConditionBlock(const DICONDITION& c) {
    EffectBlock block;
    block.Polar(9000).Conditions({c});
    return block;
}

constexpr DICONDITION kBase{0, 2000, 2000, 3000, 3000, 1000};

bool ChangesAt(EffectFamily family, DWORD type, DICONDITION a, DICONDITION b, Probe probe) {
    EffectBlock first = ConditionBlock(a);
    EffectBlock second = ConditionBlock(b);
    return Observe(family, type, first, probe) != Observe(family, type, second, probe);
}

bool ChangesAnywhere(EffectFamily family, DWORD type, DICONDITION a, DICONDITION b) {
    return ChangesAt(family, type, a, b, kPushedPositive) || ChangesAt(family, type, a, b, kPushedNegative);
}

std::string Name(EffectFamily family, DWORD type) {
    return "family " + std::to_string(static_cast<int>(family)) + ", type " + std::to_string(type);
}

TEST(EffectFeatures, ConditionBitsMatchWhatTheClassDoesWithTheBlock) {
    for (EffectFamily family : kFamilies) {
        for (DWORD type : kConditionTypes) {
            SCOPED_TRACE(Name(family, type));
            const DWORD features = EffectFeatures(family, type);
            ASSERT_EQ(features & 0xFF, static_cast<DWORD>(DIEFT_CONDITION));

            // A limit that binds on both sides: the coefficient is well above it.
            DICONDITION strong = kBase;
            strong.lPositiveCoefficient = strong.lNegativeCoefficient = 10000;
            DICONDITION looser = strong;
            looser.dwPositiveSaturation = looser.dwNegativeSaturation = 6000;
            EXPECT_EQ(ChangesAnywhere(family, type, strong, looser), (features & DIEFT_SATURATION) != 0) << "saturation";

            // A slope that stays below the limit, so the band's width shows.
            DICONDITION gentle = kBase;
            gentle.dwPositiveSaturation = gentle.dwNegativeSaturation = 10000;
            DICONDITION wider = gentle;
            wider.lDeadBand = 5000;
            EXPECT_EQ(ChangesAnywhere(family, type, gentle, wider), (features & DIEFT_DEADBAND) != 0) << "dead band";

            // Separate values: the negative one alone changes something, and
            // the two are not interchangeable.
            DICONDITION coefficients = gentle;
            coefficients.lNegativeCoefficient = 6000;
            DICONDITION swapped = gentle;
            swapped.lPositiveCoefficient = 6000;
            const bool separateCoefficients = ChangesAnywhere(family, type, gentle, coefficients) &&
                                              ChangesAnywhere(family, type, coefficients, swapped);
            EXPECT_EQ(separateCoefficients, (features & DIEFT_POSNEGCOEFFICIENTS) != 0) << "coefficients";

            DICONDITION saturations = strong;
            saturations.dwNegativeSaturation = 6000;
            DICONDITION swappedSaturations = strong;
            swappedSaturations.dwPositiveSaturation = 6000;
            const bool separateSaturations = ChangesAnywhere(family, type, strong, saturations) &&
                                             ChangesAnywhere(family, type, saturations, swappedSaturations);
            EXPECT_EQ(separateSaturations, (features & DIEFT_POSNEGSATURATION) != 0) << "saturations";
        }
    }
}

TEST(EffectFeatures, EnvelopeBitsMatchWhetherTheForceFollowsTheEnvelope) {
    for (DWORD type : kForceTypes) {
        SCOPED_TRACE(Name(EffectFamily::kHiResWheel, type));
        const DWORD features = EffectFeatures(EffectFamily::kHiResWheel, type);
        EffectBlock plain;
        plain.Polar(9000).DurationMs(2000);
        if (type == kEffectConstant) plain.Params(DICONSTANTFORCE{8000});
        else if (type == kEffectRamp) plain.Params(DIRAMPFORCE{8000, 8000});
        else if (type == kEffectCustom) plain.Params(DICUSTOMFORCE{1, 10000, 0, nullptr});
        else plain.Params(DIPERIODIC{8000, 0, 9000, 1000000});
        // A 1 s attack from nothing watched over its first 20 ms; a 1 s fade
        // to nothing watched over the first 1.5 s of a 2 s run, its attack
        // over within the first tick.
        EffectBlock attacked = plain;
        attacked.Envelope(0, 1000000, 8000, 1000);
        EffectBlock faded = plain;
        faded.Envelope(8000, 1000, 0, 1000000);
        const bool attack = Observe(EffectFamily::kHiResWheel, type, plain, kPushedPositive) !=
                            Observe(EffectFamily::kHiResWheel, type, attacked, kPushedPositive);
        const bool fade = Observe(EffectFamily::kHiResWheel, type, plain, kPushedPositive, 150, 10) !=
                          Observe(EffectFamily::kHiResWheel, type, faded, kPushedPositive, 150, 10);
        EXPECT_EQ(attack, (features & DIEFT_FFATTACK) != 0) << "attack";
        EXPECT_EQ(fade, (features & DIEFT_FFFADE) != 0) << "fade";
    }
}

TEST(EffectFeatures, EveryClassThatPlaysSomethingWaitsOutItsStartDelay) {
    for (EffectFamily family : kFamilies) {
        for (DWORD type : {kEffectConstant, kEffectSine, kEffectSpring, kEffectDamper}) {
            SCOPED_TRACE(Name(family, type));
            EffectBlock now = type >= kEffectSpring ? ConditionBlock(kBase) : EffectBlock{};
            if (type == kEffectConstant) now.Polar(9000).Params(DICONSTANTFORCE{8000});
            if (type == kEffectSine) now.Polar(9000).Params(DIPERIODIC{8000, 0, 9000, 1000000});
            EffectBlock later = now;
            later.StartDelayMs(100);
            const Output playing = Observe(family, type, now, kPushedPositive);
            const Output waiting = Observe(family, type, later, kPushedPositive);
            ASSERT_TRUE(EffectFeatures(family, type) & DIEFT_STARTDELAY);
            EXPECT_NE(playing, waiting);
            for (LONG value : waiting) EXPECT_EQ(value, 0) << "something reached the device during the delay";
        }
    }
}

}  // namespace
