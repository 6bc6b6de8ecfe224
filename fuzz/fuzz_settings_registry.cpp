// Random registry value sets under a device's settings key, then a load:
// whatever the values (type, size, range), the load must not crash, must not
// read past a buffer, and must leave the settings inside their ranges.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "force_feedback/legacy/settings/model_global_data.h"
#include "force_feedback/legacy/settings/registry_entry.h"

namespace {

constexpr DWORD kDeviceId = 0x0F0F0F0Fu;
const wchar_t* const kKey = L"Software\\Corvanta\\Gearbench\\DriverSettings\\VID_0F0F&PID_0F0F";
const wchar_t* const kNames[] = {
    L"AmplitudeBasedForce", L"AmplitudeBasedForceThreshold", L"DamperStrength", L"PersistentCenteringSpring",
    L"CenteringSpring", L"DeltaSpringAdjustDown", L"DeltaSpringXAdjust", L"DeltaSpringYAdjust",
    L"FlipDeltaSpringToY", L"ForceEnabled", L"OverallStrength", L"SpringStrength", L"CSminK", L"CSdefaultK",
    L"CSmaxK", L"CSminClip", L"CSdefaultClip", L"CSmaxClip", L"FloatValue"};
constexpr std::size_t kNameCount = sizeof kNames / sizeof kNames[0];

// Input: records of [name index, type, length, bytes...] until the data ends;
// the first byte picks the model.
void WriteValues(const std::uint8_t* data, std::size_t size) {
    CRegistryEntry key;
    if (!key.Create(platform::reg::CurrentUser(), kKey, platform::reg::kKeyAllAccess)) return;
    std::size_t at = 1;
    while (at + 3 <= size) {
        const wchar_t* name = kNames[data[at] % kNameCount];
        const std::uint32_t type = data[at + 1] % 5;
        std::size_t length = data[at + 2];
        at += 3;
        if (length > size - at) length = size - at;
        key.SetValue(name, type, data + at, static_cast<std::uint32_t>(length));
        at += length;
    }
}

void CheckRanges(const CGlobalData& s) {
    const bool ok = s.GetOverallStrength() <= 15000 && s.GetSpringStrength() <= 15000 &&
                    s.GetDamperStrength() <= 15000 && s.GetCenteringSpring() <= 15000 &&
                    s.GetAmplitudeBasedForce() <= 1 && s.GetAmplitudeBasedForceThreshold() <= 10000 &&
                    s.GetForceEnabled() <= 1 && s.GetPersistentCenteringSpring() <= 1 &&
                    s.GetFlipDeltaSpringToY() <= 1 && s.GetDeltaSpringAdjustDown() <= 1;
    BYTE cs[6];
    s.GetCSValues(&cs[0], &cs[1], &cs[2], &cs[3], &cs[4], &cs[5]);
    // Maxima never rise above the model's own.
    if (!ok || cs[2] > 15 || cs[5] > 255) std::abort();
    for (int i = -127; i <= 127; ++i) {
        const LONG v = s.CurveLookup(i);
        if (v < -127 || v > 127 || (i >= 0) != (v >= 0)) std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    static std::string root = "FFDRV_REGISTRY_ROOT=/tmp/ffdrv-fuzz-registry-" + std::to_string(getpid());
    putenv(root.data());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    {
        CRegistryEntry parent;
        if (parent.Open(platform::reg::CurrentUser(), L"Software\\Corvanta\\Gearbench\\DriverSettings",
                        platform::reg::kKeyAllAccess))
            parent.DeleteTree(L"VID_0F0F&PID_0F0F");
    }
    WriteValues(data, size);
    auto settings = CreateModelGlobalData(static_cast<Model>(data[0] % kModelCount));
    settings->Initialize(kDeviceId);
    settings->LoadFromRegistry();
    settings->ReadRegistryFloat(L"FloatValue", -1e9, 1e9, 0);
    CheckRanges(*settings);
    return 0;
}
