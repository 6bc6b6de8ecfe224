// Points every test binary's registry at a private root, so tests never see or
// change the developer's own settings.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace {
class PrivateRegistryRoot : public ::testing::Environment {
public:
    void SetUp() override {
        m_root = "/tmp/ffdrv-test-registry-" + std::to_string(getpid());
        setenv("FFDRV_REGISTRY_ROOT", m_root.c_str(), 1);
    }
    void TearDown() override { std::filesystem::remove_all(m_root); }

private:
    std::string m_root;
};

const auto* const kEnvironment = ::testing::AddGlobalTestEnvironment(new PrivateRegistryRoot);
}  // namespace
