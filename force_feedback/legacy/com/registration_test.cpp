// Registration against the registry: the file-backed one natively, the real
// one under Wine.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/com/exports.h"
#include "force_feedback/legacy/settings/registry_entry.h"
#include "platform/guid.h"
#include "platform/module.h"

namespace reg = platform::reg;

namespace {

// A REG_SZ as Windows stores it: UTF-16 code units.
std::wstring ReadString(const std::wstring& keyPath, const wchar_t* name, std::uint32_t* storedSize = nullptr) {
    CRegistryEntry key;
    if (!key.Open(reg::LocalMachine(), keyPath.c_str(), reg::kKeyRead)) return L"<no key>";
    unsigned char buffer[1100] = {};
    std::uint32_t type = 0, size = 0;
    if (!key.Query(name, buffer, sizeof buffer, &type, &size) || type != reg::kSz) return L"<no value>";
    if (storedSize) *storedSize = size;
    std::wstring text;
    for (std::uint32_t i = 0; i + 1 < size; i += 2) {
        const auto unit = static_cast<wchar_t>(buffer[i] | (buffer[i + 1] << 8));
        if (unit == L'\0') break;
        text.push_back(unit);
    }
    return text;
}

std::wstring ClassKey(int index) { return L"SOFTWARE\\Classes\\CLSID\\" + platform::FormatGuid(kClassTable[index].clsid); }

bool KeyExists(const std::wstring& path) {
    CRegistryEntry key;
    return key.Open(reg::LocalMachine(), path.c_str(), reg::kKeyRead);
}

class Registration : public ::testing::Test {
protected:
    void TearDown() override { DllUnregisterServer(); }
};

TEST_F(Registration, WritesEveryClassWithPathAndThreadingModel) {
    ASSERT_EQ(DllRegisterServer(), S_OK);
    wchar_t path[520];
    platform::ModuleFileName(path, 520);
    for (int index = 0; index < kClassCount; ++index) {
        SCOPED_TRACE(kClassTable[index].factoryName);
        EXPECT_EQ(ReadString(ClassKey(index), nullptr), FriendlyName(index));
        EXPECT_EQ(ReadString(ClassKey(index) + L"\\InProcServer32", nullptr), path);
        EXPECT_EQ(ReadString(ClassKey(index) + L"\\InProcServer32", L"ThreadingModel"), L"Both");
    }
}

TEST_F(Registration, FriendlyNamesFollowTheirPatterns) {
    EXPECT_EQ(FriendlyName(kJoyForceApiIndex), L"Corvanta Skyvane Force API DLL");
    EXPECT_EQ(FriendlyName(kLegacyWheelIndex), L"Corvanta Legacy FF DLL");
    EXPECT_EQ(FriendlyName(2), L"Corvanta Dastrin Racing Wheel FF DLL");
    EXPECT_EQ(FriendlyName(kKarvonaIndex), L"Corvanta Corvanta Karvona Joystick FF DLL");
}

TEST_F(Registration, RegisteringTwiceLeavesOneSetOfKeys) {
    ASSERT_EQ(DllRegisterServer(), S_OK);
    ASSERT_EQ(DllRegisterServer(), S_OK);
    EXPECT_EQ(ReadString(ClassKey(9), nullptr), FriendlyName(9));
    ASSERT_EQ(DllUnregisterServer(), S_OK);
    EXPECT_FALSE(KeyExists(ClassKey(9)));
}

TEST_F(Registration, UnregisterRemovesEveryClassAndToleratesAbsence) {
    ASSERT_EQ(DllRegisterServer(), S_OK);
    ASSERT_EQ(DllUnregisterServer(), S_OK);
    for (int index = 0; index < kClassCount; ++index) EXPECT_FALSE(KeyExists(ClassKey(index))) << index;
    EXPECT_EQ(DllUnregisterServer(), S_OK);
}

}  // namespace
