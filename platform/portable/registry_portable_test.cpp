// Behaviour of the file-backed registry that the contract suite cannot see.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>

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

// Damage is told apart from absence, so that callers can report it; a
// pipe in a value's place must not block the reader.
TEST_F(PortableRegistry, DamagedValuesAreNotMissingOnes) {
    reg::Key key = nullptr;
    ASSERT_EQ(reg::CreateKey(reg::CurrentUser(), L"Damage", reg::kKeyAllAccess, &key, nullptr), reg::kSuccess);
    const std::filesystem::path dir = std::filesystem::path(m_root) / "HKCU" / "damage";
    std::filesystem::create_directory(dir / "folder.val");
    ASSERT_EQ(mkfifo((dir / "pipe.val").c_str(), 0644), 0);
    std::ofstream(dir / "cut.val") << "ab";
    std::uint32_t value = 0, size = 4;
    EXPECT_EQ(reg::QueryValue(key, L"Missing", nullptr, &value, &size), reg::kFileNotFound);
    for (const wchar_t* name : {L"Folder", L"Pipe", L"Cut"}) {
        size = 4;
        EXPECT_EQ(reg::QueryValue(key, name, nullptr, &value, &size), reg::kRegistryCorrupt);
        EXPECT_EQ(reg::QueryValue(key, name, nullptr, nullptr, &size), reg::kRegistryCorrupt);
    }
    reg::CloseKey(key);
}

TEST_F(PortableRegistry, AKeyThatIsAFileIsDamageNotAbsence) {
    const std::filesystem::path root = std::filesystem::path(m_root) / "HKCU";
    std::filesystem::create_directories(root);
    std::ofstream(root / "plain");
    reg::Key key = nullptr;
    EXPECT_EQ(reg::OpenKey(reg::CurrentUser(), L"Plain", reg::kKeyRead, &key), reg::kRegistryCorrupt);
    EXPECT_EQ(reg::OpenKey(reg::CurrentUser(), L"Plain\\Below", reg::kKeyRead, &key), reg::kRegistryCorrupt);
    EXPECT_EQ(reg::OpenKey(reg::CurrentUser(), L"Absent\\Below", reg::kKeyRead, &key), reg::kFileNotFound);
    EXPECT_EQ(key, nullptr);
}

// Whatever stands in the value's place, a failed write leaves no file of
// its own behind.
TEST_F(PortableRegistry, RefusedWriteLeavesNoTemporaryFile) {
    reg::Key key = nullptr;
    ASSERT_EQ(reg::CreateKey(reg::CurrentUser(), L"Blocked", reg::kKeyAllAccess, &key, nullptr), reg::kSuccess);
    const std::filesystem::path dir = std::filesystem::path(m_root) / "HKCU" / "blocked";
    std::filesystem::create_directory(dir / "value.val");
    std::ofstream(dir / "value.val" / "inside");
    const std::uint32_t v = 1;
    EXPECT_NE(reg::SetValue(key, L"Value", reg::kDword, &v, 4), reg::kSuccess);
    std::size_t entries = 0;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) entries += entry.path().filename() != "value.val";
    EXPECT_EQ(entries, 0u);
    reg::CloseKey(key);
}

}  // namespace
