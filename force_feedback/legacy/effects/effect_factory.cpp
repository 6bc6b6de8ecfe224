#include "force_feedback/legacy/effects/effect_factory.h"

#include <new>

#include "force_feedback/legacy/effects/condition_effects.h"
#include "force_feedback/legacy/effects/force_effects.h"
#include "force_feedback/legacy/effects/native_conditions.h"

namespace {

using Maker = CEffect* (*)();

template <typename T>
CEffect* Make() {
    return new (std::nothrow) T();
}

// One row per family: its spring class and its damper class.
struct FamilyConditions {
    EffectFamily family;
    Maker spring;
    Maker damper;
};

constexpr FamilyConditions kFamilies[] = {
    {EffectFamily::kHiResWheel, Make<CHiResWheelSpringEffect>, Make<CHiResWheelDamperEffect>},
    {EffectFamily::kHiResWheelSimulatedDampers, Make<CHiResWheelSpringEffect>, Make<CSimulatedDamperEffect>},
    {EffectFamily::kLowResWheel, Make<CSimulatedSpringEffect>, Make<CSimulatedDamperEffect>},
    {EffectFamily::kHiResJoystick, Make<CHiResJoystickSpringEffect>, Make<CHiResJoystickDamperEffect>},
    {EffectFamily::kLowResJoystick, Make<CLowResJoystickSpringEffect>, Make<CLowResJoystickDamperEffect>},
    {EffectFamily::kKarvonaStyleJoystick, Make<CKarvonaStyleSpringEffect>, Make<CKarvonaStyleDamperEffect>},
    {EffectFamily::kRumble, Make<CRumbleSpringEffect>, Make<CRumbleDamperEffect>},
};

Maker ForceMaker(DWORD typeIndex) {
    switch (typeIndex) {
        case kEffectConstant: return Make<CConstantEffect>;
        case kEffectRamp: return Make<CRampEffect>;
        case kEffectSquare: return Make<CSquareEffect>;
        case kEffectSine: return Make<CSineEffect>;
        case kEffectTriangle: return Make<CTriangleEffect>;
        case kEffectSawUp: return Make<CSawUpEffect>;
        case kEffectSawDown: return Make<CSawDownEffect>;
        case kEffectCustom: return Make<CCustomEffect>;
        default: return nullptr;
    }
}

}  // namespace

StrengthGroup StrengthGroupOf(DWORD typeIndex) {
    if (typeIndex == kEffectSpring) return StrengthGroup::kSprings;
    if (typeIndex >= kEffectDamper && typeIndex <= kEffectFriction) return StrengthGroup::kDampers;
    return ForceMaker(typeIndex) ? StrengthGroup::kForces : StrengthGroup::kNone;
}

std::unique_ptr<CEffect> CreateEffect(EffectFamily family, DWORD typeIndex) {
    Maker maker = ForceMaker(typeIndex);
    if (!maker && typeIndex >= kEffectSpring && typeIndex <= kEffectFriction) {
        for (const FamilyConditions& row : kFamilies) {
            if (row.family == family) maker = typeIndex == kEffectSpring ? row.spring : row.damper;
        }
    }
    return std::unique_ptr<CEffect>(maker ? maker() : nullptr);
}
