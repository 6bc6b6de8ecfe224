// The recorder's own contract: a full queue loses calls and says so, a file
// that cannot be created or written ends the recording with a trace line,
// and calls from several threads at once all land or are counted as lost.
#include "force_feedback/legacy/driver/call_recorder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/debug.h"
#include "platform/sim_clock.h"

namespace {

namespace fs = std::filesystem;

std::mutex g_traceMutex;
std::wstring g_trace;
void CaptureTrace(const wchar_t*, const wchar_t* message) {
    std::lock_guard lock(g_traceMutex);
    g_trace += message;
}

class CallRecorderTest : public testing::Test {
protected:
    void SetUp() override {
        m_dir = fs::temp_directory_path() / ("ffdrv-recorder-" + std::to_string(::getpid()) + "-" +
                                             testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(m_dir);
        fs::create_directories(m_dir);
        g_trace.clear();
        platform::SetTraceHook(&CaptureTrace);
    }
    void TearDown() override {
        platform::SetTraceHook(nullptr);
        fs::remove_all(m_dir);
    }
    std::string OnlyFile() const {
        std::vector<fs::path> files;
        for (const auto& e : fs::directory_iterator(m_dir)) files.push_back(e.path());
        EXPECT_EQ(files.size(), 1u);
        if (files.empty()) return "";
        std::ifstream in(files[0], std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }
    static int Count(const std::string& text, const std::string& part) {
        int n = 0;
        for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
        return n;
    }
    static std::string Trace() {
        std::lock_guard lock(g_traceMutex);
        return std::string(g_trace.begin(), g_trace.end());
    }
    fs::path m_dir;
};

TEST_F(CallRecorderTest, FullQueueCountsTheLossAndTheFileStatesIt) {
    auto recorder = CCallRecorder::Begin(m_dir.string(), Model::Dastrin, 2, 8);
    ASSERT_NE(recorder, nullptr);
    recorder->PauseWriterForTest(true);
    for (DWORD i = 0; i < 100; ++i) recorder->Simple(CCallRecorder::Kind::kGain, 1000 + i, i, 0, 0, S_OK);
    EXPECT_EQ(recorder->Lost(), 92u);
    recorder.reset();
    const std::string text = OnlyFile();
    EXPECT_EQ(Count(text, "gain raw="), 8) << text;
    EXPECT_NE(text.find("# recorder: 92 call(s) lost here: the recording buffer was full"), std::string::npos) << text;
    // The kept calls are the first ones, in order; the loss follows them.
    EXPECT_NE(text.find("gain raw=0 expect S_OK\ngain raw=1 expect S_OK\n"), std::string::npos) << text;
    EXPECT_NE(text.find("gain raw=7 expect S_OK\n# recorder: 92 call(s) lost"), std::string::npos) << text;
}

// Input reports share the calls' queue: they land in the order they came,
// one millisecond before the instant they were read, and a report longer than
// a slot keeps says so instead of being cut silently.
TEST_F(CallRecorderTest, InputReportsLandInOrderWithTheCallsAndAnOverlongOneSaysSo) {
    auto recorder = CCallRecorder::Begin(m_dir.string(), Model::Ravik, 0);
    ASSERT_NE(recorder, nullptr);
    recorder->PauseWriterForTest(true);
    const std::uint32_t start = platform::SimTimeMs();
    const BYTE pressed[] = {0x00, 0x12, 0x02, 0x00, 0x02, 0x01};
    std::vector<BYTE> overlong(100, 0xAB);
    recorder->Simple(CCallRecorder::Kind::kGain, start, 5000, 0, 0, S_OK);
    recorder->InputReport(pressed, sizeof pressed);
    recorder->InputReport(overlong.data(), static_cast<unsigned>(overlong.size()));
    recorder->Simple(CCallRecorder::Kind::kState, start, 0, 0, 0, S_OK);
    recorder.reset();
    const std::string text = OnlyFile();
    const size_t gain = text.find("gain raw=5000"), input = text.find("input raw=001202000201\n"),
                 note = text.find("# the next input report had 100 bytes: only the first 64 are kept\n"),
                 state = text.find("state expect S_OK");
    ASSERT_NE(input, std::string::npos) << text;
    ASSERT_NE(note, std::string::npos) << text;
    EXPECT_LT(gain, input);
    EXPECT_LT(input, note);
    EXPECT_LT(note, state);
    std::string kept;
    for (int i = 0; i < 64; ++i) kept += "AB";
    EXPECT_NE(text.find("input raw=" + kept + "\n"), std::string::npos) << text;
}

TEST_F(CallRecorderTest, NoRecorderWithoutADirectory) {
    EXPECT_EQ(CCallRecorder::Begin("", Model::Dastrin, 0), nullptr);
}

TEST_F(CallRecorderTest, DirectoryThatCannotHoldAFileEndsTheRecordingWithATraceLine) {
    auto recorder = CCallRecorder::Begin((m_dir / "missing" / "deeper").string(), Model::Pelvar, 5);
    ASSERT_NE(recorder, nullptr);
    recorder->Simple(CCallRecorder::Kind::kStop, 10, 1, 0, 0, S_OK);
    recorder.reset();
    EXPECT_NE(Trace().find("recording of joystick 5 stopped: cannot create"), std::string::npos) << Trace();
    EXPECT_TRUE(fs::is_empty(m_dir));
}

// A file-size limit stands in for a full disk; SIGXFSZ is ignored so that the
// write fails instead of the process dying. In a child, so that the limit
// never touches the test runner.
TEST_F(CallRecorderTest, FullDiskEndsTheRecordingAndKeepsWhatFit) {
    constexpr rlim_t kLimit = 600;
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit{kLimit, kLimit};
        setrlimit(RLIMIT_FSIZE, &limit);
        auto recorder = CCallRecorder::Begin(m_dir.string(), Model::Dastrin, 1);
        for (int batch = 0; batch < 20; ++batch) {
            for (DWORD i = 0; i < 50; ++i) recorder->Simple(CCallRecorder::Kind::kStart, 2000 + i, 3, 0, 1, S_OK);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        // The writer drains on its own schedule; give a loaded machine time
        // to reach the failing write rather than racing it.
        for (int i = 0; i < 2000 && recorder->Active(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        const bool stillActiveAtEnd = recorder->Active();
        recorder.reset();
        const std::string trace = Trace();
        _exit(trace.find("stopped: cannot write") != std::string::npos ? (stillActiveAtEnd ? 3 : 0) : 2);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "2: no trace line about the failed write; 3: still recording";
    const std::string text = OnlyFile();
    EXPECT_LE(text.size(), kLimit);
    EXPECT_EQ(text.rfind("# Recorded by", 0), 0u);
}

TEST_F(CallRecorderTest, CallsFromManyThreadsAllLandOrAreCountedLost) {
    constexpr int kThreads = 4, kCalls = 2000;
    auto recorder = CCallRecorder::Begin(m_dir.string(), Model::Zorvel, 0, 1024);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kCalls; ++i)
                recorder->Simple(CCallRecorder::Kind::kGain, 5000, static_cast<DWORD>(t * kCalls + i), 0, 0, S_OK);
        });
    for (std::thread& t : threads) t.join();
    const std::uint64_t lost = recorder->Lost();
    recorder.reset();
    const std::string text = OnlyFile();
    std::uint64_t statedLoss = 0;
    const std::regex loss(R"(# recorder: (\d+) call\(s\) lost)");
    for (std::sregex_iterator it(text.begin(), text.end(), loss), end; it != end; ++it)
        statedLoss += std::stoull((*it)[1].str());
    EXPECT_EQ(statedLoss, lost);
    EXPECT_EQ(static_cast<std::uint64_t>(Count(text, "gain raw=")) + lost, std::uint64_t{kThreads * kCalls});
}

}  // namespace
