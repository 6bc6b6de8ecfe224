#include "force_feedback/legacy/settings/setting_fields.h"

#include "platform/sim_clock.h"

namespace {

using R = GlobalDataRecord;

constexpr DWORD kFullScale = 10000;
constexpr DWORD kDefaultThreshold = 6320;
constexpr DWORD kDefaultPercentage = 100;
constexpr std::array<DWORD, kSettingsFamilyCount> kNowhere = {kNoIndex, kNoIndex};

// Index 5 is deliberately nobody's; the wheel column is also the joysticks'.
constexpr std::array<DWORD, kSettingsFamilyCount> At(DWORD wheel, DWORD rumble) { return {wheel, rumble}; }

constexpr SettingField Word(SettingId id, DWORD R::*word, BYTE R::*flags, DWORD fallback, const wchar_t* name,
                            DWORD registryMax, std::array<DWORD, kSettingsFamilyCount> index = kNowhere,
                            DWORD setLimit = kNoLimit, DWORD withoutSettings = 0) {
    return {id, word, nullptr, flags, fallback, name, registryMax, false, index, setLimit, false, withoutSettings};
}

constexpr SettingField Byte(SettingId id, BYTE R::*byte, BYTE R::*flags, const wchar_t* name,
                            std::array<DWORD, kSettingsFamilyCount> index) {
    return {id, nullptr, byte, flags, 0, name, 0xFF, false, index, kNoLimit, false, 0};
}

// A strength on the 0..15000 scale that the settings operations may set.
// Only the overall strength feeds the combined gain.
constexpr SettingField Strength(SettingId id, DWORD R::*word, BYTE R::*flags, const wchar_t* name,
                                std::array<DWORD, kSettingsFamilyCount> index, bool derived) {
    const bool rescalesGain = id == SettingId::OverallStrength;
    return {id, word, nullptr, flags, kFullScale, name, kStrengthLimit, rescalesGain, index, kStrengthLimit, derived,
            kStrengthDefault};
}

}  // namespace

constexpr std::array<SettingField, kSettingCount> kSettingFields = {{
    Word(SettingId::AmplitudeBasedForce, &R::amplitudeBasedForce, &R::amplitudeBasedForceFlags, 0,
         L"AmplitudeBasedForce", 1, At(kNoIndex, 256)),
    Word(SettingId::AmplitudeBasedForceThreshold, &R::amplitudeBasedForceThreshold,
         &R::amplitudeBasedForceThresholdFlags, kDefaultThreshold, L"AmplitudeBasedForceThreshold", kFullScale,
         At(kNoIndex, 257), kNoLimit, kDefaultThreshold),
    Strength(SettingId::DamperStrength, &R::damperStrength, &R::damperStrengthFlags, L"DamperStrength", At(2, 2),
             /*derived=*/true),
    Word(SettingId::PersistentCenteringSpring, &R::persistentCenteringSpring, &R::persistentCenteringSpringFlags, 1,
         L"PersistentCenteringSpring", 1, At(6, kNoIndex), kNoLimit, 1),
    Strength(SettingId::CenteringSpring, &R::centeringSpring, &R::centeringSpringFlags, L"CenteringSpring",
             At(3, kNoIndex), /*derived=*/false),
    Word(SettingId::DeltaSpringAdjustDown, &R::deltaSpringAdjustDown, &R::deltaSpringAdjustDownFlags, 0,
         L"DeltaSpringAdjustDown", 1, At(kNoIndex, 260)),
    Byte(SettingId::DeltaSpringXAdjust, &R::deltaSpringXAdjust, &R::deltaSpringXAdjustFlags, L"DeltaSpringXAdjust",
         At(kNoIndex, 258)),
    Byte(SettingId::DeltaSpringYAdjust, &R::deltaSpringYAdjust, &R::deltaSpringYAdjustFlags, L"DeltaSpringYAdjust",
         At(kNoIndex, 259)),
    Word(SettingId::FlipDeltaSpringToY, &R::flipDeltaSpringToY, &R::flipDeltaSpringToYFlags, 0,
         L"FlipDeltaSpringToY", 1, At(kNoIndex, 261)),
    // Without settings the operations answer 0 although the getter says 1:
    // intentional, keep.
    Word(SettingId::ForceEnabled, &R::forceEnabled, &R::forceEnabledFlags, 1, L"ForceEnabled", 1, At(4, 4)),
    Strength(SettingId::OverallStrength, &R::overallStrength, &R::overallStrengthFlags, L"OverallStrength", At(0, 0),
             /*derived=*/true),
    Strength(SettingId::SpringStrength, &R::springStrength, &R::springStrengthFlags, L"SpringStrength", At(1, 1),
             /*derived=*/true),
    Word(SettingId::EffectiveSpringGain, &R::effectiveSpringGain, &R::effectiveSpringGainFlags, kFullScale, nullptr, 0),
    Word(SettingId::EffectiveDamperGain, &R::effectiveDamperGain, &R::effectiveDamperGainFlags, kFullScale, nullptr, 0),
    Word(SettingId::Percentage, &R::percentage, &R::percentageFlags, kDefaultPercentage, nullptr, 0),
}};

namespace {

constexpr bool RowsFollowTheIds() {
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        if (static_cast<std::size_t>(kSettingFields[i].id) != i) return false;
    }
    return true;
}

constexpr bool EachRowHasOneValue() {
    for (const SettingField& f : kSettingFields) {
        if ((f.word == nullptr) == (f.byte == nullptr) || f.flags == nullptr) return false;
    }
    return true;
}

}  // namespace

// FieldOf indexes the table by id; the accessors need exactly one value.
static_assert(RowsFollowTheIds());
static_assert(EachRowHasOneValue());

const SettingField* FindFamilySetting(SettingsFamily family, DWORD index) {
    if (index == kNoIndex) return nullptr;
    const auto column = static_cast<std::size_t>(family);
    for (const SettingField& field : kSettingFields) {
        if (field.index[column] == index) return &field;
    }
    return nullptr;
}

HRESULT CheckSettingValue(const SettingField* field, DWORD value) {
    if (field == nullptr || value > field->setLimit) return E_INVALIDARG;
    return S_OK;
}

namespace {

// A changed value is not marked for saving: whether it persists is the
// caller's save flag, which saves the whole record. It is always reloaded.
constexpr BYTE kStoreSave = 0;
constexpr BYTE kStoreLoad = 1;

}  // namespace

HRESULT SetDeviceSetting(SettingsFamily family, CGlobalData* settings, const SVJOYFORCEPARAM* param) {
    // The stamp is the time of the call, read with the timer resolution
    // raised for the whole operation.
    platform::SimTimerGuard guard;
    guard.Activate();
    const DWORD enteredAt = platform::SimTimeMs();
    if (param == nullptr) return E_POINTER;
    const SettingField* field = FindFamilySetting(family, param->dwIndex);
    if (FAILED(CheckSettingValue(field, param->dwValue))) return E_INVALIDARG;
    if (settings == nullptr) return S_OK;
    settings->Store(field->id, param->dwValue, kStoreSave, kStoreLoad);
    if (field->recomputesDerived) settings->UpdateDerivedValues();
    if (param->dwSave != 0) settings->SaveToRegistry();
    // Every device sharing the block, this one included, sees the change.
    settings->SetChangeStamp(enteredAt);
    return S_OK;
}

HRESULT GetDeviceSetting(SettingsFamily family, const CGlobalData* settings, SVJOYFORCEPARAM* param) {
    if (param == nullptr) return E_POINTER;
    const SettingField* field = FindFamilySetting(family, param->dwIndex);
    if (field == nullptr) return E_INVALIDARG;
    param->dwValue = settings != nullptr ? settings->Read(field->id) : field->defaultWithoutSettings;
    return S_OK;
}
