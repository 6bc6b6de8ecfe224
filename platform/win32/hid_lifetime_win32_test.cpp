// The lifetime rule of overlapped records on real Windows I/O: a named pipe
// opened overlapped stands in for the HID handle. A record freed while its
// read is in flight stays with the read (the system writes into it when the
// read completes) and its completion routine is not called; the rule the
// driver keeps, CancelIo and then an alertable wait, runs the routine before
// the record goes.
#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <string>

#include "platform/hid.h"

namespace {

namespace hid = platform::hid;

constexpr DWORD kLength = 9;

class RecordLifetimeTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_name = L"\\\\.\\pipe\\ffdrv-record-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
                 std::to_wstring(++s_counter);
        m_server = CreateNamedPipeW(m_name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                    PIPE_TYPE_BYTE | PIPE_WAIT, 1, 4096, 4096, 0, nullptr);
        ASSERT_NE(m_server, INVALID_HANDLE_VALUE);
        m_client = hid::OpenOverlapped(m_name.c_str());
        ASSERT_NE(m_client, hid::InvalidFile());
    }
    void TearDown() override {
        hid::CloseFile(m_client);
        if (m_server != INVALID_HANDLE_VALUE) CloseHandle(m_server);
        SleepEx(0, TRUE);
    }
    bool Send() {
        const char data[kLength] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
        OVERLAPPED ov{};
        ov.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        DWORD written = 0;
        bool ok = WriteFile(m_server, data, kLength, nullptr, &ov) || GetLastError() == ERROR_IO_PENDING;
        ok = ok && GetOverlappedResult(m_server, &ov, &written, TRUE) && written == kLength;
        CloseHandle(ov.hEvent);
        return ok;
    }

    static void OnRead(DWORD, DWORD, hid::AsyncIo* io) { ++*static_cast<int*>(io->context); }

    static inline int s_counter = 0;
    std::wstring m_name;
    HANDLE m_server = INVALID_HANDLE_VALUE;
    hid::File m_client = hid::InvalidFile();
    int m_routines = 0;
};

TEST_F(RecordLifetimeTest, ARecordFreedInFlightStaysWithItsReadAndGetsNoRoutine) {
    static char buffer[kLength];  // outlives the read: only the record is freed early
    auto io = std::make_unique<hid::AsyncIo>();
    io->context = &m_routines;
    ASSERT_TRUE(hid::ReadFileEx(m_client, buffer, kLength, io.get(), &OnRead));
    EXPECT_EQ(io->Status(), hid::kStatusPending);
    io.reset();
    ASSERT_TRUE(Send());
    // The completion arrives for the record the read kept; the routine of the
    // freed AsyncIo is not called.
    EXPECT_EQ(SleepEx(1000, TRUE), WAIT_IO_COMPLETION);
    EXPECT_EQ(m_routines, 0);
    EXPECT_EQ(buffer[8], 9);
}

TEST_F(RecordLifetimeTest, CancelThenAnAlertableWaitRunsTheRoutineBeforeTheRecordGoes) {
    char buffer[kLength] = {};
    auto io = std::make_unique<hid::AsyncIo>();
    io->context = &m_routines;
    ASSERT_TRUE(hid::ReadFileEx(m_client, buffer, kLength, io.get(), &OnRead));
    ASSERT_TRUE(hid::CancelIo(m_client));
    while (m_routines == 0 && SleepEx(1000, TRUE) == WAIT_IO_COMPLETION) {
    }
    EXPECT_EQ(m_routines, 1);
    EXPECT_NE(io->Status(), hid::kStatusPending);
    io.reset();
}

}  // namespace
