// The wheel-like force joysticks: CVJoystickDevice with its high- and
// low-resolution variants and their models (Ferolla and Tavrin high
// resolution; Oskra low resolution, also built by the Nimbal driver).
#pragma once

#include <memory>
#include <type_traits>

#include "force_feedback/legacy/devices/sim_thread_owner.h"
#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/devices/wheel_centering.h"
#include "force_feedback/legacy/devices/model_device.h"
#include "force_feedback/legacy/settings/model_global_data.h"
#include "force_feedback/legacy/sim/joystick_sim_thread.h"

// Role: the joystick family's device: runs the joystick simulation thread,
// plays the family's native conditions, and sends the centring commands of
// its resolution. Owner: the driver's slot. Calling threads and lock as
// CVDevice; UpdateDevice and RefreshSettings run under the device mutex
// (RefreshSettings on the simulation thread).
class CVJoystickDevice : public CVSimThreadDevice<CJoystickSimThread> {
public:
    // Model classes end the thread first (EndActivity); here only for a
    // family object made without a model.
    ~CVJoystickDevice() override;

    HRESULT DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) override;
    // E_INVALIDARG for index 5, indices above 6 and strengths above 15000.
    HRESULT SetSetting(SVJOYFORCEPARAM* param) override;
    HRESULT GetSetting(SVJOYFORCEPARAM* param) override;
    HRESULT RefreshSettings() override;
    HRESULT UpdateDevice() override;
    // Queues the centring parameters of the resolution, then centring on or
    // off; E_HANDLE without a thread. `centeringEnabled` is read again from
    // the settings.
    virtual HRESULT ApplyCenteringSettings(DWORD strength, DWORD centeringEnabled) = 0;

protected:
    explicit CVJoystickDevice(EffectFamily effects) : m_effects(effects) {}
    HRESULT ApplyCenteringWith(const CenteringProtocol& protocol, DWORD strength);

private:
    EffectFamily m_effects;
};

class CVHiResJoystickDevice : public CVJoystickDevice {
public:
    HRESULT ApplyCenteringSettings(DWORD strength, DWORD centeringEnabled) override;

protected:
    CVHiResJoystickDevice() : CVJoystickDevice(EffectFamily::kHiResJoystick) {}
};

class CVLowResJoystickDevice : public CVJoystickDevice {
public:
    HRESULT ApplyCenteringSettings(DWORD strength, DWORD centeringEnabled) override;

protected:
    CVLowResJoystickDevice() : CVJoystickDevice(EffectFamily::kLowResJoystick) {}
};

// The resolution class the model's row names.
template <Model M>
using JoystickBaseOf = std::conditional_t<Product(M).family == DeviceFamily::LowResJoystick, CVLowResJoystickDevice,
                                          CVHiResJoystickDevice>;

// The models differ only in the settings they bind.
#define FFDRV_JOYSTICK_MODEL(Codename)                                                             \
    class CV##Codename##JoystickDevice : public JoystickBaseOf<Model::Codename> {                  \
    public:                                                                                        \
        CV##Codename##JoystickDevice() {                                                          \
            BindSettings(CreateModelGlobalData(Model::Codename), ModelDeviceId(Model::Codename));  \
        }                                                                                          \
        ~CV##Codename##JoystickDevice() override { EndActivity(); }                                \
    };                                                                                             \
    FFDRV_MODEL_DEVICE(Codename, CV##Codename##JoystickDevice)

FFDRV_JOYSTICK_MODEL(Ferolla);
FFDRV_JOYSTICK_MODEL(Tavrin);
FFDRV_JOYSTICK_MODEL(Oskra);

#undef FFDRV_JOYSTICK_MODEL
