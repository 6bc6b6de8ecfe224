#include "tools/player/report_html.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>

#include "tools/player/output.h"
#include "tools/player/report_assets.h"

namespace ffplay {
namespace {

constexpr double kForceScale = 1000;    // forces and positions: thousandths of full scale
constexpr double kCommandScale = 1;     // force commands and motor bytes as sent
constexpr std::uint64_t kForever = std::numeric_limits<std::uint64_t>::max();

// Escapes for a JSON string that sits inside a <script> element: "<" never
// appears, so neither "</script>" nor "<!--" can end or bend the element.
std::string Json(const std::string& s) {
    std::string out = "\"";
    for (const unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20 || c == '<' || c == '>' || c == '&') {
            char b[8];
            std::snprintf(b, sizeof b, "\\u%04x", c);
            out += b;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

std::string Base64(const std::vector<std::uint8_t>& bytes) {
    static const char* const kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const std::uint32_t n = (bytes[i] << 16) | ((i + 1 < bytes.size() ? bytes[i + 1] : 0) << 8) |
                                (i + 2 < bytes.size() ? bytes[i + 2] : 0);
        out += kAlphabet[(n >> 18) & 63];
        out += kAlphabet[(n >> 12) & 63];
        out += i + 1 < bytes.size() ? kAlphabet[(n >> 6) & 63] : '=';
        out += i + 2 < bytes.size() ? kAlphabet[n & 63] : '=';
    }
    return out;
}

// Little-endian 16-bit values, `scale` units to one, base64: the page's
// series format. With buckets of several milliseconds each bucket gives its
// lowest and highest value, in the order they came.
template <typename Fn>
std::string Series(size_t n, std::uint32_t bucket, double scale, Fn value) {
    std::vector<std::uint8_t> bytes;
    auto put = [&](double v) {
        const long q = std::lround(std::clamp(v * scale, -32767.0, 32767.0));
        const auto u = static_cast<std::uint16_t>(static_cast<std::int16_t>(q));
        bytes.push_back(static_cast<std::uint8_t>(u & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(u >> 8));
    };
    if (bucket <= 1) {
        for (size_t i = 0; i < n; ++i) put(value(i));
        return Base64(bytes);
    }
    for (size_t from = 0; from < n; from += bucket) {
        const size_t to = std::min(n, from + bucket);
        size_t lo = from, hi = from;
        for (size_t i = from; i < to; ++i) {
            const double v = value(i);
            if (v < value(lo)) lo = i;
            if (v > value(hi)) hi = i;
        }
        put(value(std::min(lo, hi)));
        put(value(std::max(lo, hi)));
    }
    return Base64(bytes);
}

// One table of every text the page shows (report meanings, causes, call
// labels, results): the reports and calls refer to it by index.
class Strings {
public:
    int Index(const std::string& s) {
        const auto [it, added] = m_index.emplace(s, static_cast<int>(m_list.size()));
        if (added) m_list.push_back(s);
        return it->second;
    }
    std::string JsonList() const {
        std::string out = "[";
        for (size_t i = 0; i < m_list.size(); ++i) out += (i ? "," : "") + Json(m_list[i]);
        return out + "]";
    }

private:
    std::map<std::string, int> m_index;
    std::vector<std::string> m_list;
};

template <typename T>
std::string JsonInts(const std::vector<T>& v) {
    std::string out = "[";
    for (size_t i = 0; i < v.size(); ++i) out += (i ? "," : "") + std::to_string(v[i]);
    return out + "]";
}

std::string Fixed(double v, int decimals) {
    char b[32];
    std::snprintf(b, sizeof b, "%.*f", decimals, v);
    return b;
}

enum MarkKind { kNoMark, kDownloadMark, kUpdateMark, kStartMark, kStopMark, kDestroyMark };

MarkKind MarkOf(const CallMark& c) {
    if (c.stepIndex < 0) return kNoMark;
    switch (c.kind) {
        case StepKind::kDownload: return kDownloadMark;
        case StepKind::kUpdate: return kUpdateMark;
        case StepKind::kStart: return kStartMark;
        case StepKind::kStop: return kStopMark;
        case StepKind::kDestroy: return kDestroyMark;
        default: return kNoMark;
    }
}

// Report kinds for the page's report strip and tooltips.
enum ReportKindCode { kOtherReport, kForceReport, kClippedForceReport, kMotorReport, kClippedMotorReport, kFeatureReport };

int KindCode(const ReportMark& r, bool twoAxes) {
    if (r.feature) return kFeatureReport;
    if (IsForceReport(r))
        return std::abs(r.forceX) >= kForceLimit || (twoAxes && std::abs(r.forceY) >= kForceLimit) ? kClippedForceReport
                                                                                                      : kForceReport;
    if (IsMotorReport(r))
        return r.motorA >= kMotorLimit || r.motorB >= kMotorLimit ? kClippedMotorReport : kMotorReport;
    return kOtherReport;
}

std::string StretchList(const std::vector<Stretch>& list) {
    std::string out = "[";
    for (size_t i = 0; i < list.size(); ++i)
        out += (i ? ",[" : "[") + std::to_string(list[i].fromMs) + "," + std::to_string(list[i].toMs) + "]";
    return out + "]";
}

std::string SummaryJson(const Scenario& scenario, const PlayResult& r, const Analysis& a) {
    // Calls by function and result, in the order they first happened.
    std::vector<std::pair<std::string, std::string>> keys;
    std::map<std::pair<std::string, std::string>, int> counts;
    for (const CallMark& c : r.calls) {
        const auto key = std::make_pair(c.function, c.result + (c.failed ? " (unexpected)" : ""));
        if (counts[key]++ == 0) keys.push_back(key);
    }
    std::string calls = "[";
    for (size_t i = 0; i < keys.size(); ++i)
        calls += (i ? ",[" : "[") + Json(keys[i].first) + "," + Json(keys[i].second) + "," +
                 std::to_string(counts[keys[i]]) + "]";
    calls += "]";
    std::map<std::string, int> kinds;
    for (const ReportMark& m : r.reports) {
        std::string kind = ReportKind(m.meaning);
        while (!kind.empty() && kind.back() == ' ') kind.pop_back();
        ++kinds[kind];
    }
    std::string reportKinds = "[";
    for (const auto& [kind, count] : kinds)
        reportKinds += (reportKinds.size() > 1 ? ",[" : "[") + Json(kind) + "," + std::to_string(count) + "]";
    reportKinds += "]";

    const ClippingSummary& c = a.clipping;
    const bool motors = !a.channels.empty() && a.channels[0].motor;
    const int reports = motors ? c.motorReports : c.forceReports;
    const int clipped = motors ? c.clippedMotorReports : c.clippedForceReports;
    std::string channels = "[";
    for (size_t i = 0; i < c.channels.size(); ++i) {
        const ChannelClipping& ch = c.channels[i];
        channels += std::string(i ? "," : "") + "{\"name\":" + Json(ch.channel.name) +
                    ",\"clippedMs\":" + std::to_string(ch.clippedMs) + ",\"longestMs\":" +
                    std::to_string(ch.longest.Length()) + ",\"longestAtMs\":" + std::to_string(ch.longest.fromMs) +
                    ",\"share\":" + Json(Percent(ch.clippedMs, c.durationMs)) + "}";
    }
    channels += "]";
    std::string effects = "[";
    for (size_t i = 0; i < a.effects.size(); ++i) {
        const EffectAttribution& e = a.effects[i];
        double peak = 0;
        for (const std::vector<float>& lane : e.lane)
            for (const float v : lane) peak = std::max(peak, static_cast<double>(std::fabs(v)));
        effects += std::string(i ? "," : "") + "{\"name\":" + Json(e.name) + ",\"type\":" + Json(e.type) +
                   ",\"causedMs\":" + std::to_string(e.causedMs) + ",\"causedShare\":" +
                   Json(Percent(static_cast<double>(e.causedMs), c.clippedMs)) + ",\"clippedMsWithout\":" +
                   std::to_string(e.clippedMsWithout) + ",\"peak\":" +
                   Json(motors ? Fixed(peak * 255, 0) : Fixed(peak, 2)) + "}";
    }
    effects += "]";
    return std::string("{") + "\"scenario\":" + Json(scenario.file) + ",\"calls\":" + std::to_string(r.callCount) +
           ",\"failedCalls\":" + std::to_string(r.failedCalls) + ",\"expectedRejections\":" +
           std::to_string(r.expectedRejections) + ",\"reports\":" + std::to_string(r.reports.size()) +
           ",\"callTable\":" + calls + ",\"reportKinds\":" + reportKinds + ",\"clipping\":{\"reportKind\":" +
           Json(motors ? "motor" : "force") + ",\"reports\":" + std::to_string(reports) +
           ",\"clippedReports\":" + std::to_string(clipped) + ",\"share\":" + Json(Percent(clipped, reports)) +
           ",\"clippedMs\":" + std::to_string(c.clippedMs) + ",\"durationMs\":" + std::to_string(c.durationMs) +
           ",\"longestMs\":" + std::to_string(c.longest.Length()) + ",\"longestAtMs\":" +
           std::to_string(c.longest.fromMs) + ",\"stretches\":" + std::to_string(c.stretches.size()) +
           ",\"channels\":" + channels + "},\"attributed\":" + (a.attributed ? "true" : "false") +
           ",\"note\":" + Json(a.note) + ",\"replays\":" + std::to_string(a.replays) + ",\"effects\":" + effects + "}";
}

}  // namespace

std::uint32_t BucketMs(std::uint32_t samples) {
    return samples <= kMaxPagePoints ? 1 : (samples + kMaxPagePoints / 2 - 1) / (kMaxPagePoints / 2);
}

std::vector<std::vector<Stretch>> PlayIntervals(const Scenario& scenario, const PlayResult& result) {
    const std::vector<std::string> names = EffectNames(scenario);
    struct State {
        bool playing = false;
        std::uint64_t startedAt = 0, from = 0, end = kForever;
        DWORD count = 1;
        EffectSpec desc;
    };
    std::vector<State> states(names.size());
    std::vector<std::vector<Stretch>> intervals(names.size());
    auto close = [&](size_t e, std::uint64_t at) {
        State& s = states[e];
        if (!s.playing) return;
        const std::uint64_t to = std::min(at, s.end);
        if (to > s.from) intervals[e].push_back({static_cast<std::uint32_t>(s.from), static_cast<std::uint32_t>(to)});
        s.playing = false;
    };
    // An update of a playing effect moves its end as its new timing says.
    auto plan = [&](size_t e) {
        State& s = states[e];
        s.from = s.startedAt + s.desc.startDelayMs;
        s.end = s.desc.durationMs == kInfiniteMs || s.count == INFINITE
                    ? kForever
                    : s.from + static_cast<std::uint64_t>(s.desc.durationMs) * s.count;
    };
    auto start = [&](size_t e, std::uint64_t at, DWORD count) {
        close(e, at);
        states[e].playing = true;
        states[e].startedAt = at;
        states[e].count = count;
        plan(e);
    };
    const std::uint64_t endOfPlay = result.samples.empty() ? 0 : result.samples.back().timeMs;
    for (const CallMark& c : result.calls) {
        if (c.stepIndex < 0 || c.failed || static_cast<size_t>(c.stepIndex) >= scenario.steps.size()) continue;
        const Step& step = scenario.steps[static_cast<size_t>(c.stepIndex)];
        for (size_t e = 0; e < names.size(); ++e)
            if (states[e].playing && states[e].end <= c.timeMs) close(e, states[e].end);
        const auto found = std::find(names.begin(), names.end(), step.effect);
        const size_t e = static_cast<size_t>(found - names.begin());
        switch (step.kind) {
            case StepKind::kDownload:
            case StepKind::kUpdate:
                if (found == names.end()) break;
                states[e].desc = step.desc;
                if (step.paramFlags & DIEP_START) start(e, c.timeMs, 1);
                else if (states[e].playing) plan(e);
                break;
            case StepKind::kStart:
                if (found == names.end()) break;
                if (step.value2 & DIES_SOLO)
                    for (size_t other = 0; other < names.size(); ++other)
                        if (other != e) close(other, c.timeMs);
                start(e, c.timeMs, step.value);
                break;
            case StepKind::kStop:
            case StepKind::kDestroy:
                if (found != names.end()) close(e, c.timeMs);
                break;
            case StepKind::kCommand:
                if (step.value == DISFFC_STOPALL || step.value == DISFFC_RESET)
                    for (size_t other = 0; other < names.size(); ++other) close(other, c.timeMs);
                break;
            default: break;
        }
    }
    for (size_t e = 0; e < names.size(); ++e) close(e, endOfPlay);
    return intervals;
}

std::string ReportHtml(const Scenario& scenario, const PlayResult& r, const Analysis& a, const std::string& title) {
    const size_t n = r.samples.size();
    const std::uint32_t bucket = BucketMs(static_cast<std::uint32_t>(n));
    const bool motors = !a.channels.empty() && a.channels[0].motor;
    const bool twoAxes = a.channels.size() > 1 && !motors;
    Strings strings;

    std::string series = "{";
    auto add = [&](const std::string& name, const std::string& encoded) {
        series += (series.size() > 1 ? "," : "") + Json(name) + ":" + Json(encoded);
    };
    auto addLane = [&](const std::string& name, const std::vector<float>& v) {
        add(name, Series(std::min(n, v.size()), bucket, kForceScale, [&](size_t i) { return static_cast<double>(v[i]); }));
    };
    for (size_t c = 0; c < a.channels.size(); ++c) {
        const Channel& ch = a.channels[c];
        add("command." + ch.name,
            Series(n, bucket, kCommandScale, [&](size_t i) { return static_cast<double>(ChannelCommand(r.samples[i], ch)); }));
        if (!ch.motor) {
            addLane("total." + ch.name, a.total[c]);
            add("position." + ch.name, Series(n, bucket, kForceScale, [&](size_t i) {
                    return ch.index ? r.samples[i].positionY : r.samples[i].positionX;
                }));
        }
        if (a.attributed) {
            addLane("own." + ch.name, a.own[c]);
            addLane("rest." + ch.name, a.rest[c]);
            for (size_t e = 0; e < a.effects.size(); ++e)
                addLane("lane." + std::to_string(e) + "." + ch.name, a.effects[e].lane[c]);
        }
    }
    series += "}";

    // Reports: delta-coded times, text and cause indices, kinds.
    std::vector<std::int64_t> rt, rs, rc, rk;
    std::uint32_t last = 0;
    for (const ReportMark& m : r.reports) {
        rt.push_back(static_cast<std::int64_t>(m.timeMs) - last);
        last = m.timeMs;
        rs.push_back(strings.Index(std::string(m.feature ? "FEAT " : "OUT ") + m.bytes + "\n= " + m.meaning));
        rc.push_back(m.causes.empty() ? -1 : strings.Index(m.causes));
        rk.push_back(KindCode(m, twoAxes));
    }
    const std::vector<std::string> names = EffectNames(scenario);
    std::vector<std::int64_t> ct, cl, cr, cf, ce, ck;
    last = 0;
    for (const CallMark& c : r.calls) {
        ct.push_back(static_cast<std::int64_t>(c.timeMs) - last);
        last = c.timeMs;
        cl.push_back(strings.Index(c.label + (c.line ? "  (line " + std::to_string(c.line) + ")" : "")));
        cr.push_back(strings.Index(c.function + " -> " + c.result));
        cf.push_back(c.failed ? 1 : 0);
        const auto found = std::find(names.begin(), names.end(), c.effect);
        ce.push_back(c.effect.empty() || found == names.end() ? -1 : found - names.begin());
        ck.push_back(MarkOf(c));
    }
    const std::vector<std::vector<Stretch>> intervals = PlayIntervals(scenario, r);
    std::string effects = "[";
    for (size_t e = 0; e < names.size(); ++e) {
        std::string type;
        for (const Step& s : scenario.steps)
            if (s.kind == StepKind::kDownload && s.effect == names[e]) {
                type = s.desc.typeName;
                break;
            }
        effects += std::string(e ? "," : "") + "{\"name\":" + Json(names[e]) + ",\"type\":" + Json(type) +
                   ",\"intervals\":" + StretchList(intervals[e]) + "}";
    }
    effects += "]";
    std::string channels = "[";
    for (size_t c = 0; c < a.channels.size(); ++c) channels += (c ? "," : "") + Json(a.channels[c].name);
    channels += "]";

    const std::string data =
        std::string("{") + "\"title\":" + Json(title) + ",\"model\":" + Json(Product(scenario.model).codename) +
        ",\"family\":" + Json(FamilyName(r.family)) + ",\"joystick\":" + std::to_string(scenario.joystickId) +
        ",\"motors\":" + (motors ? "true" : "false") + ",\"channels\":" + channels +
        ",\"durationMs\":" + std::to_string(n ? r.samples.back().timeMs : 0) + ",\"bucketMs\":" +
        std::to_string(bucket) + ",\"samples\":" + std::to_string(n) + ",\"forceScale\":" +
        std::to_string(static_cast<int>(kForceScale)) + ",\"series\":" + series +
        ",\"reports\":{\"t\":" + JsonInts(rt) + ",\"s\":" + JsonInts(rs) + ",\"c\":" + JsonInts(rc) +
        ",\"k\":" + JsonInts(rk) + "},\"calls\":{\"t\":" + JsonInts(ct) + ",\"l\":" + JsonInts(cl) +
        ",\"r\":" + JsonInts(cr) + ",\"f\":" + JsonInts(cf) + ",\"e\":" + JsonInts(ce) + ",\"k\":" + JsonInts(ck) +
        "},\"effects\":" + effects + ",\"stretches\":" + StretchList(a.clipping.stretches) +
        ",\"strings\":" + strings.JsonList() + ",\"summary\":" + SummaryJson(scenario, r, a) + "}";

    std::string page;
    page.reserve(data.size() + assets::UplotJs().size() + 20000);
    page += "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n";
    // Nothing may come from outside the file: the page works offline, and a
    // stray fetch is refused and shown as an error instead of leaking out.
    page += "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; script-src 'unsafe-inline'; "
            "style-src 'unsafe-inline'; img-src data:\">\n";
    page += "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n";
    page += "<title>" + EscapeMarkup(title) + " - ffplay report</title>\n";
    page += "<style>\n/* uPlot " FFPLAY_UPLOT_VERSION " (MIT licence, below with the script) */\n";
    page += std::string(assets::UplotCss()) + "\n</style>\n<style>\n" + std::string(assets::ReportCss()) + "</style>\n";
    // Catches every error from here on, the library's and the page's, and
    // any refused fetch, so that the page shows them and a test can see them.
    page += "<script>\n"
            "window.ffplayErrors = [];\n"
            "window.ffplayError = function (text) {\n"
            "  window.ffplayErrors.push(String(text));\n"
            "  document.documentElement.setAttribute('data-errors', String(window.ffplayErrors.length));\n"
            "  if (window.ffplayShowErrors) window.ffplayShowErrors();\n"
            "};\n"
            "window.addEventListener('error', function (e) { window.ffplayError(e.message + ' (' + e.filename + ':' + "
            "e.lineno + ')'); });\n"
            "window.addEventListener('unhandledrejection', function (e) { window.ffplayError('unhandled rejection: ' + "
            "e.reason); });\n"
            "document.addEventListener('securitypolicyviolation', function (e) { window.ffplayError('refused to load ' + "
            "(e.blockedURI || 'inline content') + ' (' + e.violatedDirective + ')'); });\n"
            "(function () { var original = console.error; console.error = function () {\n"
            "  window.ffplayError(Array.prototype.join.call(arguments, ' ')); return original.apply(console, arguments); "
            "}; })();\n"
            "</script>\n";
    page += "</head>\n<body data-state=\"loading\">\n";
    page += "<header><h1>" + EscapeMarkup(title) + "</h1><p id=\"device\"></p></header>\n";
    page += "<noscript><p>This page draws its charts and tables with JavaScript.</p></noscript>\n";
    page += "<ul id=\"errors\" hidden></ul>\n<section id=\"summary\"></section>\n<section id=\"charts\"></section>\n";
    page += "<div id=\"tooltip\" hidden></div>\n";
    page += "<footer>Charts by uPlot " FFPLAY_UPLOT_VERSION " (MIT licence), built into this file.</footer>\n";
    page += "<script type=\"application/json\" id=\"ffplay-data\">" + data + "</script>\n";
    page += "<script>\n/*\nuPlot " FFPLAY_UPLOT_VERSION "\n\n" + std::string(assets::UplotLicense()) + "*/\n";
    page += std::string(assets::UplotJs()) + "\n</script>\n";
    page += "<script>\n" + std::string(assets::ReportJs()) + "</script>\n</body>\n</html>\n";
    return page;
}

}  // namespace ffplay
