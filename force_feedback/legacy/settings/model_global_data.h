// The per-model settings classes: CGlobalData with each model's defaults.
//
// Every model's defaults are its row of the model table; its class only
// passes its row.
// Owner, threads and lock as for CGlobalData.
#pragma once

#include <memory>

#include "force_feedback/legacy/model_table.h"
#include "force_feedback/legacy/settings/global_data.h"

// The settings of one model: the base defaults with its row's on top.
class CModelGlobalData : public CGlobalData {
public:
    explicit CModelGlobalData(const ModelRow& row) : m_row(row) {}
    void SetDefaults() override;
    Model GetModel() const { return m_row.model; }

private:
    void StoreRumbleDefaults();
    void StoreForceDefaults();

    const ModelRow& m_row;
};

// The settings class of a model's own row.
template <Model M>
class CModelGlobalDataOf : public CModelGlobalData {
public:
    CModelGlobalDataOf() : CModelGlobalData(Product(M)) {}
};

// The settings classes' names; CreateModelGlobalData makes the class of
// every row whether or not a name is given here.
using CQuintarGlobalData = CModelGlobalDataOf<Model::Quintar>;
using CPelvarGlobalData = CModelGlobalDataOf<Model::Pelvar>;
using CDastrinGlobalData = CModelGlobalDataOf<Model::Dastrin>;
using CDrovikGlobalData = CModelGlobalDataOf<Model::Drovik>;
using CRavikGlobalData = CModelGlobalDataOf<Model::Ravik>;
using CCorrinGlobalData = CModelGlobalDataOf<Model::Corrin>;
using CWendlowGlobalData = CModelGlobalDataOf<Model::Wendlow>;
using CPrazenGlobalData = CModelGlobalDataOf<Model::Prazen>;
using CFerollaGlobalData = CModelGlobalDataOf<Model::Ferolla>;
using COskraGlobalData = CModelGlobalDataOf<Model::Oskra>;
using CTavrinGlobalData = CModelGlobalDataOf<Model::Tavrin>;
using CKarvonaGlobalData = CModelGlobalDataOf<Model::Karvona>;
using CZorvelGlobalData = CModelGlobalDataOf<Model::Zorvel>;
using CBrennickGlobalData = CModelGlobalDataOf<Model::Brennick>;
using CTollundGlobalData = CModelGlobalDataOf<Model::Tollund>;
using CVeskGlobalData = CModelGlobalDataOf<Model::Vesk>;
using CLumiskGlobalData = CModelGlobalDataOf<Model::Lumisk>;

// The device ID word a model's settings bind to: vendor ID << 16 | product ID.
constexpr DWORD ModelDeviceId(Model model) {
    return (static_cast<DWORD>(kVendorId) << 16) | Product(model).productId;
}

// A new, not yet initialised settings object of the model's class.
std::unique_ptr<CGlobalData> CreateModelGlobalData(Model model);
