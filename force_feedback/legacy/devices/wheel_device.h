// The wheel family: the legacy wheel command set on top of CVDevice. The
// family class owns the wheel simulation thread and the settings operations
// of the legacy settings interface; the two resolution classes differ in the
// centering command; each model class is its row of the model table (mode
// reports, simulated dampers, input status rule, settings).
//
// Role: one open wheel. Owner: the driver's slot for its joystick ID, or the
// legacy settings interface for the length of one call. Calling threads:
// application threads (DirectInput calls, settings calls) and the wheel's
// simulation thread (RefreshSettings, OnInputReport). Lock: the device mutex
// as in CVDevice; UpdateDevice runs with it held, RefreshSettings without.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "force_feedback/legacy/devices/family_table.h"
#include "force_feedback/legacy/devices/model_device.h"
#include "force_feedback/legacy/devices/sim_thread_owner.h"
#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/devices/wheel_centering.h"
#include "force_feedback/legacy/devices/wheel_indicator.h"
#include "force_feedback/legacy/sim/wheel_sim_thread.h"


// ApplyCenteringSettings without a simulation thread (E_HANDLE).
inline constexpr HRESULT kNoThreadResult = static_cast<HRESULT>(0x80070006);

class CVWheelDevice : public CVSimThreadDevice<CWheelSimThread> {
public:
    // Model classes end the thread first (EndActivity); here only for a
    // family object made without a model.
    ~CVWheelDevice() override;

    HRESULT DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) override;
    // E_POINTER for a null record; E_INVALIDARG for index 5, an index above
    // 6 or a strength above 15000, with nothing stored; S_OK otherwise, also
    // on a device without settings (nothing stored then).
    HRESULT SetSetting(SVJOYFORCEPARAM* param) override;
    // The current value, or the family default without settings;
    // E_INVALIDARG for index 5 and above 6.
    HRESULT GetSetting(SVJOYFORCEPARAM* param) override;
    // Mode-close report (models with mode reports), then the thread's last
    // pass: queued commands, then the stop command.
    HRESULT Close() override;
    HRESULT RefreshSettings() override;
    HRESULT UpdateDevice() override;

    // Queues the centering parameters and switches the wheel's own spring
    // on or off. `strength` in DirectInput units; the enabled flag is read
    // again from the settings. kNoThreadResult without a thread.
    virtual HRESULT ApplyCenteringSettings(DWORD strength, DWORD centeringEnabled) = 0;

    // The input completion of the simulation thread, with the report read;
    // takes the device mutex (the caller must not hold it).
    void OnInputReport(const BYTE* report, unsigned length) override;
    const ModelRow& Row() const { return m_row; }

protected:
    explicit CVWheelDevice(Model model);
    // Models with mode reports send the mode-open report first thing on
    // the thread.
    std::unique_ptr<CWheelSimThread> NewSimThread() override;
    HRESULT ApplyCentering(const CenteringProtocol& protocol, DWORD strength);

private:
    EffectFamily EffectFamilyOfDevice() const;
    HRESULT ApplyCurrentCentering();

    const ModelRow& m_row;
};

class CVHiResWheelDevice : public CVWheelDevice {
public:
    HRESULT ApplyCenteringSettings(DWORD strength, DWORD centeringEnabled) override;

protected:
    using CVWheelDevice::CVWheelDevice;
};

class CVLowResWheelDevice : public CVWheelDevice {
public:
    HRESULT ApplyCenteringSettings(DWORD strength, DWORD centeringEnabled) override;

protected:
    using CVWheelDevice::CVWheelDevice;
};

// The resolution class the model's row names.
template <Model M>
using WheelBaseOf = std::conditional_t<Product(M).family == DeviceFamily::LowResWheel, CVLowResWheelDevice,
                                       CVHiResWheelDevice>;

#define FFDRV_WHEEL_MODEL(Codename)                                            \
    class CV##Codename##WheelDevice : public WheelBaseOf<Model::Codename> {    \
    public:                                                                    \
        CV##Codename##WheelDevice() : WheelBaseOf<Model::Codename>(Model::Codename) {} \
        ~CV##Codename##WheelDevice() override { EndActivity(); }               \
    };                                                                         \
    FFDRV_MODEL_DEVICE(Codename, CV##Codename##WheelDevice)

FFDRV_WHEEL_MODEL(Quintar);
FFDRV_WHEEL_MODEL(Pelvar);
FFDRV_WHEEL_MODEL(Wendlow);
FFDRV_WHEEL_MODEL(Corrin);
FFDRV_WHEEL_MODEL(Drovik);
FFDRV_WHEEL_MODEL(Dastrin);
FFDRV_WHEEL_MODEL(Ravik);

#undef FFDRV_WHEEL_MODEL

// The Prazen wheel: the shift-indicator escape, and the wheel's RPM
// indicator in the device library, reached through the bridge thread. Open
// enters the wheel in the bridge device table under its container ID and asks
// the bridge to attach it; destruction takes it out again. The bridge key and
// slot are written by Open and read by the escapes, all under the device
// mutex.
class CVPrazenWheelDevice : public CVHiResWheelDevice {
public:
    CVPrazenWheelDevice() : CVHiResWheelDevice(Model::Prazen) {}
    ~CVPrazenWheelDevice() override { EndActivity(); }
    // The wheel open; on success the wheel is entered in the bridge table.
    HRESULT Open(DWORD joystickId) override;
    // x, lo and hi are 32-bit floats passed as their bits. E_FAIL without a
    // thread, else S_OK; queues the indicator commands of the change.
    HRESULT EscapeSetValues(DWORD x, DWORD lo, DWORD hi) override;
    // Posts selector and floats to the bridge as a feature command; true once
    // posted (the outcome on the wheel is not reported).
    bool EscapeSendFloats(BYTE selector, LPDIEFFESCAPE pesc, const std::vector<float>& floats) override;
    // The bound library wheel's two-byte value; false while none is bound.
    bool EscapeReadBytes(BYTE* out) override;

protected:
    // Leaves the bridge table, then ends the thread as every wheel does.
    void StopActivity() override;

private:
    void LeaveBridge();

    std::wstring m_bridgeKey;
    std::uint8_t m_bridgeSlot = 0;
    bool m_inBridge = false;
};
FFDRV_MODEL_DEVICE(Prazen, CVPrazenWheelDevice);

// The blink toggle of every Prazen wheel in the process.
IndicatorBlink& ProcessIndicatorBlink();
