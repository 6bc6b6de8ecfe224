#include "force_feedback/legacy/settings/model_global_data.h"

namespace {

constexpr DWORD kFullScale = 10000;
constexpr DWORD kDefaultThreshold = 6320;
constexpr DWORD kDefaultPercentage = 100;
constexpr CSValues kBaseCS = {0, 4, 7, 0, 100, 150};

constexpr ModelSettings Force(Model m, DWORD knee, CSValues cs, BYTE reportId = 0, BYTE lower = 0, BYTE upper = 255,
                              bool percentageFirst = false) {
    return {m, SettingsPattern::kForce, knee, cs, reportId, lower, upper, percentageFirst};
}

constexpr ModelSettings Rumble(Model m, BYTE reportId = 0) {
    return {m, SettingsPattern::kRumble, kFullScale, kBaseCS, reportId, 0, 255, false};
}

}  // namespace

const std::array<ModelSettings, kModelCount> kModelSettings = {{
    Force(Model::Quintar, 9500, {0, 12, 15, 0, 128, 255}),
    Force(Model::Pelvar, 9500, {0, 12, 15, 0, 128, 255}),
    Force(Model::Dastrin, 9000, {0, 3, 7, 0, 90, 120}),
    Force(Model::Drovik, 9500, {0, 11, 15, 0, 204, 255}),
    Force(Model::Ravik, 9000, {0, 3, 7, 0, 90, 120}, /*reportId=*/0, /*lower=*/8, /*upper=*/246),
    Force(Model::Corrin, 10000, {0, 6, 15, 0, 180, 255}),
    Force(Model::Wendlow, 10000, {0, 6, 15, 0, 180, 255}),
    Force(Model::Prazen, 10000, {0, 6, 15, 0, 180, 255}),
    Force(Model::Ferolla, 9000, {0, 10, 15, 0, 100, 255}),
    Force(Model::Oskra, 9000, {0, 4, 5, 0, 100, 101}, 0, 0, 255, /*percentageFirst=*/true),
    Force(Model::Tavrin, 10000, {0, 11, 15, 0, 217, 255}),
    Force(Model::Karvona, 10000, {0, 6, 15, 0, 180, 255}, /*reportId=*/2),
    Rumble(Model::Zorvel),
    Rumble(Model::Brennick),
    Rumble(Model::Tollund),
    Rumble(Model::Vesk, /*reportId=*/3),
    Rumble(Model::Lumisk, /*reportId=*/3),
}};

void CModelGlobalData::SetDefaults() {
    CGlobalData::SetDefaults();
    if (m_row.percentageFirst) SetPercentage(kDefaultPercentage, 0, 1);
    if (m_row.pattern == SettingsPattern::kRumble) {
        StoreRumbleDefaults();
    } else {
        StoreForceDefaults();
    }
    const CSValues& cs = m_row.cs;
    SetCSValues(cs.minK, cs.defaultK, cs.maxK, cs.minClip, cs.defaultClip, cs.maxClip, 0, 1);
    SetCurveKnee(m_row.curveKnee);
    SetReportId(m_row.reportId);
    SetDeviceByteRange(m_row.byteRangeLower, m_row.byteRangeUpper);
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

// Indexed by Model.
constexpr CGlobalData* (*kCreators[kModelCount])() = {
    New<CQuintarGlobalData>,
    New<CPelvarGlobalData>,
    New<CDastrinGlobalData>,
    New<CDrovikGlobalData>,
    New<CRavikGlobalData>,
    New<CCorrinGlobalData>,
    New<CWendlowGlobalData>,
    New<CPrazenGlobalData>,
    New<CFerollaGlobalData>,
    New<COskraGlobalData>,
    New<CTavrinGlobalData>,
    New<CKarvonaGlobalData>,
    New<CZorvelGlobalData>,
    New<CBrennickGlobalData>,
    New<CTollundGlobalData>,
    New<CVeskGlobalData>,
    New<CLumiskGlobalData>,
};

}  // namespace

std::unique_ptr<CGlobalData> CreateModelGlobalData(Model model) {
    return std::unique_ptr<CGlobalData>(kCreators[static_cast<int>(model)]());
}
