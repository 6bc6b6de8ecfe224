// Windows stores exactly the bytes it is given; the portable registry does
// too, which lets us see what CRegistryEntry passes (Wine would add a
// terminator of its own to REG_SZ data).
#include <gtest/gtest.h>

#include <cstring>

#include "force_feedback/legacy/settings/registry_entry.h"

namespace reg = platform::reg;

namespace {

TEST(RegistryEntryStrings, StoredSizeLeavesOutTheTerminator) {
    CRegistryEntry key;
    ASSERT_TRUE(key.Create(reg::CurrentUser(), L"Software\\FfdrvEntryTest", reg::kKeyAllAccess));
    ASSERT_TRUE(key.SetString(L"Model", L"Both"));
    unsigned char buffer[32] = {};
    std::uint32_t size = 0, type = 0;
    ASSERT_TRUE(key.Query(L"Model", buffer, sizeof buffer, &type, &size));
    EXPECT_EQ(type, reg::kSz);
    EXPECT_EQ(size, 8u);
    const unsigned char utf16[8] = {'B', 0, 'o', 0, 't', 0, 'h', 0};
    EXPECT_EQ(std::memcmp(buffer, utf16, 8), 0);
    key.Close();
    reg::DeleteTree(reg::CurrentUser(), L"Software\\FfdrvEntryTest");
}

TEST(RegistryEntryQuery, ValueLargerThanCapacityFails) {
    CRegistryEntry key;
    ASSERT_TRUE(key.Create(reg::CurrentUser(), L"Software\\FfdrvEntryTest", reg::kKeyAllAccess));
    const unsigned char blob[16] = {1};
    ASSERT_TRUE(key.SetValue(L"Blob", reg::kBinary, blob, sizeof blob));
    unsigned char small[8];
    EXPECT_FALSE(key.Query(L"Blob", small, sizeof small));
    unsigned char exact[16];
    EXPECT_TRUE(key.Query(L"Blob", exact, sizeof exact));
    key.Close();
    reg::DeleteTree(reg::CurrentUser(), L"Software\\FfdrvEntryTest");
}

}  // namespace
