#include "force_feedback/legacy/devices/device_settings.h"

#include "force_feedback/legacy/devices/wheel_centering.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/sim/sim_thread.h"
#include "platform/sim_clock.h"

namespace {

// A changed value is not marked for saving: whether it persists is the
// caller's save flag, which saves the whole record. It is always reloaded.
constexpr BYTE kStoreSave = 0;
constexpr BYTE kStoreLoad = 1;

void StoreSetting(CGlobalData& s, SettingId id, DWORD v) {
    const BYTE sv = kStoreSave, ld = kStoreLoad;
    switch (id) {
        case SettingId::OverallStrength: return s.SetOverallStrength(v, sv, ld);
        case SettingId::SpringStrength: return s.SetSpringStrength(v, sv, ld);
        case SettingId::DamperStrength: return s.SetDamperStrength(v, sv, ld);
        case SettingId::CenteringSpring: return s.SetCenteringSpring(v, sv, ld);
        case SettingId::ForceEnabled: return s.SetForceEnabled(v, sv, ld);
        case SettingId::PersistentCenteringSpring: return s.SetPersistentCenteringSpring(v, sv, ld);
        case SettingId::AmplitudeBasedForce: return s.SetAmplitudeBasedForce(v, sv, ld);
        case SettingId::AmplitudeBasedForceThreshold: return s.SetAmplitudeBasedForceThreshold(v, sv, ld);
        case SettingId::DeltaSpringXAdjust: return s.SetDeltaSpringXAdjust(static_cast<BYTE>(v), sv, ld);
        case SettingId::DeltaSpringYAdjust: return s.SetDeltaSpringYAdjust(static_cast<BYTE>(v), sv, ld);
        case SettingId::DeltaSpringAdjustDown: return s.SetDeltaSpringAdjustDown(v, sv, ld);
        case SettingId::FlipDeltaSpringToY: return s.SetFlipDeltaSpringToY(v, sv, ld);
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
        case SettingId::AmplitudeBasedForce: return s.GetAmplitudeBasedForce();
        case SettingId::AmplitudeBasedForceThreshold: return s.GetAmplitudeBasedForceThreshold();
        case SettingId::DeltaSpringXAdjust: return s.GetDeltaSpringXAdjust();
        case SettingId::DeltaSpringYAdjust: return s.GetDeltaSpringYAdjust();
        case SettingId::DeltaSpringAdjustDown: return s.GetDeltaSpringAdjustDown();
        case SettingId::FlipDeltaSpringToY: return s.GetFlipDeltaSpringToY();
    }
    return 0;
}

}  // namespace

HRESULT SetDeviceSetting(SettingFinder find, CGlobalData* settings, const SVJOYFORCEPARAM* param) {
    // The stamp is the time of the call, read with the timer resolution
    // raised for the whole operation.
    platform::SimTimerGuard guard;
    guard.Activate();
    const DWORD enteredAt = platform::SimTimeMs();
    if (param == nullptr) return E_POINTER;
    const SettingRule* rule = find(param->dwIndex);
    if (FAILED(CheckSettingValue(rule, param->dwValue))) return E_INVALIDARG;
    if (settings == nullptr) return S_OK;
    StoreSetting(*settings, rule->id, param->dwValue);
    if (rule->recomputesDerived) settings->UpdateDerivedValues();
    if (param->dwSave != 0) settings->SaveToRegistry();
    // Every device sharing the block, this one included, sees the change.
    settings->SetChangeStamp(enteredAt);
    return S_OK;
}

HRESULT GetDeviceSetting(SettingFinder find, const CGlobalData* settings, SVJOYFORCEPARAM* param) {
    if (param == nullptr) return E_POINTER;
    const SettingRule* rule = find(param->dwIndex);
    if (rule == nullptr) return E_INVALIDARG;
    param->dwValue = settings != nullptr ? ReadSetting(*settings, rule->id) : rule->defaultWithoutSettings;
    return S_OK;
}

CenteringChoice CurrentCentering(const CGlobalData* settings) {
    if (settings == nullptr) return {kStrengthDefault, 1};
    return {settings->GetCenteringSpring(), settings->GetPersistentCenteringSpring()};
}

HRESULT QueueCentering(CSimThread* thread, CGlobalData* settings, DWORD deviceState,
                       const CenteringProtocol& protocol, DWORD strength) {
    if (thread == nullptr) return E_HANDLE;
    CenteringBytes bytes{};
    bool enabled = true;  // the PersistentCenteringSpring default
    if (settings != nullptr) {
        settings->GetCSValues(&bytes.coefficientMin, &bytes.coefficientDefault, &bytes.coefficientMax,
                              &bytes.saturationMin, &bytes.saturationDefault, &bytes.saturationMax);
        enabled = settings->GetPersistentCenteringSpring() != 0;
    }
    const bool actuatorsOff = (deviceState & DIGFFS_ACTUATORSOFF) != 0;
    const CenteringPlan plan = PlanCentering(protocol, strength, bytes, actuatorsOff, enabled);
    // A full queue drops the command; the next settings change sends it again.
    thread->QueueReport(plan.parameters.data(), kCommandBufferLength);
    thread->QueueReport(plan.switchCommand.data(), kCommandBufferLength);
    if (settings != nullptr) settings->SetPercentage(plan.appliedValue, kStoreSave, kStoreLoad);
    return S_OK;
}
