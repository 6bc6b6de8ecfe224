#include "tools/player/clipping.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace ffplay {
namespace {

constexpr double kMotorFull = 255;

// Runs of clipped samples. A sample at t holds what the reports stamped
// before t set, so a clipped sample stands for the millisecond [t-1, t).
class StretchFinder {
public:
    void Add(std::uint32_t t, bool clipped) {
        if (clipped) {
            if (!m_open) m_open = true, m_current.fromMs = t - 1;
            m_current.toMs = t;
            ++m_clippedMs;
        } else {
            Close();
        }
    }
    void Close() {
        if (!m_open) return;
        m_open = false;
        if (m_current.Length() > m_longest.Length()) m_longest = m_current;
        m_stretches.push_back(m_current);
    }
    std::uint32_t ClippedMs() const { return m_clippedMs; }
    const Stretch& Longest() const { return m_longest; }
    const std::vector<Stretch>& Stretches() const { return m_stretches; }

private:
    bool m_open = false;
    Stretch m_current, m_longest;
    std::uint32_t m_clippedMs = 0;
    std::vector<Stretch> m_stretches;
};

std::vector<float> Outputs(const PlayResult& r, const Channel& c) {
    std::vector<float> v;
    v.reserve(r.samples.size());
    for (const Sample& s : r.samples) v.push_back(static_cast<float>(ChannelOutput(s, c)));
    return v;
}

std::string At(const Stretch& s) {
    return std::to_string(s.Length()) + " ms" + (s.Length() ? " at " + std::to_string(s.fromMs) + " ms" : "");
}

}  // namespace

std::vector<Channel> ChannelsOf(EmulatedFamily family) {
    switch (family) {
        case EmulatedFamily::kHiResWheel:
        case EmulatedFamily::kLowResWheel: return {{"x", false, 0}};
        case EmulatedFamily::kRumbleA:
        case EmulatedFamily::kRumbleB: return {{"motor A", true, 0}, {"motor B", true, 1}};
        default: return {{"x", false, 0}, {"y", false, 1}};
    }
}

int ChannelCommand(const Sample& s, const Channel& c) {
    if (c.motor) return c.index ? s.motorB : s.motorA;
    return c.index ? s.forceY : s.forceX;
}

bool Clipped(int command, const Channel& c) { return c.motor ? command >= kMotorLimit : std::abs(command) >= kForceLimit; }

double ChannelOutput(const Sample& s, const Channel& c) {
    if (c.motor) return (c.index ? s.motorB : s.motorA) / kMotorFull;
    return c.index ? s.totalForceY : s.totalForceX;
}

bool IsForceReport(const ReportMark& r) { return !r.feature && r.meaning.rfind("force ", 0) == 0; }
bool IsMotorReport(const ReportMark& r) { return !r.feature && r.meaning.rfind("motors ", 0) == 0; }

ClippingSummary MeasureClipping(const PlayResult& result) {
    ClippingSummary summary;
    const std::vector<Channel> channels = ChannelsOf(result.family);
    summary.durationMs = result.samples.empty() ? 0 : result.samples.back().timeMs;
    const bool twoAxes = channels.size() > 1 && !channels[0].motor;
    for (const ReportMark& r : result.reports) {
        if (IsForceReport(r)) {
            ++summary.forceReports;
            const bool y = twoAxes;
            if (std::abs(r.forceX) >= kForceLimit || (y && std::abs(r.forceY) >= kForceLimit)) ++summary.clippedForceReports;
        } else if (IsMotorReport(r)) {
            ++summary.motorReports;
            if (r.motorA >= kMotorLimit || r.motorB >= kMotorLimit) ++summary.clippedMotorReports;
        }
    }
    std::vector<StretchFinder> perChannel(channels.size());
    StretchFinder any;
    for (const Sample& s : result.samples) {
        bool clipped = false;
        for (size_t i = 0; i < channels.size(); ++i) {
            const bool c = Clipped(ChannelCommand(s, channels[i]), channels[i]);
            perChannel[i].Add(s.timeMs, c);
            clipped = clipped || c;
        }
        any.Add(s.timeMs, clipped);
    }
    any.Close();
    for (size_t i = 0; i < channels.size(); ++i) {
        perChannel[i].Close();
        summary.channels.push_back({channels[i], perChannel[i].ClippedMs(), perChannel[i].Longest()});
    }
    summary.clippedMs = any.ClippedMs();
    summary.longest = any.Longest();
    summary.stretches = any.Stretches();
    return summary;
}

std::uint32_t ClippedMs(const PlayResult& result) {
    const std::vector<Channel> channels = ChannelsOf(result.family);
    std::uint32_t ms = 0;
    for (const Sample& s : result.samples)
        ms += std::any_of(channels.begin(), channels.end(), [&](const Channel& c) { return Clipped(ChannelCommand(s, c), c); });
    return ms;
}

std::vector<std::string> EffectNames(const Scenario& scenario) {
    std::vector<std::string> names;
    for (const Step& s : scenario.steps)
        if (s.kind == StepKind::kDownload && std::find(names.begin(), names.end(), s.effect) == names.end())
            names.push_back(s.effect);
    return names;
}

Scenario MuteEffects(const Scenario& scenario, const std::vector<std::string>& names, bool others) {
    Scenario out = scenario;
    for (Step& s : out.steps) {
        if (s.kind != StepKind::kDownload && s.kind != StepKind::kUpdate) continue;
        const bool named = std::find(names.begin(), names.end(), s.effect) != names.end();
        if (named == others) continue;
        s.desc.gain = 0;
        // An update that hands over no gain leaves the muted one in place.
        if (s.kind == StepKind::kDownload) s.paramFlags |= DIEP_GAIN;
    }
    return out;
}

Analysis Analyse(const Scenario& scenario, const PlayResult& full, const PlayOptions& options, bool attribute,
                 const std::function<void(const std::string&)>& progress) {
    Analysis a;
    a.channels = ChannelsOf(full.family);
    a.clipping = MeasureClipping(full);
    for (const Channel& c : a.channels) a.total.push_back(Outputs(full, c));
    const std::vector<std::string> names = EffectNames(scenario);
    if (!attribute) a.note = "replays turned off by --no-attribution";
    else if (options.realtime) a.note = "replays need the virtual clock";
    else if (!full.deviceOpened) a.note = "the device was not opened";
    else if (options.sampleEveryMs != 1) a.note = "replays need a sample every millisecond";
    else if (names.empty()) a.note = "the scenario has no effects";
    if (!a.note.empty()) return a;

    PlayOptions replay = options;
    replay.keepTrace = false;
    replay.pinnedMotion = &full.samples;
    const size_t n = full.samples.size();
    // Each replay's outputs, cut or padded to the full play's samples.
    auto play = [&](const Scenario& s, PlayResult* r) {
        ++a.replays;
        *r = Play(s, replay);
        if (!r->fatal.empty()) a.note = "a replay failed: " + r->fatal;
        r->samples.resize(n, Sample{});
        return r->fatal.empty();
    };
    PlayResult r;
    if (progress) progress("every effect muted");
    if (!play(MuteEffects(scenario, names, false), &r)) return a;
    for (const Channel& c : a.channels) a.own.push_back(Outputs(r, c));
    a.rest = a.total;
    for (size_t c = 0; c < a.channels.size(); ++c)
        for (size_t i = 0; i < n; ++i) a.rest[c][i] -= a.own[c][i];
    for (const std::string& name : names) {
        EffectAttribution e;
        e.name = name;
        for (const Step& s : scenario.steps)
            if (s.kind == StepKind::kDownload && s.effect == name) {
                e.type = s.desc.typeName;
                break;
            }
        if (progress) progress(name + " muted");
        if (!play(MuteEffects(scenario, {name}, false), &r)) return a;
        e.clippedMsWithout = ClippedMs(r);
        e.causedMs = static_cast<std::int64_t>(a.clipping.clippedMs) - e.clippedMsWithout;
        if (progress) progress(name + " alone");
        if (!play(MuteEffects(scenario, {name}, true), &r)) return a;
        for (size_t c = 0; c < a.channels.size(); ++c) {
            std::vector<float> lane = Outputs(r, a.channels[c]);
            for (size_t i = 0; i < n; ++i) {
                lane[i] -= a.own[c][i];
                a.rest[c][i] -= lane[i];
            }
            e.lane.push_back(std::move(lane));
        }
        a.effects.push_back(std::move(e));
    }
    a.attributed = true;
    return a;
}

std::string Percent(double part, double whole) {
    char b[32];
    std::snprintf(b, sizeof b, "%.1f", whole > 0 ? 100.0 * part / whole : 0.0);
    return b;
}

std::string ClippingText(const Analysis& a) {
    const ClippingSummary& c = a.clipping;
    std::string s;
    const bool motors = !a.channels.empty() && a.channels[0].motor;
    const int reports = motors ? c.motorReports : c.forceReports;
    const int clipped = motors ? c.clippedMotorReports : c.clippedForceReports;
    s += "Clipping: " + std::to_string(clipped) + " of " + std::to_string(reports) + (motors ? " motor" : " force") +
         " reports at the ends of the range (" + Percent(clipped, reports) + " %); clipped " +
         std::to_string(c.clippedMs) + " ms of " + std::to_string(c.durationMs) + " ms, longest stretch " +
         At(c.longest) + "\n";
    for (const ChannelClipping& ch : c.channels)
        s += "  " + ch.channel.name + " clipped " + std::to_string(ch.clippedMs) + " ms, longest " + At(ch.longest) + "\n";
    if (!a.attributed) return s + "Clipping per effect: not attributed (" + a.note + ")\n";
    s += "Clipping caused per effect (replayed with it muted):";
    for (size_t i = 0; i < a.effects.size(); ++i)
        s += std::string(i ? ", " : " ") + a.effects[i].name + " " + std::to_string(a.effects[i].causedMs) + " ms";
    return s + "\n";
}

}  // namespace ffplay
