// A minimal device family for exercising CVDevice and CSimThread without the
// real wheel, joystick and rumble formats: the probe thread writes one force
// report whenever the pass's force changes, and the probe device starts and
// stops its thread and attaches every effect to it as the families do.
//
// Probe force report (output report length bytes):
//   byte 0  report ID (set by the paced writer)
//   byte 1  kProbeForceCommand
//   byte 2  x force as a signed byte, byte 3  y force as a signed byte
#pragma once

#include <atomic>
#include <memory>

#include "force_feedback/legacy/devices/device_catalog.h"
#include "force_feedback/legacy/devices/sim_thread_owner.h"
#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/model_table.h"
#include "force_feedback/legacy/sim/sim_thread.h"

inline constexpr BYTE kProbeForceCommand = 0x11;
inline constexpr unsigned kProbeCommandOffset = 1;
inline constexpr unsigned kProbeXOffset = 2;
inline constexpr unsigned kProbeYOffset = 3;

class CProbeSimThread : public CSimThread {
public:
    explicit CProbeSimThread(Port& port) : CSimThread(port) {}
    ~CProbeSimThread() override { End(); }
    // Passes run so far; read by tests from other threads.
    unsigned Passes() const { return m_passes.load(); }

protected:
    void ReportStep(LONG x, LONG y) override;

private:
    LONG m_lastX = 0;
    LONG m_lastY = 0;
    std::atomic<unsigned> m_passes{0};
};

// Role: the probe family's device. Owner: the driver slot (through the test
// catalog) or a test. Threads and lock as CVDevice.
class CVProbeDevice : public CVSimThreadDevice<CProbeSimThread> {
public:
    // With `settingsId` non-zero the device binds the model's settings to
    // that device ID word (tests pass unique ones), as a per-model class does.
    explicit CVProbeDevice(Model model, DWORD settingsId);
    ~CVProbeDevice() override;

    HRESULT DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) override;
    HRESULT UpdateDevice() override;
};

// Installs a maker that builds probe devices with settings (unique IDs) for
// the scope; restores the previous maker after.
class ScopedProbeDevices {
public:
    ScopedProbeDevices();
    ~ScopedProbeDevices();
    // The device ID word the last made device's settings are bound to.
    static DWORD LastSettingsId();

private:
    DeviceMaker m_previous;
};
