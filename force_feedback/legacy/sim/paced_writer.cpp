#include "force_feedback/legacy/sim/paced_writer.h"

#include "platform/sim_clock.h"

namespace hid = platform::hid;
using platform::SimWaitResult;

namespace {
// What the completion routine touches. It lives on the heap so that a write
// whose completion never arrives, even after cancelling, can be abandoned
// without the late routine writing into a dead stack frame.
struct WriteState {
    platform::SimEvent done{/*manualReset=*/true, /*initiallySignaled=*/false};
    hid::AsyncIo io;
    bool completed = false;
};

void OnWritten(DWORD, DWORD, hid::AsyncIo* io) {
    auto* state = static_cast<WriteState*>(io->context);
    state->completed = true;
    state->done.Set();
}

// Waits 50 ms at a time; a wake-up that only ran completion routines does not
// count. After the twentieth time-out the write is cancelled.
bool AwaitCompletion(hid::File handle, WriteState& state) {
    unsigned timeouts = 0;
    for (;;) {
        switch (platform::SimWait(state.done, kWriteWaitMs, /*alertable=*/true)) {
        case SimWaitResult::kSignaled:
            // A completion that reported an error still holds the device's
            // 8 ms before the next report.
            if (state.io.Status() != 0) platform::SimSleep(kReportPeriodMs, true);
            return true;
        case SimWaitResult::kIoCompletion:
            continue;
        case SimWaitResult::kTimeout:
            if (++timeouts < kWriteWaitsBeforeCancel) continue;
            break;
        case SimWaitResult::kFailed:
            break;
        }
        hid::CancelIo(handle);
        platform::SimSleep(kReportPeriodMs, true);  // lets the cancelled completion run
        return false;
    }
}
}  // namespace

bool WritePacedReport(hid::File handle, std::uint8_t reportId, std::uint8_t* report, unsigned length) {
    auto* state = new WriteState;
    platform::SimTimerGuard guard;
    guard.Activate();
    const std::uint32_t start = platform::SimTimeMs();
    report[0] = reportId;
    state->io.context = state;
    bool written = false;
    const bool started = hid::WriteFileEx(handle, report, length, &state->io, &OnWritten);
    if (started) written = AwaitCompletion(handle, *state);
    if (!started || state->completed) delete state;  // else abandoned, see WriteState
    const std::uint32_t elapsed = platform::SimTimeMs() - start;
    if (elapsed < kReportPeriodSlackMs) platform::SimSleep(kReportPeriodMs - elapsed, /*alertable=*/false);
    guard.Deactivate();
    return written;
}
