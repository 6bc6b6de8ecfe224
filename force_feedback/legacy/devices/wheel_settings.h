// The settings indices that the legacy settings interface and the families'
// SetSetting/GetSetting accept, as tables: which setting each index names,
// its upper limit, and what GetSetting answers on a device without
// settings. Wheels and both wheel-like joystick families share one table;
// rumble pads have their own (rumble_settings.h). Karvona-style joysticks
// use the wheel table.
#pragma once

#include <cstdint>
#include <span>

#include "com_abi.h"

enum class SettingId : std::uint8_t {
    OverallStrength,
    SpringStrength,
    DamperStrength,
    CenteringSpring,
    ForceEnabled,
    PersistentCenteringSpring,
    AmplitudeBasedForce,
    AmplitudeBasedForceThreshold,
    DeltaSpringXAdjust,
    DeltaSpringYAdjust,
    DeltaSpringAdjustDown,
    FlipDeltaSpringToY,
};

inline constexpr DWORD kStrengthLimit = 15000;
inline constexpr DWORD kStrengthDefault = 10000;
inline constexpr DWORD kNoLimit = 0xFFFFFFFF;

struct SettingRule {
    DWORD index;
    SettingId id;
    DWORD maxValue;                // larger values give E_INVALIDARG
    bool recomputesDerived;        // run the settings' derived-value update after storing
    bool lowByte;                  // stored and read as its low byte
    DWORD defaultWithoutSettings;  // GetSetting's answer on a device without settings
};

// The rule for `index`, or null: E_INVALIDARG for the index.
const SettingRule* FindSetting(std::span<const SettingRule> table, DWORD index);
const SettingRule* FindWheelSetting(DWORD index);

// S_OK when `value` may be stored under `rule`, E_INVALIDARG otherwise
// (also for a null rule).
HRESULT CheckSettingValue(const SettingRule* rule, DWORD value);
