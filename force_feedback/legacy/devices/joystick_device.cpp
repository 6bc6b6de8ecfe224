#include "force_feedback/legacy/devices/joystick_device.h"

#include "force_feedback/legacy/devices/device_settings.h"
#include "force_feedback/legacy/devices/wheel_settings.h"
#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/settings/model_global_data.h"

CVJoystickDevice::~CVJoystickDevice() { EndActivity(); }

void CVJoystickDevice::StopActivity() { m_thread.Stop(*this); }

HRESULT CVJoystickDevice::DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) {
    return DownloadEffectFrame(m_effects, dwEffectId, pdwEffect, peff, dwFlags);
}

HRESULT CVJoystickDevice::SetSetting(SVJOYFORCEPARAM* param) { return SetDeviceSetting(FindWheelSetting, GetGlobalData(), param); }

HRESULT CVJoystickDevice::GetSetting(SVJOYFORCEPARAM* param) { return GetDeviceSetting(FindWheelSetting, GetGlobalData(), param); }

HRESULT CVJoystickDevice::Open(DWORD joystickId) {
    const HRESULT hr = CVDevice::Open(joystickId);
    if (FAILED(hr)) return hr;
    return m_thread.Start(*this, std::make_unique<CJoystickSimThread>(this));
}

HRESULT CVJoystickDevice::Close() {
    m_thread.Stop(*this);
    return S_OK;
}

HRESULT CVJoystickDevice::RefreshSettings() {
    if (!m_thread) return S_OK;
    const CenteringChoice centering = CurrentCentering(GetGlobalData());
    ApplyCenteringSettings(centering.strength, centering.enabled);
    if (CGlobalData* s = GetGlobalData()) m_settingsStamp = s->GetChangeStamp();
    return S_OK;
}

HRESULT CVJoystickDevice::UpdateDevice() {
    if (!m_thread) return S_OK;
    const CenteringChoice centering = CurrentCentering(GetGlobalData());
    ApplyCenteringSettings(centering.strength, centering.enabled);
    m_thread.FollowPauseState(DeviceState());
    return S_OK;
}

void CVJoystickDevice::AttachEffect(CEffect* effect) { effect->SetSimThread(m_thread.get()); }

HRESULT CVJoystickDevice::ApplyCenteringWith(const CenteringProtocol& protocol, DWORD strength) {
    return QueueCentering(m_thread.get(), GetGlobalData(), DeviceState(), protocol, strength);
}

HRESULT CVHiResJoystickDevice::ApplyCenteringSettings(DWORD strength, DWORD) {
    return ApplyCenteringWith(kHiResJoystickCentering, strength);
}

HRESULT CVLowResJoystickDevice::ApplyCenteringSettings(DWORD strength, DWORD) {
    return ApplyCenteringWith(kLowResJoystickCentering, strength);
}
