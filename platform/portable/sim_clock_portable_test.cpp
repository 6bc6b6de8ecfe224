// The virtual clock and the virtual devices' completion routines: time moves
// only when the test advances it, waits fall due in deadline order, and
// completion routines run only in their thread's alertable waits.
#include "platform/sim_clock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/hid.h"
#include "platform/thread.h"
#include "platform/virtual_hid_api.h"

namespace {
constexpr std::uint32_t kStart = 2000;

class SimClockTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(platform::UseVirtualClock(kStart)); }
    void TearDown() override {
        for (auto& t : m_threads) t->Join(0xFFFFFFFFu);
        platform::UseRealClock();
    }

    // A thread the clock waits for.
    void Spawn(std::function<void()> body) {
        auto participant = std::make_shared<platform::SimParticipant>();
        m_threads.push_back(platform::Thread::Start(
            [participant, body = std::move(body)]() mutable {
                participant->Attach();
                body();
                participant.reset();
            },
            platform::ThreadPriority::kNormal));
    }

    void Log(const char* what) {
        std::lock_guard lock(m_mutex);
        m_log.push_back(std::string(what) + "@" + std::to_string(platform::SimTimeMs() - kStart));
    }
    std::vector<std::string> TakeLog() {
        std::lock_guard lock(m_mutex);
        return std::exchange(m_log, {});
    }

    std::mutex m_mutex;
    std::vector<std::string> m_log;
    std::vector<std::unique_ptr<platform::Thread>> m_threads;
};

TEST_F(SimClockTest, SetEventWakesTheWaiterWithoutTimePassing) {
    platform::SimEvent event(/*manualReset=*/false, /*initiallySignaled=*/false);
    std::atomic<int> result{-1};
    Spawn([&] { result = static_cast<int>(platform::SimWait(event, 1000, false)); });
    ASSERT_TRUE(platform::AdvanceVirtualClock(999));
    EXPECT_EQ(result.load(), -1);
    event.Set();
    ASSERT_TRUE(platform::AdvanceVirtualClock(0));
    EXPECT_EQ(result.load(), static_cast<int>(platform::SimWaitResult::kSignaled));
    EXPECT_EQ(platform::SimTimeMs(), kStart + 999);
}

// A call that wakes a simulation thread runs on to its end before that thread
// does: the two never race for the device, whatever the scheduler does.
TEST_F(SimClockTest, SetByTheAdvancingThreadWakesAttachedWaitersAtTheNextAdvance) {
    platform::SimEvent event(/*manualReset=*/false, /*initiallySignaled=*/false);
    std::atomic<bool> woke{false};
    Spawn([&] {
        platform::SimWait(event, platform::kSimInfinite, false);
        woke = true;
    });
    ASSERT_TRUE(platform::AdvanceVirtualClock(5));
    event.Set();
    platform::SleepMs(20);  // real time: the waiter would have run by now if it had been woken
    EXPECT_FALSE(woke.load());
    ASSERT_TRUE(platform::AdvanceVirtualClock(0));
    EXPECT_TRUE(woke.load());
    EXPECT_EQ(platform::SimTimeMs(), kStart + 5);
}

TEST_F(SimClockTest, TimedWaitTimesOutAtItsDeadline) {
    platform::SimEvent event(true, false);
    std::atomic<std::uint32_t> endedAt{0};
    Spawn([&] {
        if (platform::SimWait(event, 50, true) == platform::SimWaitResult::kTimeout) endedAt = platform::SimTimeMs();
    });
    ASSERT_TRUE(platform::AdvanceVirtualClock(49));
    EXPECT_EQ(endedAt.load(), 0u);
    ASSERT_TRUE(platform::AdvanceVirtualClock(1));
    EXPECT_EQ(endedAt.load(), kStart + 50);
}

// The advancing thread must be able to tell that a call of its own would
// block behind a sleeping lock holder, and until when; plain sleeps do not count.
TEST_F(SimClockTest, SleepHoldingALockIsAnnouncedUntilItEnds) {
    std::mutex deviceLock;
    Spawn([&] {
        platform::SimSleep(3, false);
        std::lock_guard held(deviceLock);
        platform::SimSleepHoldingLock(8);
        Log("released");
    });
    std::uint32_t until = 0;
    ASSERT_TRUE(platform::AdvanceVirtualClock(0));
    EXPECT_FALSE(platform::SimLockHeldUntil(&until));
    ASSERT_TRUE(platform::AdvanceVirtualClock(4));
    ASSERT_TRUE(platform::SimLockHeldUntil(&until));
    EXPECT_EQ(until, kStart + 11);
    EXPECT_FALSE(deviceLock.try_lock());
    ASSERT_TRUE(platform::AdvanceVirtualClock(until - platform::SimTimeMs()));
    EXPECT_FALSE(platform::SimLockHeldUntil(&until));
    EXPECT_EQ(TakeLog(), (std::vector<std::string>{"released@11"}));
    std::lock_guard mine(deviceLock);  // free again: this is the call that used to hang
}

TEST_F(SimClockTest, MillisecondClockWrapsLikeTimeGetTime) {
    platform::UseVirtualClock(0xFFFFFFFAu);
    ASSERT_TRUE(platform::AdvanceVirtualClock(10));
    EXPECT_EQ(platform::SimTimeMs(), 4u);
    EXPECT_EQ(platform::SimTimeMs() - 0xFFFFFFFAu, 10u);
}

// Read completions from a virtual device, delivered as APCs.
class VirtualReadTest : public SimClockTest {
protected:
    void SetUp() override {
        SimClockTest::SetUp();
        FfdrvVirtualDevice d{};
        d.size = sizeof d;
        d.joystickId = kId;
        d.inputReportLength = 9;
        d.outputReportLength = 8;
        d.axes[0] = d.axes[1] = {10, 0, 1023};
        d.buttonCount = 8;
        ASSERT_EQ(FfdrvVirtualPlug(&d), FFDRV_VIRTUAL_OK);
        m_path = std::wstring(L"\\\\?\\hid#virtual&vid_0000&pid_0000#js9#{4d1e55b2-f16f-11cf-88cb-001111000030}");
    }
    void TearDown() override {
        FfdrvVirtualUnplug(kId);
        SimClockTest::TearDown();
    }

    static void OnRead(DWORD error, DWORD bytes, platform::hid::AsyncIo* io) {
        auto* self = static_cast<VirtualReadTest*>(io->context);
        self->Log(error == 0 && bytes == 9 ? "read" : "read-failed");
    }

    static constexpr std::uint32_t kId = 9;
    std::wstring m_path;
};

TEST_F(VirtualReadTest, CompletionRunsOnlyInTheIssuersAlertableWait) {
    std::atomic<bool> opened{false};
    std::uint8_t buffer[9] = {};
    Spawn([&] {
        platform::hid::File file = platform::hid::OpenOverlapped(m_path.c_str());
        opened = file != platform::hid::InvalidFile();
        platform::hid::AsyncIo io;
        io.context = this;
        platform::hid::ReadFileEx(file, buffer, 9, &io, &OnRead);
        platform::SimSleep(20, /*alertable=*/false);  // the report arrives here: no routine yet
        Log("slept");
        if (platform::SimSleep(100, /*alertable=*/true) == platform::SimWaitResult::kIoCompletion) Log("woke");
        platform::hid::CloseFile(file);
    });
    ASSERT_TRUE(platform::AdvanceVirtualClock(10));
    ASSERT_TRUE(opened.load());
    ASSERT_EQ(FfdrvVirtualSetInput(kId, 0x3A5, 7, 0x81), FFDRV_VIRTUAL_OK);
    ASSERT_TRUE(platform::AdvanceVirtualClock(50));
    EXPECT_EQ(TakeLog(), (std::vector<std::string>{"slept@20", "read@20", "woke@20"}));
    EXPECT_EQ(buffer[1], 0xA5);
    EXPECT_EQ(buffer[2], 0x03);
    EXPECT_EQ(buffer[5], 0x81);
}

TEST_F(VirtualReadTest, CancelIoCompletesTheReadAsAborted) {
    Spawn([&] {
        platform::hid::File file = platform::hid::OpenOverlapped(m_path.c_str());
        std::uint8_t buffer[9];
        platform::hid::AsyncIo io;
        io.context = this;
        platform::hid::ReadFileEx(file, buffer, 9, &io, &OnRead);
        platform::hid::CancelIo(file);
        platform::SimSleep(8, true);
        Log(io.Status() == platform::hid::kStatusPending ? "pending" : "done");
        platform::hid::CloseFile(file);
    });
    ASSERT_TRUE(platform::AdvanceVirtualClock(20));
    EXPECT_EQ(TakeLog(), (std::vector<std::string>{"read-failed@0", "done@0"}));
    EXPECT_EQ(FfdrvVirtualPendingIo(kId), 0);
}

TEST_F(VirtualReadTest, OverlappedReadSignalsItsEventWithoutAnyRoutine) {
    std::atomic<DWORD> status{1};
    Spawn([&] {
        platform::hid::File file = platform::hid::OpenOverlapped(m_path.c_str());
        std::uint8_t buffer[9];
        platform::hid::AsyncIo io;
        platform::SimEvent event(true, false);
        platform::hid::ReadFileOverlapped(file, buffer, 9, &io, &event);
        status = io.Status();
        if (platform::SimWait(event, 1000, false) == platform::SimWaitResult::kSignaled) Log("signalled");
        status = io.Status();
        platform::hid::CloseFile(file);
    });
    ASSERT_TRUE(platform::AdvanceVirtualClock(5));
    EXPECT_EQ(status.load(), platform::hid::kStatusPending);
    ASSERT_EQ(FfdrvVirtualSetInput(kId, 1, 2, 0), FFDRV_VIRTUAL_OK);
    ASSERT_TRUE(platform::AdvanceVirtualClock(0));
    EXPECT_EQ(TakeLog(), (std::vector<std::string>{"signalled@5"}));
    EXPECT_EQ(status.load(), 0u);
}

}  // namespace
