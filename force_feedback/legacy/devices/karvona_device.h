// The Karvona-style force joysticks: a family directly under CVDevice whose
// centring spring lives in the axis blocks of its simulation thread's
// periodic report, and which hands the stick back to its own firmware with a
// feature report when the driver lets go of it.
#pragma once

#include <array>
#include <memory>

#include "force_feedback/legacy/devices/model_device.h"
#include "force_feedback/legacy/devices/sim_thread_owner.h"
#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/sim/karvona_sim_thread.h"

namespace karvona {

inline constexpr BYTE kReleaseReportId = 0x04;
inline constexpr BYTE kReleaseValue = 0x04;
// Sent with HidD_SetFeature when the device is closed or destroyed.
inline constexpr std::array<BYTE, 2> kReleaseFeatureReport = {kReleaseReportId, kReleaseValue};

}  // namespace karvona

// Whether the centring spring is on: actuators off, or on with the
// settings' centering flag set.
constexpr bool KarvonaCentringOn(bool actuatorsOff, bool centeringEnabled) { return actuatorsOff || centeringEnabled; }

// Role: the Karvona-style family's device. Owner: the driver's slot.
// Calling threads and lock as CVDevice; UpdateDevice runs under the device
// mutex, RefreshSettings on the simulation thread, which then takes the
// mutex itself for the centring blocks.
class CVKarvonaStyleJoystickDevice : public CVSimThreadDevice<CKarvonaSimThread> {
public:
    // Model classes end the activity first (EndActivity); here only for a
    // family object made without a model.
    ~CVKarvonaStyleJoystickDevice() override;

    HRESULT DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) override;
    // The force joysticks' settings table.
    HRESULT SetSetting(SVJOYFORCEPARAM* param) override;
    HRESULT GetSetting(SVJOYFORCEPARAM* param) override;
    // Sends the release feature report (also when no thread ever ran), then
    // stops the thread.
    HRESULT Close() override;
    HRESULT RefreshSettings() override;
    HRESULT UpdateDevice() override;
    // Writes the centring spring into the thread's axis blocks (or clears
    // them); E_HANDLE without a thread. Queues no command. Expects the device
    // mutex to be held.
    virtual HRESULT ApplyCenteringSettings(DWORD strength, DWORD centeringEnabled);

protected:
    CVKarvonaStyleJoystickDevice() = default;
    // The release report first (the stick goes back to its own firmware),
    // then the thread.
    void StopActivity() override;

private:
    void SendReleaseReport();
    HRESULT ApplyCurrentCentering();
};

class CVKarvonaJoystickDevice : public CVKarvonaStyleJoystickDevice {
public:
    CVKarvonaJoystickDevice();
    ~CVKarvonaJoystickDevice() override { EndActivity(); }
};
FFDRV_MODEL_DEVICE(Karvona, CVKarvonaJoystickDevice);
