// The one owning pointer a device family keeps to its simulation thread,
// with the start and stop sequences every family shares, so that effects
// never hold a thread that is gone and a second open never orphans a
// running thread; and CVSimThreadDevice, the family base built on it.
//
// SimThreadOwner role: a member of the family base. Owner: that device. Calling
// threads: the device's callers (Open, Close, UpdateDevice, destruction);
// the pointer is swapped under the device mutex, which Start and Stop take
// themselves (callers must not hold it).
#pragma once

#include <memory>
#include <mutex>

#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/effects/effect.h"

template <class Thread>
class SimThreadOwner {
public:
    SimThreadOwner() = default;
    SimThreadOwner(const SimThreadOwner&) = delete;
    SimThreadOwner& operator=(const SimThreadOwner&) = delete;

    Thread* get() const { return m_thread.get(); }
    Thread* operator->() const { return m_thread.get(); }
    explicit operator bool() const { return m_thread != nullptr; }

    // Stops a thread left from an earlier open, starts `thread` and hands it
    // to the effects already in the table. E_FAIL when it cannot start (the
    // device then has no thread).
    HRESULT Start(CVDevice& device, std::unique_ptr<Thread> thread) {
        Stop(device);
        if (!thread) return E_FAIL;
        Thread* starting = thread.get();
        {
            // In place before the thread runs: its first pass may already ask
            // the device whether it has a thread (settings refresh).
            std::lock_guard lock(device.Mutex());
            m_thread = std::move(thread);
        }
        if (starting->Begin() != 0) {
            std::lock_guard lock(device.Mutex());
            m_thread.reset();
            return E_FAIL;
        }
        std::lock_guard lock(device.Mutex());
        SetHostOfEffects(device, m_thread.get(), /*simulatedOnly=*/false);
        return S_OK;
    }

    // Effects the host renders let go first, so the thread's last pass
    // cannot reach into them; native ones keep the link until the thread
    // has written their queued commands, then let go too.
    void Stop(CVDevice& device) {
        if (!m_thread) return;
        {
            std::lock_guard lock(device.Mutex());
            SetHostOfEffects(device, nullptr, /*simulatedOnly=*/true);
        }
        m_thread->End();
        std::lock_guard lock(device.Mutex());
        SetHostOfEffects(device, nullptr, /*simulatedOnly=*/false);
        m_thread.reset();
    }

    // Holds or releases the thread's force output with the device state.
    void FollowPauseState(DWORD deviceState) {
        if (!m_thread) return;
        if (deviceState & DIGFFS_PAUSED) m_thread->Pause();
        else m_thread->Resume();
    }

private:
    static void SetHostOfEffects(CVDevice& device, IEffectHost* host, bool simulatedOnly) {
        for (DWORD i = 0; i < kEffectSlots; ++i) {
            CEffect* e = device.GetEffect(i);
            if (e != nullptr && (!simulatedOnly || e->IsSimulated())) e->SetSimThread(host);
        }
    }

    std::unique_ptr<Thread> m_thread;
};

// Role: the base of every device family that runs a simulation thread: it
// owns the family's thread (`ThreadClass`, made with the device as its
// port) and holds, once, the overrides that start, stop and attach it.
// Families add what they send around the thread's start and end. Owner,
// calling threads and lock as CVDevice.
template <class ThreadClass>
class CVSimThreadDevice : public CVDevice {
public:
    // The base open, then the family's thread; the base's error, or E_FAIL
    // when the thread cannot start.
    HRESULT Open(DWORD joystickId) override {
        const HRESULT hr = CVDevice::Open(joystickId);
        if (FAILED(hr)) return hr;
        return m_thread.Start(*this, NewSimThread());
    }
    // Stops and deletes the thread; its last pass writes what the family
    // writes at its end.
    HRESULT Close() override {
        m_thread.Stop(*this);
        return S_OK;
    }
    ThreadClass* Thread() const { return m_thread.get(); }

protected:
    CVSimThreadDevice() = default;
    // The thread Open starts, not yet begun.
    virtual std::unique_ptr<ThreadClass> NewSimThread() { return std::make_unique<ThreadClass>(*this); }
    void StopActivity() override { m_thread.Stop(*this); }
    // Every effect gets the thread: native conditions queue their commands
    // through it, simulated ones read positions and velocities from it.
    void AttachEffect(CEffect* effect) override { effect->SetSimThread(m_thread.get()); }
    // Holds or releases the thread's output with the device state word.
    void FollowPauseState() { m_thread.FollowPauseState(DeviceState()); }

private:
    SimThreadOwner<ThreadClass> m_thread;
};
