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

#include "force_feedback/legacy/devices/rumble_reports.h"
#include "force_feedback/legacy/sim/sim_thread.h"

class CRumbleSimThread : public CSimThread {
public:
    using Report = BYTE[rumble::kReportBufferLength];

    // `layout` None: the bare family thread, whose builders format nothing.
    explicit CRumbleSimThread(CVDevice* device, RumbleLayout layout = RumbleLayout::None);
    ~CRumbleSimThread() override { End(); }

    // First pass: the start report; then the passes; the last pass writes
    // the stop report and leaves the report queue as it is.
    bool RunOnce(bool stopping) override;
    void Tick() override;

    // The formatters, each given a buffer it zeroes first; true when there is
    // a report to write.
    virtual bool BuildStopReport(Report& report);
    // The start report; never called by the pass itself.
    virtual bool BuildAlternativeReport(Report& report);
    virtual bool BuildMotorReport(Report& report, BYTE motorA, BYTE motorB);

private:
    // Steps 1-3 of the pass: true when some effect was playing.
    bool SumEffects(const SimTick& tick, ForceSums& sums);
    RumbleSettingsView SettingsView();
    // Writes a formatted report with the device's output report length.
    void WriteFormatted(const Report& report);

    RumbleLayout m_layout;
    RumbleOutput m_output;
};

// The per-model threads: a model's class is its family-table row.
#define FFDRV_RUMBLE_SIM_THREAD(Codename)                                                           \
    class C##Codename##RumbleSimThread final : public CRumbleSimThread {                           \
    public:                                                                                        \
        explicit C##Codename##RumbleSimThread(CVDevice* device)                                    \
            : CRumbleSimThread(device, RumbleLayoutOf(Product(Model::Codename))) {}               \
    }

FFDRV_RUMBLE_SIM_THREAD(Zorvel);
FFDRV_RUMBLE_SIM_THREAD(Brennick);
FFDRV_RUMBLE_SIM_THREAD(Tollund);
FFDRV_RUMBLE_SIM_THREAD(Vesk);
FFDRV_RUMBLE_SIM_THREAD(Lumisk);

#undef FFDRV_RUMBLE_SIM_THREAD
