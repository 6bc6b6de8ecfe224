#include "force_feedback/legacy/sim/wheel_sim_thread.h"

#include <algorithm>

#include "platform/sim_clock.h"

namespace {
std::array<LONG, velocity::kFilterCount> RawCentres(CSimThread::Port& port) {
    const CalibrationRecord raw = port.GetCalibrationRecord(/*raw=*/true);
    return {raw.axes[0].centre, raw.axes[1].centre, 0, 0};
}
}  // namespace

CWheelSimThread::CWheelSimThread(Port& port)
    : CSimThread(port), m_velocityEstimator(RawCentres(port), NowMs()) {}

CWheelSimThread::~CWheelSimThread() { End(); }

DWORD CWheelSimThread::NowMs() { return platform::BracketedSimTimeMs(); }

void CWheelSimThread::SetModeReport(bool open) {
    std::vector<BYTE> report(std::max(OutputReportLength(), 1u), 0);
    BuildWheelModeReport(open, report.data(), static_cast<unsigned>(report.size()));
    std::lock_guard lock(m_priorityLock);
    m_priorityReport = std::move(report);
}

void CWheelSimThread::WritePriorityReport() {
    std::optional<std::vector<BYTE>> report;
    {
        std::lock_guard lock(m_priorityLock);
        report.swap(m_priorityReport);
    }
    if (!report) return;
    report->resize(std::max<std::size_t>(report->size(), OutputReportLength()), 0);
    WriteReport(report->data(), OutputReportLength());
}

bool CWheelSimThread::RunOnce(bool stopping) {
    // The mode-close report goes out before the queue and the stop command.
    if (stopping) WritePriorityReport();
    return CSimThread::RunOnce(stopping);
}

void CWheelSimThread::UpdateInput() {
    const AxisPair position = ReadPositions();
    m_velocityEstimator.OnInput({position[0], position[1], 0, 0}, NowMs());
    PublishInput(position, {m_velocityEstimator.Velocity(0), m_velocityEstimator.Velocity(1)});
    GetDevice()->OnInputReport(InputBuffer(), InputReportLength());
}

void CWheelSimThread::Tick() {
    // A wheel reports only when it moves: a wheel that went quiet has
    // stopped, and its damper must let go.
    m_velocityEstimator.OnPass(NowMs());
    PublishVelocity(0, m_velocityEstimator.Velocity(0));
    CSimThread::Tick();
}

void CWheelSimThread::ReportStep(LONG x, LONG y) {
    WritePriorityReport();
    std::vector<BYTE> report(std::max(OutputReportLength(), 1u), 0);
    if (!m_forceOutput.Build(x, y, GetDevice()->GetByteRange(), report.data(), OutputReportLength())) return;
    WriteReport(report.data(), OutputReportLength());
}
