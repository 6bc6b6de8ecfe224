#include "force_feedback/legacy/devices/karvona_device.h"

#include "force_feedback/legacy/devices/device_settings.h"
#include "force_feedback/legacy/devices/joystick_device.h"
#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/settings/model_global_data.h"

CVKarvonaStyleJoystickDevice::~CVKarvonaStyleJoystickDevice() { EndActivity(); }

void CVKarvonaStyleJoystickDevice::StopActivity() {
    SendReleaseReport();
    CVSimThreadDevice::StopActivity();
}

void CVKarvonaStyleJoystickDevice::SendReleaseReport() {
    if (!Input()) return;
    const platform::hid::File file = GetHidHandle();
    if (file == platform::hid::InvalidFile()) return;
    // A stick that is gone cannot be released; nothing else to do then.
    platform::hid::SetFeature(file, karvona::kReleaseFeatureReport.data(),
                              static_cast<ULONG>(karvona::kReleaseFeatureReport.size()));
}

HRESULT CVKarvonaStyleJoystickDevice::DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff,
                                                     DWORD dwFlags) {
    return DownloadEffectFrame(EffectFamily::kKarvonaStyleJoystick, dwEffectId, pdwEffect, peff, dwFlags);
}

HRESULT CVKarvonaStyleJoystickDevice::SetSetting(SVJOYFORCEPARAM* param) {
    return SetDeviceSetting(SettingsFamily::kWheel, GetGlobalData(), param);
}

HRESULT CVKarvonaStyleJoystickDevice::GetSetting(SVJOYFORCEPARAM* param) {
    return GetDeviceSetting(SettingsFamily::kWheel, GetGlobalData(), param);
}

HRESULT CVKarvonaStyleJoystickDevice::Close() {
    SendReleaseReport();
    return CVSimThreadDevice::Close();
}

HRESULT CVKarvonaStyleJoystickDevice::ApplyCurrentCentering() {
    const CenteringChoice centering = CurrentCentering(GetGlobalData());
    return ApplyCenteringSettings(centering.strength, centering.enabled);
}

HRESULT CVKarvonaStyleJoystickDevice::RefreshSettings() {
    if (!Thread()) return S_OK;
    {
        std::lock_guard lock(Mutex());
        ApplyCurrentCentering();
    }
    TakeSettingsStamp();
    return S_OK;
}

HRESULT CVKarvonaStyleJoystickDevice::UpdateDevice() {
    if (!Thread()) return S_OK;
    ApplyCurrentCentering();
    FollowPauseState();
    return S_OK;
}

HRESULT CVKarvonaStyleJoystickDevice::ApplyCenteringSettings(DWORD strength, DWORD) {
    if (!Thread()) return E_HANDLE;
    const CGlobalData* s = GetGlobalData();
    const bool enabled = s != nullptr && s->GetPersistentCenteringSpring() != 0;
    const bool actuatorsOff = (DeviceState() & DIGFFS_ACTUATORSOFF) != 0;
    Thread()->ApplyCentering(strength, KarvonaCentringOn(actuatorsOff, enabled));
    return S_OK;
}

CVKarvonaJoystickDevice::CVKarvonaJoystickDevice() {
    BindSettings(CreateModelGlobalData(Model::Karvona), ModelDeviceId(Model::Karvona));
}
