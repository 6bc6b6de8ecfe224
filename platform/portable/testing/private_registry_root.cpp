// Points every test binary's registry at a private root and its shared
// settings blocks at a private namespace, so tests never see or change the
// developer's own settings, nor those of a test binary running beside them.
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
        setenv("FFDRV_SHM_NAMESPACE", ("ffdrv-test-" + std::to_string(getpid())).c_str(), 1);
    }
    void TearDown() override { std::filesystem::remove_all(m_root); }

private:
    std::string m_root;
};

const auto* const kEnvironment = ::testing::AddGlobalTestEnvironment(new PrivateRegistryRoot);
}  // namespace
