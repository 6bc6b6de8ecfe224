#include "force_feedback/legacy/devices/wheel_centering.h"

#include <algorithm>
#include <cstdint>

#include "platform/muldiv.h"

namespace {

constexpr LONG kFullScale = 10000;
constexpr BYTE kSwapLow = 5;
constexpr BYTE kSwapHigh = 6;

// Strengths are validated to 15000 at the settings entry; anything larger
// that reaches here is held where the arithmetic cannot wrap.
std::int32_t AsSigned(DWORD strength) { return static_cast<std::int32_t>(std::min<DWORD>(strength, 0x7FFFFFFF)); }

BYTE SwappedCoefficient(BYTE k) {
    if (k == kSwapLow) return kSwapHigh;
    if (k == kSwapHigh) return kSwapLow;
    return k;
}

}  // namespace

LONG CenteringValue(DWORD strength, LONG minimum, LONG deflt, LONG maximum) {
    if (strength == centering::kDefaultStrength) return deflt;
    const std::int32_t st = AsSigned(strength);
    if (strength > centering::kDefaultStrength) {
        const LONG v = static_cast<LONG>(platform::MulDiv(st - kFullScale, maximum - deflt, centering::kUpperSpan)) + deflt;
        return std::max(std::min(v, maximum), deflt);
    }
    // Scales the span without adding the minimum back, so the value jumps
    // from about default - minimum to default at 100 % (intentional, keep).
    LONG v = std::min<LONG>(platform::MulDiv(st, deflt - minimum, kFullScale), deflt);
    if (v < minimum) v = minimum;
    return v;
}

CenteringLevel ComputeCentering(DWORD strength, const CenteringBytes& b) {
    return {CenteringValue(strength, b.coefficientMin, b.coefficientDefault, b.coefficientMax),
            CenteringValue(strength, b.saturationMin, b.saturationDefault, b.saturationMax)};
}

const CenteringProtocol* CenteringProtocolOf(DeviceFamily family) {
    switch (family) {
        case DeviceFamily::HiResWheel: return &kHiResWheelCentering;
        case DeviceFamily::LowResWheel: return &kLowResWheelCentering;
        case DeviceFamily::HiResJoystick: return &kHiResJoystickCentering;
        case DeviceFamily::LowResJoystick: return &kLowResJoystickCentering;
        case DeviceFamily::KarvonaStyleJoystick:
        case DeviceFamily::Rumble: break;
    }
    return nullptr;
}

CenteringPlan PlanCentering(const CenteringProtocol& protocol, DWORD strength, const CenteringBytes& bytes,
                            bool actuatorsOff, bool centeringEnabled) {
    const CenteringLevel level = ComputeCentering(strength, bytes);
    BYTE k = static_cast<BYTE>(level.k);
    // The low-resolution firmware reads coefficients 5 and 6 the other way
    // round (intentional, keep).
    if (protocol.swapFiveSix) k = SwappedCoefficient(k);
    const BYTE s = static_cast<BYTE>(level.s);
    CenteringPlan plan{};
    plan.parameters = MakeCommand({centering::kCmdParameters, protocol.selector, k, k, s, wheel::kReserved, wheel::kReserved});
    // With force feedback off the wheel centres itself; a running game
    // decides through the centering flag.
    if (actuatorsOff || centeringEnabled) {
        plan.switchCommand = MakeCommand({protocol.onCommand});
        plan.appliedValue = static_cast<DWORD>(level.s);
    } else {
        plan.switchCommand = MakeCommand({centering::kCmdOff});
        plan.appliedValue = 0;
    }
    return plan;
}
