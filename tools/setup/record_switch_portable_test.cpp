// The switch ffdrv-setup flips, read back the way the driver reads it.
#include "tools/setup/record_switch.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "force_feedback/legacy/driver/call_recorder.h"

namespace {

class RecordSwitchTest : public testing::Test {
protected:
    void SetUp() override {
        m_env = std::getenv("FFDRV_RECORD_DIR") ? std::getenv("FFDRV_RECORD_DIR") : "";
        ::unsetenv("FFDRV_RECORD_DIR");
        ASSERT_EQ(setup::ClearRecordDirectory(), platform::reg::kSuccess);
    }
    void TearDown() override {
        setup::ClearRecordDirectory();
        if (!m_env.empty()) ::setenv("FFDRV_RECORD_DIR", m_env.c_str(), 1);
    }
    std::string m_env;
};

TEST_F(RecordSwitchTest, OnMakesTheDriverRecordIntoTheDirectoryAndOffStopsIt) {
    EXPECT_EQ(CCallRecorder::RecordDirectory(), "");
    ASSERT_EQ(setup::SetRecordDirectory(L"/tmp/recordings"), platform::reg::kSuccess);
    EXPECT_EQ(CCallRecorder::RecordDirectory(), "/tmp/recordings");
    ASSERT_EQ(setup::ClearRecordDirectory(), platform::reg::kSuccess);
    EXPECT_EQ(CCallRecorder::RecordDirectory(), "");
    EXPECT_EQ(setup::ClearRecordDirectory(), platform::reg::kSuccess) << "off twice is still off";
}

TEST_F(RecordSwitchTest, EnvironmentVariableWinsOverTheRegistry) {
    ASSERT_EQ(setup::SetRecordDirectory(L"/tmp/from-registry"), platform::reg::kSuccess);
    ::setenv("FFDRV_RECORD_DIR", "/tmp/from-env", 1);
    EXPECT_EQ(CCallRecorder::RecordDirectory(), "/tmp/from-env");
    ::unsetenv("FFDRV_RECORD_DIR");
}

}  // namespace
