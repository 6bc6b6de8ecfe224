#include "force_feedback/legacy/testing/probe_family.h"

#include <vector>

#include "force_feedback/legacy/devices/device_catalog.h"
#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/settings/model_global_data.h"
#include "force_feedback/legacy/settings/settings_test_support.h"

void CProbeSimThread::ReportStep(LONG x, LONG y) {
    ++m_passes;
    if (x == m_lastX && y == m_lastY) return;
    std::vector<BYTE> report(std::max(OutputReportLength(), kProbeYOffset + 1), 0);
    report[kProbeCommandOffset] = kProbeForceCommand;
    report[kProbeXOffset] = static_cast<BYTE>(static_cast<signed char>(x));
    report[kProbeYOffset] = static_cast<BYTE>(static_cast<signed char>(y));
    WriteReport(report.data(), OutputReportLength());
    m_lastX = x;
    m_lastY = y;
}

CVProbeDevice::CVProbeDevice(Model model, DWORD settingsId) {
    if (settingsId != 0) BindSettings(CreateModelGlobalData(model), settingsId);
}

CVProbeDevice::~CVProbeDevice() { EndActivity(); }

HRESULT CVProbeDevice::DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) {
    return DownloadEffectFrame(EffectFamily::kLowResWheel, dwEffectId, pdwEffect, peff, dwFlags);
}

HRESULT CVProbeDevice::UpdateDevice() {
    // Runs under the device mutex.
    FollowPauseState();
    return S_OK;
}

namespace {
std::atomic<DWORD> g_lastSettingsId{0};

CVDevice* MakeProbe(Model model) {
    const DWORD id = settings_test::UniqueDeviceId();
    g_lastSettingsId = id;
    return new CVProbeDevice(model, id);
}
}  // namespace

ScopedProbeDevices::ScopedProbeDevices() : m_previous(SetDeviceMakerForTesting(&MakeProbe)) {}
ScopedProbeDevices::~ScopedProbeDevices() { SetDeviceMakerForTesting(m_previous); }
DWORD ScopedProbeDevices::LastSettingsId() { return g_lastSettingsId.load(); }
