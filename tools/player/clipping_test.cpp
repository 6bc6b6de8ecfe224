// The report's arithmetic on plays made up here: clipped stretches, report
// shares, the muted scenarios of the replays, play intervals from calls,
// the page's buckets and the plot's time ticks.
#include "tools/player/clipping.h"

#include <gtest/gtest.h>

#include "tools/player/output.h"
#include "tools/player/report_html.h"

namespace ffplay {
namespace {

Sample At(std::uint32_t t, int forceX, int forceY = 0, int motorA = 0, int motorB = 0) {
    Sample s{t, forceX, forceY, 0, 0, 0, motorA, motorB, 0};
    return s;
}

ReportMark Report(const std::string& meaning, int forceX, int forceY = 0, int motorA = 0, int motorB = 0) {
    ReportMark r;
    r.meaning = meaning;
    r.forceX = forceX, r.forceY = forceY, r.motorA = motorA, r.motorB = motorB;
    return r;
}

TEST(ClippingMeasureTest, StretchesLongestAndPerAxisTimeOnAJoystick) {
    PlayResult r;
    r.family = EmulatedFamily::kHiResJoystick;
    // x clipped at 3..5 and 9, y clipped at 5..7: one run of any-clipping 3..7.
    const int x[] = {0, 0, 127, 127, -127, 20, 0, 0, -127, 0};
    const int y[] = {0, 0, 0, 0, 127, -127, 127, 0, 0, 0};
    for (std::uint32_t t = 1; t <= 10; ++t) r.samples.push_back(At(t, x[t - 1], y[t - 1]));
    const ClippingSummary c = MeasureClipping(r);
    EXPECT_EQ(c.durationMs, 10u);
    ASSERT_EQ(c.channels.size(), 2u);
    EXPECT_EQ(c.channels[0].channel.name, "x");
    EXPECT_EQ(c.channels[0].clippedMs, 4u);
    EXPECT_EQ(c.channels[0].longest.fromMs, 2u);
    EXPECT_EQ(c.channels[0].longest.Length(), 3u);
    EXPECT_EQ(c.channels[1].clippedMs, 3u);
    EXPECT_EQ(c.clippedMs, 6u);
    ASSERT_EQ(c.stretches.size(), 2u);
    EXPECT_EQ(c.stretches[0].fromMs, 2u);
    EXPECT_EQ(c.stretches[0].toMs, 7u);
    EXPECT_EQ(c.stretches[1].fromMs, 8u);
    EXPECT_EQ(c.longest.Length(), 5u);
    EXPECT_EQ(ClippedMs(r), 6u);
}

TEST(ClippingMeasureTest, AWheelLooksAtItsOneAxisOnly) {
    PlayResult r;
    r.family = EmulatedFamily::kLowResWheel;
    r.samples = {At(1, 0, 127), At(2, 126, -127)};
    r.reports = {Report("force x=+0 (second channel 0x01)", 0, 127)};
    const ClippingSummary c = MeasureClipping(r);
    EXPECT_EQ(c.clippedMs, 0u);
    EXPECT_EQ(c.channels.size(), 1u);
    EXPECT_EQ(c.clippedForceReports, 0);
    EXPECT_EQ(c.forceReports, 1);
}

TEST(ClippingMeasureTest, ReportSharesCountOnlyForceOrMotorReports) {
    PlayResult wheel;
    wheel.family = EmulatedFamily::kHiResWheel;
    wheel.reports = {Report("force x=+127 (second channel 0x80)", 127), Report("force off", 0),
                     Report("centering spring on", 0), Report("force x=-127 (second channel 0x80)", -127),
                     Report("stop: all forces off", 0)};
    ReportMark feature = Report("force lookalike", 127);
    feature.feature = true;
    wheel.reports.push_back(feature);
    const ClippingSummary w = MeasureClipping(wheel);
    EXPECT_EQ(w.forceReports, 3);
    EXPECT_EQ(w.clippedForceReports, 2);
    EXPECT_EQ(w.motorReports, 0);

    PlayResult pad;
    pad.family = EmulatedFamily::kRumbleB;
    pad.reports = {Report("motors A=254 B=0", 0, 0, 254, 0), Report("motors A=253 B=200", 0, 0, 253, 200),
                   Report("motors off", 0), Report("start", 0, 0, 255, 255)};
    pad.samples = {At(1, 0, 0, 254, 0), At(2, 0, 0, 253, 255), At(3, 0, 0, 0, 0)};
    const ClippingSummary p = MeasureClipping(pad);
    EXPECT_EQ(p.motorReports, 3);
    EXPECT_EQ(p.clippedMotorReports, 1);
    ASSERT_EQ(p.channels.size(), 2u);
    EXPECT_EQ(p.channels[0].channel.name, "motor A");
    EXPECT_EQ(p.channels[0].clippedMs, 1u);
    EXPECT_EQ(p.channels[1].clippedMs, 1u);
    EXPECT_EQ(p.clippedMs, 2u);
    EXPECT_EQ(p.stretches.size(), 1u);
}

TEST(ClippingTextTest, NamesTheFiguresTheTerminalAndPageShare) {
    Analysis a;
    a.channels = ChannelsOf(EmulatedFamily::kHiResWheel);
    a.clipping.durationMs = 2000;
    a.clipping.forceReports = 8;
    a.clipping.clippedForceReports = 1;
    a.clipping.clippedMs = 250;
    a.clipping.longest = {700, 950};
    a.clipping.channels = {{a.channels[0], 250, {700, 950}}};
    a.attributed = true;
    a.effects.resize(2);
    a.effects[0].name = "push", a.effects[0].causedMs = 250;
    a.effects[1].name = "spring", a.effects[1].causedMs = -30;
    EXPECT_EQ(ClippingText(a),
              "Clipping: 1 of 8 force reports at the ends of the range (12.5 %); clipped 250 ms of 2000 ms, longest "
              "stretch 250 ms at 700 ms\n"
              "  x clipped 250 ms, longest 250 ms at 700 ms\n"
              "Clipping caused per effect (replayed with it muted): push 250 ms, spring -30 ms\n");
    a.attributed = false;
    a.note = "replays need the virtual clock";
    EXPECT_NE(ClippingText(a).find("Clipping per effect: not attributed (replays need the virtual clock)"), std::string::npos);
}

ParseResult Parse(const std::string& text) {
    ParseResult p = ParseScenario(text, "t.ffs");
    EXPECT_TRUE(p.Ok()) << (p.Ok() ? "" : p.errors[0].Format());
    return p;
}

TEST(MuteEffectsTest, KeepsEveryCallAndZeroesOnlyTheChosenGains) {
    const ParseResult p = Parse(
        "device Quintar\n"
        "download a constant magnitude=5000 gain=8000 start\n"
        "download b sine magnitude=3000 period=50\n"
        "start b\n"
        "update a gain=9000\n"
        "update b magnitude=1000\n"
        "wait 10\n"
        "destroy a\n"
        "download a spring axes=x condition=0,1,1,1,1,0\n");
    EXPECT_EQ(EffectNames(p.scenario), (std::vector<std::string>{"a", "b"}));
    const Scenario muted = MuteEffects(p.scenario, {"a"}, false);
    ASSERT_EQ(muted.steps.size(), p.scenario.steps.size());
    for (size_t i = 0; i < muted.steps.size(); ++i) {
        const Step& s = muted.steps[i];
        const Step& o = p.scenario.steps[i];
        EXPECT_EQ(s.kind, o.kind);
        const bool touched = s.effect == "a" && (s.kind == StepKind::kDownload || s.kind == StepKind::kUpdate);
        EXPECT_EQ(s.desc.gain, touched ? 0u : o.desc.gain) << "step " << i;
        if (s.kind == StepKind::kDownload) {
            EXPECT_TRUE(s.paramFlags & DIEP_GAIN);
        }
    }
    const Scenario alone = MuteEffects(p.scenario, {"a"}, true);
    EXPECT_EQ(alone.steps[0].desc.gain, 8000u);
    EXPECT_EQ(alone.steps[1].desc.gain, 0u);
    EXPECT_EQ(alone.steps[4].desc.gain, 0u);
}

// A play result holding just the calls of a scenario, all at given times.
PlayResult CallsAt(const Scenario& s, const std::vector<std::uint32_t>& times, std::uint32_t endMs) {
    PlayResult r;
    size_t next = 0;
    for (size_t i = 0; i < s.steps.size(); ++i) {
        if (s.steps[i].kind == StepKind::kWait) continue;
        CallMark c;
        c.stepIndex = static_cast<int>(i);
        c.kind = s.steps[i].kind;
        c.effect = s.steps[i].effect;
        c.timeMs = times.at(next++);
        r.calls.push_back(c);
    }
    r.samples.push_back(At(endMs, 0));
    return r;
}

TEST(PlayIntervalsTest, StartsStopsDurationsRepeatsDelaysAndSolo) {
    const ParseResult p = Parse(
        "device Quintar\n"
        "download a constant magnitude=1 duration=100 delay=20\n"
        "download b constant magnitude=1 start\n"
        "download c constant magnitude=1 duration=50\n"
        "start a count=3\n"
        "start c\n"
        "start c\n"
        "stop b\n"
        "start b\n"
        "start a solo\n"
        "command stopall\n");
    const PlayResult r = CallsAt(p.scenario, {0, 0, 0, 10, 10, 30, 40, 600, 700, 800}, 1000);
    const auto intervals = PlayIntervals(p.scenario, r);
    ASSERT_EQ(intervals.size(), 3u);
    // a: 10 + delay 20, three times 100 ms, until 330; then solo from 700+20 to the stop-all.
    ASSERT_EQ(intervals[0].size(), 2u);
    EXPECT_EQ(intervals[0][0].fromMs, 30u);
    EXPECT_EQ(intervals[0][0].toMs, 330u);
    EXPECT_EQ(intervals[0][1].fromMs, 720u);
    EXPECT_EQ(intervals[0][1].toMs, 800u);
    // b: downloaded with start, stopped at 40; started at 600, stopped by a's solo start at 700.
    ASSERT_EQ(intervals[1].size(), 2u);
    EXPECT_EQ(intervals[1][0].toMs, 40u);
    EXPECT_EQ(intervals[1][1].fromMs, 600u);
    EXPECT_EQ(intervals[1][1].toMs, 700u);
    // c: started at 10, restarted at 30, plays 50 ms from there.
    ASSERT_EQ(intervals[2].size(), 2u);
    EXPECT_EQ(intervals[2][0].toMs, 30u);
    EXPECT_EQ(intervals[2][1].fromMs, 30u);
    EXPECT_EQ(intervals[2][1].toMs, 80u);
}

TEST(PlayIntervalsTest, AFailedStartDoesNotPlayAndAnInfiniteOneLastsToTheEnd) {
    const ParseResult p = Parse("device Quintar\ndownload a constant magnitude=1\nstart a\nstart a count=infinite\n");
    PlayResult r = CallsAt(p.scenario, {0, 5, 50}, 400);
    r.calls[1].failed = true;
    const auto intervals = PlayIntervals(p.scenario, r);
    ASSERT_EQ(intervals[0].size(), 1u);
    EXPECT_EQ(intervals[0][0].fromMs, 50u);
    EXPECT_EQ(intervals[0][0].toMs, 400u);
}

TEST(ReportPageTest, BucketsKeepTenMinutesWithinThePointBudget) {
    EXPECT_EQ(BucketMs(4400), 1u);
    EXPECT_EQ(BucketMs(kMaxPagePoints), 1u);
    for (const std::uint32_t samples : {kMaxPagePoints + 1, 600000u, 3600000u}) {
        const std::uint32_t b = BucketMs(samples);
        EXPECT_GT(b, 1u);
        EXPECT_LE(2 * ((samples + b - 1) / b), kMaxPagePoints) << samples;
    }
}

struct TickCase {
    double spanMs;
    double step;
    std::vector<std::pair<double, const char*>> labels;
};

class TimeTickTest : public testing::TestWithParam<TickCase> {};

TEST_P(TimeTickTest, RoundStepsWithUnits) {
    const TickCase& c = GetParam();
    const double step = TickStepMs(c.spanMs, 9);
    EXPECT_EQ(step, c.step);
    for (const auto& [ms, label] : c.labels) EXPECT_EQ(TimeLabel(ms, step), label);
}

INSTANTIATE_TEST_SUITE_P(Spans, TimeTickTest,
                         testing::Values(TickCase{4400, 500, {{0, "0"}, {500, "0.5 s"}, {1000, "1 s"}, {4000, "4 s"}}},
                                         TickCase{1200, 200, {{0, "0"}, {200, "0.2 s"}, {1200, "1.2 s"}}},
                                         TickCase{300, 50, {{0, "0"}, {50, "50 ms"}, {300, "300 ms"}}},
                                         TickCase{600000, 100000, {{100000, "100 s"}, {600000, "600 s"}}},
                                         TickCase{5, 1, {{0, "0"}, {3, "3 ms"}}}));

}  // namespace
}  // namespace ffplay
