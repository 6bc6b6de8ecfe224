#include "force_feedback/legacy/devices/wheel_device.h"

#include <cstring>
#include <mutex>

#include "force_feedback/legacy/bridge/bridge_device_table.h"
#include "force_feedback/legacy/bridge/wheel_bridge.h"
#include "force_feedback/legacy/bridge/process_bridge.h"
#include "force_feedback/legacy/devices/device_settings.h"
#include "force_feedback/legacy/devices/wheel_status.h"
#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/input/input.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/settings/model_global_data.h"
#include "force_feedback/legacy/sim/wheel_sim_thread.h"
#include "platform/guid.h"
#include "platform/sim_clock.h"

namespace {

float AsFloat(DWORD bits) {
    float f = 0;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

}  // namespace

CVWheelDevice::CVWheelDevice(Model model) : m_row(Product(model)) {
    BindSettings(CreateModelGlobalData(model), ModelDeviceId(model));
}

CVWheelDevice::~CVWheelDevice() { EndActivity(); }


EffectFamily CVWheelDevice::EffectFamilyOfDevice() const {
    if (m_row.family == DeviceFamily::LowResWheel) return EffectFamily::kLowResWheel;
    // The damper class follows the wheel that is plugged in, as its HID
    // attributes name it, not the class the driver made.
    const ModelRow* plugged = Input() ? ModelByProductId(Input()->GetProductId()) : nullptr;
    if (plugged != nullptr && plugged->family == DeviceFamily::HiResWheel) return EffectFamilyOf(*plugged);
    return EffectFamily::kHiResWheel;
}

HRESULT CVWheelDevice::DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) {
    return DownloadEffectFrame(EffectFamilyOfDevice(), dwEffectId, pdwEffect, peff, dwFlags);
}

std::unique_ptr<CWheelSimThread> CVWheelDevice::NewSimThread() {
    auto thread = CVSimThreadDevice::NewSimThread();
    if (m_row.modeReports) thread->SetModeReport(/*open=*/true);
    return thread;
}

HRESULT CVWheelDevice::Close() {
    if (Thread() && m_row.modeReports) Thread()->SetModeReport(/*open=*/false);
    return CVSimThreadDevice::Close();
}

HRESULT CVWheelDevice::ApplyCurrentCentering() {
    const CenteringChoice centering = CurrentCentering(GetGlobalData());
    return ApplyCenteringSettings(centering.strength, centering.enabled);
}

HRESULT CVWheelDevice::UpdateDevice() {
    if (!Thread()) return S_OK;
    ApplyCurrentCentering();
    FollowPauseState();
    return S_OK;
}

HRESULT CVWheelDevice::RefreshSettings() {
    if (!Thread()) return S_OK;
    ApplyCurrentCentering();
    TakeSettingsStamp();
    return S_OK;
}

HRESULT CVWheelDevice::ApplyCentering(const CenteringProtocol& protocol, DWORD strength) {
    if (!Thread()) return kNoThreadResult;
    return QueueCentering(Thread(), GetGlobalData(), DeviceState(), protocol, strength);
}

HRESULT CVHiResWheelDevice::ApplyCenteringSettings(DWORD strength, DWORD) {
    return ApplyCentering(kHiResWheelCentering, strength);
}

HRESULT CVLowResWheelDevice::ApplyCenteringSettings(DWORD strength, DWORD) {
    return ApplyCentering(kLowResWheelCentering, strength);
}

HRESULT CVWheelDevice::SetSetting(SVJOYFORCEPARAM* param) {
    return SetDeviceSetting(SettingsFamily::kWheel, GetGlobalData(), param);
}

HRESULT CVWheelDevice::GetSetting(SVJOYFORCEPARAM* param) {
    return GetDeviceSetting(SettingsFamily::kWheel, GetGlobalData(), param);
}

void CVWheelDevice::OnInputReport(const BYTE* report, unsigned length) {
    if (m_row.statusRule == InputStatusRule::None) return;
    // Escape command 1 sets the same value from the application's threads,
    // under the device mutex.
    std::lock_guard lock(Mutex());
    const LONG status = StatusAfterInput(m_row.statusRule, StatusValue(), report, length);
    if (status != StatusValue()) SetStatusValue(status);
}

IndicatorBlink& ProcessIndicatorBlink() {
    static IndicatorBlink blink;
    return blink;
}

HRESULT CVPrazenWheelDevice::EscapeSetValues(DWORD x, DWORD lo, DWORD hi) {
    if (!Thread()) return E_FAIL;
    // Every wheel shares the toggle; the device mutex held by Escape does
    // not cover it, this lock does.
    static std::mutex blinkLock;
    const DWORD now = platform::BracketedSimTimeMs();
    IndicatorCommands commands;
    DWORD level = IndicatorLevel();
    {
        std::lock_guard lock(blinkLock);
        commands = UpdateIndicator(AsFloat(x), AsFloat(lo), AsFloat(hi), level, ProcessIndicatorBlink(), now);
    }
    SetIndicatorLevel(level);
    for (const auto* command : {&commands.first, &commands.second}) {
        if (*command) Thread()->QueueReport((*command)->data(), kCommandBufferLength);
    }
    return S_OK;
}

namespace {
// The bridge matches library devices by container ID; a wheel whose container
// is unknown gets an empty key, which matches no device, rather than the
// all-zero ID that any device without a container would share.
std::wstring BridgeKeyOf(const CInput* input) {
    if (input == nullptr) return {};
    const GUID& container = input->GetContainerId();
    if (container == GUID{}) return {};
    return platform::FormatGuid(container);
}
}  // namespace

void CVPrazenWheelDevice::StopActivity() {
    LeaveBridge();
    CVHiResWheelDevice::StopActivity();
}

HRESULT CVPrazenWheelDevice::Open(DWORD joystickId) {
    const HRESULT hr = CVHiResWheelDevice::Open(joystickId);
    if (FAILED(hr)) return hr;
    std::lock_guard lock(Mutex());
    LeaveBridge();  // a second open enters the wheel afresh
    m_bridgeKey = BridgeKeyOf(Input());
    m_bridgeSlot = BridgeOpenWheel(BridgeThread(), m_bridgeKey);
    m_inBridge = m_bridgeSlot != CBridgeDeviceTable::kNoSlot;
    return S_OK;
}

void CVPrazenWheelDevice::LeaveBridge() {
    if (!m_inBridge) return;
    BridgeWheelGone(BridgeThread(), m_bridgeKey);
    m_inBridge = false;
    m_bridgeSlot = CBridgeDeviceTable::kNoSlot;
}

bool CVPrazenWheelDevice::EscapeSendFloats(BYTE selector, LPDIEFFESCAPE, const std::vector<float>& floats) {
    return BridgeSendFloats(BridgeThread(), m_bridgeSlot, selector, static_cast<std::uint32_t>(floats.size()),
                            floats);
}

bool CVPrazenWheelDevice::EscapeReadBytes(BYTE* out) { return BridgeReadBytes(m_bridgeSlot, out); }
