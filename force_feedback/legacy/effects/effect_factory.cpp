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

// A class as the factory knows it: how to make one and what it implements.
struct EffectClass {
    Maker make = nullptr;
    DWORD features = 0;
};

template <typename T>
constexpr EffectClass Class() {
    return {Make<T>, T::kFeatures};
}

// One row per family: its spring class and its damper class.
struct FamilyConditions {
    EffectFamily family;
    EffectClass spring;
    EffectClass damper;
};

constexpr FamilyConditions kFamilies[] = {
    {EffectFamily::kHiResWheel, Class<CHiResWheelSpringEffect>(), Class<CHiResWheelDamperEffect>()},
    {EffectFamily::kHiResWheelSimulatedDampers, Class<CHiResWheelSpringEffect>(), Class<CSimulatedDamperEffect>()},
    {EffectFamily::kLowResWheel, Class<CSimulatedSpringEffect>(), Class<CSimulatedDamperEffect>()},
    {EffectFamily::kHiResJoystick, Class<CHiResJoystickSpringEffect>(), Class<CHiResJoystickDamperEffect>()},
    {EffectFamily::kLowResJoystick, Class<CLowResJoystickSpringEffect>(), Class<CLowResJoystickDamperEffect>()},
    {EffectFamily::kKarvonaStyleJoystick, Class<CKarvonaStyleSpringEffect>(), Class<CKarvonaStyleDamperEffect>()},
    {EffectFamily::kRumble, Class<CRumbleSpringEffect>(), Class<CRumbleDamperEffect>()},
};

EffectClass ForceClass(DWORD typeIndex) {
    switch (typeIndex) {
        case kEffectConstant: return Class<CConstantEffect>();
        case kEffectRamp: return Class<CRampEffect>();
        case kEffectSquare: return Class<CSquareEffect>();
        case kEffectSine: return Class<CSineEffect>();
        case kEffectTriangle: return Class<CTriangleEffect>();
        case kEffectSawUp: return Class<CSawUpEffect>();
        case kEffectSawDown: return Class<CSawDownEffect>();
        case kEffectCustom: return Class<CCustomEffect>();
        default: return {};
    }
}

EffectClass ClassFor(EffectFamily family, DWORD typeIndex) {
    EffectClass found = ForceClass(typeIndex);
    if (!found.make && typeIndex >= kEffectSpring && typeIndex <= kEffectFriction) {
        for (const FamilyConditions& row : kFamilies) {
            if (row.family == family) found = typeIndex == kEffectSpring ? row.spring : row.damper;
        }
    }
    return found;
}

}  // namespace

std::unique_ptr<CEffect> CreateEffect(EffectFamily family, DWORD typeIndex) {
    const EffectClass found = ClassFor(family, typeIndex);
    return std::unique_ptr<CEffect>(found.make ? found.make() : nullptr);
}

DWORD EffectFeatures(EffectFamily family, DWORD typeIndex) { return ClassFor(family, typeIndex).features; }
