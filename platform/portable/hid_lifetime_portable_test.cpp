// The lifetime rule of overlapped records on the virtual devices: a request
// in flight never writes into a record, a buffer or a completion routine's
// argument that its owner has already freed. A record freed too early takes
// its request with it (the device forgets it, a later report or close does
// not complete it), and a completion already queued for it does not run.
#include <gtest/gtest.h>

#include <cwchar>
#include <memory>
#include <string>

#include "platform/hid.h"
#include "platform/sim_clock.h"
#include "platform/virtual_hid_api.h"

namespace {

namespace hid = platform::hid;

constexpr std::uint32_t kId = 10;
constexpr DWORD kReportLength = 9;

class HidLifetimeTest : public ::testing::Test {
protected:
    void SetUp() override {
        FfdrvVirtualDevice d{};
        d.size = sizeof d;
        d.joystickId = kId;
        d.inputReportLength = kReportLength;
        d.outputReportLength = 8;
        d.axes[0] = d.axes[1] = {10, 0, 1023};
        d.buttonCount = 8;
        ASSERT_EQ(FfdrvVirtualPlug(&d), FFDRV_VIRTUAL_OK);
        wchar_t path[hid::kMaxPath];
        std::swprintf(path, hid::kMaxPath,
                      L"\\\\?\\hid#virtual&vid_0000&pid_0000#js%u#{4d1e55b2-f16f-11cf-88cb-001111000030}", kId);
        m_file = hid::OpenOverlapped(path);
        ASSERT_NE(m_file, hid::InvalidFile());
    }
    void TearDown() override {
        if (m_file != hid::InvalidFile()) hid::CloseFile(m_file);
        FfdrvVirtualUnplug(kId);
    }

    static void OnRead(DWORD, DWORD, hid::AsyncIo* io) { ++*static_cast<int*>(io->context); }

    hid::File m_file = hid::InvalidFile();
    int m_routines = 0;
};

TEST_F(HidLifetimeTest, ARecordFreedInFlightTakesItsRequestWithIt) {
    auto buffer = std::make_unique<std::uint8_t[]>(kReportLength);
    auto io = std::make_unique<hid::AsyncIo>();
    io->context = &m_routines;
    ASSERT_TRUE(hid::ReadFileEx(m_file, buffer.get(), kReportLength, io.get(), &OnRead));
    ASSERT_EQ(FfdrvVirtualPendingIo(kId), 1);
    io.reset();
    buffer.reset();
    EXPECT_EQ(FfdrvVirtualPendingIo(kId), 0);

    // The report waits for the next read instead of going into freed memory.
    ASSERT_EQ(FfdrvVirtualSetInput(kId, 5, 6, 1), FFDRV_VIRTUAL_OK);
    hid::CloseFile(m_file);
    m_file = hid::InvalidFile();
    platform::SimSleep(0, /*alertable=*/true);
    EXPECT_EQ(m_routines, 0);
}

TEST_F(HidLifetimeTest, ACompletionQueuedForAFreedRecordDoesNotRun) {
    std::uint8_t buffer[kReportLength] = {};
    auto io = std::make_unique<hid::AsyncIo>();
    io->context = &m_routines;
    ASSERT_TRUE(hid::ReadFileEx(m_file, buffer, kReportLength, io.get(), &OnRead));
    ASSERT_EQ(FfdrvVirtualSetInput(kId, 5, 6, 1), FFDRV_VIRTUAL_OK);
    EXPECT_EQ(io->Status(), 0u);
    io.reset();
    EXPECT_EQ(platform::SimSleep(0, /*alertable=*/true), platform::SimWaitResult::kIoCompletion);
    EXPECT_EQ(m_routines, 0);
}

TEST_F(HidLifetimeTest, AnEventReadFreedInFlightIsForgottenToo) {
    std::uint8_t buffer[kReportLength] = {};
    platform::SimEvent event(/*manualReset=*/true, /*initiallySignaled=*/false);
    auto io = std::make_unique<hid::AsyncIo>();
    ASSERT_TRUE(hid::ReadFileOverlapped(m_file, buffer, kReportLength, io.get(), &event));
    ASSERT_EQ(FfdrvVirtualPendingIo(kId), 1);
    io.reset();
    EXPECT_EQ(FfdrvVirtualPendingIo(kId), 0);
    ASSERT_EQ(FfdrvVirtualSetInput(kId, 5, 6, 1), FFDRV_VIRTUAL_OK);
    EXPECT_EQ(platform::SimWait(event, 0, /*alertable=*/false), platform::SimWaitResult::kTimeout);
}

// The rule's other half, as the driver keeps it: cancel, then wait
// alertably until the completion has run; only then may the record go.
TEST_F(HidLifetimeTest, CancelThenAnAlertableWaitRunsTheCompletionBeforeTheRecordGoes) {
    std::uint8_t buffer[kReportLength] = {};
    auto io = std::make_unique<hid::AsyncIo>();
    io->context = &m_routines;
    ASSERT_TRUE(hid::ReadFileEx(m_file, buffer, kReportLength, io.get(), &OnRead));
    ASSERT_TRUE(hid::CancelIo(m_file));
    EXPECT_EQ(io->Status(), 0xC0000120u);  // STATUS_CANCELLED
    EXPECT_EQ(platform::SimSleep(0, /*alertable=*/true), platform::SimWaitResult::kIoCompletion);
    EXPECT_EQ(m_routines, 1);
    io.reset();
    EXPECT_EQ(FfdrvVirtualPendingIo(kId), 0);
}

}  // namespace
