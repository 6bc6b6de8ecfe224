#include "force_feedback/legacy/settings/oem_fixup.h"

#include <gtest/gtest.h>

#include <cstring>

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

// The list's order is fixed: the wheels, two joysticks, the Wendlow again,
// the Karvona.
TEST_F(OemFixup, ListHasTwelveEntriesWithTheRepeatedProduct) {
    const std::vector<std::wstring> expected = {
        L"VID_C7A5&PID_A101", L"VID_C7A5&PID_A102", L"VID_C7A5&PID_A103", L"VID_C7A5&PID_A104",
        L"VID_C7A5&PID_A105", L"VID_C7A5&PID_A106", L"VID_C7A5&PID_A107", L"VID_C7A5&PID_A108",
        L"VID_C7A5&PID_A201", L"VID_C7A5&PID_A202", L"VID_C7A5&PID_A107", L"VID_C7A5&PID_A204",
    };
    EXPECT_EQ(SupportedProductList(), expected);
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
