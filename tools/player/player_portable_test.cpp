// Plays scenarios through the built driver module, with its real threads, on
// the virtual clock (and once on the real one).
#include "tools/player/player.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>
#include <sstream>

#include <sys/wait.h>

#include "tools/player/clipping.h"
#include "tools/player/output.h"
#include "tools/player/report_html.h"

namespace ffplay {
namespace {

namespace fs = std::filesystem;

PlayOptions Options() {
    PlayOptions o;
    o.modulePath = FFDRV_MODULE_PATH;
    return o;
}

PlayResult PlayText(const std::string& text, PlayOptions options = Options()) {
    const ParseResult parsed = ParseScenario(text, "inline.ffs");
    EXPECT_TRUE(parsed.Ok()) << (parsed.Ok() ? "" : parsed.errors[0].Format());
    return Play(parsed.scenario, options);
}

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

bool Contains(const std::vector<std::string>& lines, const std::string& part) {
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& l) { return l.find(part) != std::string::npos; });
}

// Decodings that mean the emulator did not understand a report.
bool Misread(const std::string& meaning) {
    return meaning.rfind("unknown", 0) == 0 || meaning.rfind("short", 0) == 0 || meaning.rfind("empty", 0) == 0;
}

std::vector<std::string> ExampleNames() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(FFPLAY_EXAMPLES_DIR))
        if (entry.path().extension() == ".ffs") names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

class ExampleTest : public testing::TestWithParam<std::string> {};

// Every call gets the result the example expects, every report decodes, and
// the device ends with its family's stop.
TEST_P(ExampleTest, PlaysWithEveryCallAsExpectedAndEveryReportUnderstood) {
    const ParseResult parsed = ParseScenarioFile(std::string(FFPLAY_EXAMPLES_DIR) + "/" + GetParam() + ".ffs");
    ASSERT_TRUE(parsed.Ok()) << parsed.errors[0].Format();
    const PlayResult r = Play(parsed.scenario, Options());
    ASSERT_TRUE(r.fatal.empty()) << r.fatal;
    EXPECT_TRUE(r.deviceOpened) << r.deviceIdResult;
    EXPECT_EQ(r.failedCalls, 0) << (r.unexpected.empty() ? "" : r.unexpected[0]);
    EXPECT_EQ(r.samples.size(), parsed.scenario.TotalWaitMs());
    ASSERT_FALSE(r.reports.empty());
    for (const ReportMark& m : r.reports) EXPECT_FALSE(Misread(m.meaning)) << m.timeMs << " ms: " << m.meaning;
    const bool stopped = std::any_of(r.reports.end() - std::min<size_t>(3, r.reports.size()), r.reports.end(),
                                     [](const ReportMark& m) { return m.meaning.rfind("stop", 0) == 0 || m.meaning == "motors off"; });
    EXPECT_TRUE(stopped) << r.reports.back().meaning;
}

INSTANTIATE_TEST_SUITE_P(Examples, ExampleTest, testing::ValuesIn(ExampleNames()),
                         [](const testing::TestParamInfo<std::string>& info) {
                             std::string name = info.param;
                             name.erase(std::remove(name.begin(), name.end(), '_'), name.end());
                             return name;
                         });

TEST(PlayerTest, EveryDeviceFamilyHasAnExample) {
    std::vector<EmulatedFamily> seen;
    for (const std::string& name : ExampleNames())
        seen.push_back(FamilyOf(ParseScenarioFile(std::string(FFPLAY_EXAMPLES_DIR) + "/" + name + ".ffs").scenario.model));
    for (EmulatedFamily f : {EmulatedFamily::kHiResWheel, EmulatedFamily::kLowResWheel, EmulatedFamily::kHiResJoystick,
                             EmulatedFamily::kLowResJoystick, EmulatedFamily::kKarvona, EmulatedFamily::kRumbleA,
                             EmulatedFamily::kRumbleB})
        EXPECT_NE(std::find(seen.begin(), seen.end(), f), seen.end()) << FamilyName(f);
}

TEST(PlayerTest, KarvonaReleaseFeatureReportAndFinalStopReachTheTrace) {
    const PlayResult r = PlayText("device Karvona\ndownload p constant magnitude=5000 duration=50 start\nwait 100\n");
    EXPECT_TRUE(Contains(r.trace, "FEAT 04 04 (2 bytes)"));
    EXPECT_TRUE(Contains(r.trace, "= release:"));
    EXPECT_TRUE(Contains(r.trace, "= stop: all forces off"));
    EXPECT_FALSE(Contains(r.trace, "force x=-1 "));
}

TEST(PlayerTest, SameScenarioGivesTheSameTraceByteForByteInOneProcess) {
    const ParseResult parsed = ParseScenarioFile(std::string(FFPLAY_EXAMPLES_DIR) + "/driving_moment.ffs");
    ASSERT_TRUE(parsed.Ok());
    const PlayResult first = Play(parsed.scenario, Options());
    const PlayResult second = Play(parsed.scenario, Options());
    ASSERT_TRUE(first.fatal.empty()) << first.fatal;
    EXPECT_EQ(TraceText(first), TraceText(second));
    EXPECT_EQ(SamplesCsv(first), SamplesCsv(second));
    EXPECT_EQ(PlotSvg(first, "t"), PlotSvg(second, "t"));
}

// Two runs of the program itself, and this process's own play, write the
// same bytes: nothing depends on addresses, thread timing or the wall clock.
TEST(PlayerTest, SameScenarioGivesTheSameFilesInTwoProcesses) {
    const std::string example = std::string(FFPLAY_EXAMPLES_DIR) + "/karvona.ffs";
    const fs::path base = fs::path(testing::TempDir()) / "ffplay_determinism";
    fs::remove_all(base);
    for (const char* run : {"a", "b"}) {
        const std::string command = std::string("\"") + FFPLAY_EXE + "\" --quiet --module \"" + FFDRV_MODULE_PATH +
                                    "\" --out \"" + (base / run).string() + "\" \"" + example + "\" > /dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }
    const ParseResult parsed = ParseScenarioFile(example);
    const PlayResult here = Play(parsed.scenario, Options());
    const Analysis analysis = Analyse(parsed.scenario, here, Options());
    const std::string expected[] = {TraceText(here), SamplesCsv(here), PlotSvg(here, "karvona on Karvona"),
                                    ReportHtml(parsed.scenario, here, analysis, "karvona on Karvona")};
    const char* files[] = {"trace.txt", "samples.csv", "plot.svg", "report.html"};
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(files[i]);
        const std::string a = ReadFile(base / "a" / files[i]);
        EXPECT_FALSE(a.empty());
        EXPECT_EQ(a, ReadFile(base / "b" / files[i]));
        EXPECT_EQ(a, expected[i]);
    }
}

// An effect that runs out pauses its simulation thread 8 ms with the device
// lock held. A call that falls in that pause used to wait for the lock on
// the very thread that moves the virtual time, and the play never ended.
TEST(PlayerTest, CallsFallingInAnEffectsFinalPauseAreMadeWhenItEnds) {
    std::string text = "device Quintar\ndownload push constant magnitude=5000 direction=9000 duration=50\nstart push\n";
    for (int i = 0; i < 90; ++i) text += "wait 1\nstatus push\n";
    const ParseResult parsed = ParseScenario(text, "inline.ffs");
    ASSERT_TRUE(parsed.Ok());
    auto done = std::make_shared<std::promise<std::pair<PlayResult, PlayResult>>>();
    std::future<std::pair<PlayResult, PlayResult>> plays = done->get_future();
    std::thread([done, scenario = parsed.scenario] {
        PlayResult first = Play(scenario, Options());
        done->set_value({std::move(first), Play(scenario, Options())});
    }).detach();
    // A hang guard only: the two plays take well under a second.
    ASSERT_EQ(plays.wait_for(std::chrono::minutes(2)), std::future_status::ready) << "the play hangs";
    const auto [first, second] = plays.get();
    ASSERT_TRUE(first.fatal.empty()) << first.fatal;
    EXPECT_EQ(first.failedCalls, 0);
    EXPECT_EQ(TraceText(first), TraceText(second));
    // Status calls follow one another a millisecond apart, except once: the
    // one that fell in the pause is made at its end and finds the effect stopped.
    std::vector<const CallMark*> status;
    for (const CallMark& c : first.calls)
        if (c.function == "GetEffectStatus") status.push_back(&c);
    ASSERT_EQ(status.size(), 90u);
    int jumps = 0;
    for (size_t i = 1; i < status.size(); ++i) {
        const std::uint32_t gap = status[i]->timeMs - status[i - 1]->timeMs;
        if (gap == 1) continue;
        ++jumps;
        EXPECT_GT(gap, 1u);
        EXPECT_LE(gap, 9u);
        EXPECT_TRUE(Contains(first.trace, std::to_string(status[i]->timeMs) + " ms  CALL GetEffectStatus(push, handle 1) -> S_OK, not playing"));
        EXPECT_TRUE(Contains(first.trace, std::to_string(status[i - 1]->timeMs) + " ms  CALL GetEffectStatus(push, handle 1) -> S_OK, playing"));
    }
    EXPECT_EQ(jumps, 1);
}

TEST(PlayerTest, RealtimeRunCompletesAndWritesReports) {
    PlayOptions o = Options();
    o.realtime = true;
    const PlayResult r = PlayText("device Quintar\ndownload c constant magnitude=6000 start\nwait 100\n", o);
    ASSERT_TRUE(r.fatal.empty()) << r.fatal;
    EXPECT_TRUE(r.deviceOpened);
    EXPECT_EQ(r.failedCalls, 0);
    EXPECT_TRUE(Contains(r.trace, "= force x=+"));
}

TEST(PlayerTest, EveryResultStandsNextToItsCall) {
    const PlayResult r = PlayText("device Quintar\ngain 5000\nwait 3\n");
    ASSERT_TRUE(r.deviceOpened);
    EXPECT_TRUE(Contains(r.trace, "CALL SetGain(5000) -> S_OK  (line 2)"));
}

// A rejection the scenario marks is shown and not counted; one it does not
// mark, or a marked call that succeeds, is a failure with a clear line.
TEST(PlayerTest, ExpectationsDecideWhichResultsAreFailures) {
    const PlayResult r = PlayText(
        "device Quintar\n"
        "setting 3 15001 expect E_INVALIDARG\n"
        "setting 5 1\n"
        "gain 100 expect E_INVALIDARG\n");
    EXPECT_EQ(r.expectedRejections, 1);
    EXPECT_EQ(r.failedCalls, 2);
    ASSERT_EQ(r.unexpected.size(), 2u);
    EXPECT_EQ(r.unexpected[0], "inline.ffs:3: ISVJoyForceAPI::SetParameter(5, 1) returned E_INVALIDARG (0x80070057)");
    EXPECT_EQ(r.unexpected[1], "inline.ffs:4: SetGain(100) returned S_OK, expected E_INVALIDARG (0x80070057)");
    EXPECT_TRUE(Contains(r.trace, "(line 2)  as expected"));
}

TEST(PlayerTest, MissingModuleIsAClearFailure) {
    PlayOptions o;
    o.modulePath = "/nonexistent/libnothing.so";
    const PlayResult r = Play(ParseScenario("device Vesk\n", "v").scenario, o);
    EXPECT_FALSE(r.loaded);
    EXPECT_NE(r.fatal.find("cannot load /nonexistent/libnothing.so"), std::string::npos);
}

struct LoopCase {
    const char* name;
    const char* model;
};

// The wheel's position flows back to the driver as input: a native spring
// (high resolution) and the host-simulated spring and damper of the
// low-resolution wheel and the Drovik damper all act on it.
class ClosedLoopThroughDriverTest : public testing::TestWithParam<LoopCase> {
protected:
    double FinalPosition(const std::string& effect, const std::string& displace, int waitMs) {
        const PlayResult r = PlayText(std::string("device ") + GetParam().model + "\n" + effect + "wait 20\n" +
                                      displace + "\nwait " + std::to_string(waitMs) + "\n");
        EXPECT_EQ(r.failedCalls, 0);
        return r.samples.empty() ? 99 : r.samples.back().positionX;
    }
};

TEST_P(ClosedLoopThroughDriverTest, SpringReturnsADisplacedWheelTowardCentre) {
    const double free = FinalPosition("", "displace x 0.6", 300);
    const double sprung =
        FinalPosition("download s spring axes=x condition=0,10000,10000,10000,10000,0 start\n", "displace x 0.6", 300);
    EXPECT_DOUBLE_EQ(free, 0.6);
    EXPECT_LT(std::abs(sprung), 0.3);
}

TEST_P(ClosedLoopThroughDriverTest, DamperSlowsAMovingWheel) {
    const double free = FinalPosition("", "displace x 0 1.0", 150);
    const double damped =
        FinalPosition("download d damper axes=x condition=0,10000,10000,10000,10000,0 start\n", "displace x 0 1.0", 150);
    EXPECT_GT(damped, 0);
    EXPECT_LT(damped, 0.9 * free);
}

const LoopCase kLoopCases[] = {{"NativeQuintar", "Quintar"}, {"HostDastrin", "Dastrin"}, {"DrovikHostDamper", "Drovik"},
                               {"JoystickFerolla", "Ferolla"}, {"KarvonaBlocks", "Karvona"}};
INSTANTIATE_TEST_SUITE_P(Models, ClosedLoopThroughDriverTest, testing::ValuesIn(kLoopCases),
                         [](const testing::TestParamInfo<LoopCase>& info) { return std::string(info.param.name); });

// Bad input as a user meets it: the program's exit status and message.
struct ExitCase {
    const char* name;
    const char* text;
    int status;
    const char* message;
};

class ProgramExitTest : public testing::TestWithParam<ExitCase> {};

TEST_P(ProgramExitTest, ClearMessageAndStatusNeverACrash) {
    const fs::path dir = fs::path(testing::TempDir()) / (std::string("ffplay_exit_") + GetParam().name);
    fs::create_directories(dir);
    const fs::path file = dir / "s.ffs";
    if (GetParam().text) std::ofstream(file) << GetParam().text;
    else fs::remove(file);
    const std::string command = std::string("\"") + FFPLAY_EXE + "\" --quiet --module \"" + FFDRV_MODULE_PATH +
                                "\" --out \"" + (dir / "out").string() + "\" \"" + file.string() + "\" > \"" +
                                (dir / "stdout").string() + "\" 2> \"" + (dir / "stderr").string() + "\"";
    const int raw = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(raw)) << "killed by a signal";
    EXPECT_EQ(WEXITSTATUS(raw), GetParam().status);
    const std::string err = ReadFile(dir / "stderr");
    EXPECT_NE(err.find(GetParam().message), std::string::npos) << err;
}

const ExitCase kExitCases[] = {
    {"UnknownModel", "device Zarquon\n", 1, "s.ffs:1: unknown device model 'Zarquon'"},
    {"MalformedNumber", "device Quintar\ngain 12.5\n", 1, "s.ffs:2: gain: '12.5' is not a whole number"},
    {"OutOfRange", "device Quintar\ndownload c constant magnitude=20000\n", 1, "out of range (-10000 to 10000)"},
    {"DriverRejects", "device Quintar\nsetting 5 1\n", 2, "s.ffs:2: ISVJoyForceAPI::SetParameter(5, 1) returned E_INVALIDARG"},
    {"ZeroCount", "device Quintar\ndownload d constant magnitude=1\nstart d count=0\n", 1,
     "s.ffs:3: count 0 is out of range (1 to 1000000)"},
    {"NoSuchFile", nullptr, 1, "cannot read the file"},
};
INSTANTIATE_TEST_SUITE_P(Cases, ProgramExitTest, testing::ValuesIn(kExitCases),
                         [](const testing::TestParamInfo<ExitCase>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace ffplay
