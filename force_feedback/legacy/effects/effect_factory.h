// Creation of effect objects by DirectInput effect type index, per device
// family. The devices and the parameter fuzzer create effects only here.
#pragma once

#include <memory>

#include "force_feedback/legacy/effects/effect.h"

// Which spring and damper classes a device family plays.
enum class EffectFamily {
    kHiResWheel,                  // native high-resolution wheel conditions
    kHiResWheelSimulatedDampers,  // as above, dampers simulated (Drovik)
    kLowResWheel,                 // simulated conditions
    kHiResJoystick,
    kLowResJoystick,
    kKarvonaStyleJoystick,
    kRumble,
};

// Effect type indices as the driver passes them.
inline constexpr DWORD kEffectConstant = 0;
inline constexpr DWORD kEffectRamp = 1;
inline constexpr DWORD kEffectSquare = 2;
inline constexpr DWORD kEffectSine = 3;
inline constexpr DWORD kEffectTriangle = 4;
inline constexpr DWORD kEffectSawUp = 5;
inline constexpr DWORD kEffectSawDown = 6;
inline constexpr DWORD kEffectSpring = 7;
inline constexpr DWORD kEffectDamper = 8;
inline constexpr DWORD kEffectInertia = 9;
inline constexpr DWORD kEffectFriction = 10;
inline constexpr DWORD kEffectCustom = 256;

// A new effect object of the family's class for `typeIndex`; null for an
// unknown index (the device answers E_INVALIDARG) or when memory runs out.
std::unique_ptr<CEffect> CreateEffect(EffectFamily family, DWORD typeIndex);
// The DIEFT_ category and capability bits of the class CreateEffect makes
// for `typeIndex` (the class's kFeatures); 0 when the family refuses it.
DWORD EffectFeatures(EffectFamily family, DWORD typeIndex);
