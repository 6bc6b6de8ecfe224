// The 19 COM classes in their fixed order. DllGetClassObject searches them in
// this order and registration walks them in this order; the row index is the
// class index used everywhere else. Rows 1 to 17 are the model table's rows;
// the settings interface comes first and the legacy wheel last.
#pragma once

#include <array>
#include <string>

#include "com_abi.h"
#include "force_feedback/legacy/model_table.h"

enum class ClassKind : std::uint8_t { JoyForceApi, ModelDriver, LegacyDriver };

struct ClassRow {
    GUID clsid;
    const char* factoryName;
    ClassKind kind;
    Model device;  // the device class the driver's DeviceID creates; unused for JoyForceApi
};

constexpr int kClassCount = kModelCount + 2;
constexpr int kJoyForceApiIndex = 0;
constexpr int kLegacyWheelIndex = kClassCount - 1;
constexpr int kKarvonaIndex = DriverClassOf(Model::Karvona);

constexpr GUID ToGuid(const ClassGuid& g) {
    return {g.data1, g.data2, g.data3,
            {g.data4[0], g.data4[1], g.data4[2], g.data4[3], g.data4[4], g.data4[5], g.data4[6], g.data4[7]}};
}

inline constexpr GUID CLSID_SVJoyForceAPI = {0xBFDE0402, 0x02ED, 0x40A6, {0xBC, 0x30, 0xC7, 0xAF, 0x99, 0xD2, 0xD5, 0x88}};
inline constexpr GUID CLSID_LegacyWheel = {0x1ED6DDBB, 0x0401, 0x4498, {0xA0, 0x93, 0x7D, 0x24, 0x92, 0x03, 0x20, 0x0C}};

inline constexpr std::array<ClassRow, kClassCount> kClassTable = [] {
    std::array<ClassRow, kClassCount> table{};
    // The settings interface opens its devices as Prazen wheels.
    table[kJoyForceApiIndex] = {CLSID_SVJoyForceAPI, "CCFSVJoyForceAPI", ClassKind::JoyForceApi, Model::Prazen};
    for (const ModelRow& row : kModels) {
        table[DriverClassOf(row.model)] = {ToGuid(row.clsid), row.factoryName, ClassKind::ModelDriver, row.model};
    }
    // Same device class as the Prazen's own driver: intentional, keep.
    table[kLegacyWheelIndex] = {CLSID_LegacyWheel, "CCFWLegacyWheel", ClassKind::LegacyDriver, Model::Prazen};
    return table;
}();

// "<maker> <marketing name> FF DLL", with the fixed texts of the first and
// last rows and the maker named twice where the model's row says so.
std::wstring FriendlyName(int classIndex);
