#include "force_feedback/legacy/sim/rumble_sim_thread.h"

#include <algorithm>
#include <vector>

#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/settings/global_data.h"

CRumbleSimThread::CRumbleSimThread(Port& port, RumbleLayout layout) : CSimThread(port), m_layout(layout) {}

bool CRumbleSimThread::RunOnce(bool stopping) {
    if (!stopping) {
        // The pad is told to start once, before its first motor report.
        Report start;
        if (FirstPass() && BuildAlternativeReport(start)) WriteFormatted(start);
        return CSimThread::RunOnce(false);
    }
    CancelInputRead();
    Report stop;
    if (BuildStopReport(stop)) WriteFormatted(stop);
    return false;
}

void CRumbleSimThread::AddForce(ForceSums& sums, LONG x, LONG y, LONG) {
    sums.x1 += x;
    sums.y1 += y;
}

void CRumbleSimThread::ReportStep(LONG x, LONG y) {
    const bool forced = m_output.StartPass();
    const RumbleDecision decision = m_output.Decide(x, y, forced, SettingsView());
    Report report;
    bool build = false;
    if (decision.send == RumbleSend::Stop) build = BuildStopReport(report);
    if (decision.send == RumbleSend::Motors) build = BuildMotorReport(report, decision.motors.a, decision.motors.b);
    if (build) WriteFormatted(report);
    m_declined = decision.send != RumbleSend::Nothing && !build;
}

void CRumbleSimThread::EndPass(bool anyPlaying) {
    // While effects play, passes that find nothing new return at once and
    // the paced writes set the rhythm; an idle pad still wakes every 8 ms for
    // the refresh countdown. A thread whose layout formats nothing would
    // never write, so it keeps the idle rhythm instead of spinning.
    if (!anyPlaying || m_declined) platform::SimSleep(kIdlePassMs, /*alertable=*/false);
}

RumbleSettingsView CRumbleSimThread::SettingsView() {
    Port* device = GetDevice();
    RumbleSettingsView view;
    view.range = device->GetByteRange();
    if (const CGlobalData* settings = device->GetSettingsView()) {
        view.present = true;
        view.amplitudeBasedForce = settings->GetAmplitudeBasedForce();
        view.amplitudeBasedForceThreshold = settings->GetAmplitudeBasedForceThreshold();
    }
    return view;
}

void CRumbleSimThread::WriteFormatted(const Report& report) {
    // The output report may be longer than the formatted buffer; the rest
    // stays zero.
    std::vector<BYTE> out(std::max<unsigned>(OutputReportLength(), rumble::kReportBufferLength), 0);
    std::copy(std::begin(report), std::end(report), out.begin());
    WriteReport(out.data(), OutputReportLength());
}

bool CRumbleSimThread::BuildStopReport(Report& report) { return BuildRumbleStop(m_layout, report); }

bool CRumbleSimThread::BuildAlternativeReport(Report& report) { return BuildRumbleStart(m_layout, report); }

bool CRumbleSimThread::BuildMotorReport(Report& report, BYTE motorA, BYTE motorB) {
    return BuildRumbleMotors(m_layout, report, {motorA, motorB});
}
