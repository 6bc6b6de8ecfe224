#include "force_feedback/legacy/devices/rumble_device.h"

#include "force_feedback/legacy/devices/family_table.h"
#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/settings/model_global_data.h"
#include "force_feedback/legacy/settings/setting_fields.h"

namespace {
RumbleLayout RumbleLayoutOf(const ModelRow& row) {
    switch (row.layout) {
        case ReportLayout::RumbleA: return RumbleLayout::A;
        case ReportLayout::RumbleB: return RumbleLayout::B;
        default: return RumbleLayout::None;
    }
}
}  // namespace

CVRumbleDevice::CVRumbleDevice(Model model) : m_layout(RumbleLayoutOf(Product(model))) {
    BindSettings(CreateModelGlobalData(model), ModelDeviceId(model));
}

CVRumbleDevice::~CVRumbleDevice() { EndActivity(); }

HRESULT CVRumbleDevice::DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) {
    return DownloadEffectFrame(EffectFamily::kRumble, dwEffectId, pdwEffect, peff, dwFlags);
}

HRESULT CVRumbleDevice::SetSetting(SVJOYFORCEPARAM* param) {
    return SetDeviceSetting(SettingsFamily::kRumble, GetGlobalData(), param);
}

HRESULT CVRumbleDevice::GetSetting(SVJOYFORCEPARAM* param) {
    return GetDeviceSetting(SettingsFamily::kRumble, GetGlobalData(), param);
}

HRESULT CVRumbleDevice::UpdateDevice() {
    FollowPauseState();
    return S_OK;
}

HRESULT CVRumbleDevice::RefreshSettings() {
    if (Thread()) TakeSettingsStamp();
    return S_OK;
}

