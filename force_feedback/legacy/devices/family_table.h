// What the device layer reads from a model's row: the effect classes its
// family creates. The rows themselves are in model_table.h.
#pragma once

#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/model_table.h"

// The effect classes a device of this row creates, with the row's own product
// plugged in (a wheel follows the product it finds, see CVWheelDevice).
constexpr EffectFamily EffectFamilyOf(const ModelRow& row) {
    switch (row.family) {
        case DeviceFamily::HiResWheel:
            return row.simulatedDampers ? EffectFamily::kHiResWheelSimulatedDampers : EffectFamily::kHiResWheel;
        case DeviceFamily::LowResWheel: return EffectFamily::kLowResWheel;
        case DeviceFamily::HiResJoystick: return EffectFamily::kHiResJoystick;
        case DeviceFamily::LowResJoystick: return EffectFamily::kLowResJoystick;
        case DeviceFamily::KarvonaStyleJoystick: return EffectFamily::kKarvonaStyleJoystick;
        case DeviceFamily::Rumble: return EffectFamily::kRumble;
    }
    return EffectFamily::kRumble;
}
