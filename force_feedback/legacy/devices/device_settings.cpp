#include "force_feedback/legacy/devices/device_settings.h"

#include "force_feedback/legacy/devices/wheel_centering.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/sim/sim_thread.h"

namespace {

// The applied value is reloaded, not saved, like every value a device stores.
constexpr BYTE kStoreSave = 0;
constexpr BYTE kStoreLoad = 1;

}  // namespace

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
