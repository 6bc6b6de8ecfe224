// The paced writer against a virtual device, in virtual time: every expected
// time below follows from the 8 ms period, the 50 ms waits and the twenty
// waits before cancelling.
#include "force_feedback/legacy/sim/paced_writer.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "force_feedback/legacy/testing/virtual_clock.h"

namespace {
constexpr std::uint32_t kJoystick = 3;
constexpr std::uint32_t kStart = 5000;
constexpr unsigned kLength = 65;
constexpr std::uint8_t kReportId = 0x07;

struct Write {
    bool result = false;
    std::uint32_t returnedAt = 0;
};

class PacedWriterTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(m_device.Result(), FFDRV_VIRTUAL_OK);
        m_file = platform::hid::OpenOverlapped(DevicePath());
        ASSERT_NE(m_file, platform::hid::InvalidFile());
    }
    void TearDown() override { platform::hid::CloseFile(m_file); }

    static const wchar_t* DevicePath() {
        static wchar_t path[platform::hid::kMaxPath];
        platform::hid::DirectInput input = nullptr;
        platform::hid::CreateDirectInput(nullptr, &input);
        platform::hid::Controller controller = nullptr;
        platform::hid::GuidAndPath gp{};
        struct Found {
            GUID guid;
            bool any = false;
        } found;
        platform::hid::EnumGameControllers(
            input, platform::hid::kEnumForceFeedbackAll,
            [](const GUID& g, void* f) {
                static_cast<Found*>(f)->guid = g;
                static_cast<Found*>(f)->any = true;
                return false;
            },
            &found);
        if (found.any && SUCCEEDED(platform::hid::CreateDevice(input, found.guid, &controller))) {
            platform::hid::GetGuidAndPath(controller, &gp);
            platform::hid::ReleaseController(controller);
        }
        platform::hid::ReleaseDirectInput(input);
        std::copy(std::begin(gp.path), std::end(gp.path), path);
        return path;
    }

    // Writes `count` reports back to back on a clocked worker.
    std::vector<Write> WriteReports(int count) {
        std::vector<Write> writes(count);
        ClockedWorker worker([&] {
            for (Write& w : writes) {
                std::array<std::uint8_t, kLength> report{0xEE, 0x11, 0x08, 0x90};
                w.result = WritePacedReport(m_file, kReportId, report.data(), kLength);
                w.returnedAt = platform::SimTimeMs();
            }
        });
        EXPECT_TRUE(worker.Finish());
        return writes;
    }

    std::vector<std::uint32_t> RecordedTimes() {
        std::vector<std::uint32_t> times;
        for (int i = 0; i < FfdrvVirtualReportCount(kJoystick); ++i) {
            std::uint32_t at = 0;
            FfdrvVirtualGetReport(kJoystick, i, nullptr, &at, nullptr, 0);
            times.push_back(at);
        }
        return times;
    }

    VirtualClockScope m_clock{kStart};
    PluggedDevice m_device{VirtualWheel(kJoystick)};
    platform::hid::File m_file = platform::hid::InvalidFile();
};

TEST_F(PacedWriterTest, BackToBackWritesAreEightMillisecondsApart) {
    const std::vector<Write> writes = WriteReports(3);
    EXPECT_EQ(RecordedTimes(), (std::vector<std::uint32_t>{kStart, kStart + 8, kStart + 16}));
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        EXPECT_TRUE(writes[i].result);
        EXPECT_EQ(writes[i].returnedAt, kStart + 8 * (i + 1));
    }
}

TEST_F(PacedWriterTest, FirstByteBecomesTheReportIdAndTheRestIsSentAsGiven) {
    WriteReports(1);
    std::array<std::uint8_t, kLength> sent{};
    std::uint32_t kind = 99;
    ASSERT_EQ(FfdrvVirtualGetReport(kJoystick, 0, &kind, nullptr, sent.data(), kLength), static_cast<int>(kLength));
    EXPECT_EQ(kind, static_cast<std::uint32_t>(FFDRV_VIRTUAL_REPORT_OUTPUT));
    EXPECT_EQ(sent[0], kReportId);
    EXPECT_EQ(sent[1], 0x11);
    EXPECT_EQ(sent[2], 0x08);
    EXPECT_EQ(sent[3], 0x90);
    EXPECT_EQ(sent[4], 0x00);
}

TEST_F(PacedWriterTest, StalledWriteIsCancelledAfterTwentyWaitsAndLeavesNothingPending) {
    ASSERT_EQ(FfdrvVirtualSetWriteMode(kJoystick, FFDRV_VIRTUAL_WRITE_STALL), FFDRV_VIRTUAL_OK);
    const std::vector<Write> writes = WriteReports(1);
    EXPECT_FALSE(writes[0].result);
    // 20 waits of 50 ms; the alertable sleep after cancelling ends as soon
    // as the cancelled write's completion runs, as SleepEx does.
    EXPECT_EQ(writes[0].returnedAt, kStart + 20 * 50);
    EXPECT_EQ(FfdrvVirtualPendingIo(kJoystick), 0);
    EXPECT_EQ(FfdrvVirtualReportCount(kJoystick), 0);
}

TEST_F(PacedWriterTest, WriteThatCannotStartFailsButStillHoldsThePeriod) {
    ASSERT_EQ(FfdrvVirtualSetWriteMode(kJoystick, FFDRV_VIRTUAL_WRITE_FAIL), FFDRV_VIRTUAL_OK);
    const std::vector<Write> writes = WriteReports(2);
    EXPECT_FALSE(writes[0].result);
    EXPECT_EQ(writes[0].returnedAt, kStart + 8);
    EXPECT_EQ(writes[1].returnedAt, kStart + 16);
}

TEST_F(PacedWriterTest, CompletionWithErrorCountsAsWrittenAfterItsOwnEightMilliseconds) {
    ASSERT_EQ(FfdrvVirtualSetWriteMode(kJoystick, FFDRV_VIRTUAL_WRITE_ERROR), FFDRV_VIRTUAL_OK);
    const std::vector<Write> writes = WriteReports(1);
    EXPECT_TRUE(writes[0].result);
    // The error sleep already makes 8 ms, so no top-up follows.
    EXPECT_EQ(writes[0].returnedAt, kStart + 8);
}

TEST_F(PacedWriterTest, UnpluggingEndsTheWriteInFlightAndFailsTheNextWithoutHanging) {
    ASSERT_EQ(FfdrvVirtualSetWriteMode(kJoystick, FFDRV_VIRTUAL_WRITE_STALL), FFDRV_VIRTUAL_OK);
    Write inFlight, next;
    ClockedWorker worker([&] {
        std::array<std::uint8_t, kLength> report{};
        inFlight.result = WritePacedReport(m_file, kReportId, report.data(), kLength);
        inFlight.returnedAt = platform::SimTimeMs();
        next.result = WritePacedReport(m_file, kReportId, report.data(), kLength);
        next.returnedAt = platform::SimTimeMs();
    });
    ASSERT_TRUE(platform::AdvanceVirtualClock(100));
    ASSERT_EQ(FfdrvVirtualPendingIo(kJoystick), 1);
    ASSERT_EQ(FfdrvVirtualUnplug(kJoystick), FFDRV_VIRTUAL_OK);
    ASSERT_TRUE(worker.Finish());
    // A completion, even one carrying the device's error, counts as written;
    // it costs its own 8 ms.
    EXPECT_TRUE(inFlight.result);
    EXPECT_EQ(inFlight.returnedAt, kStart + 100 + 8);
    EXPECT_FALSE(next.result);
    EXPECT_EQ(next.returnedAt, kStart + 100 + 16);
}

}  // namespace
