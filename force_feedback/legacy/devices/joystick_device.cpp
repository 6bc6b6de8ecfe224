#include "force_feedback/legacy/devices/joystick_device.h"

#include "force_feedback/legacy/devices/wheel_settings.h"
#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/settings/model_global_data.h"
#include "platform/sim_clock.h"

namespace {

// Every value set here is read back from the registry on the next load.
constexpr BYTE kReload = 1;

DWORD NowMs() {
    platform::SimTimerGuard guard;
    guard.Activate();
    const DWORD now = platform::SimTimeMs();
    guard.Deactivate();
    return now;
}

void StoreSetting(CGlobalData& s, SettingId id, DWORD value, BYTE save) {
    switch (id) {
        case SettingId::OverallStrength: return s.SetOverallStrength(value, save, kReload);
        case SettingId::SpringStrength: return s.SetSpringStrength(value, save, kReload);
        case SettingId::DamperStrength: return s.SetDamperStrength(value, save, kReload);
        case SettingId::CenteringSpring: return s.SetCenteringSpring(value, save, kReload);
        case SettingId::ForceEnabled: return s.SetForceEnabled(value, save, kReload);
        case SettingId::PersistentCenteringSpring: return s.SetPersistentCenteringSpring(value, save, kReload);
        default: return;  // not in the force devices' table
    }
}

DWORD ReadSetting(const CGlobalData& s, SettingId id) {
    switch (id) {
        case SettingId::OverallStrength: return s.GetOverallStrength();
        case SettingId::SpringStrength: return s.GetSpringStrength();
        case SettingId::DamperStrength: return s.GetDamperStrength();
        case SettingId::CenteringSpring: return s.GetCenteringSpring();
        case SettingId::ForceEnabled: return s.GetForceEnabled();
        case SettingId::PersistentCenteringSpring: return s.GetPersistentCenteringSpring();
        default: return 0;
    }
}

CenteringBytes CenteringBytesOf(const CGlobalData* s) {
    CenteringBytes b{};
    if (s != nullptr) {
        s->GetCSValues(&b.coefficientMin, &b.coefficientDefault, &b.coefficientMax, &b.saturationMin,
                       &b.saturationDefault, &b.saturationMax);
    }
    return b;
}

}  // namespace

HRESULT SetForceDeviceSetting(CGlobalData* settings, const SVJOYFORCEPARAM* param) {
    if (param == nullptr) return E_POINTER;
    const SettingRule* rule = FindWheelSetting(param->dwIndex);
    if (FAILED(CheckSettingValue(rule, param->dwValue))) return E_INVALIDARG;
    if (settings == nullptr) return S_OK;
    // Taken before the store so that a reader polling the stamp never sees
    // the old stamp with the new value.
    const DWORD entry = NowMs();
    StoreSetting(*settings, rule->id, param->dwValue, param->dwSave != 0 ? 1 : 0);
    if (rule->recomputesDerived) settings->UpdateDerivedValues();
    if (param->dwSave != 0) settings->SaveToRegistry();
    settings->SetChangeStamp(entry);
    return S_OK;
}

HRESULT GetForceDeviceSetting(const CGlobalData* settings, SVJOYFORCEPARAM* param) {
    if (param == nullptr) return E_POINTER;
    const SettingRule* rule = FindWheelSetting(param->dwIndex);
    if (rule == nullptr) return E_INVALIDARG;
    param->dwValue = settings != nullptr ? ReadSetting(*settings, rule->id) : rule->defaultWithoutSettings;
    return S_OK;
}

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

HRESULT CVJoystickDevice::SetSetting(SVJOYFORCEPARAM* param) { return SetForceDeviceSetting(GetGlobalData(), param); }

HRESULT CVJoystickDevice::GetSetting(SVJOYFORCEPARAM* param) { return GetForceDeviceSetting(GetGlobalData(), param); }

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
    if (!m_thread) return E_HANDLE;
    CGlobalData* s = GetGlobalData();
    const bool enabled = s != nullptr && s->GetPersistentCenteringSpring() != 0;
    const bool actuatorsOff = (DeviceState() & DIGFFS_ACTUATORSOFF) != 0;
    const CenteringPlan plan = PlanCentering(protocol, strength, CenteringBytesOf(s), actuatorsOff, enabled);
    // A full queue drops the command; the next settings change sends it again.
    m_thread->QueueReport(plan.parameters.data(), kCommandBufferLength);
    m_thread->QueueReport(plan.switchCommand.data(), kCommandBufferLength);
    if (s != nullptr) s->SetPercentage(plan.appliedValue, 0, kReload);
    return S_OK;
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
