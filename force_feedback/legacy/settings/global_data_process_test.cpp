// The block is shared between processes, not just objects: these tests run
// the settings-peer program as a second, real process.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "force_feedback/legacy/settings/model_global_data.h"
#include "force_feedback/legacy/settings/settings_test_support.h"
#include "platform/process.h"

namespace {

constexpr std::uint32_t kPeerTimeoutMs = 60000;  // guards against a hang only

std::string PeerPath() {
#ifdef _WIN32
    return platform::ExecutableDirectory() + "settings-peer.exe";
#else
    return platform::ExecutableDirectory() + "settings-peer";
#endif
}

std::string Hex(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "%08X", static_cast<unsigned>(value));
    return text;
}

class TwoProcessTest : public ::testing::Test {
protected:
    int RunPeer(Model model, DWORD expectedStrength, DWORD expectedStamp, DWORD newSpring, DWORD newStamp) {
        return platform::RunProcess(PeerPath(),
                                    {std::to_string(static_cast<int>(model)), Hex(m_id),
                                     std::to_string(expectedStrength), std::to_string(expectedStamp),
                                     std::to_string(newSpring), std::to_string(newStamp)},
                                    kPeerTimeoutMs);
    }

    const DWORD m_id = settings_test::UniqueDeviceId();
    settings_test::DeviceKey m_key{m_id};
};

TEST_F(TwoProcessTest, SecondProcessSeesTheFirstsValuesAndWritesBack) {
    auto settings = CreateModelGlobalData(Model::Dastrin);
    settings->Initialize(m_id);
    ASSERT_TRUE(settings->HasBlock());
    settings->SetOverallStrength(12345, 0, 1);
    settings->SetChangeStamp(777);

    ASSERT_EQ(RunPeer(Model::Dastrin, 12345, 777, 4321, 888), 0);

    EXPECT_EQ(settings->GetOverallStrength(), 12345u);
    EXPECT_EQ(settings->GetSpringStrength(), 4321u);
    EXPECT_EQ(settings->GetChangeStamp(), 888u);
}

// With no holder left, the next process starts from the defaults.
TEST_F(TwoProcessTest, ProcessAfterTheLastHolderStartsFromDefaults) {
    {
        auto settings = CreateModelGlobalData(Model::Dastrin);
        settings->Initialize(m_id);
        settings->SetOverallStrength(12345, 0, 1);
        settings->SetChangeStamp(777);
    }
    EXPECT_EQ(RunPeer(Model::Dastrin, 10000, 0, 4321, 888), 0);
}

}  // namespace
