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

CVProbeDevice::~CVProbeDevice() { StopThread(); }

void CVProbeDevice::StopThread() {
    if (!m_thread) return;
    {
        std::lock_guard lock(Mutex());
        for (DWORD i = 0; i < kEffectSlots; ++i) {
            if (CEffect* e = GetEffect(i)) e->SetSimThread(nullptr);
        }
    }
    m_thread->End();
    m_thread.reset();
}

HRESULT CVProbeDevice::DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) {
    return DownloadEffectFrame(EffectFamily::kLowResWheel, dwEffectId, pdwEffect, peff, dwFlags);
}

HRESULT CVProbeDevice::Open(DWORD joystickId) {
    const HRESULT hr = CVDevice::Open(joystickId);
    if (FAILED(hr)) return hr;
    auto thread = std::make_unique<CProbeSimThread>(this);
    if (thread->Begin() != 0) return E_FAIL;
    m_thread = std::move(thread);
    return S_OK;
}

HRESULT CVProbeDevice::Close() {
    StopThread();
    return S_OK;
}

HRESULT CVProbeDevice::UpdateDevice() {
    // Runs under the device mutex.
    if (!m_thread) return S_OK;
    if (DeviceState() & DIGFFS_PAUSED) m_thread->Pause();
    else m_thread->Resume();
    return S_OK;
}

void CVProbeDevice::AttachEffect(CEffect* effect) { effect->SetSimThread(m_thread.get()); }

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
