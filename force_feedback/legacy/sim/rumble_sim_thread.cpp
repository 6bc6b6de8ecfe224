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
        if (m_firstPass && BuildAlternativeReport(start)) WriteFormatted(start);
        return CSimThread::RunOnce(false);
    }
    CancelInputRead();
    Report stop;
    if (BuildStopReport(stop)) WriteFormatted(stop);
    return false;
}

void CRumbleSimThread::Tick() {
    const SimTick tick{TickLength()};
    Port* device = GetDevice();
    device->RefreshChangedSettings();
    const bool forced = m_output.StartPass();
    ForceSums sums;
    const bool anyPlaying = SumEffects(tick, sums);
    if (const CGlobalData* settings = device->GetSettingsView()) {
        ScaleSums(sums, settings->GetCombinedGain(), settings->GetCurveKnee(),
                  [device](LONG force) { return device->MapForce(force); });
    }
    const RumbleDecision decision = m_output.Decide(sums.x1, sums.y1, forced, SettingsView());
    Report report;
    bool build = false;
    if (decision.send == RumbleSend::Stop) build = BuildStopReport(report);
    if (decision.send == RumbleSend::Motors) build = BuildMotorReport(report, decision.motors.a, decision.motors.b);
    if (build) WriteFormatted(report);
    // While effects play, passes that find nothing new return at once and
    // the paced writes set the rhythm; an idle pad still wakes every 8 ms for
    // the refresh countdown. A thread whose layout formats nothing would
    // never write, so it keeps the idle rhythm instead of spinning.
    const bool declined = decision.send != RumbleSend::Nothing && !build;
    if (!anyPlaying || declined) platform::SimSleep(kIdlePassMs, /*alertable=*/false);
}

bool CRumbleSimThread::SumEffects(const SimTick& tick, ForceSums& sums) {
    Port* device = GetDevice();
    std::lock_guard lock(device->Mutex());
    bool anyPlaying = false;
    for (DWORD i = 0; i < kEffectSlots; ++i) {
        CEffect* e = device->GetEffect(i);
        if (e == nullptr) continue;
        anyPlaying = anyPlaying || e->IsPlaying();
        if (!e->IsSimulated()) continue;
        e->Update(&tick);
        LONG x = 0, y = 0, summingClass = 0;
        // Both motors take every force alike: the summing class does not
        // split the sum here.
        if (e->GetForce(&x, &y, &summingClass) != S_OK) continue;
        sums.x1 += x;
        sums.y1 += y;
    }
    return anyPlaying;
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
