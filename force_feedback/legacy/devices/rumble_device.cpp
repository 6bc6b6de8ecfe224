#include "force_feedback/legacy/devices/rumble_device.h"

#include "force_feedback/legacy/devices/device_settings.h"
#include "force_feedback/legacy/devices/family_table.h"
#include "force_feedback/legacy/devices/rumble_settings.h"
#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/settings/model_global_data.h"

namespace {
RumbleLayout RumbleLayoutOf(const FamilyRow& row) {
    switch (row.layout) {
        case ReportLayout::RumbleA: return RumbleLayout::A;
        case ReportLayout::RumbleB: return RumbleLayout::B;
        default: return RumbleLayout::None;
    }
}
}  // namespace

CVRumbleDevice::CVRumbleDevice(Model model) : m_layout(RumbleLayoutOf(FamilyOf(model))) {
    BindSettings(CreateModelGlobalData(model), ModelDeviceId(model));
}

CVRumbleDevice::~CVRumbleDevice() { EndActivity(); }

void CVRumbleDevice::StopActivity() { m_thread.Stop(*this); }

HRESULT CVRumbleDevice::DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) {
    return DownloadEffectFrame(EffectFamily::kRumble, dwEffectId, pdwEffect, peff, dwFlags);
}

HRESULT CVRumbleDevice::SetSetting(SVJOYFORCEPARAM* param) {
    return SetDeviceSetting(FindRumbleSetting, m_settings.get(), param);
}

HRESULT CVRumbleDevice::GetSetting(SVJOYFORCEPARAM* param) {
    return GetDeviceSetting(FindRumbleSetting, m_settings.get(), param);
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

std::unique_ptr<CRumbleSimThread> CVRumbleDevice::NewSimThread() { return std::make_unique<CRumbleSimThread>(*this); }

void CVRumbleDevice::AttachEffect(CEffect* effect) { effect->SetSimThread(m_thread.get()); }
