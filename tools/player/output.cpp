#include "tools/player/output.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace ffplay {
namespace {

constexpr double kWidth = 900, kHeight = 440, kLeft = 60, kRight = 20, kTop = 40, kBottom = 66;
constexpr int kLegendColumns = 3;
constexpr double kLegendColumnWidth = 270, kLegendRowHeight = 15;
constexpr size_t kMaxPlotPoints = 1500;  // keeps the file small for long scenarios

std::string Num(double v) {
    char b[32];
    std::snprintf(b, sizeof b, "%.1f", v);
    return b;
}

struct Frame {
    double t0, t1;
    double X(double t) const { return kLeft + (t - t0) / std::max(1.0, t1 - t0) * (kWidth - kLeft - kRight); }
    // -1..1 onto the plot's height.
    static double Y(double v) { return kTop + (1 - v) / 2 * (kHeight - kTop - kBottom); }
};

std::string Polyline(const PlayResult& r, const Frame& f, double (*value)(const Sample&), const char* colour) {
    std::string points;
    const size_t step = std::max<size_t>(1, r.samples.size() / kMaxPlotPoints);
    for (size_t i = 0; i < r.samples.size(); i += step)
        points += Num(f.X(r.samples[i].timeMs)) + "," + Num(Frame::Y(value(r.samples[i]))) + " ";
    return "<polyline fill=\"none\" stroke=\"" + std::string(colour) + "\" stroke-width=\"1.5\" points=\"" + points +
           "\"/>\n";
}

std::string Axes(const Frame& f) {
    std::string s = "<rect x=\"" + Num(kLeft) + "\" y=\"" + Num(kTop) + "\" width=\"" + Num(kWidth - kLeft - kRight) +
                    "\" height=\"" + Num(kHeight - kTop - kBottom) + "\" fill=\"#fafafa\" stroke=\"#888\"/>\n";
    s += "<line x1=\"" + Num(kLeft) + "\" x2=\"" + Num(kWidth - kRight) + "\" y1=\"" + Num(Frame::Y(0)) + "\" y2=\"" +
         Num(Frame::Y(0)) + "\" stroke=\"#ccc\"/>\n";
    for (double v : {-1.0, 0.0, 1.0})
        s += "<text x=\"" + Num(kLeft - 8) + "\" y=\"" + Num(Frame::Y(v) + 4) + "\" text-anchor=\"end\">" + Num(v) +
             "</text>\n";
    for (int i = 0; i <= 5; ++i) {
        const double t = f.t0 + (f.t1 - f.t0) * i / 5;
        // The last label ends at the frame's edge so it stays inside the image.
        const char* anchor = i == 5 ? "end" : "middle";
        s += "<text x=\"" + Num(f.X(t)) + "\" y=\"" + Num(kHeight - kBottom + 16) + "\" text-anchor=\"" + anchor +
             "\">" + Num(t) + " ms</text>\n";
    }
    return s;
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

std::string PlotSvg(const PlayResult& result, const std::string& title) {
    Frame f{0, result.samples.empty() ? 1.0 : static_cast<double>(result.samples.back().timeMs)};
    std::string s = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Num(kWidth) + "\" height=\"" + Num(kHeight) +
                    "\" font-family=\"sans-serif\" font-size=\"11\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    s += "<text x=\"" + Num(kLeft) + "\" y=\"22\" font-size=\"14\">" + title + "</text>\n" + Axes(f);
    for (const ReportMark& m : result.reports)
        s += "<line x1=\"" + Num(f.X(m.timeMs)) + "\" x2=\"" + Num(f.X(m.timeMs)) + "\" y1=\"" + Num(kTop) + "\" y2=\"" +
             Num(kTop + 8) + "\" stroke=\"#d62728\"/>\n";
    s += Polyline(result, f, [](const Sample& x) { return x.forceX / 127.0; }, "#1f77b4");
    s += Polyline(result, f, [](const Sample& x) { return x.totalForceX; }, "#9467bd");
    s += Polyline(result, f, [](const Sample& x) { return x.positionX; }, "#2ca02c");
    s += Polyline(result, f, [](const Sample& x) { return (x.motorA - x.motorB) / 255.0; }, "#ff7f0e");
    const char* legend[][2] = {{"#1f77b4", "commanded force x (+ from the right)"}, {"#9467bd", "force on axis x (+ to the right)"},
                               {"#2ca02c", "position x"}, {"#ff7f0e", "motor A - motor B"},
                               {"#d62728", "report written (ticks at top)"}};
    for (int i = 0; i < 5; ++i)
        s += "<text x=\"" + Num(kLeft + (i % kLegendColumns) * kLegendColumnWidth) + "\" y=\"" +
             Num(kHeight - 26 + (i / kLegendColumns) * kLegendRowHeight) + "\" fill=\"" + legend[i][0] + "\">" +
             legend[i][1] + "</text>\n";
    if (result.reports.empty())
        s += "<text x=\"" + Num(kWidth / 2) + "\" y=\"" + Num(kTop + 30) +
             "\" text-anchor=\"middle\" fill=\"#d62728\">no reports: the device was not opened (DeviceID " +
             result.deviceIdResult + ")</text>\n";
    return s + "</svg>\n";
}

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
    for (const ReportMark& m : result.reports) ++kinds[m.meaning.substr(0, m.meaning.find_first_of("=:0123456789[("))];
    for (const auto& [kind, count] : kinds) s += "  " + std::to_string(count) + " x " + kind + "\n";
    if (!result.samples.empty()) {
        const Sample& last = result.samples.back();
        s += "Final position x " + Num(last.positionX) + ", force x " + std::to_string(last.forceX) + ", motors " +
             std::to_string(last.motorA) + "/" + std::to_string(last.motorB) + "\n";
    }
    return s;
}

}  // namespace ffplay
