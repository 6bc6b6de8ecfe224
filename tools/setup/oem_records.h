// The joystick OEM records through which DirectInput finds the driver of
// each supported product: which class serves it, the device's timing, and
// every effect it plays with the effect ID DirectInput hands back to
// DownloadEffect. Built from the product, class, family and effect tables
// of the driver itself, so the records cannot disagree with what it does.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "com_abi.h"
#include "force_feedback/legacy/model_table.h"

namespace setup {

// HKEY_LOCAL_MACHINE's joystick OEM branch; shared by both registry views.
inline constexpr const wchar_t* kOemRoot =
    L"System\\CurrentControlSet\\Control\\MediaProperties\\PrivateProperties\\Joystick\\OEM";

struct EffectRecord {
    DWORD typeIndex;      // the driver's effect type index, also the effect ID
    GUID guid;            // DirectInput's predefined effect
    const wchar_t* name;  // friendly name, the subkey's default value
    DIEFFECTATTRIBUTES attributes;
};

struct OemRecord {
    Model model;
    int classIndex;        // row of the class table that serves the product
    std::wstring keyName;  // "VID_XXXX&PID_XXXX"
    std::wstring oemName;  // marketing name
    DIFFDEVICEATTRIBUTES device;
    std::vector<EffectRecord> effects;  // in effect type index order
};

// One record per row of the model table, in its order.
std::vector<OemRecord> BuildOemRecords();

// What DirectInput reads: one registry key and its values, with the path
// below kOemRoot.
struct RegValue {
    std::wstring name;  // empty: the default value
    std::uint32_t type;  // platform::reg::kSz or kBinary
    std::wstring text;   // kSz
    std::vector<std::uint8_t> bytes;  // kBinary, little-endian as Windows lays it out
};
struct RegKey {
    std::wstring path;
    std::vector<RegValue> values;
};

// The keys of one record, parents before children: the product key, its
// OEMForceFeedback key, the Effects key, then one key per effect.
std::vector<RegKey> RecordKeys(const OemRecord& record);

// Relative paths of the parts install owns and replaces whole.
std::wstring ForceFeedbackPath(const OemRecord& record);
inline constexpr const wchar_t* kOemNameValue = L"OEMName";

// The 12- and 20-byte records as DirectInput reads them.
std::vector<std::uint8_t> DeviceAttributeBytes(const DIFFDEVICEATTRIBUTES& device);
std::vector<std::uint8_t> EffectAttributeBytes(const DIEFFECTATTRIBUTES& effect);

}  // namespace setup
