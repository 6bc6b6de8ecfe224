// The rumble pads' simulation thread: runs every effect on the host (a pad
// has no force axes), turns the summed two-axis force into two motor speeds
// and writes them in the model's report layout.
//
// Role: CRumbleSimThread is the family's pass; it formats nothing itself
// (its builders answer false, so a bare family device computes motors but
// never writes). Each model's class only names its row, for the layout.
// Owner: the rumble device (created in Open, ended and deleted in Close or
// the destructor). Calling threads: Begin/Pause/Resume/End from application
// threads; the pass, the builders and the motor memory on the thread only.
// Lock: the device mutex for the pass over the effect table, never across a
// write.
#pragma once

#include "force_feedback/legacy/sim/rumble_reports.h"
#include "force_feedback/legacy/sim/sim_thread.h"

class CRumbleSimThread : public CSimThread {
public:
    using Report = BYTE[rumble::kReportBufferLength];

    // `layout` None: the bare family thread, whose builders format nothing.
    explicit CRumbleSimThread(Port& port, RumbleLayout layout = RumbleLayout::None);
    ~CRumbleSimThread() override { End(); }

    // First pass: the start report; then the passes; the last pass writes
    // the stop report and leaves the report queue as it is.
    bool RunOnce(bool stopping) override;
    // A pad has no hardware condition slots.
    void AssignHardwareSlot(unsigned, LONG, DWORD, LONG*, const SimTick&) override {}

    // The formatters, each given a buffer it zeroes first; true when there is
    // a report to write.
    virtual bool BuildStopReport(Report& report);
    // The start report; never called by the pass itself.
    virtual bool BuildAlternativeReport(Report& report);
    virtual bool BuildMotorReport(Report& report, BYTE motorA, BYTE motorB);

protected:
    // Both motors take every force alike: the summing class does not split
    // the sum here.
    void AddForce(ForceSums& sums, LONG x, LONG y, LONG summingClass) override;
    // The motors, or the stop report, when they changed or the refresh is due.
    void ReportStep(LONG x, LONG y) override;
    // The queue is not written by the pad's passes; the idle rhythm below.
    void EndPass(bool anyPlaying) override;

private:
    RumbleSettingsView SettingsView();
    // Writes a formatted report with the device's output report length.
    void WriteFormatted(const Report& report);

    RumbleLayout m_layout;
    RumbleOutput m_output;
    // The pass had a report to send that the layout would not format.
    bool m_declined = false;
};

// The per-model threads: the model's device hands in the layout of its
// family-table row.
#define FFDRV_RUMBLE_SIM_THREAD(Codename)                                                           \
    class C##Codename##RumbleSimThread final : public CRumbleSimThread {                           \
    public:                                                                                        \
        C##Codename##RumbleSimThread(Port& port, RumbleLayout layout) : CRumbleSimThread(port, layout) {} \
    }

FFDRV_RUMBLE_SIM_THREAD(Zorvel);
FFDRV_RUMBLE_SIM_THREAD(Brennick);
FFDRV_RUMBLE_SIM_THREAD(Tollund);
FFDRV_RUMBLE_SIM_THREAD(Vesk);
FFDRV_RUMBLE_SIM_THREAD(Lumisk);

#undef FFDRV_RUMBLE_SIM_THREAD
