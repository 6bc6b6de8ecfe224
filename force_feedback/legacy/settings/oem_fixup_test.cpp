#include "force_feedback/legacy/settings/oem_fixup.h"

#include <gtest/gtest.h>

#include <cstring>

#include "force_feedback/legacy/product_config.h"
#include "force_feedback/legacy/settings/registry_entry.h"

namespace reg = platform::reg;

namespace {

const std::wstring kOemKey = L"System\\CurrentControlSet\\Control\\MediaProperties\\PrivateProperties\\Joystick\\OEM\\";

class OemFixup : public ::testing::Test {
protected:
    void TearDown() override {
        for (reg::Key root : {reg::LocalMachine(), reg::CurrentUser()})
            for (const auto& product : SupportedProductList()) reg::DeleteTree(root, (kOemKey + product).c_str());
    }
    static void Write(reg::Key root, const std::wstring& product, const void* data, std::uint32_t size,
                      std::uint32_t type = reg::kBinary) {
        CRegistryEntry key;
        ASSERT_TRUE(key.Create(root, (kOemKey + product).c_str(), reg::kKeyAllAccess));
        ASSERT_TRUE(key.SetValue(L"OEMData", type, data, size));
    }
    static std::vector<unsigned char> Read(reg::Key root, const std::wstring& product, std::uint32_t* type) {
        CRegistryEntry key;
        if (!key.Open(root, (kOemKey + product).c_str(), reg::kKeyRead)) return {};
        unsigned char buffer[64];
        std::uint32_t size = 0;
        if (!key.Query(L"OEMData", buffer, sizeof buffer, type, &size)) return {};
        return {buffer, buffer + size};
    }
};

TEST_F(OemFixup, ListHasTwelveEntriesWithTheRepeatedProduct) {
    const auto list = SupportedProductList();
    ASSERT_EQ(list.size(), 12u);
    EXPECT_EQ(list[6], list[10]);
    wchar_t expected[32];
    std::swprintf(expected, 32, L"VID_%04X&PID_%04X", kVendorId, Product(Model::Quintar).productId);
    EXPECT_EQ(list[0], expected);
}

TEST_F(OemFixup, SetsTheFlagAndKeepsTypeSizeAndOtherBits) {
    const auto products = SupportedProductList();
    const unsigned char record[8] = {0x03, 0x00, 0x00, 0x10, 0xAA, 0xBB, 0xCC, 0xDD};
    Write(reg::CurrentUser(), products[1], record, sizeof record);
    Write(reg::LocalMachine(), products[6], record, sizeof record, reg::kDword + 0);
    FixJoystickOemFlags(products);
    std::uint32_t type = 0;
    EXPECT_EQ(Read(reg::CurrentUser(), products[1], &type),
              (std::vector<unsigned char>{0x43, 0x00, 0x00, 0x10, 0xAA, 0xBB, 0xCC, 0xDD}));
    EXPECT_EQ(type, reg::kBinary);
    EXPECT_EQ(Read(reg::LocalMachine(), products[6], &type)[0], 0x43);
}

TEST_F(OemFixup, RecordsTooLongOrMissingAreSkipped) {
    const auto products = SupportedProductList();
    const unsigned char longRecord[12] = {0x01};
    Write(reg::CurrentUser(), products[2], longRecord, sizeof longRecord);
    FixJoystickOemFlags(products);
    std::uint32_t type = 0;
    EXPECT_EQ(Read(reg::CurrentUser(), products[2], &type)[0], 0x01);
    EXPECT_TRUE(Read(reg::LocalMachine(), products[3], &type).empty());
}

TEST_F(OemFixup, RecordWithFlagAlreadySetIsLeftAlone) {
    const auto products = SupportedProductList();
    const unsigned char record[4] = {0x40, 0x01, 0x00, 0x00};
    Write(reg::CurrentUser(), products[4], record, sizeof record, reg::kSz);
    FixJoystickOemFlags(products);
    std::uint32_t type = 0;
    EXPECT_EQ(Read(reg::CurrentUser(), products[4], &type), (std::vector<unsigned char>{0x40, 0x01, 0x00, 0x00}));
    EXPECT_EQ(type, reg::kSz);
}

}  // namespace
