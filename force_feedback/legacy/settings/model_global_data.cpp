#include "force_feedback/legacy/settings/model_global_data.h"

#include <array>
#include <utility>

namespace {

constexpr DWORD kFullScale = 10000;
constexpr DWORD kDefaultThreshold = 6320;
constexpr DWORD kDefaultPercentage = 100;

}  // namespace

void CModelGlobalData::SetDefaults() {
    CGlobalData::SetDefaults();
    const ModelDefaults& defaults = m_row.defaults;
    if (defaults.percentageFirst) SetPercentage(kDefaultPercentage, 0, 1);
    if (defaults.pattern == SettingsPattern::kRumble) {
        StoreRumbleDefaults();
    } else {
        StoreForceDefaults();
    }
    const CenteringRange& cs = defaults.cs;
    SetCSValues(cs.minK, cs.defaultK, cs.maxK, cs.minClip, cs.defaultClip, cs.maxClip, 0, 1);
    SetCurveKnee(defaults.curveKnee);
    SetReportId(defaults.reportId);
    SetDeviceByteRange(defaults.byteRangeLower, defaults.byteRangeUpper);
    UpdateDerivedValues();
}

// Pads save their strengths and rumble switches, not the centring spring.
void CModelGlobalData::StoreRumbleDefaults() {
    SetDamperStrength(kFullScale, 1, 1);
    SetForceEnabled(1, 1, 1);
    SetOverallStrength(kFullScale, 1, 1);
    SetEffectiveDamperGain(kFullScale, 1, 1);
    SetEffectiveSpringGain(kFullScale, 1, 1);
    SetSpringStrength(kFullScale, 1, 1);
    SetAmplitudeBasedForce(0, 1, 1);
    SetAmplitudeBasedForceThreshold(kDefaultThreshold, 1, 1);
    SetDeltaSpringAdjustDown(0, 1, 1);
    SetDeltaSpringXAdjust(0, 1, 1);
    SetDeltaSpringYAdjust(0, 1, 1);
    SetFlipDeltaSpringToY(0, 1, 1);
}

void CModelGlobalData::StoreForceDefaults() {
    SetDamperStrength(kFullScale, 1, 1);
    SetPersistentCenteringSpring(0, 1, 1);
    SetCenteringSpring(kFullScale, 1, 1);
    SetForceEnabled(1, 1, 1);
    SetOverallStrength(kFullScale, 1, 1);
    SetEffectiveDamperGain(kFullScale, 1, 1);
    SetEffectiveSpringGain(kFullScale, 1, 1);
    SetSpringStrength(kFullScale, 1, 1);
}

namespace {

template <class T>
CGlobalData* New() {
    return new T;
}

template <std::size_t... I>
constexpr std::array<CGlobalData* (*)(), kModelCount> Creators(std::index_sequence<I...>) {
    return {New<CModelGlobalDataOf<static_cast<Model>(I)>>...};
}

constexpr auto kCreators = Creators(std::make_index_sequence<kModelCount>{});

}  // namespace

std::unique_ptr<CGlobalData> CreateModelGlobalData(Model model) {
    return std::unique_ptr<CGlobalData>(kCreators[static_cast<std::size_t>(model)]());
}
