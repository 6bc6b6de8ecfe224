// The one owning pointer a device family keeps to its simulation thread,
// with the start and stop sequences every family shares, so that effects
// never hold a thread that is gone and a second open never orphans a
// running thread.
//
// Role: a member of each family device. Owner: that device. Calling
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
