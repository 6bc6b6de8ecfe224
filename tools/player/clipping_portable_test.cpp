// Clipping and its attribution through the built driver module, on
// scenarios whose answer is known by construction; the causes each report
// names in the trace; the static plot on a wheel and on a pad.
#include "tools/player/clipping.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <regex>

#include "tools/player/output.h"

namespace ffplay {
namespace {

struct Analysed {
    PlayResult play;
    Analysis analysis;
};

Analysed PlayAndAnalyse(const std::string& text) {
    const ParseResult parsed = ParseScenario(text, "built.ffs");
    EXPECT_TRUE(parsed.Ok()) << (parsed.Ok() ? "" : parsed.errors[0].Format());
    PlayOptions o;
    o.modulePath = FFDRV_MODULE_PATH;
    Analysed a;
    a.play = Play(parsed.scenario, o);
    EXPECT_TRUE(a.play.fatal.empty()) << a.play.fatal;
    EXPECT_EQ(a.play.failedCalls, 0) << (a.play.unexpected.empty() ? "" : a.play.unexpected[0]);
    a.analysis = Analyse(parsed.scenario, a.play, o);
    return a;
}

const EffectAttribution& Effect(const Analysis& a, const std::string& name) {
    const auto it = std::find_if(a.effects.begin(), a.effects.end(), [&](const EffectAttribution& e) { return e.name == name; });
    if (it == a.effects.end()) throw std::runtime_error("no effect " + name);
    return *it;
}

// Sample index of a time on the play's millisecond grid.
size_t I(std::uint32_t t) { return t - 1; }

// Each force alone stays below the range's end (85 of 127); together they
// pass it for as long as both play.
TEST(ClippingAttributionTest, TwoConstantForcesClipOnlyTogether) {
    const Analysed r = PlayAndAnalyse(
        "device Quintar\n"
        "download a constant magnitude=6000 direction=9000 duration=infinite start\n"
        "wait 500\n"
        "download b constant magnitude=6000 direction=9000 duration=1000 start\n"
        "wait 1500\n");
    const Analysis& a = r.analysis;
    ASSERT_TRUE(a.attributed) << a.note;
    const ClippingSummary& c = a.clipping;
    EXPECT_GE(c.clippedMs, 1000u);
    EXPECT_LE(c.clippedMs, 1016u);  // the driver's final-stop pause and one report period
    ASSERT_EQ(c.stretches.size(), 1u);
    EXPECT_EQ(c.longest.Length(), c.clippedMs);
    EXPECT_GE(c.longest.fromMs, 500u);
    EXPECT_LE(c.longest.fromMs, 512u);
    EXPECT_GE(c.clippedForceReports, 1);
    EXPECT_GT(c.forceReports, c.clippedForceReports);
    for (const char* name : {"a", "b"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(Effect(a, name).clippedMsWithout, 0u);
        EXPECT_EQ(Effect(a, name).causedMs, static_cast<std::int64_t>(c.clippedMs));
    }
    // Before b, a is the whole of the force; while both play, the lanes add
    // up to more than the device's full force and the rest takes it back.
    const std::vector<float>& laneA = Effect(a, "a").lane[0];
    const std::vector<float>& laneB = Effect(a, "b").lane[0];
    EXPECT_LT(laneA[I(300)], -0.5f);
    EXPECT_FLOAT_EQ(laneB[I(300)], 0.0f);
    EXPECT_FLOAT_EQ(a.rest[0][I(300)], 0.0f);
    EXPECT_FLOAT_EQ(a.total[0][I(1000)], -1.0f);
    EXPECT_LT(laneA[I(1000)] + laneB[I(1000)], -1.2f);
    EXPECT_GT(a.rest[0][I(1000)], 0.2f);
    EXPECT_NEAR(a.total[0][I(1000)], a.own[0][I(1000)] + laneA[I(1000)] + laneB[I(1000)] + a.rest[0][I(1000)], 1e-5);
}

// The high-resolution wheel plays its spring in the device: the spring
// never reaches a force report, so the clipping of the push is all the
// push's, while the spring's lane shows it pulling against the push.
TEST(ClippingAttributionTest, ASpringNeverClipsAndCausesNoneOfThePushesClipping) {
    const Analysed r = PlayAndAnalyse(
        "device Quintar\n"
        "download centre spring axes=x condition=0,8000,8000,10000,10000,0 start\n"
        "download push constant magnitude=10000 direction=9000 duration=1000 start\n"
        "wait 2000\n");
    const Analysis& a = r.analysis;
    ASSERT_TRUE(a.attributed) << a.note;
    EXPECT_GT(a.clipping.clippedMs, 900u);
    EXPECT_EQ(Effect(a, "push").causedMs, static_cast<std::int64_t>(a.clipping.clippedMs));
    EXPECT_EQ(Effect(a, "push").clippedMsWithout, 0u);
    EXPECT_EQ(Effect(a, "centre").causedMs, 0);
    EXPECT_EQ(Effect(a, "centre").clippedMsWithout, a.clipping.clippedMs);
    const std::vector<float>& spring = Effect(a, "centre").lane[0];
    const std::vector<float>& push = Effect(a, "push").lane[0];
    const size_t strongest = static_cast<size_t>(
        std::max_element(spring.begin(), spring.end(), [](float x, float y) { return std::fabs(x) < std::fabs(y); }) -
        spring.begin());
    EXPECT_GT(std::fabs(spring[strongest]), 0.05f);
    EXPECT_LT(spring[strongest] * push[I(500)], 0.0f) << "the spring pulls against the push";
}

// A host-simulated spring on a displaced wheel, alone: it never clips.
TEST(ClippingAttributionTest, ASpringAloneNeverClips) {
    const Analysed r = PlayAndAnalyse(
        "device Dastrin\n"
        "download centre spring axes=x condition=0,2000,2000,10000,10000,0 start\n"
        "wait 20\n"
        "displace x 0.6\n"
        "wait 800\n");
    const Analysis& a = r.analysis;
    ASSERT_TRUE(a.attributed) << a.note;
    EXPECT_GT(a.clipping.forceReports, 3);
    EXPECT_EQ(a.clipping.clippedForceReports, 0);
    EXPECT_EQ(a.clipping.clippedMs, 0u);
    EXPECT_TRUE(a.clipping.stretches.empty());
    EXPECT_EQ(Effect(a, "centre").causedMs, 0);
    const std::vector<float>& lane = Effect(a, "centre").lane[0];
    EXPECT_LT(*std::min_element(lane.begin(), lane.end()), -0.05f) << "the spring pulls a wheel right of centre left";
    EXPECT_EQ(ClippingText(a).rfind("Clipping: 0 of ", 0), 0u) << ClippingText(a);
}

// Two forces on a pad's x run motor A; alone each stays below full speed.
TEST(ClippingAttributionTest, APadsMotorSaturatesOnlyWhileBothForcesPlay) {
    const Analysed r = PlayAndAnalyse(
        "device Zorvel\n"
        "download low constant magnitude=6000 direction=9000 duration=infinite start\n"
        "wait 300\n"
        "download more constant magnitude=6000 direction=9000 duration=600 start\n"
        "wait 1000\n");
    const Analysis& a = r.analysis;
    ASSERT_TRUE(a.attributed) << a.note;
    const ClippingSummary& c = a.clipping;
    ASSERT_EQ(c.channels.size(), 2u);
    EXPECT_EQ(c.channels[0].channel.name, "motor A");
    EXPECT_GE(c.channels[0].clippedMs, 600u);
    EXPECT_LE(c.channels[0].clippedMs, 616u);
    EXPECT_EQ(c.channels[1].clippedMs, 0u);
    EXPECT_EQ(c.forceReports, 0);
    EXPECT_GT(c.clippedMotorReports, 0);
    EXPECT_GT(c.motorReports, c.clippedMotorReports);
    for (const char* name : {"low", "more"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(Effect(a, name).clippedMsWithout, 0u);
        EXPECT_EQ(Effect(a, name).causedMs, static_cast<std::int64_t>(c.clippedMs));
    }
    EXPECT_GT(Effect(a, "low").lane[0][I(200)], 0.5f);  // motor A, as a share of full speed
    EXPECT_FLOAT_EQ(Effect(a, "low").lane[1][I(200)], 0.0f);
    EXPECT_NE(ClippingText(a).find("motor reports at the ends of the range"), std::string::npos);
}

TEST(ClippingAttributionTest, WithoutReplaysTheClippingIsStillMeasured) {
    const ParseResult parsed = ParseScenario(
        "device Quintar\ndownload push constant magnitude=10000 direction=9000 start\nwait 200\n", "p.ffs");
    PlayOptions o;
    o.modulePath = FFDRV_MODULE_PATH;
    const PlayResult play = Play(parsed.scenario, o);
    const Analysis a = Analyse(parsed.scenario, play, o, /*attribute=*/false);
    EXPECT_FALSE(a.attributed);
    EXPECT_EQ(a.replays, 0);
    EXPECT_GT(a.clipping.clippedMs, 150u);
    EXPECT_NE(ClippingText(a).find("not attributed (replays turned off by --no-attribution)"), std::string::npos);
}

// ---------------------------------------------------------------- causes

PlayResult PlayText(const std::string& text) {
    PlayOptions o;
    o.modulePath = FFDRV_MODULE_PATH;
    return Play(ParseScenario(text, "causes.ffs").scenario, o);
}

TEST(TraceCausesTest, EachReportNamesTheCallsSinceTheReportBefore) {
    const PlayResult r = PlayText(
        "device Quintar\n"
        "download c constant magnitude=5000 direction=9000 start\n"
        "wait 100\n"
        "update c magnitude=-5000\n"
        "gain 8000\n"
        "wait 100\n"
        "displace x 0.5\n"
        "press 2\n"
        "wait 100\n");
    ASSERT_TRUE(r.deviceOpened);
    const auto firstWith = [&](const std::string& prefix) {
        return std::find_if(r.reports.begin(), r.reports.end(),
                            [&](const ReportMark& m) { return m.meaning.rfind(prefix, 0) == 0; });
    };
    const auto pull = firstWith("force x=-");
    ASSERT_NE(pull, r.reports.end());
    EXPECT_EQ(pull->causes, "update c, gain 8000");
    EXPECT_GE(pull->timeMs, 100u);
    // Every call is named once, by the first report after it.
    std::vector<std::string> named;
    for (const ReportMark& m : r.reports)
        if (!m.causes.empty()) named.push_back(m.causes);
    const std::string all = [&] {
        std::string s;
        for (const std::string& n : named) s += n + "|";
        return s;
    }();
    for (const char* call : {"download c and start", "update c", "gain 8000", "DeviceID begin", "DeviceID end"}) {
        const size_t at = all.find(call);
        EXPECT_NE(at, std::string::npos) << call << " in " << all;
        EXPECT_EQ(all.find(call, at + 1), std::string::npos) << call << " twice in " << all;
    }
    // The trace shows the causes on the report's line, and nothing on
    // reports that answer no call.
    const std::regex line(R"(^ +\d+ ms  OUT  [0-9A-F .]+\(\d+ bytes\)(  after (.*))?$)");
    int withCauses = 0, without = 0;
    for (const std::string& l : r.trace) {
        std::smatch m;
        if (!std::regex_match(l, m, line)) continue;
        (m[1].matched ? withCauses : without)++;
    }
    EXPECT_EQ(withCauses, static_cast<int>(named.size()));
    EXPECT_GT(without, 0);
    EXPECT_TRUE(std::any_of(r.trace.begin(), r.trace.end(), [](const std::string& l) {
        return l.find("  after update c, gain 8000") != std::string::npos;
    }));
}

// ------------------------------------------------------------------ plot

struct PlotCase {
    const char* example;
    std::vector<std::string> ticks;
    std::vector<std::string> traces, absent;
    int starts, stops;
};

class PlotTest : public testing::TestWithParam<PlotCase> {};

std::vector<std::string> All(const std::string& text, const std::regex& re) {
    std::vector<std::string> found;
    for (std::sregex_iterator it(text.begin(), text.end(), re), end; it != end; ++it) found.push_back((*it)[1]);
    return found;
}

TEST_P(PlotTest, RoundTicksTheDevicesTracesMarksAndClippedStretches) {
    const PlotCase& c = GetParam();
    const ParseResult parsed = ParseScenarioFile(std::string(FFPLAY_EXAMPLES_DIR) + "/" + c.example + ".ffs");
    ASSERT_TRUE(parsed.Ok());
    PlayOptions o;
    o.modulePath = FFDRV_MODULE_PATH;
    const PlayResult r = Play(parsed.scenario, o);
    const std::string svg = PlotSvg(r, c.example);
    EXPECT_EQ(All(svg, std::regex("<text class=\"tick\"[^>]*>([^<]*)</text>")), c.ticks);
    const std::vector<std::string> traces = All(svg, std::regex("data-trace=\"([^\"]*)\""));
    EXPECT_EQ(traces, c.traces);
    for (const std::string& gone : c.absent)
        for (const std::string& t : traces) EXPECT_EQ(t.find(gone), std::string::npos) << t;
    if (c.starts >= 0) {
        EXPECT_EQ(All(svg, std::regex("class=\"mark (start)\"")).size(), static_cast<size_t>(c.starts));
        EXPECT_EQ(All(svg, std::regex("class=\"mark (stop)\"")).size(), static_cast<size_t>(c.stops));
    }
    EXPECT_EQ(All(svg, std::regex("class=\"(clipped)\"")).size(), MeasureClipping(r).stretches.size());
}

INSTANTIATE_TEST_SUITE_P(
    Families, PlotTest,
    testing::Values(
        PlotCase{"driving_moment",
                 {"0", "0.5 s", "1 s", "1.5 s", "2 s", "2.5 s", "3 s", "3.5 s", "4 s"},
                 {"commanded force x (+ from the right)", "force on axis x (+ to the right)", "position x"},
                 {"motor", "force y", "axis y", "position y"},
                 4,
                 3},
        PlotCase{"rumble_layout_a",
                 {"0", "0.2 s", "0.4 s", "0.6 s", "0.8 s", "1 s", "1.2 s"},
                 {"motor A (0-255)", "motor B (0-255)"},
                 {"force", "position"},
                 2,
                 0},
        PlotCase{"joystick",
                 {"0", "0.2 s", "0.4 s", "0.6 s", "0.8 s", "1 s", "1.2 s"},
                 {"commanded force x (+ from the right)", "commanded force y", "force on axis x (+ to the right)",
                  "force on axis y", "position x", "position y"},
                 {"motor"},
                 2,
                 0}),
    [](const testing::TestParamInfo<PlotCase>& info) {
        std::string name = info.param.example;
        name.erase(std::remove(name.begin(), name.end(), '_'), name.end());
        return name;
    });

}  // namespace
}  // namespace ffplay
