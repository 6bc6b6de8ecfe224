// Behaviour of the file-backed registry that the contract suite cannot see.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "platform/registry.h"

namespace reg = platform::reg;

namespace {

class PortableRegistry : public ::testing::Test {
protected:
    void SetUp() override {
        if (const char* previous = getenv("FFDRV_REGISTRY_ROOT")) m_previous = previous;
        char pattern[] = "/tmp/ffdrv-reg-XXXXXX";
        m_root = mkdtemp(pattern);
        setenv("FFDRV_REGISTRY_ROOT", m_root.c_str(), 1);
    }
    void TearDown() override {
        std::filesystem::remove_all(m_root);
        setenv("FFDRV_REGISTRY_ROOT", m_previous.c_str(), 1);
    }
    std::string m_root;
    std::string m_previous;
};

TEST_F(PortableRegistry, ClosedHandleIsInvalid) {
    reg::Key key = nullptr;
    ASSERT_EQ(reg::CreateKey(reg::CurrentUser(), L"A", reg::kKeyAllAccess, &key, nullptr), reg::kSuccess);
    EXPECT_EQ(reg::CloseKey(key), reg::kSuccess);
    const std::uint32_t v = 1;
    EXPECT_EQ(reg::SetValue(key, L"V", reg::kDword, &v, 4), reg::kInvalidHandle);
    EXPECT_EQ(reg::CloseKey(key), reg::kInvalidHandle);
}

TEST_F(PortableRegistry, NamesWithSeparatorsAndBracesStayInsideTheRoot) {
    reg::Key key = nullptr;
    ASSERT_EQ(reg::CreateKey(reg::LocalMachine(), L"SOFTWARE\\Classes\\CLSID\\{../..}\\VID_C7A5&PID_A101",
                             reg::kKeyAllAccess, &key, nullptr),
              reg::kSuccess);
    const std::uint32_t v = 3;
    ASSERT_EQ(reg::SetValue(key, L"../../escape", reg::kDword, &v, 4), reg::kSuccess);
    reg::CloseKey(key);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_root))
        EXPECT_EQ(entry.path().string().rfind(m_root, 0), 0u);
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(m_root).parent_path() / "escape.val"));
}

TEST_F(PortableRegistry, RootsAreSeparate) {
    reg::Key key = nullptr;
    ASSERT_EQ(reg::CreateKey(reg::LocalMachine(), L"Only\\Machine", reg::kKeyAllAccess, &key, nullptr),
              reg::kSuccess);
    reg::CloseKey(key);
    EXPECT_EQ(reg::OpenKey(reg::CurrentUser(), L"Only\\Machine", reg::kKeyRead, &key), reg::kFileNotFound);
}

}  // namespace
