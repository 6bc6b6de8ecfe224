// The joystick simulation thread: two force axes sent as one 0x51 report
// whenever either axis changed, and an input read that the loop polls instead
// of a completion routine.
#pragma once

#include <memory>
#include <vector>

#include "force_feedback/legacy/sim/joystick_reports.h"
#include "force_feedback/legacy/sim/sim_thread.h"
#include "platform/hid.h"
#include "platform/sim_clock.h"

// Role: one overlapped input read with its own manual-reset event, checked
// by the loop after each pass rather than completed through an APC (the
// joystick firmware's reads are polled). Owner: a joystick-family thread.
// Calling thread: that simulation thread only; no lock.
class CPolledInputRead {
public:
    enum class Outcome {
        kNothing,    // still in flight, or no read issued
        kCompleted,  // completed with a report
        kCancelled,  // ended by CancelIo
    };

    // Issues the read; a read that cannot start is dropped and not retried,
    // so a vanished stick does not fail reads every pass.
    void Start(platform::hid::File file, BYTE* buffer, unsigned length);
    // How the pending read ended, once; a read that failed otherwise ends
    // the reading (kNothing).
    Outcome Take();
    // Cancels a read in flight and waits until it has completed, so that
    // the buffer and the record may go away; then closes the event. (The
    // wait is bounded against a driver that never completes a cancelled
    // read; the backend then keeps the record.)
    void Finish(platform::hid::File file);

private:
    std::unique_ptr<platform::SimEvent> m_event;
    platform::hid::AsyncIo m_io;
    bool m_pending = false;
};

// Role: base of the joystick-family threads: runs the base pass and then
// polls the input read; when the read has completed the report is taken
// (positions, then trigger buttons) and the next read issued, and a read that
// was cancelled while the thread goes on is issued again. Owner: the
// device. Threads and lock as CSimThread.
class CPolledInputSimThread : public CSimThread {
public:
    explicit CPolledInputSimThread(Port& port) : CSimThread(port) {}

    bool RunOnce(bool stopping) override;

protected:
    void StartInputRead() override;

private:
    CPolledInputRead m_read;
};

// Role: the joystick family's simulation thread (high and low resolution).
// Owner: the joystick device (created at Open, ended at Close). Threads and
// lock as CSimThread.
class CJoystickSimThread : public CPolledInputSimThread {
public:
    explicit CJoystickSimThread(Port& port);
    ~CJoystickSimThread() override { End(); }

protected:
    void ReportStep(LONG x, LONG y) override;
    // The stick has one condition unit, addressed by axis: a holder writes
    // both axes (clearing the one it does not use), so a second holder would
    // overwrite the first. Only the highest load holds it; the others wait.
    void AssignHardwareSlot(unsigned p, LONG newSlot, DWORD load, LONG* remembered, const SimTick& tick) override;

private:
    std::vector<BYTE> m_report;
    JoystickForceOutput m_output;
};
