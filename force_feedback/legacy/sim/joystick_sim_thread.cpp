#include "force_feedback/legacy/sim/joystick_sim_thread.h"

#include <algorithm>

namespace {
// A cancelled read completes at once on every backend we know; the waits for
// it are bounded only against a driver that never signals (the backend then
// keeps the record, see platform/hid.h). Alertable waits that ran another
// request's completion routine do not count.
constexpr std::uint32_t kCancelWaitMs = 50;
constexpr unsigned kCancelTimeouts = 20;
}  // namespace

void CPolledInputRead::Start(platform::hid::File file, BYTE* buffer, unsigned length) {
    if (m_pending || length == 0 || file == platform::hid::InvalidFile()) return;
    if (!m_event) {
        m_event = std::make_unique<platform::SimEvent>(/*manualReset=*/true, /*initiallySignaled=*/false);
        if (!m_event->IsValid()) {
            m_event.reset();
            return;
        }
    }
    // Offsets and status are cleared before every reuse of the record.
    m_io.Reset();
    m_pending = platform::hid::ReadFileOverlapped(file, buffer, length, &m_io, m_event.get());
}

CPolledInputRead::Outcome CPolledInputRead::Take() {
    if (!m_pending) return Outcome::kNothing;
    const DWORD status = m_io.Status();
    if (status == platform::hid::kStatusPending) return Outcome::kNothing;
    m_pending = false;
    if (status == 0) return Outcome::kCompleted;
    return status == platform::hid::kStatusCancelled ? Outcome::kCancelled : Outcome::kNothing;
}

void CPolledInputRead::Finish(platform::hid::File file) {
    if (m_pending) {
        platform::hid::CancelIo(file);
        // The record and the buffer must outlive the request: wait until it
        // has completed, not merely until the first wake-up.
        unsigned timeouts = 0;
        while (m_io.Status() == platform::hid::kStatusPending && timeouts < kCancelTimeouts) {
            const platform::SimWaitResult woke = platform::SimWait(*m_event, kCancelWaitMs, /*alertable=*/true);
            if (woke == platform::SimWaitResult::kTimeout || woke == platform::SimWaitResult::kFailed) ++timeouts;
        }
        m_pending = false;
        // A request that never completed may still set the event.
        if (m_io.Status() == platform::hid::kStatusPending) return;
    }
    m_event.reset();
}

bool CPolledInputSimThread::RunOnce(bool stopping) {
    if (stopping) m_read.Finish(GetDevice()->GetHidHandle());
    const bool go = CSimThread::RunOnce(stopping);
    if (!go) return go;
    switch (m_read.Take()) {
        case CPolledInputRead::Outcome::kCompleted:
            GetDevice()->OnInputRead(InputBuffer(), InputReportLength());
            UpdateInput();
            ProcessTriggers();
            StartInputRead();
            break;
        case CPolledInputRead::Outcome::kCancelled:
            // A write given up after a stall cancels every request of this
            // thread on the handle, the read included; one read must stay
            // outstanding. (The thread's own cancel comes with stopping.)
            StartInputRead();
            break;
        case CPolledInputRead::Outcome::kNothing:
            break;
    }
    return go;
}

void CPolledInputSimThread::StartInputRead() {
    m_read.Start(GetDevice()->GetHidHandle(), MutableInputBuffer(), InputReportLength());
}

CJoystickSimThread::CJoystickSimThread(Port& port)
    : CPolledInputSimThread(port), m_report(std::max(OutputReportLength(), 1u), 0) {}

void CJoystickSimThread::AssignHardwareSlot(unsigned p, LONG newSlot, DWORD load, LONG* remembered,
                                            const SimTick& tick) {
    if (p != 0) return;
    CSimThread::AssignHardwareSlot(p, newSlot, load, remembered, tick);
}

void CJoystickSimThread::ReportStep(LONG x, LONG y) {
    if (m_output.Build(x, y, GetDevice()->GetByteRange(), m_report.data(), OutputReportLength())) {
        WriteReport(m_report.data(), OutputReportLength());
    }
}
