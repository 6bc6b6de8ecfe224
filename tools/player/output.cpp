#include "tools/player/output.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace ffplay {
namespace {

std::string Num(double v) {
    char b[32];
    std::snprintf(b, sizeof b, "%.1f", v);
    return b;
}

}  // namespace

std::string TraceText(const PlayResult& result) {
    std::string text;
    for (const std::string& line : result.trace) text += line + "\n";
    return text;
}

std::string SamplesCsv(const PlayResult& result) {
    std::string csv = "time_ms,force_x,force_y,total_force_x,position_x,position_y,motor_a,motor_b,buttons\n";
    char line[160];
    for (const Sample& s : result.samples) {
        std::snprintf(line, sizeof line, "%u,%d,%d,%.4f,%.4f,%.4f,%d,%d,%llu\n", s.timeMs, s.forceX, s.forceY,
                      s.totalForceX, s.positionX, s.positionY, s.motorA, s.motorB,
                      static_cast<unsigned long long>(s.buttons));
        csv += line;
    }
    return csv;
}

std::string ReportKind(const std::string& meaning) { return meaning.substr(0, meaning.find_first_of("=:0123456789[(")); }

std::string Summary(const Scenario& scenario, const PlayResult& result) {
    std::string s = "Scenario " + scenario.file + ": " + Product(scenario.model).codename + " at joystick " +
                    std::to_string(scenario.joystickId) + ", " + std::to_string(scenario.TotalWaitMs()) + " ms\n";
    if (!result.deviceOpened)
        s += "The device could not be opened: DeviceID returned " + result.deviceIdResult +
             "; every later call is shown with the driver's result.\n";
    s += std::to_string(result.callCount) + " driver calls, " + std::to_string(result.failedCalls) +
         " failed unexpectedly, " + std::to_string(result.expectedRejections) + " rejected as expected; " +
         std::to_string(result.reports.size()) + " reports written\n";
    std::map<std::string, int> kinds;
    for (const ReportMark& m : result.reports) ++kinds[ReportKind(m.meaning)];
    for (const auto& [kind, count] : kinds) s += "  " + std::to_string(count) + " x " + kind + "\n";
    if (!result.samples.empty()) {
        const Sample& last = result.samples.back();
        s += "Final position x " + Num(last.positionX) + ", force x " + std::to_string(last.forceX) + ", motors " +
             std::to_string(last.motorA) + "/" + std::to_string(last.motorB) + "\n";
    }
    return s;
}

}  // namespace ffplay
