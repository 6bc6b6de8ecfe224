#include "force_feedback/legacy/devices/rumble_device.h"

#include "force_feedback/legacy/devices/device_settings.h"
#include "force_feedback/legacy/devices/rumble_settings.h"
#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/settings/model_global_data.h"

CVRumbleDevice::CVRumbleDevice(Model model) { BindSettings(CreateModelGlobalData(model), ModelDeviceId(model)); }

CVRumbleDevice::~CVRumbleDevice() { StopThread(); }

void CVRumbleDevice::StopThread() {
    if (!m_thread) return;
    m_thread->End();
    {
        // Every pad effect is simulated, so none has hardware to give back;
        // they only lose the host that is about to go.
        std::lock_guard lock(Mutex());
        for (DWORD i = 0; i < kEffectSlots; ++i) {
            if (CEffect* e = GetEffect(i)) e->SetSimThread(nullptr);
        }
    }
    m_thread.reset();
}

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
    std::unique_ptr<CRumbleSimThread> thread = NewSimThread();
    if (!thread || thread->Begin() != 0) return E_FAIL;
    m_thread = std::move(thread);
    return S_OK;
}

HRESULT CVRumbleDevice::Close() {
    StopThread();
    return S_OK;
}

HRESULT CVRumbleDevice::UpdateDevice() {
    if (!m_thread) return S_OK;
    if (DeviceState() & DIGFFS_PAUSED) m_thread->Pause();
    else m_thread->Resume();
    return S_OK;
}

HRESULT CVRumbleDevice::RefreshSettings() {
    if (m_thread && m_settings) m_settingsStamp = m_settings->GetChangeStamp();
    return S_OK;
}

std::unique_ptr<CRumbleSimThread> CVRumbleDevice::NewSimThread() { return std::make_unique<CRumbleSimThread>(this); }

void CVRumbleDevice::AttachEffect(CEffect* effect) { effect->SetSimThread(m_thread.get()); }
