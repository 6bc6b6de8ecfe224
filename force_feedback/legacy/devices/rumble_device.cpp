#include "force_feedback/legacy/devices/rumble_device.h"

#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/settings/model_global_data.h"
#include "force_feedback/legacy/settings/setting_fields.h"

CVRumbleDevice::CVRumbleDevice(Model model) { BindSettings(CreateModelGlobalData(model), ModelDeviceId(model)); }

CVRumbleDevice::~CVRumbleDevice() { EndActivity(); }

void CVRumbleDevice::StopActivity() { m_thread.Stop(*this); }

HRESULT CVRumbleDevice::DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) {
    return DownloadEffectFrame(EffectFamily::kRumble, dwEffectId, pdwEffect, peff, dwFlags);
}

HRESULT CVRumbleDevice::SetSetting(SVJOYFORCEPARAM* param) {
    return SetDeviceSetting(SettingsFamily::kRumble, m_settings.get(), param);
}

HRESULT CVRumbleDevice::GetSetting(SVJOYFORCEPARAM* param) {
    return GetDeviceSetting(SettingsFamily::kRumble, m_settings.get(), param);
}

HRESULT CVRumbleDevice::Open(DWORD joystickId) {
    const HRESULT hr = CVDevice::Open(joystickId);
    if (FAILED(hr)) return hr;
    return m_thread.Start(*this, NewSimThread());
}

HRESULT CVRumbleDevice::Close() {
    m_thread.Stop(*this);
    return S_OK;
}

HRESULT CVRumbleDevice::UpdateDevice() {
    m_thread.FollowPauseState(DeviceState());
    return S_OK;
}

HRESULT CVRumbleDevice::RefreshSettings() {
    if (m_thread && m_settings) m_settingsStamp = m_settings->GetChangeStamp();
    return S_OK;
}

std::unique_ptr<CRumbleSimThread> CVRumbleDevice::NewSimThread() { return std::make_unique<CRumbleSimThread>(this); }

void CVRumbleDevice::AttachEffect(CEffect* effect) { effect->SetSimThread(m_thread.get()); }
