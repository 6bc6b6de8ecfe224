#include "force_feedback/legacy/devices/rumble_reports.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr LONG kForceLimit = 127;
constexpr LONG kMotorPerForce = 2;

BYTE MotorOf(LONG force) { return static_cast<BYTE>(std::abs(force) * kMotorPerForce); }

}  // namespace

RumbleLayout RumbleLayoutOf(const ModelRow& row) {
    switch (row.layout) {
        case ReportLayout::RumbleA: return RumbleLayout::A;
        case ReportLayout::RumbleB: return RumbleLayout::B;
        default: return RumbleLayout::None;
    }
}

MotorPair MotorsFromForce(LONG x, LONG y) { return {MotorOf(x), MotorOf(y)}; }

MotorPair CombineByAmplitude(MotorPair m, DWORD thresholdSetting) {
    double r = std::sqrt(std::pow(static_cast<double>(m.b), 2.0) + std::pow(static_cast<double>(m.a), 2.0));
    r = std::min(r, rumble::kMaxCombined);
    const auto c = static_cast<BYTE>(r);
    // Unsigned 32-bit arithmetic as the setting is stored; a huge setting
    // wraps rather than saturating.
    const DWORD threshold = thresholdSetting * rumble::kThresholdScale / rumble::kFullScale;
    // A weak combined force runs motor A, a strong one motor B.
    if (r < static_cast<double>(threshold)) return {c, 0};
    return {0, c};
}

MotorPair ClampMotors(MotorPair m, ByteRange range) { return {ClampToRange(m.a, range), ClampToRange(m.b, range)}; }

bool RumbleOutput::StartPass() {
    if (--m_refreshCountdown > 0) return false;
    m_refreshCountdown = rumble::kRefreshPasses;
    return true;
}

RumbleDecision RumbleOutput::Decide(LONG x, LONG y, bool forced, const RumbleSettingsView& settings) {
    x = std::clamp(x, -kForceLimit, kForceLimit);
    y = std::clamp(y, -kForceLimit, kForceLimit);
    if (x == m_lastSentX && y == m_lastSentY && !forced) return {RumbleSend::Nothing, {0, 0}};
    m_lastSentX = x;
    m_lastSentY = y;
    MotorPair motors = MotorsFromForce(x, y);
    if (settings.present && settings.amplitudeBasedForce != 0) motors = CombineByAmplitude(motors, settings.amplitudeBasedForceThreshold);
    motors = ClampMotors(motors, settings.range);
    if (motors.a == 0 && motors.b == 0) return {RumbleSend::Stop, motors};
    return {RumbleSend::Motors, motors};
}

bool BuildRumbleStop(RumbleLayout layout, BYTE (&report)[rumble::kReportBufferLength]) {
    std::memset(report, 0, sizeof report);
    switch (layout) {
        case RumbleLayout::A:
            report[rumble::kCommandAt] = rumble::kACmdStop;
            return true;
        case RumbleLayout::B:
            // Both motor bytes stay 0: the stop report is a motors report at rest.
            report[rumble::kReportIdAt] = rumble::kBReportId;
            report[rumble::kCommandAt] = rumble::kBCmdMotors;
            return true;
        case RumbleLayout::None: break;
    }
    return false;
}

bool BuildRumbleStart(RumbleLayout layout, BYTE (&report)[rumble::kReportBufferLength]) {
    std::memset(report, 0, sizeof report);
    if (layout != RumbleLayout::A) return false;
    report[rumble::kCommandAt] = rumble::kAStartLow;
    report[rumble::kCommandAt + 1] = rumble::kAStartHigh;
    return true;
}

bool BuildRumbleMotors(RumbleLayout layout, BYTE (&report)[rumble::kReportBufferLength], MotorPair motors) {
    std::memset(report, 0, sizeof report);
    switch (layout) {
        case RumbleLayout::A:
            report[rumble::kCommandAt] = rumble::kACmdMotors;
            report[rumble::kAMotorAAt] = motors.a;
            report[rumble::kAMotorBAt] = motors.b;
            return true;
        case RumbleLayout::B:
            report[rumble::kReportIdAt] = rumble::kBReportId;
            report[rumble::kCommandAt] = rumble::kBCmdMotors;
            report[rumble::kBMotorAAt] = motors.a;
            report[rumble::kBMotorBAt] = motors.b;
            return true;
        case RumbleLayout::None: break;
    }
    return false;
}

bool BuildRumbleReport(RumbleLayout layout, const RumbleDecision& decision, BYTE (&report)[rumble::kReportBufferLength]) {
    switch (decision.send) {
        case RumbleSend::Stop: return BuildRumbleStop(layout, report);
        case RumbleSend::Motors: return BuildRumbleMotors(layout, report, decision.motors);
        case RumbleSend::Nothing: break;
    }
    std::memset(report, 0, sizeof report);
    return false;
}
