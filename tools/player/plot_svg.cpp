// The static plot: what a reader of the README or a bug report sees at a
// glance. The interactive page (report_html.cpp) is for exploring.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tools/player/clipping.h"
#include "tools/player/output.h"

namespace ffplay {
namespace {

constexpr double kWidth = 900, kHeight = 470, kLeft = 60, kRight = 24, kTop = 64, kBottom = 86;
constexpr int kLegendColumns = 3;
constexpr double kLegendColumnWidth = 275, kLegendRowHeight = 15;
constexpr size_t kMaxPlotPoints = 1500;  // keeps the file small for long scenarios
constexpr int kTargetTicks = 9;
constexpr size_t kMaxLabelledMarks = 40;  // past this, marks without names: a recording has thousands
constexpr const char* kClipColour = "#d62728";

std::string Num(double v) {
    char b[32];
    std::snprintf(b, sizeof b, "%.1f", v);
    return b;
}

struct Frame {
    double t0, t1;
    double lo, hi;  // value range of the plot's height
    double X(double t) const { return kLeft + (t - t0) / std::max(1.0, t1 - t0) * (kWidth - kLeft - kRight); }
    double Y(double v) const { return kTop + (hi - v) / (hi - lo) * (kHeight - kTop - kBottom); }
};

struct Trace {
    const char* colour;
    std::string label;
    double (*value)(const Sample&);
};

std::vector<Trace> TracesOf(EmulatedFamily family) {
    const Trace commandX{"#1f77b4", "commanded force x (+ from the right)", [](const Sample& s) { return s.forceX / 127.0; }};
    const Trace commandY{"#17becf", "commanded force y", [](const Sample& s) { return s.forceY / 127.0; }};
    const Trace forceX{"#9467bd", "force on axis x (+ to the right)", [](const Sample& s) { return s.totalForceX; }};
    const Trace forceY{"#e377c2", "force on axis y", [](const Sample& s) { return s.totalForceY; }};
    const Trace positionX{"#2ca02c", "position x", [](const Sample& s) { return s.positionX; }};
    const Trace positionY{"#bcbd22", "position y", [](const Sample& s) { return s.positionY; }};
    const Trace motorA{"#ff7f0e", "motor A (0-255)", [](const Sample& s) { return s.motorA / 255.0; }};
    const Trace motorB{"#8c564b", "motor B (0-255)", [](const Sample& s) { return s.motorB / 255.0; }};
    switch (family) {
        case EmulatedFamily::kHiResWheel:
        case EmulatedFamily::kLowResWheel: return {commandX, forceX, positionX};
        case EmulatedFamily::kRumbleA:
        case EmulatedFamily::kRumbleB: return {motorA, motorB};
        default: return {commandX, commandY, forceX, forceY, positionX, positionY};
    }
}

// Lowest and highest value of each stretch of samples, in the order they
// came, so that a peak shorter than a pixel still shows.
std::string Polyline(const PlayResult& r, const Frame& f, const Trace& trace) {
    std::string points;
    const size_t bucket = std::max<size_t>(1, (r.samples.size() + kMaxPlotPoints / 2 - 1) / (kMaxPlotPoints / 2));
    auto put = [&](size_t i) {
        points += Num(f.X(r.samples[i].timeMs)) + "," + Num(f.Y(trace.value(r.samples[i]))) + " ";
    };
    for (size_t from = 0; from < r.samples.size(); from += bucket) {
        const size_t to = std::min(r.samples.size(), from + bucket);
        if (bucket == 1) {
            put(from);
            continue;
        }
        size_t lo = from, hi = from;
        for (size_t i = from; i < to; ++i) {
            if (trace.value(r.samples[i]) < trace.value(r.samples[lo])) lo = i;
            if (trace.value(r.samples[i]) > trace.value(r.samples[hi])) hi = i;
        }
        put(std::min(lo, hi));
        put(std::max(lo, hi));
    }
    return "<polyline class=\"trace\" data-trace=\"" + trace.label + "\" fill=\"none\" stroke=\"" + trace.colour +
           "\" stroke-width=\"1.5\" points=\"" + points + "\"/>\n";
}

std::string Axes(const Frame& f, bool motors) {
    const double w = kWidth - kLeft - kRight, h = kHeight - kTop - kBottom;
    std::string s = "<rect x=\"" + Num(kLeft) + "\" y=\"" + Num(kTop) + "\" width=\"" + Num(w) + "\" height=\"" +
                    Num(h) + "\" fill=\"#fafafa\" stroke=\"#888\"/>\n";
    const double step = TickStepMs(f.t1 - f.t0, kTargetTicks);
    for (double t = 0; t <= f.t1 + 1e-9; t += step) {
        const double x = f.X(t);
        s += "<line x1=\"" + Num(x) + "\" x2=\"" + Num(x) + "\" y1=\"" + Num(kTop) + "\" y2=\"" + Num(kTop + h) +
             "\" stroke=\"#e4e4e4\"/>\n";
        // A label too close to the right edge would leave the image.
        const char* anchor = x > kWidth - kRight - 12 ? "end" : "middle";
        s += "<text class=\"tick\" x=\"" + Num(x) + "\" y=\"" + Num(kTop + h + 15) + "\" text-anchor=\"" + anchor +
             "\">" + TimeLabel(t, step) + "</text>\n";
    }
    s += "<text x=\"" + Num(kWidth - kRight) + "\" y=\"" + Num(kTop + h + 30) + "\" text-anchor=\"end\" fill=\"#666\">time</text>\n";
    const double values[3] = {f.lo, (f.lo + f.hi) / 2, f.hi};
    const char* motorLabels[3] = {"0", "128", "255"};
    for (int i = 0; i < 3; ++i) {
        const double y = f.Y(values[i]);
        if (i == 1) s += "<line x1=\"" + Num(kLeft) + "\" x2=\"" + Num(kWidth - kRight) + "\" y1=\"" + Num(y) +
                         "\" y2=\"" + Num(y) + "\" stroke=\"#ccc\"/>\n";
        s += "<text x=\"" + Num(kLeft - 8) + "\" y=\"" + Num(y + 4) + "\" text-anchor=\"end\">" +
             (motors ? motorLabels[i] : Num(values[i])) + "</text>\n";
    }
    return s;
}

// Shaded stretches where a channel was at the end of its range; ones closer
// than a pixel are drawn as one.
std::string Clipped(const PlayResult& r, const Frame& f) {
    std::string s;
    const ClippingSummary c = MeasureClipping(r);
    double x0 = -1, x1 = -1;
    auto flush = [&] {
        if (x0 < 0) return;
        s += "<rect class=\"clipped\" x=\"" + Num(x0) + "\" y=\"" + Num(kTop) + "\" width=\"" +
             Num(std::max(1.0, x1 - x0)) + "\" height=\"" + Num(kHeight - kTop - kBottom) + "\" fill=\"" + kClipColour +
             "\" fill-opacity=\"0.13\"/>\n";
    };
    for (const Stretch& st : c.stretches) {
        const double a = f.X(st.fromMs), b = f.X(st.toMs);
        if (x0 >= 0 && a - x1 < 1) {
            x1 = b;
            continue;
        }
        flush();
        x0 = a, x1 = b;
    }
    flush();
    return s;
}

// Start marks (a triangle and the effect's name) and stop marks (a square)
// in a band above the plot, with a faint line down through it.
std::string EffectMarks(const PlayResult& r, const Frame& f) {
    std::string s;
    size_t count = 0;
    auto stops = [](const CallMark& c) { return c.kind == StepKind::kStop || c.kind == StepKind::kDestroy; };
    for (const CallMark& c : r.calls) count += c.stepIndex >= 0 && !c.failed && (c.starts || stops(c));
    const bool labelled = count <= kMaxLabelledMarks;
    int row = 0;
    for (const CallMark& c : r.calls) {
        if (c.stepIndex < 0 || c.failed) continue;
        const bool start = c.starts;
        const bool stop = stops(c);
        if (!start && !stop) continue;
        const double x = f.X(c.timeMs);
        const double y = kTop - 20 + (labelled ? row * 10 : 0);
        const char* colour = start ? "#2a7d2a" : "#555";
        s += "<line x1=\"" + Num(x) + "\" x2=\"" + Num(x) + "\" y1=\"" + Num(y + 4) + "\" y2=\"" +
             Num(kHeight - kBottom) + "\" stroke=\"" + colour + "\" stroke-opacity=\"0.35\" stroke-dasharray=\"3,3\"/>\n";
        if (start)
            s += "<path class=\"mark start\" d=\"M" + Num(x - 4) + "," + Num(y - 4) + " L" + Num(x + 4) + "," + Num(y) +
                 " L" + Num(x - 4) + "," + Num(y + 4) + " Z\" fill=\"" + colour + "\"/>\n";
        else
            s += "<rect class=\"mark stop\" x=\"" + Num(x - 3.5) + "\" y=\"" + Num(y - 3.5) +
                 "\" width=\"7\" height=\"7\" fill=\"" + colour + "\"/>\n";
        if (labelled) {
            const bool right = x < kWidth - 120;
            s += "<text x=\"" + Num(right ? x + 7 : x - 7) + "\" y=\"" + Num(y + 4) + "\" font-size=\"10\" fill=\"" +
                 colour + "\" text-anchor=\"" + (right ? "start" : "end") + "\">" + (start ? "" : "stop ") + EscapeMarkup(c.effect) +
                 "</text>\n";
            row = (row + 1) % 2;
        }
    }
    return s;
}

}  // namespace

double TickStepMs(double spanMs, int target) {
    const double raw = std::max(1.0, spanMs / std::max(1, target));
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    for (const double m : {1.0, 2.0, 5.0})
        if (m * power >= raw) return m * power;
    return 10 * power;
}

// Names come from scenario files and may hold any character.
std::string EscapeMarkup(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '<') out += "&lt;";
        else if (c == '>') out += "&gt;";
        else if (c == '&') out += "&amp;";
        else if (c == '"') out += "&quot;";
        else out += c;
    }
    return out;
}

std::string TimeLabel(double ms, double stepMs) {
    if (ms == 0) return "0";
    char b[32];
    if (stepMs < 100) {
        std::snprintf(b, sizeof b, "%.0f ms", ms);
        return b;
    }
    std::snprintf(b, sizeof b, "%.1f", ms / 1000);
    std::string text = b;
    if (text.size() > 2 && text.compare(text.size() - 2, 2, ".0") == 0) text.resize(text.size() - 2);
    return text + " s";
}

std::string PlotSvg(const PlayResult& result, const std::string& title) {
    const bool motors = result.family == EmulatedFamily::kRumbleA || result.family == EmulatedFamily::kRumbleB;
    const Frame f{0, result.samples.empty() ? 1.0 : static_cast<double>(result.samples.back().timeMs),
                  motors ? 0.0 : -1.0, 1.0};
    std::string s = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Num(kWidth) + "\" height=\"" + Num(kHeight) +
                    "\" font-family=\"sans-serif\" font-size=\"11\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    s += "<text x=\"" + Num(kLeft) + "\" y=\"20\" font-size=\"14\">" + EscapeMarkup(title) + "</text>\n" + Axes(f, motors);
    s += Clipped(result, f);
    // One tick per half pixel at most: a recording writes thousands.
    std::string lastTick;
    for (const ReportMark& m : result.reports) {
        const std::string x = Num(std::round(f.X(m.timeMs) * 2) / 2);
        if (x == lastTick) continue;
        lastTick = x;
        s += "<line x1=\"" + x + "\" x2=\"" + x + "\" y1=\"" + Num(kTop) + "\" y2=\"" + Num(kTop + 6) +
             "\" stroke=\"#d62728\"/>\n";
    }
    const std::vector<Trace> traces = TracesOf(result.family);
    for (const Trace& t : traces) s += Polyline(result, f, t);
    s += EffectMarks(result, f);
    struct Legend {
        std::string colour, text;
    };
    std::vector<Legend> legend;
    for (const Trace& t : traces) legend.push_back({t.colour, t.label});
    legend.push_back({"#d62728", "report written (ticks at top)"});
    legend.push_back({"#e8a0a0", std::string(motors ? "motor" : "force") + " at the end of its range (shaded)"});
    legend.push_back({"#2a7d2a", "effect started (triangle) / stopped (square)"});
    for (size_t i = 0; i < legend.size(); ++i)
        s += "<text x=\"" + Num(kLeft + (i % kLegendColumns) * kLegendColumnWidth) + "\" y=\"" +
             Num(kHeight - 44 + (i / kLegendColumns) * kLegendRowHeight) + "\" fill=\"" + legend[i].colour + "\">" +
             legend[i].text + "</text>\n";
    if (result.reports.empty())
        s += "<text x=\"" + Num(kWidth / 2) + "\" y=\"" + Num(kTop + 30) +
             "\" text-anchor=\"middle\" fill=\"#d62728\">no reports: the device was not opened (DeviceID " +
             result.deviceIdResult + ")</text>\n";
    return s + "</svg>\n";
}

}  // namespace ffplay
