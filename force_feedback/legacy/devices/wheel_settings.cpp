#include "force_feedback/legacy/devices/wheel_settings.h"

#include <array>

namespace {

// Index 5 is not a setting of these families; nothing above 6 is.
constexpr std::array<SettingRule, 6> kWheelSettings = {{
    {0, SettingId::OverallStrength, kStrengthLimit, true, false, kStrengthDefault},
    {1, SettingId::SpringStrength, kStrengthLimit, true, false, kStrengthDefault},
    {2, SettingId::DamperStrength, kStrengthLimit, true, false, kStrengthDefault},
    {3, SettingId::CenteringSpring, kStrengthLimit, false, false, kStrengthDefault},
    {4, SettingId::ForceEnabled, kNoLimit, false, false, 0},
    {6, SettingId::PersistentCenteringSpring, kNoLimit, false, false, 1},
}};

}  // namespace

const SettingRule* FindSetting(std::span<const SettingRule> table, DWORD index) {
    for (const SettingRule& rule : table) {
        if (rule.index == index) return &rule;
    }
    return nullptr;
}

const SettingRule* FindWheelSetting(DWORD index) { return FindSetting(kWheelSettings, index); }

HRESULT CheckSettingValue(const SettingRule* rule, DWORD value) {
    if (rule == nullptr || value > rule->maxValue) return E_INVALIDARG;
    return S_OK;
}
