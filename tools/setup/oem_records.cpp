#include "tools/setup/oem_records.h"

#include <cwchar>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/devices/family_table.h"
#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/sim/paced_writer.h"
#include "platform/guid.h"
#include "platform/registry.h"

namespace setup {
namespace {

constexpr DWORD kMicrosecondsPerMs = 1000;
// The device takes one report per paced write, and effect times are kept in
// whole milliseconds.
constexpr DWORD kSamplePeriodUs = kReportPeriodMs * kMicrosecondsPerMs;
constexpr DWORD kMinTimeResolutionUs = kMicrosecondsPerMs;

struct EffectType {
    DWORD typeIndex;
    const GUID* guid;
    const wchar_t* name;
};

// DirectInput's predefined effects and the type index the driver gives each.
const EffectType kEffectTypes[] = {
    {kEffectConstant, &GUID_ConstantForce, L"Constant Force"},
    {kEffectRamp, &GUID_RampForce, L"Ramp Force"},
    {kEffectSquare, &GUID_Square, L"Square Wave"},
    {kEffectSine, &GUID_Sine, L"Sine Wave"},
    {kEffectTriangle, &GUID_Triangle, L"Triangle Wave"},
    {kEffectSawUp, &GUID_SawtoothUp, L"Sawtooth Up Wave"},
    {kEffectSawDown, &GUID_SawtoothDown, L"Sawtooth Down Wave"},
    {kEffectSpring, &GUID_Spring, L"Spring"},
    {kEffectDamper, &GUID_Damper, L"Damper"},
    {kEffectInertia, &GUID_Inertia, L"Inertia"},
    {kEffectFriction, &GUID_Friction, L"Friction"},
    {kEffectCustom, &GUID_CustomForce, L"Custom Force"},
};

// What every effect object takes from a DIEFFECT and uses. Sample period and
// trigger repeat interval are stored but nothing plays by them, so they are
// not offered; the envelope only to classes that shape their force with it.
constexpr DWORD kBaseStaticParams = DIEP_DURATION | DIEP_GAIN | DIEP_TRIGGERBUTTON | DIEP_AXES | DIEP_DIRECTION |
                                    DIEP_TYPESPECIFICPARAMS | DIEP_STARTDELAY;
// Everything above is read again on every tick, except the start delay,
// which is taken only when the effect starts.
constexpr DWORD kBaseDynamicParams = kBaseStaticParams & ~DIEP_STARTDELAY;
constexpr DWORD kCoordinates = DIEFF_CARTESIAN | DIEFF_POLAR;

DIEFFECTATTRIBUTES AttributesOf(DWORD typeIndex, DWORD features) {
    const bool enveloped = (features & (DIEFT_FFATTACK | DIEFT_FFFADE)) != 0;
    const DWORD envelope = enveloped ? DIEP_ENVELOPE : 0;
    return {typeIndex, features, kBaseStaticParams | envelope, kBaseDynamicParams | envelope, kCoordinates};
}

void PutWord(std::vector<std::uint8_t>& out, DWORD word) {
    for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<std::uint8_t>(word >> shift));
}

RegValue Text(const wchar_t* name, std::wstring text) { return {name, platform::reg::kSz, std::move(text), {}}; }
RegValue Binary(const wchar_t* name, std::vector<std::uint8_t> bytes) {
    return {name, platform::reg::kBinary, {}, std::move(bytes)};
}

}  // namespace

std::vector<OemRecord> BuildOemRecords() {
    std::vector<OemRecord> records;
    for (const ModelRow& product : kModels) {
        const int classIndex = DriverClassOf(product.model);
        wchar_t key[32];
        std::swprintf(key, 32, L"VID_%04X&PID_%04X", static_cast<unsigned>(kVendorId),
                      static_cast<unsigned>(product.productId));
        OemRecord record{product.model, classIndex, key, product.marketingName,
                         {0, kSamplePeriodUs, kMinTimeResolutionUs}, {}};
        const EffectFamily family = EffectFamilyOf(product);
        for (const EffectType& type : kEffectTypes) {
            const DWORD features = EffectFeatures(family, type.typeIndex);
            if (features == 0) continue;  // the device refuses this type
            record.effects.push_back({type.typeIndex, *type.guid, type.name, AttributesOf(type.typeIndex, features)});
        }
        records.push_back(std::move(record));
    }
    return records;
}

std::wstring ForceFeedbackPath(const OemRecord& record) { return record.keyName + L"\\OEMForceFeedback"; }

std::vector<std::uint8_t> DeviceAttributeBytes(const DIFFDEVICEATTRIBUTES& device) {
    std::vector<std::uint8_t> bytes;
    PutWord(bytes, device.dwFlags);
    PutWord(bytes, device.dwFFSamplePeriod);
    PutWord(bytes, device.dwFFMinTimeResolution);
    return bytes;
}

std::vector<std::uint8_t> EffectAttributeBytes(const DIEFFECTATTRIBUTES& effect) {
    std::vector<std::uint8_t> bytes;
    PutWord(bytes, effect.dwEffectId);
    PutWord(bytes, effect.dwEffType);
    PutWord(bytes, effect.dwStaticParams);
    PutWord(bytes, effect.dwDynamicParams);
    PutWord(bytes, effect.dwCoords);
    return bytes;
}

std::vector<RegKey> RecordKeys(const OemRecord& record) {
    const std::wstring ff = ForceFeedbackPath(record);
    std::vector<RegKey> keys;
    keys.push_back({record.keyName, {Text(kOemNameValue, record.oemName)}});
    keys.push_back({ff,
                    {Text(L"CLSID", platform::FormatGuid(kClassTable[record.classIndex].clsid)),
                     Binary(L"Attributes", DeviceAttributeBytes(record.device))}});
    keys.push_back({ff + L"\\Effects", {}});
    for (const EffectRecord& effect : record.effects) {
        keys.push_back({ff + L"\\Effects\\" + platform::FormatGuid(effect.guid),
                        {Text(L"", effect.name), Binary(L"Attributes", EffectAttributeBytes(effect.attributes))}});
    }
    return keys;
}

}  // namespace setup
