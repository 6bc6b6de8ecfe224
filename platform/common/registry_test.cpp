// The registry contract, run against the file-backed registry natively and
// against the real registry under Wine.
#include "platform/registry.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

namespace reg = platform::reg;

namespace {

class RegistryContract : public ::testing::Test {
protected:
    void SetUp() override {
        std::random_device rd;
        m_path = L"Software\\FfdrvContractTest\\Run" + std::to_wstring(rd());
        ASSERT_EQ(reg::CreateKey(reg::CurrentUser(), m_path.c_str(), reg::kKeyAllAccess, &m_key, nullptr),
                  reg::kSuccess);
    }
    void TearDown() override {
        reg::CloseKey(m_key);
        reg::DeleteTree(reg::CurrentUser(), L"Software\\FfdrvContractTest");
    }

    std::wstring m_path;
    reg::Key m_key = nullptr;
};

TEST_F(RegistryContract, DwordRoundTripKeepsTypeAndSize) {
    const std::uint32_t value = 0xA1B2C3D4;
    ASSERT_EQ(reg::SetValue(m_key, L"Strength", reg::kDword, &value, 4), reg::kSuccess);
    std::uint32_t read = 0, type = 0, size = 4;
    ASSERT_EQ(reg::QueryValue(m_key, L"Strength", &type, &read, &size), reg::kSuccess);
    EXPECT_EQ(read, value);
    EXPECT_EQ(type, reg::kDword);
    EXPECT_EQ(size, 4u);
}

TEST_F(RegistryContract, ValueNamesIgnoreCase) {
    const std::uint32_t value = 7;
    ASSERT_EQ(reg::SetValue(m_key, L"MixedCase", reg::kDword, &value, 4), reg::kSuccess);
    std::uint32_t read = 0, size = 4;
    EXPECT_EQ(reg::QueryValue(m_key, L"MIXEDCASE", nullptr, &read, &size), reg::kSuccess);
    EXPECT_EQ(read, 7u);
}

TEST_F(RegistryContract, SmallBufferReportsMoreDataAndNeededSize) {
    const unsigned char blob[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    ASSERT_EQ(reg::SetValue(m_key, L"Blob", reg::kBinary, blob, sizeof blob), reg::kSuccess);
    unsigned char small[8] = {};
    std::uint32_t size = sizeof small;
    EXPECT_EQ(reg::QueryValue(m_key, L"Blob", nullptr, small, &size), reg::kMoreData);
    EXPECT_EQ(size, 12u);
    std::uint32_t needed = 0;
    EXPECT_EQ(reg::QueryValue(m_key, L"Blob", nullptr, nullptr, &needed), reg::kSuccess);
    EXPECT_EQ(needed, 12u);
}

TEST_F(RegistryContract, MissingValueAndKeyAreFileNotFound) {
    std::uint32_t size = 4, data = 0;
    EXPECT_EQ(reg::QueryValue(m_key, L"Absent", nullptr, &data, &size), reg::kFileNotFound);
    reg::Key other = nullptr;
    EXPECT_EQ(reg::OpenKey(m_key, L"No\\Such\\Key", reg::kKeyRead, &other), reg::kFileNotFound);
    EXPECT_EQ(other, nullptr);
}

TEST_F(RegistryContract, CreateReportsDisposition) {
    reg::Key sub = nullptr;
    std::uint32_t disposition = 0;
    ASSERT_EQ(reg::CreateKey(m_key, L"Child\\Grandchild", reg::kKeyAllAccess, &sub, &disposition), reg::kSuccess);
    EXPECT_EQ(disposition, reg::kCreatedNewKey);
    reg::CloseKey(sub);
    ASSERT_EQ(reg::CreateKey(m_key, L"child\\GRANDCHILD", reg::kKeyAllAccess, &sub, &disposition), reg::kSuccess);
    EXPECT_EQ(disposition, reg::kOpenedExistingKey);
    reg::CloseKey(sub);
}

TEST_F(RegistryContract, DeleteTreeRemovesEverythingBelow) {
    reg::Key sub = nullptr;
    ASSERT_EQ(reg::CreateKey(m_key, L"Tree\\Leaf", reg::kKeyAllAccess, &sub, nullptr), reg::kSuccess);
    const std::uint32_t value = 1;
    reg::SetValue(sub, L"V", reg::kDword, &value, 4);
    reg::CloseKey(sub);
    EXPECT_EQ(reg::DeleteTree(m_key, L"Tree"), reg::kSuccess);
    EXPECT_EQ(reg::OpenKey(m_key, L"Tree", reg::kKeyRead, &sub), reg::kFileNotFound);
    EXPECT_EQ(reg::DeleteTree(m_key, L"Tree"), reg::kFileNotFound);
}

TEST_F(RegistryContract, DefaultValueStoresExactBytes) {
    const unsigned char bytes[5] = {9, 8, 7, 6, 5};
    ASSERT_EQ(reg::SetValue(m_key, nullptr, reg::kBinary, bytes, 5), reg::kSuccess);
    unsigned char buffer[32] = {};
    std::uint32_t size = sizeof buffer, type = 0;
    ASSERT_EQ(reg::QueryValue(m_key, L"", &type, buffer, &size), reg::kSuccess);
    EXPECT_EQ(type, reg::kBinary);
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(std::memcmp(buffer, bytes, 5), 0);
}

TEST_F(RegistryContract, ValuesPersistAcrossHandles) {
    const std::uint32_t value = 42;
    ASSERT_EQ(reg::SetValue(m_key, L"Kept", reg::kDword, &value, 4), reg::kSuccess);
    reg::Key again = nullptr;
    ASSERT_EQ(reg::OpenKey(reg::CurrentUser(), m_path.c_str(), reg::kKeyRead, &again), reg::kSuccess);
    std::uint32_t read = 0, size = 4;
    EXPECT_EQ(reg::QueryValue(again, L"Kept", nullptr, &read, &size), reg::kSuccess);
    EXPECT_EQ(read, 42u);
    reg::CloseKey(again);
}

TEST_F(RegistryContract, CountsAndDeletesWhatAKeyHolds) {
    std::uint32_t keys = 99, values = 99;
    ASSERT_EQ(reg::CountEntries(m_key, &keys, &values), reg::kSuccess);
    EXPECT_EQ(keys, 0u);
    EXPECT_EQ(values, 0u);

    reg::Key sub = nullptr;
    ASSERT_EQ(reg::CreateKey(m_key, L"One\\Deeper", reg::kKeyAllAccess, &sub, nullptr), reg::kSuccess);
    reg::CloseKey(sub);
    ASSERT_EQ(reg::CreateKey(m_key, L"Two", reg::kKeyAllAccess, &sub, nullptr), reg::kSuccess);
    reg::CloseKey(sub);
    const std::uint32_t value = 7;
    ASSERT_EQ(reg::SetValue(m_key, L"A", reg::kDword, &value, 4), reg::kSuccess);
    ASSERT_EQ(reg::SetValue(m_key, L"B", reg::kDword, &value, 4), reg::kSuccess);
    ASSERT_EQ(reg::SetValue(m_key, L"B", reg::kDword, &value, 4), reg::kSuccess);  // replaced, not added
    ASSERT_EQ(reg::SetValue(m_key, nullptr, reg::kDword, &value, 4), reg::kSuccess);
    ASSERT_EQ(reg::CountEntries(m_key, &keys, &values), reg::kSuccess);
    EXPECT_EQ(keys, 2u);  // direct subkeys only
    EXPECT_EQ(values, 3u);

    EXPECT_EQ(reg::DeleteValue(m_key, L"a"), reg::kSuccess);
    EXPECT_EQ(reg::DeleteValue(m_key, L"A"), reg::kFileNotFound);
    ASSERT_EQ(reg::CountEntries(m_key, nullptr, &values), reg::kSuccess);
    EXPECT_EQ(values, 2u);
    std::uint32_t read = 0, size = 4;
    EXPECT_EQ(reg::QueryValue(m_key, L"B", nullptr, &read, &size), reg::kSuccess);
}

}  // namespace
