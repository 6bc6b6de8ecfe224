// The recorder in the closed loop: a scenario played with recording on leaves
// a recording that the player replays with the same calls, results and
// reports at the same instants.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <regex>
#include <sstream>

#include "tools/player/player.h"
#include "tools/player/recording_summary.h"

namespace ffplay {
namespace {

namespace fs = std::filesystem;

PlayOptions Options() {
    PlayOptions o;
    o.modulePath = FFDRV_MODULE_PATH;
    return o;
}

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// Recording is switched on for the scope through the environment, as a user
// switches it on for a game; each scope gets an empty directory of its own.
class RecordingOn {
public:
    explicit RecordingOn(const std::string& name) {
        m_dir = fs::temp_directory_path() / ("ffdrv-record-test-" + std::to_string(::getpid()) + "-" + name);
        fs::remove_all(m_dir);
        fs::create_directories(m_dir);
        ::setenv("FFDRV_RECORD_DIR", m_dir.c_str(), 1);
    }
    ~RecordingOn() {
        ::unsetenv("FFDRV_RECORD_DIR");
        std::error_code ec;
        fs::remove_all(m_dir, ec);
    }
    std::vector<fs::path> Files() const {
        std::vector<fs::path> files;
        for (const auto& entry : fs::directory_iterator(m_dir)) files.push_back(entry.path());
        std::sort(files.begin(), files.end());
        return files;
    }
    const fs::path& Dir() const { return m_dir; }

private:
    fs::path m_dir;
};

// What must survive a replay: each driver call's instant, name and result,
// and each report's instant and bytes. Names, line numbers and the player's
// own remarks differ between a scenario and its recording by design; the
// settings interface is not a call into the effect driver and is not recorded.
std::vector<std::string> Essence(const std::vector<std::string>& trace) {
    static const std::regex call(R"(^\s*(\d+) ms  CALL (\w+)[^>]*-> ([A-Z_a-z0-9]+))");
    // A report line ends with the calls that led to it, by name: cut those.
    static const std::regex report(R"(^\s*\d+ ms  (OUT |FEAT) .*?\(\d+ bytes\))");
    std::vector<std::string> lines;
    std::smatch m;
    for (const std::string& line : trace) {
        if (line.find("CALL ISVJoyForceAPI") != std::string::npos) continue;
        if (std::regex_search(line, m, call)) lines.push_back(m[1].str() + " " + m[2].str() + " " + m[3].str());
        else if (std::regex_search(line, m, report)) lines.push_back(m[0].str());
    }
    return lines;
}

// The first place two essences part, for a readable failure.
std::string FirstDifference(const std::vector<std::string>& a, const std::vector<std::string>& b) {
    for (size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
        const std::string x = i < a.size() ? a[i] : "(end)", y = i < b.size() ? b[i] : "(end)";
        if (x != y) return "entry " + std::to_string(i) + ": played '" + x + "', replayed '" + y + "'";
    }
    return "";
}

struct Replay {
    PlayResult original, replay;
    std::string recording;
    std::string recordingPath;
};

// Plays `scenario` with recording on, then replays the one recording it left.
Replay RecordAndReplay(const Scenario& scenario, const std::string& name) {
    Replay r;
    RecordingOn on(name);
    r.original = Play(scenario, Options());
    const std::vector<fs::path> files = on.Files();
    EXPECT_EQ(files.size(), 1u) << "one device, one recording";
    if (files.empty()) return r;
    r.recordingPath = files[0].filename().string();
    r.recording = ReadFile(files[0]);
    ::unsetenv("FFDRV_RECORD_DIR");
    const ParseResult parsed = ParseScenario(r.recording, r.recordingPath);
    EXPECT_TRUE(parsed.Ok()) << (parsed.Ok() ? "" : parsed.errors[0].Format()) << "\n" << r.recording;
    if (parsed.Ok()) r.replay = Play(parsed.scenario, Options());
    return r;
}

std::vector<std::string> ExampleNames() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(FFPLAY_EXAMPLES_DIR))
        if (entry.path().extension() == ".ffs") names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

class RecordedExampleTest : public testing::TestWithParam<std::string> {};

TEST_P(RecordedExampleTest, ReplaysWithTheSameCallsResultsAndReports) {
    const ParseResult parsed = ParseScenarioFile(std::string(FFPLAY_EXAMPLES_DIR) + "/" + GetParam() + ".ffs");
    ASSERT_TRUE(parsed.Ok());
    const Replay r = RecordAndReplay(parsed.scenario, GetParam());
    ASSERT_FALSE(r.recording.empty());
    EXPECT_EQ(r.replay.failedCalls, 0) << (r.replay.unexpected.empty() ? "" : r.replay.unexpected[0]);
    const std::vector<std::string> before = Essence(r.original.trace), after = Essence(r.replay.trace);
    EXPECT_GT(before.size(), 3u);
    EXPECT_EQ(FirstDifference(before, after), "") << r.recording;
}

INSTANTIATE_TEST_SUITE_P(Examples, RecordedExampleTest, testing::ValuesIn(ExampleNames()),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

TEST(RecordingTest, FileIsNamedFromProcessModelJoystickAndTimeAndSaysWhatRecordedIt) {
    const ParseResult parsed = ParseScenario("device Tollund joystick 3\ngain 5000\n", "named.ffs");
    ASSERT_TRUE(parsed.Ok());
    const Replay r = RecordAndReplay(parsed.scenario, "named");
    EXPECT_TRUE(std::regex_match(r.recordingPath, std::regex(R"(ffplay_tests-Tollund-j3-\d{8}-\d{6}\.ffs)")))
        << r.recordingPath;
    EXPECT_NE(r.recording.find("# Recorded by the Corvanta force-feedback effect driver " FFDRV_VERSION_TEXT),
              std::string::npos) << r.recording;
    EXPECT_NE(r.recording.find("# process ffplay_tests"), std::string::npos);
    EXPECT_NE(r.recording.find("\ndevice Tollund joystick 3\n"), std::string::npos);
    EXPECT_NE(r.recording.find("gain raw=5000 expect S_OK"), std::string::npos) << r.recording;
}

TEST(RecordingTest, RejectedCallsAndUnknownHandlesReplayWithTheirResults) {
    // Values a game may send and DirectInput's nominal ranges do not cover,
    // handles that never existed, a destroyed effect used again.
    const ParseResult parsed = ParseScenario(
        "device Dastrin\n"
        "download a constant raw-magnitude=12000 duration=200 start\n"
        "wait 30\n"
        "download b sine raw-flags=0x40 raw-axis-count=0 raw-dieff=0x11\n"
        "stop handle:40 expect E_INVALIDARG\n"
        "status a\n"
        "destroy a\n"
        "start handle:1 raw-mode=0 raw-count=1 expect E_INVALIDARG\n"
        "gain raw=20000\n"
        "command 0x7F expect E_NOTIMPL\n"
        "escape raw command=9 in=none out=0 expect E_FAIL\n"
        "wait 50\n",
        "rejections.ffs");
    ASSERT_TRUE(parsed.Ok()) << parsed.errors[0].Format();
    EXPECT_EQ(parsed.warnings.size(), 2u) << "the magnitude and the gain are out of nominal range";
    const Replay r = RecordAndReplay(parsed.scenario, "rejections");
    EXPECT_EQ(r.original.failedCalls, 0) << (r.original.unexpected.empty() ? "" : r.original.unexpected[0]);
    EXPECT_EQ(r.replay.failedCalls, 0) << (r.replay.unexpected.empty() ? "" : r.replay.unexpected[0]) << r.recording;
    EXPECT_EQ(FirstDifference(Essence(r.original.trace), Essence(r.replay.trace)), "") << r.recording;
    const ParseResult recorded = ParseScenario(r.recording, "recorded.ffs");
    const std::string summary = RecordingSummary(recorded.scenario);
    EXPECT_NE(summary.find("rejected calls: 4"), std::string::npos) << summary;
    EXPECT_NE(summary.find("constant 1"), std::string::npos) << summary;
}

// A seeded session of calls within DirectInput's rules: downloads of every
// type with random parameters, durations and coordinate systems, updates,
// starts, stops, destroys, gains, commands, escapes and queries, at random
// instants. Calls to one joystick are serialised as DirectInput serialises
// them, so the calls of many game threads reach the driver as one sequence.
std::string RandomSession(unsigned seed) {
    std::mt19937 rng(seed);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    static const char* kTypes[] = {"constant", "ramp", "square", "sine", "triangle", "sawtoothup",
                                   "sawtoothdown", "spring", "damper", "inertia", "friction", "custom"};
    static const char* kCommands[] = {"stopall", "pause", "continue", "actuators-on", "actuators-off"};
    std::ostringstream s;
    s << "device Pelvar joystick 1\n";
    std::vector<std::string> live;
    int next = 0;
    for (int i = 0; i < 120; ++i) {
        const int what = pick(0, 9);
        if (what <= 2 || live.empty()) {
            const std::string name = "r" + std::to_string(next++);
            const char* type = kTypes[pick(0, 11)];
            // Finite durations too: effects run out between and during calls,
            // and each one that does pauses its device with the lock held.
            s << "download " << name << " " << type << " duration=";
            if (pick(0, 2) == 0) s << "infinite";
            else s << pick(1, 300);
            s << " gain=" << pick(0, 10000);
            const std::string t = type;
            if (t == "constant") s << " magnitude=" << pick(-10000, 10000);
            else if (t == "ramp") s << " start=" << pick(-10000, 10000) << " end=" << pick(-10000, 10000);
            else if (t == "custom") s << " samples=" << pick(-10000, 10000) << "," << pick(-10000, 10000) << " custom-period=" << pick(1, 50);
            else if (t == "spring" || t == "damper" || t == "inertia" || t == "friction")
                s << " condition=" << pick(-5000, 5000) << "," << pick(-10000, 10000) << "," << pick(-10000, 10000)
                  << ",10000,10000," << pick(0, 2000);
            else s << " magnitude=" << pick(0, 10000) << " period=" << pick(5, 200) << " phase=" << pick(0, 35999);
            if (pick(0, 1)) s << " direction=" << pick(0, 35999);
            else s << " cartesian=" << pick(-100, 100) << "," << pick(-100, 100);
            if (pick(0, 2) == 0) s << " envelope=" << pick(0, 10000) << "," << pick(0, 50) << "," << pick(0, 10000) << "," << pick(0, 50);
            if (pick(0, 1)) s << " start";
            s << "\n";
            live.push_back(name);
        } else if (what == 3) {
            s << "start " << live[pick(0, static_cast<int>(live.size()) - 1)] << " count=" << pick(1, 3)
              << (pick(0, 3) == 0 ? " solo" : "") << "\n";
        } else if (what == 4) {
            s << "stop " << live[pick(0, static_cast<int>(live.size()) - 1)] << "\n";
        } else if (what == 5) {
            const int at = pick(0, static_cast<int>(live.size()) - 1);
            s << "destroy " << live[at] << "\n";
            live.erase(live.begin() + at);
        } else if (what == 6) {
            s << "gain " << pick(0, 10000) << "\n";
        } else if (what == 7) {
            s << "command " << kCommands[pick(0, 4)] << "\n";
        } else if (what == 8) {
            s << (pick(0, 1) ? "state\n" : "escape 1 " + std::to_string(pick(0, 9)) + "\n");
        } else {
            s << "status " << live[pick(0, static_cast<int>(live.size()) - 1)] << "\n";
        }
        if (pick(0, 2)) s << "wait " << pick(1, 40) << "\n";
    }
    return s.str();
}

class RandomSessionTest : public testing::TestWithParam<unsigned> {};

TEST_P(RandomSessionTest, RecordedAndReplayedTwiceGivesIdenticalTraces) {
    const ParseResult parsed = ParseScenario(RandomSession(GetParam()), "random.ffs");
    ASSERT_TRUE(parsed.Ok()) << parsed.errors[0].Format();
    const Replay r = RecordAndReplay(parsed.scenario, "random");
    const ParseResult recorded = ParseScenario(r.recording, r.recordingPath);
    ASSERT_TRUE(recorded.Ok());
    const PlayResult again = Play(recorded.scenario, Options());
    EXPECT_EQ(r.replay.trace, again.trace) << "two replays of one recording";
    EXPECT_EQ(FirstDifference(Essence(r.original.trace), Essence(r.replay.trace)), "") << r.recording;
    EXPECT_EQ(r.replay.failedCalls, 0);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomSessionTest, testing::Values(1717u, 42u, 2026u));

// The scenario the Windows closed loop records through the DLL under Wine,
// closed natively as well.
TEST(RecordingTest, EveryKindOfCallReplaysWithTheSameResults) {
    const ParseResult parsed = ParseScenarioFile(FFPLAY_TESTDATA_DIR "/every_call.ffs");
    ASSERT_TRUE(parsed.Ok()) << parsed.errors[0].Format();
    const Replay r = RecordAndReplay(parsed.scenario, "every_call");
    EXPECT_EQ(r.original.failedCalls, 0) << (r.original.unexpected.empty() ? "" : r.original.unexpected[0]);
    EXPECT_EQ(r.replay.failedCalls, 0) << (r.replay.unexpected.empty() ? "" : r.replay.unexpected[0]) << r.recording;
    EXPECT_EQ(FirstDifference(Essence(r.original.trace), Essence(r.replay.trace)), "") << r.recording;
}

TEST(RecordingTest, UnwritableDirectoryChangesNoResultAndLeavesNoFile) {
    const ParseResult parsed = ParseScenarioFile(std::string(FFPLAY_EXAMPLES_DIR) + "/periodic_sine.ffs");
    ASSERT_TRUE(parsed.Ok());
    const PlayResult plain = Play(parsed.scenario, Options());
    ::setenv("FFDRV_RECORD_DIR", "/nonexistent-ffdrv-dir/deeper", 1);
    const PlayResult recorded = Play(parsed.scenario, Options());
    ::unsetenv("FFDRV_RECORD_DIR");
    EXPECT_EQ(recorded.failedCalls, 0);
    EXPECT_EQ(plain.trace, recorded.trace);
    EXPECT_FALSE(fs::exists("/nonexistent-ffdrv-dir"));
}

TEST(RecordingTest, SummaryCountsEffectsByTypeAndCallsByKind) {
    const ParseResult parsed = ParseScenario(
        "device Drovik\n"
        "download a sine magnitude=100 period=50\n"
        "download b sine magnitude=100 period=50 start\n"
        "download c spring condition=0,1,1,10000,10000,0\n"
        "start a\nwait 1200\nstop a\nsetting 3 15001 expect E_INVALIDARG\nwait 300\n",
        "summary.ffs");
    ASSERT_TRUE(parsed.Ok());
    const std::string summary = RecordingSummary(parsed.scenario);
    EXPECT_NE(summary.find("Drovik at joystick 0, 1.500 s"), std::string::npos) << summary;
    EXPECT_NE(summary.find("effects downloaded: 3\n  sine 2\n  spring 1\n"), std::string::npos) << summary;
    EXPECT_NE(summary.find("  download 3\n"), std::string::npos) << summary;
    EXPECT_NE(summary.find("rejected calls: 1\n  setting -> E_INVALIDARG"), std::string::npos) << summary;
}

}  // namespace
}  // namespace ffplay
