#include "force_feedback/legacy/devices/rumble_settings.h"

#include <array>

namespace {

constexpr std::array<SettingRule, 10> kRumbleSettings = {{
    {0, SettingId::OverallStrength, kStrengthLimit, true, false, kStrengthDefault},
    {1, SettingId::SpringStrength, kStrengthLimit, true, false, kStrengthDefault},
    {2, SettingId::DamperStrength, kStrengthLimit, true, false, kStrengthDefault},
    {4, SettingId::ForceEnabled, kNoLimit, false, false, 0},
    {256, SettingId::AmplitudeBasedForce, kNoLimit, false, false, 0},
    {257, SettingId::AmplitudeBasedForceThreshold, kNoLimit, false, false, rumble::kAmplitudeThresholdDefault},
    {258, SettingId::DeltaSpringXAdjust, kNoLimit, false, true, 0},
    {259, SettingId::DeltaSpringYAdjust, kNoLimit, false, true, 0},
    {260, SettingId::DeltaSpringAdjustDown, kNoLimit, false, false, 0},
    {261, SettingId::FlipDeltaSpringToY, kNoLimit, false, false, 0},
}};

}  // namespace

const SettingRule* FindRumbleSetting(DWORD index) { return FindSetting(kRumbleSettings, index); }
