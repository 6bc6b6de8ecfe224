#include "force_feedback/legacy/devices/joystick_device.h"

#include "force_feedback/legacy/devices/device_settings.h"
#include "force_feedback/legacy/devices/wheel_settings.h"
#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/settings/model_global_data.h"

CVJoystickDevice::~CVJoystickDevice() { StopThread(); }

void CVJoystickDevice::StopThread() {
    if (!m_thread) return;
    {
        // Effects the thread renders must not call into it once it is gone;
        // native conditions keep their link to finish their stop commands.
        std::lock_guard lock(Mutex());
        for (DWORD i = 0; i < kEffectSlots; ++i) {
            CEffect* e = GetEffect(i);
            if (e != nullptr && e->IsSimulated()) e->SetSimThread(nullptr);
        }
    }
    m_thread->End();
    std::lock_guard lock(Mutex());
    for (DWORD i = 0; i < kEffectSlots; ++i) {
        if (CEffect* e = GetEffect(i)) e->SetSimThread(nullptr);
    }
    m_thread.reset();
}

HRESULT CVJoystickDevice::DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) {
    return DownloadEffectFrame(m_effects, dwEffectId, pdwEffect, peff, dwFlags);
}

HRESULT CVJoystickDevice::SetSetting(SVJOYFORCEPARAM* param) { return SetDeviceSetting(FindWheelSetting, GetGlobalData(), param); }

HRESULT CVJoystickDevice::GetSetting(SVJOYFORCEPARAM* param) { return GetDeviceSetting(FindWheelSetting, GetGlobalData(), param); }

HRESULT CVJoystickDevice::Open(DWORD joystickId) {
    const HRESULT hr = CVDevice::Open(joystickId);
    if (FAILED(hr)) return hr;
    auto thread = std::make_unique<CJoystickSimThread>(this);
    if (thread->Begin() != 0) return E_FAIL;
    m_thread = std::move(thread);
    return S_OK;
}

HRESULT CVJoystickDevice::Close() {
    StopThread();
    return S_OK;
}

HRESULT CVJoystickDevice::ApplyCurrentCentering() {
    const CGlobalData* s = GetGlobalData();
    const DWORD strength = s != nullptr ? s->GetCenteringSpring() : kFullGain;
    const DWORD enabled = s != nullptr ? s->GetPersistentCenteringSpring() : 0;
    return ApplyCenteringSettings(strength, enabled);
}

HRESULT CVJoystickDevice::RefreshSettings() {
    if (!m_thread) return S_OK;
    ApplyCurrentCentering();
    if (CGlobalData* s = GetGlobalData()) m_settingsStamp = s->GetChangeStamp();
    return S_OK;
}

HRESULT CVJoystickDevice::UpdateDevice() {
    if (!m_thread) return S_OK;
    ApplyCurrentCentering();
    if (DeviceState() & DIGFFS_PAUSED) m_thread->Pause();
    else m_thread->Resume();
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

CVFerollaJoystickDevice::CVFerollaJoystickDevice() {
    BindSettings(CreateModelGlobalData(Model::Ferolla), ModelDeviceId(Model::Ferolla));
}

CVTavrinJoystickDevice::CVTavrinJoystickDevice() {
    BindSettings(CreateModelGlobalData(Model::Tavrin), ModelDeviceId(Model::Tavrin));
}

CVOskraJoystickDevice::CVOskraJoystickDevice() {
    BindSettings(CreateModelGlobalData(Model::Oskra), ModelDeviceId(Model::Oskra));
}
