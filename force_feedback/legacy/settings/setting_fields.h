// The one description of every flagged setting of the shared record: where
// it lies, its flags byte, what it reads as without a block, its registry
// value and range, and the index under which each device family's settings
// operations expose it. CGlobalData's accessors, its registry load and save,
// and the families' SetSetting/GetSetting all walk this table; a new setting
// is a record field, a row here and its default.
//
// Not here: the values without flags (stamp, curve, knee, gains, CS bytes,
// report ID, byte range), which CGlobalData keeps as plain fields.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "com_abi.h"
#include "force_feedback/legacy/settings/global_data.h"

// In registry order: the rows that carry a registry name are loaded and
// saved in the order of this enum.
enum class SettingId : std::uint8_t {
    AmplitudeBasedForce,
    AmplitudeBasedForceThreshold,
    DamperStrength,
    PersistentCenteringSpring,
    CenteringSpring,
    DeltaSpringAdjustDown,
    DeltaSpringXAdjust,
    DeltaSpringYAdjust,
    FlipDeltaSpringToY,
    ForceEnabled,
    OverallStrength,
    SpringStrength,
    // Flagged but never in the registry.
    EffectiveSpringGain,
    EffectiveDamperGain,
    Percentage,
};
inline constexpr std::size_t kSettingCount = 15;

// The device families whose settings operations differ: wheels share theirs
// with both joystick families; rumble pads have their own indices.
enum class SettingsFamily : std::uint8_t { kWheel, kRumble };
inline constexpr std::size_t kSettingsFamilyCount = 2;

inline constexpr DWORD kStrengthLimit = 15000;
inline constexpr DWORD kStrengthDefault = 10000;
inline constexpr DWORD kNoLimit = 0xFFFFFFFF;
inline constexpr DWORD kNoIndex = 0xFFFFFFFF;  // the family does not expose it

struct SettingField {
    SettingId id;
    // Exactly one of the two is set: the value is a 32-bit word or a byte.
    DWORD GlobalDataRecord::*word;
    BYTE GlobalDataRecord::*byte;
    BYTE GlobalDataRecord::*flags;
    DWORD fallback;              // the getter's answer without a block
    const wchar_t* registryName; // null: never loaded or saved
    DWORD registryMax;           // a loaded value above it is refused (minimum 0)
    bool rescalesGain;           // storing it recomputes the combined gain
    // The families' settings operations.
    std::array<DWORD, kSettingsFamilyCount> index;  // kNoIndex where not exposed
    DWORD setLimit;                // a larger value gives E_INVALIDARG
    bool recomputesDerived;        // run the derived-value update after a set
    DWORD defaultWithoutSettings;  // GetSetting's answer on a device without settings
};

// Indexed by SettingId.
extern const std::array<SettingField, kSettingCount> kSettingFields;

inline const SettingField& FieldOf(SettingId id) { return kSettingFields[static_cast<std::size_t>(id)]; }

// The row `family` exposes at `index`, or null (E_INVALIDARG for the index).
const SettingField* FindFamilySetting(SettingsFamily family, DWORD index);

// S_OK when `value` may be set under `field`, E_INVALIDARG otherwise (also
// for a null field).
HRESULT CheckSettingValue(const SettingField* field, DWORD value);

// Record exchanged with the legacy settings interface and the families'
// SetSetting/GetSetting.
struct SVJOYFORCEPARAM {
    DWORD dwIndex;
    DWORD dwSave;
    DWORD dwValue;
};

// The settings operations of every force device family. Calling threads:
// application threads (DirectInput's device calls and the legacy settings
// interface). No lock: the shared block is written without one and readers
// notice the change through its stamp.
//
// Checks the index and value against the family's column, stores the value
// (not marked for saving, marked for reloading), recomputes the derived
// gains where the row asks, saves the record when the save flag is set, and
// stamps the change with the time taken at entry. E_POINTER for a null
// record, E_INVALIDARG for an unknown index or a value above its limit
// (nothing stored); S_OK otherwise, also with null `settings` (nothing
// stored then).
HRESULT SetDeviceSetting(SettingsFamily family, CGlobalData* settings, const SVJOYFORCEPARAM* param);

// The current value, or the row's default with null `settings`.
// E_POINTER for a null record, E_INVALIDARG for an unknown index.
HRESULT GetDeviceSetting(SettingsFamily family, const CGlobalData* settings, SVJOYFORCEPARAM* param);
