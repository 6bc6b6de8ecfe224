// The wheels' simulation thread: one force axis sent as the 0x11 0x08 force
// command (or 0x13 when the force byte is centred), an input loop of
// ReadFileEx completions that feeds the host damper's velocity filters, and
// the wheel's mode reports written ahead of everything else.
//
// Role: CSimThread of the wheel family. Owner: the wheel device that made
// it (Open creates and begins it, Close ends and deletes it). Calling
// threads: as CSimThread; SetModeReport and QueueReport also come from
// application threads. Lock: the device mutex for the pass over the effects
// (base class); the priority report has a small lock of its own.
#pragma once

#include <mutex>
#include <optional>
#include <vector>

#include "force_feedback/legacy/sim/wheel_reports.h"
#include "force_feedback/legacy/sim/sim_thread.h"
#include "force_feedback/legacy/sim/wheel_filters.h"

class CWheelSimThread : public CSimThread {
public:
    explicit CWheelSimThread(Port& port);
    ~CWheelSimThread() override;

    // The mode report (open or close), written at the start of the next
    // pass, before the force report and the queue, or on the last pass
    // before the queue and the stop command, so that it keeps its order
    // against the thread's own writes.
    void SetModeReport(bool open);

    bool RunOnce(bool stopping) override;
    void UpdateInput() override;
    void Tick() override;

protected:
    void ReportStep(LONG x, LONG y) override;

private:
    void WritePriorityReport();
    static DWORD NowMs();

    WheelForceOutput m_forceOutput;
    WheelVelocityEstimator m_velocityEstimator;
    std::mutex m_priorityLock;
    std::optional<std::vector<BYTE>> m_priorityReport;
};
