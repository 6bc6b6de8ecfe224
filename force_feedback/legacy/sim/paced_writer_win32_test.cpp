// The paced writer on real Windows overlapped I/O: a named pipe opened
// overlapped stands in for the HID handle, so WriteFileEx, the completion
// routine, the alertable waits and CancelIo are the system's own. Only lower
// bounds of elapsed time are asserted; upper limits are hang guards.
#include "force_feedback/legacy/sim/paced_writer.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <string>

#include "platform/sim_clock.h"

namespace {
constexpr unsigned kLength = 65;

class PipeWriterTest : public ::testing::Test {
protected:
    // A byte pipe with no buffer when `stall`: a write then waits for a reader
    // that never comes.
    void Open(bool stall) {
        m_name = L"\\\\.\\pipe\\ffdrv-paced-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
                 std::to_wstring(++s_counter);
        const DWORD buffer = stall ? 0 : 64 * 1024;
        m_server = CreateNamedPipeW(m_name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                    PIPE_TYPE_BYTE | PIPE_WAIT, 1, buffer, buffer, 0, nullptr);
        ASSERT_NE(m_server, INVALID_HANDLE_VALUE);
        m_client = platform::hid::OpenOverlapped(m_name.c_str());
        ASSERT_NE(m_client, platform::hid::InvalidFile());
    }
    void TearDown() override {
        platform::hid::CloseFile(m_client);
        if (m_server != INVALID_HANDLE_VALUE) CloseHandle(m_server);
    }

    std::string ReadBack(DWORD n) {
        std::string data(n, '\0');
        OVERLAPPED ov{};
        ov.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        DWORD got = 0;
        if (!ReadFile(m_server, data.data(), n, nullptr, &ov) && GetLastError() != ERROR_IO_PENDING) data.clear();
        else if (!GetOverlappedResult(m_server, &ov, &got, TRUE)) data.clear();
        CloseHandle(ov.hEvent);
        return data;
    }

    static inline int s_counter = 0;
    std::wstring m_name;
    HANDLE m_server = INVALID_HANDLE_VALUE;
    platform::hid::File m_client = platform::hid::InvalidFile();
};

TEST_F(PipeWriterTest, WritesArriveWithTheReportIdAndAtLeastEightMillisecondsApart) {
    Open(/*stall=*/false);
    std::array<std::uint8_t, kLength> report{0xEE, 0x11, 0x08, 0x90};
    const DWORD start = platform::SimTimeMs();
    ASSERT_TRUE(WritePacedReport(m_client, 0x05, report.data(), kLength));
    const DWORD afterFirst = platform::SimTimeMs();
    ASSERT_TRUE(WritePacedReport(m_client, 0x05, report.data(), kLength));
    const DWORD afterSecond = platform::SimTimeMs();
    EXPECT_GE(afterFirst - start, 7u);
    EXPECT_GE(afterSecond - afterFirst, 7u);
    const std::string first = ReadBack(kLength);
    ASSERT_EQ(first.size(), kLength);
    EXPECT_EQ(static_cast<std::uint8_t>(first[0]), 0x05);
    EXPECT_EQ(static_cast<std::uint8_t>(first[1]), 0x11);
    EXPECT_EQ(static_cast<std::uint8_t>(first[3]), 0x90);
}

TEST_F(PipeWriterTest, WriteOnAClosedHandleFailsAndStillTakesThePeriod) {
    Open(/*stall=*/false);
    CloseHandle(m_server);
    m_server = INVALID_HANDLE_VALUE;
    std::array<std::uint8_t, kLength> report{};
    const DWORD start = platform::SimTimeMs();
    EXPECT_FALSE(WritePacedReport(m_client, 0, report.data(), kLength));
    EXPECT_GE(platform::SimTimeMs() - start, 7u);
}

TEST_F(PipeWriterTest, WriteThatNeverCompletesIsCancelledAfterAboutOneSecond) {
    Open(/*stall=*/true);
    std::array<std::uint8_t, 4096> report{};  // more than any pipe buffer will take
    const DWORD start = platform::SimTimeMs();
    const bool written = WritePacedReport(m_client, 0, report.data(), static_cast<unsigned>(report.size()));
    const DWORD elapsed = platform::SimTimeMs() - start;
    if (written) GTEST_SKIP() << "this pipe implementation completed the write without a reader";
    EXPECT_GE(elapsed, 950u);
    EXPECT_LT(elapsed, 5000u);
    // The cancelled write's completion routine already ran inside the
    // writer: none is left for this thread's next alertable wait.
    EXPECT_EQ(SleepEx(0, TRUE), 0u);
}

}  // namespace
