#include "force_feedback/legacy/devices/rumble_device.h"

#include "force_feedback/legacy/devices/rumble_settings.h"
#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/settings/model_global_data.h"
#include "platform/sim_clock.h"

namespace {

// A changed setting is stored with the load bit only: whether it persists
// is the caller's save flag, which saves the whole record.
constexpr BYTE kStoreSave = 0;
constexpr BYTE kStoreLoad = 1;

void StoreSetting(CGlobalData& s, SettingId id, DWORD v) {
    const BYTE sv = kStoreSave, ld = kStoreLoad;
    switch (id) {
        case SettingId::OverallStrength: s.SetOverallStrength(v, sv, ld); break;
        case SettingId::SpringStrength: s.SetSpringStrength(v, sv, ld); break;
        case SettingId::DamperStrength: s.SetDamperStrength(v, sv, ld); break;
        case SettingId::ForceEnabled: s.SetForceEnabled(v, sv, ld); break;
        case SettingId::AmplitudeBasedForce: s.SetAmplitudeBasedForce(v, sv, ld); break;
        case SettingId::AmplitudeBasedForceThreshold: s.SetAmplitudeBasedForceThreshold(v, sv, ld); break;
        case SettingId::DeltaSpringXAdjust: s.SetDeltaSpringXAdjust(static_cast<BYTE>(v), sv, ld); break;
        case SettingId::DeltaSpringYAdjust: s.SetDeltaSpringYAdjust(static_cast<BYTE>(v), sv, ld); break;
        case SettingId::DeltaSpringAdjustDown: s.SetDeltaSpringAdjustDown(v, sv, ld); break;
        case SettingId::FlipDeltaSpringToY: s.SetFlipDeltaSpringToY(v, sv, ld); break;
        // Not in the pads' table.
        case SettingId::CenteringSpring:
        case SettingId::PersistentCenteringSpring: break;
    }
}

DWORD ReadSetting(const CGlobalData& s, SettingId id) {
    switch (id) {
        case SettingId::OverallStrength: return s.GetOverallStrength();
        case SettingId::SpringStrength: return s.GetSpringStrength();
        case SettingId::DamperStrength: return s.GetDamperStrength();
        case SettingId::ForceEnabled: return s.GetForceEnabled();
        case SettingId::AmplitudeBasedForce: return s.GetAmplitudeBasedForce();
        case SettingId::AmplitudeBasedForceThreshold: return s.GetAmplitudeBasedForceThreshold();
        case SettingId::DeltaSpringXAdjust: return s.GetDeltaSpringXAdjust();
        case SettingId::DeltaSpringYAdjust: return s.GetDeltaSpringYAdjust();
        case SettingId::DeltaSpringAdjustDown: return s.GetDeltaSpringAdjustDown();
        case SettingId::FlipDeltaSpringToY: return s.GetFlipDeltaSpringToY();
        case SettingId::CenteringSpring:
        case SettingId::PersistentCenteringSpring: break;
    }
    return 0;
}

DWORD NowMs() {
    platform::SimTimerGuard guard;
    guard.Activate();
    const DWORD now = platform::SimTimeMs();
    guard.Deactivate();
    return now;
}

}  // namespace

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
    if (param == nullptr) return E_POINTER;
    const DWORD enteredAt = NowMs();
    const SettingRule* rule = FindRumbleSetting(param->dwIndex);
    if (const HRESULT hr = CheckSettingValue(rule, param->dwValue); FAILED(hr)) return hr;
    if (!m_settings) return S_OK;
    StoreSetting(*m_settings, rule->id, param->dwValue);
    if (rule->recomputesDerived) m_settings->UpdateDerivedValues();
    if (param->dwSave != 0) m_settings->SaveToRegistry();
    // Every device sharing the block, this one included, sees the change.
    m_settings->SetChangeStamp(enteredAt);
    return S_OK;
}

HRESULT CVRumbleDevice::GetSetting(SVJOYFORCEPARAM* param) {
    if (param == nullptr) return E_POINTER;
    const SettingRule* rule = FindRumbleSetting(param->dwIndex);
    if (rule == nullptr) return E_INVALIDARG;
    param->dwValue = m_settings ? ReadSetting(*m_settings, rule->id) : rule->defaultWithoutSettings;
    return S_OK;
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
