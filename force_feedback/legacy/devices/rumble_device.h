// The rumble pads: gamepads with two vibration motors and no positional
// force. Every effect runs on the host through the rumble simulation thread;
// the per-model classes only pick the settings and the thread (report
// layout) of their row.
//
// Role: CVRumbleDevice carries the family's operations; the bare class has
// no settings and a thread that formats nothing. Owner: the driver's slot
// for the joystick ID. Calling threads: application threads (through CFFDrv)
// and the device's simulation thread. Lock: the device mutex, as CVDevice;
// the settings are read and written without it.
#pragma once

#include <memory>

#include "force_feedback/legacy/devices/sim_thread_owner.h"
#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/devices/model_device.h"
#include "force_feedback/legacy/sim/rumble_sim_thread.h"

class CVRumbleDevice : public CVSimThreadDevice<CRumbleSimThread> {
public:
    CVRumbleDevice() = default;
    // Model classes end the thread first (EndActivity); here for the bare
    // family class.
    ~CVRumbleDevice() override;

    // The frame of the base with the rumble spring (7) and damper (8-10).
    HRESULT DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) override;
    // E_POINTER for a null record; E_INVALIDARG for an index the pads do not
    // have (3, 5 to 255, above 261) or a strength above 15000; S_OK and
    // nothing stored on a device without settings.
    HRESULT SetSetting(SVJOYFORCEPARAM* param) override;
    // The stored value, or the family default without settings; the save
    // flag is ignored. E_POINTER, E_INVALIDARG as SetSetting.
    HRESULT GetSetting(SVJOYFORCEPARAM* param) override;
    // Under the device mutex: pauses or resumes the thread's output with the
    // state word. Nothing is sent: a pad has no centering spring.
    HRESULT UpdateDevice() override;
    // Takes over the settings' change stamp; the thread reads the new values
    // itself on its next pass.
    HRESULT RefreshSettings() override;

protected:
    // Per-model classes: binds the model's settings.
    explicit CVRumbleDevice(Model model);
    // The report layout of the model's row; None for the bare family.
    RumbleLayout Layout() const { return m_layout; }

private:
    RumbleLayout m_layout = RumbleLayout::None;
    // Carried by every pad device; no operation of the family reads it.
    [[maybe_unused]] DWORD m_padWord = 0;
};

// The per-model devices: each is its row's settings plus its thread class.
#define FFDRV_RUMBLE_DEVICE(Codename)                                                               \
    class CV##Codename##RumbleDevice final : public CVRumbleDevice {                               \
    public:                                                                                        \
        CV##Codename##RumbleDevice() : CVRumbleDevice(Model::Codename) {}                          \
        ~CV##Codename##RumbleDevice() override { EndActivity(); }                                  \
                                                                                                   \
    protected:                                                                                     \
        std::unique_ptr<CRumbleSimThread> NewSimThread() override {                                \
            return std::make_unique<C##Codename##RumbleSimThread>(*this, Layout());                \
        }                                                                                          \
    };                                                                                             \
    FFDRV_MODEL_DEVICE(Codename, CV##Codename##RumbleDevice)

FFDRV_RUMBLE_DEVICE(Zorvel);
FFDRV_RUMBLE_DEVICE(Brennick);
FFDRV_RUMBLE_DEVICE(Tollund);
FFDRV_RUMBLE_DEVICE(Vesk);
FFDRV_RUMBLE_DEVICE(Lumisk);

#undef FFDRV_RUMBLE_DEVICE
