// The DLL as the Windows COM runtime sees it: registered by regsvr32 and
// created by CLSID through CoCreateInstance.
#include <gtest/gtest.h>
#include <objbase.h>
#include <windows.h>

#include <string>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/settings/registry_entry.h"
#include "platform/guid.h"
#include "tools/module_host/driver_module.h"

namespace reg = platform::reg;

namespace {

std::wstring Widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

int RunRegsvr32(const std::wstring& arguments) {
    std::wstring command = L"regsvr32.exe /s " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
        return -1;
    WaitForSingleObject(process.hProcess, 60000);
    DWORD code = 1;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
    return static_cast<int>(code);
}

std::wstring ReadDefault(const std::wstring& path, const wchar_t* name) {
    CRegistryEntry key;
    if (!key.Open(reg::LocalMachine(), path.c_str(), reg::kKeyRead)) return L"<missing>";
    wchar_t buffer[600] = {};
    std::uint32_t size = 0;
    if (!key.Query(name, buffer, sizeof buffer - sizeof(wchar_t), nullptr, &size)) return L"<missing>";
    // Wine stores REG_SZ data with a terminator even when none was given.
    std::wstring text(buffer, size / sizeof(wchar_t));
    while (!text.empty() && text.back() == L'\0') text.pop_back();
    return text;
}

class ComRuntime : public ::testing::Test {
protected:
    void SetUp() override {
        m_dll = Widen(DriverModule::DefaultPath());
        ASSERT_EQ(RunRegsvr32(L"\"" + m_dll + L"\""), 0);
        ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
    }
    void TearDown() override {
        CoUninitialize();
        RunRegsvr32(L"/u \"" + m_dll + L"\"");
    }
    std::wstring m_dll;
};

TEST_F(ComRuntime, Regsvr32RegistersEveryClassWithItsPath) {
    wchar_t full[MAX_PATH];
    GetFullPathNameW(m_dll.c_str(), MAX_PATH, full, nullptr);
    for (int index = 0; index < kClassCount; ++index) {
        SCOPED_TRACE(kClassTable[index].factoryName);
        const std::wstring key = L"SOFTWARE\\Classes\\CLSID\\" + platform::FormatGuid(kClassTable[index].clsid);
        EXPECT_EQ(ReadDefault(key, nullptr), FriendlyName(index));
        EXPECT_EQ(_wcsicmp(ReadDefault(key + L"\\InProcServer32", nullptr).c_str(), full), 0);
        EXPECT_EQ(ReadDefault(key + L"\\InProcServer32", L"ThreadingModel"), L"Both");
    }
}

TEST_F(ComRuntime, CoCreateInstanceMakesAWorkingDriver) {
    for (int index : {2, 7, 16, kLegacyWheelIndex}) {
        SCOPED_TRACE(kClassTable[index].factoryName);
        IDirectInputEffectDriver* driver = nullptr;
        ASSERT_EQ(CoCreateInstance(kClassTable[index].clsid, nullptr, CLSCTX_INPROC_SERVER,
                                   IID_IDirectInputEffectDriver, reinterpret_cast<void**>(&driver)),
                  S_OK);
        DIDRIVERVERSIONS versions{};
        versions.dwSize = sizeof versions;
        EXPECT_EQ(driver->GetVersions(&versions), S_OK);
        EXPECT_EQ(versions.dwFFDriverVersion, 0x100u);
        driver->Release();
    }
}

TEST_F(ComRuntime, UnregistrationRemovesTheKeys) {
    ASSERT_EQ(RunRegsvr32(L"/u \"" + m_dll + L"\""), 0);
    for (int index = 0; index < kClassCount; ++index) {
        const std::wstring key = L"SOFTWARE\\Classes\\CLSID\\" + platform::FormatGuid(kClassTable[index].clsid);
        CRegistryEntry entry;
        EXPECT_FALSE(entry.Open(reg::LocalMachine(), key.c_str(), reg::kKeyRead)) << index;
    }
    IUnknown* object = nullptr;
    EXPECT_EQ(CoCreateInstance(kClassTable[2].clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDirectInputEffectDriver,
                               reinterpret_cast<void**>(&object)),
              REGDB_E_CLASSNOTREG);
}

}  // namespace
