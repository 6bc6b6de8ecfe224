// The 19 COM classes in their fixed order. DllGetClassObject searches them in
// this order and registration walks them in this order; the row index is the
// class index used everywhere else.
#pragma once

#include <array>
#include <string>

#include "com_abi.h"
#include "force_feedback/legacy/product_config.h"

enum class ClassKind : std::uint8_t { JoyForceApi, ModelDriver, LegacyDriver };

struct ClassRow {
    GUID clsid;
    const char* factoryName;
    ClassKind kind;
    Model device;  // the device class the driver's DeviceID creates; unused for JoyForceApi
};

constexpr int kClassCount = 19;
constexpr int kJoyForceApiIndex = 0;
constexpr int kKarvonaIndex = 17;
constexpr int kLegacyWheelIndex = 18;

// The model CLSIDs share one GUID whose first field counts up from 920B2600.
constexpr GUID ModelClsid(DWORD n) {
    return {0x920B2600u + n, 0xBE85, 0x4D30, {0x87, 0x97, 0x8B, 0xA0, 0xA2, 0x3A, 0x5D, 0x53}};
}

inline constexpr GUID CLSID_SVJoyForceAPI = {0xBFDE0402, 0x02ED, 0x40A6, {0xBC, 0x30, 0xC7, 0xAF, 0x99, 0xD2, 0xD5, 0x88}};
inline constexpr GUID CLSID_LegacyWheel = {0x1ED6DDBB, 0x0401, 0x4498, {0xA0, 0x93, 0x7D, 0x24, 0x92, 0x03, 0x20, 0x0C}};

inline constexpr std::array<ClassRow, kClassCount> kClassTable = {{
    {CLSID_SVJoyForceAPI, "CCFSVJoyForceAPI", ClassKind::JoyForceApi, Model::Prazen},
    {ModelClsid(0x00), "CCFSVNimbalForce", ClassKind::ModelDriver, Model::Oskra},
    {ModelClsid(0x01), "CCFSVDastrin", ClassKind::ModelDriver, Model::Dastrin},
    {ModelClsid(0x02), "CCFSVTollund", ClassKind::ModelDriver, Model::Tollund},
    {ModelClsid(0x03), "CCFSVTavrin", ClassKind::ModelDriver, Model::Tavrin},
    {ModelClsid(0x04), "CCFSVDrovik", ClassKind::ModelDriver, Model::Drovik},
    {ModelClsid(0x05), "CCFSVLumisk", ClassKind::ModelDriver, Model::Lumisk},
    {ModelClsid(0x06), "CCFSVQuintar", ClassKind::ModelDriver, Model::Quintar},
    {ModelClsid(0x07), "CCFSVRavik", ClassKind::ModelDriver, Model::Ravik},
    {ModelClsid(0x08), "CCFSVZorvel", ClassKind::ModelDriver, Model::Zorvel},
    {ModelClsid(0x09), "CCFSVVesk", ClassKind::ModelDriver, Model::Vesk},
    {ModelClsid(0x0A), "CCFSVBrennick", ClassKind::ModelDriver, Model::Brennick},
    {ModelClsid(0x0B), "CCFSVPelvar", ClassKind::ModelDriver, Model::Pelvar},
    {ModelClsid(0x0C), "CCFSVFerolla", ClassKind::ModelDriver, Model::Ferolla},
    {ModelClsid(0x0D), "CCFSVCorrin", ClassKind::ModelDriver, Model::Corrin},
    {ModelClsid(0x0E), "CCFSVWendlow", ClassKind::ModelDriver, Model::Wendlow},
    {ModelClsid(0x0F), "CCFSVPrazen", ClassKind::ModelDriver, Model::Prazen},
    {ModelClsid(0x10), "CCFSVKarvona", ClassKind::ModelDriver, Model::Karvona},
    {CLSID_LegacyWheel, "CCFWLegacyWheel", ClassKind::LegacyDriver, Model::Prazen},
}};

// The first model-driver row whose driver makes `model`'s device (for the
// Prazen its own row, not the legacy wheel's), or -1.
constexpr int DriverClassOf(Model model) {
    for (int i = 0; i < kClassCount; ++i) {
        if (kClassTable[i].kind == ClassKind::ModelDriver && kClassTable[i].device == model) return i;
    }
    return -1;
}

// "<maker> <marketing name> FF DLL", with the fixed texts of rows 0 and 18
// and the maker named twice on the Karvona row (intentional, keep).
std::wstring FriendlyName(int classIndex);
