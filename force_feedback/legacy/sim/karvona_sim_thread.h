// The Karvona-style joystick's simulation thread: one 64-byte periodic
// report carries both force words and the two axis blocks in which the
// stick's centring spring and its condition effects live (layout in
// karvona_report.h); it is sent whenever any byte of it changed.
#pragma once

#include <vector>

#include "force_feedback/legacy/sim/karvona_report.h"
#include "force_feedback/legacy/sim/joystick_sim_thread.h"

// Role: the Karvona-style family's simulation thread and the host of its
// condition effects. Owner: the Karvona-style device (created at Open, ended
// at Close). Calling threads: as CSimThread; ApplyCentering comes from the
// device. Lock: the report under construction is touched only under the
// device mutex (effects' updates, the device's centring, the report step).
class CKarvonaSimThread : public CPolledInputSimThread {
public:
    explicit CKarvonaSimThread(Port& port);
    ~CKarvonaSimThread() override { End(); }

    // Under the device mutex. `on`: the centring spring is active; a block
    // that a condition gives back returns to the centring spring.
    void ApplyCentering(DWORD strength, bool on);
    // IEffectHost; under the device mutex.
    void SetKarvonaAxisBlock(int axis, const KarvonaAxisBlock* block) override;
    // The Karvona stick has no condition slots: every native condition plays
    // in the axis blocks, so the first slot's call updates them all.
    void AssignHardwareSlot(unsigned p, LONG newSlot, DWORD load, LONG* remembered, const SimTick& tick) override;

protected:
    void ReportStep(LONG x, LONG y) override;

private:
    KarvonaReport m_building;
    std::vector<BYTE> m_report;
    DWORD m_centringStrength = 0;
    bool m_centringOn = false;
};
