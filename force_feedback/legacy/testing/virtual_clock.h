// Test helpers for the portable backend's virtual clock and virtual devices.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/sim_clock.h"
#include "platform/thread.h"
#include "platform/virtual_hid_api.h"

// Puts the simulation on the virtual clock for the life of the scope.
class VirtualClockScope {
public:
    explicit VirtualClockScope(std::uint32_t startMs = 1000) { platform::UseVirtualClock(startMs); }
    ~VirtualClockScope() { platform::UseRealClock(); }
};

// Runs `body` on a thread that the virtual clock waits for, as a simulation
// thread is. Finish() advances the clock until the body has returned.
class ClockedWorker {
public:
    explicit ClockedWorker(std::function<void()> body);
    ~ClockedWorker();
    bool Done() const { return m_done->load(); }
    // Advances in 1 ms steps until the body returns; false after `limitMs`.
    bool Finish(std::uint32_t limitMs = 5000);

private:
    std::shared_ptr<std::atomic<bool>> m_done = std::make_shared<std::atomic<bool>>(false);
    std::unique_ptr<platform::Thread> m_thread;
};

// A plausible force wheel at `joystickId`: 10-bit X and Y, 12 buttons,
// 9-byte input reports, 65-byte output and feature reports.
FfdrvVirtualDevice VirtualWheel(std::uint32_t joystickId);

// Plugs a device for the life of the scope.
class PluggedDevice {
public:
    explicit PluggedDevice(const FfdrvVirtualDevice& device) : m_id(device.joystickId) {
        m_result = FfdrvVirtualPlug(&device);
    }
    ~PluggedDevice() {
        if (m_result == FFDRV_VIRTUAL_OK) FfdrvVirtualUnplug(m_id);
    }
    std::int32_t Result() const { return m_result; }

private:
    std::uint32_t m_id;
    std::int32_t m_result;
};
