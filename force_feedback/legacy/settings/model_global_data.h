// The per-model settings classes: CGlobalData with each model's defaults.
//
// Every model is one row of kModelSettings; its class only passes its row.
// Owner, threads and lock as for CGlobalData.
#pragma once

#include <array>
#include <memory>

#include "force_feedback/legacy/product_config.h"
#include "force_feedback/legacy/settings/global_data.h"

// Which set of model values SetDefaults stores on top of the base defaults.
enum class SettingsPattern : std::uint8_t {
    kRumble,  // pads: strengths and the rumble switches saved too
    kForce,   // wheels and joysticks: strengths, centring, knee and CS range
};

struct ModelSettings {
    Model model;
    SettingsPattern pattern;
    DWORD curveKnee;
    CSValues cs;
    BYTE reportId;
    BYTE byteRangeLower;
    BYTE byteRangeUpper;
    bool percentageFirst;  // stores the percentage setting before the rest
};

// Indexed by Model, in its order.
extern const std::array<ModelSettings, kModelCount> kModelSettings;

class CModelGlobalData : public CGlobalData {
public:
    explicit CModelGlobalData(const ModelSettings& row) : m_row(row) {}
    void SetDefaults() override;
    Model GetModel() const { return m_row.model; }

private:
    void StoreRumbleDefaults();
    void StoreForceDefaults();

    const ModelSettings& m_row;
};

#define FFDRV_MODEL_GLOBAL_DATA(Codename)                                                           \
    class C##Codename##GlobalData : public CModelGlobalData {                                      \
    public:                                                                                        \
        C##Codename##GlobalData() : CModelGlobalData(kModelSettings[static_cast<int>(Model::Codename)]) {} \
    }

FFDRV_MODEL_GLOBAL_DATA(Quintar);
FFDRV_MODEL_GLOBAL_DATA(Pelvar);
FFDRV_MODEL_GLOBAL_DATA(Dastrin);
FFDRV_MODEL_GLOBAL_DATA(Drovik);
FFDRV_MODEL_GLOBAL_DATA(Ravik);
FFDRV_MODEL_GLOBAL_DATA(Corrin);
FFDRV_MODEL_GLOBAL_DATA(Wendlow);
FFDRV_MODEL_GLOBAL_DATA(Prazen);
FFDRV_MODEL_GLOBAL_DATA(Ferolla);
FFDRV_MODEL_GLOBAL_DATA(Oskra);
FFDRV_MODEL_GLOBAL_DATA(Tavrin);
FFDRV_MODEL_GLOBAL_DATA(Karvona);
FFDRV_MODEL_GLOBAL_DATA(Zorvel);
FFDRV_MODEL_GLOBAL_DATA(Brennick);
FFDRV_MODEL_GLOBAL_DATA(Tollund);
FFDRV_MODEL_GLOBAL_DATA(Vesk);
FFDRV_MODEL_GLOBAL_DATA(Lumisk);

#undef FFDRV_MODEL_GLOBAL_DATA

// The device ID word a model's settings bind to: vendor ID << 16 | product ID.
constexpr DWORD ModelDeviceId(Model model) {
    return (static_cast<DWORD>(kVendorId) << 16) | Product(model).productId;
}

// A new, not yet initialised settings object of the model's class.
std::unique_ptr<CGlobalData> CreateModelGlobalData(Model model);
