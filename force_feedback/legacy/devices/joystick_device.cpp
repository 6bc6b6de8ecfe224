#include "force_feedback/legacy/devices/joystick_device.h"

#include "force_feedback/legacy/devices/device_settings.h"
#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/settings/model_global_data.h"
#include "force_feedback/legacy/settings/setting_fields.h"

CVJoystickDevice::~CVJoystickDevice() { EndActivity(); }

HRESULT CVJoystickDevice::DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) {
    return DownloadEffectFrame(m_effects, dwEffectId, pdwEffect, peff, dwFlags);
}

HRESULT CVJoystickDevice::SetSetting(SVJOYFORCEPARAM* param) { return SetDeviceSetting(SettingsFamily::kWheel, GetGlobalData(), param); }

HRESULT CVJoystickDevice::GetSetting(SVJOYFORCEPARAM* param) { return GetDeviceSetting(SettingsFamily::kWheel, GetGlobalData(), param); }

HRESULT CVJoystickDevice::RefreshSettings() {
    if (!Thread()) return S_OK;
    const CenteringChoice centering = CurrentCentering(GetGlobalData());
    ApplyCenteringSettings(centering.strength, centering.enabled);
    TakeSettingsStamp();
    return S_OK;
}

HRESULT CVJoystickDevice::UpdateDevice() {
    if (!Thread()) return S_OK;
    const CenteringChoice centering = CurrentCentering(GetGlobalData());
    ApplyCenteringSettings(centering.strength, centering.enabled);
    FollowPauseState();
    return S_OK;
}

HRESULT CVJoystickDevice::ApplyCenteringWith(const CenteringProtocol& protocol, DWORD strength) {
    return QueueCentering(Thread(), GetGlobalData(), DeviceState(), protocol, strength);
}

HRESULT CVHiResJoystickDevice::ApplyCenteringSettings(DWORD strength, DWORD) {
    return ApplyCenteringWith(kHiResJoystickCentering, strength);
}

HRESULT CVLowResJoystickDevice::ApplyCenteringSettings(DWORD strength, DWORD) {
    return ApplyCenteringWith(kLowResJoystickCentering, strength);
}
