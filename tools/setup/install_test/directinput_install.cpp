// The driver found the way DirectInput finds it, on a machine where nothing
// but `ffdrv-setup install` put it: run in a Wine prefix of its own. For every
// product the test reads the joystick OEM record, creates the class it names
// through the COM runtime, and downloads, starts, queries, stops and destroys
// every effect the record lists, by the record's effect ID and with a DIEFFECT
// built from the record's category and parameter flags alone. Then
// `ffdrv-setup uninstall` must take away exactly what install put there.
//
// Wine has no force-feedback controller, and a driver whose device does not
// open still takes every call (the effects just never play). So where the
// test build of the DLL is there, the one with virtual devices in place of
// the system's HID stack, that is the DLL staged and installed, and each
// product gets a virtual device of its IDs before DeviceID: then every effect
// must also be played to its end by the driver's simulation thread, and the
// device must receive reports.
#include <gtest/gtest.h>
#include <objbase.h>
#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include "com_abi.h"
#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/model_table.h"
#include "platform/guid.h"
#include "platform/process.h"
#include "platform/virtual_hid_api.h"

namespace {

constexpr const wchar_t* kOemRoot =
    L"System\\CurrentControlSet\\Control\\MediaProperties\\PrivateProperties\\Joystick\\OEM\\";
// Another maker's record and class, there before install and after uninstall.
constexpr const wchar_t* kStrangerKey = L"VID_0EEF&PID_0001";
constexpr const wchar_t* kStrangerClsid = L"{0EEF0001-0000-4000-8000-00000000FFFF}";
constexpr DWORD kDirectInputVersion = 0x0800;
constexpr DWORD kJoystickId = 0;
constexpr std::uint32_t kSetupTimeoutMs = 180000;
constexpr bool kOwn64 = sizeof(void*) == 8;
// How long a finite effect plays, and how long the simulation thread gets to
// end it (a hang guard, not a timing requirement).
constexpr DWORD kShortDurationUs = 20000;
constexpr DWORD kEndWaitMs = 10000;

std::string Narrow(const std::wstring& text) {
    std::string out;
    for (wchar_t ch : text) out.push_back(ch < 0x80 ? static_cast<char>(ch) : '?');
    return out;
}

std::wstring OwnDirectory() {
    wchar_t buffer[MAX_PATH * 2];
    const DWORD n = GetModuleFileNameW(nullptr, buffer, MAX_PATH * 2);
    std::wstring path(buffer, n);
    return path.substr(0, path.find_last_of(L"\\/") + 1);
}

// The build directory of the other bitness, if it was built beside this one.
std::wstring PeerBuildDirectory() {
#ifdef FFDRV_PEER_BUILD_DIR
    std::wstring path = L"Z:";  // Wine maps the Unix root there
    for (const char* p = FFDRV_PEER_BUILD_DIR; *p; ++p) path.push_back(*p == '/' ? L'\\' : static_cast<wchar_t>(*p));
    return path + L"\\";
#else
    return {};
#endif
}

bool CopyInto(const std::wstring& from, const std::wstring& to) {
    return CopyFileW(from.c_str(), to.c_str(), FALSE) != 0;
}

struct Key {
    HKEY handle = nullptr;
    Key(HKEY root, const std::wstring& path, REGSAM access = KEY_READ) {
        if (RegOpenKeyExW(root, path.c_str(), 0, access, &handle) != ERROR_SUCCESS) handle = nullptr;
    }
    ~Key() {
        if (handle) RegCloseKey(handle);
    }
    explicit operator bool() const { return handle != nullptr; }
    std::wstring Text(const wchar_t* name) const {
        wchar_t buffer[512] = {};
        DWORD size = sizeof buffer - sizeof(wchar_t);
        DWORD type = 0;
        if (RegQueryValueExW(handle, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size) != ERROR_SUCCESS ||
            type != REG_SZ)
            return L"<missing>";
        std::wstring text(buffer, size / sizeof(wchar_t));
        while (!text.empty() && text.back() == L'\0') text.pop_back();
        return text;
    }
    std::vector<BYTE> Binary(const wchar_t* name) const {
        std::vector<BYTE> bytes(256);
        DWORD size = static_cast<DWORD>(bytes.size());
        DWORD type = 0;
        if (RegQueryValueExW(handle, name, nullptr, &type, bytes.data(), &size) != ERROR_SUCCESS || type != REG_BINARY)
            return {};
        bytes.resize(size);
        return bytes;
    }
    std::vector<std::wstring> Subkeys() const {
        std::vector<std::wstring> names;
        for (DWORD i = 0;; ++i) {
            wchar_t name[256];
            DWORD length = 256;
            if (RegEnumKeyExW(handle, i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
            names.emplace_back(name, length);
        }
        return names;
    }
};

std::wstring ProductKey(const ModelRow& p) {
    wchar_t name[32];
    swprintf(name, 32, L"VID_%04X&PID_%04X", static_cast<unsigned>(kVendorId), static_cast<unsigned>(p.productId));
    return std::wstring(kOemRoot) + name;
}

void PutText(HKEY root, const std::wstring& path, const wchar_t* name, const std::wstring& text) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), ERROR_SUCCESS);
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
}

// Everything a DIEFFECT of the record's category can carry, set from the
// record alone: the parameters it names, the coordinates it allows.
class EffectBlock {
public:
    EffectBlock(const DIEFFECTATTRIBUTES& a) {
        m_effect.dwSize = sizeof m_effect;
        m_effect.dwFlags = DIEFF_OBJECTOFFSETS | ((a.dwCoords & DIEFF_POLAR) ? DIEFF_POLAR : DIEFF_CARTESIAN);
        m_effect.dwDuration = INFINITE;
        m_effect.dwGain = DI_FFNOMINALMAX;
        m_effect.dwTriggerButton = DIEB_NOTRIGGER;
        m_effect.cAxes = 2;
        m_effect.rgdwAxes = m_axes;
        m_effect.rglDirection = m_directions;
        if (a.dwStaticParams & DIEP_ENVELOPE) m_effect.lpEnvelope = &m_envelope;
        m_effect.dwStartDelay = 0;
        switch (DIEFT_GETTYPE(a.dwEffType)) {
            case DIEFT_CONSTANTFORCE: Use(&m_constant, sizeof m_constant); break;
            case DIEFT_RAMPFORCE: Use(&m_ramp, sizeof m_ramp); break;
            case DIEFT_PERIODIC: Use(&m_periodic, sizeof m_periodic); break;
            case DIEFT_CONDITION: Use(m_conditions, sizeof m_conditions); break;
            case DIEFT_CUSTOMFORCE: Use(&m_custom, sizeof m_custom); break;
            default: break;
        }
    }
    EffectBlock(const EffectBlock&) = delete;
    EffectBlock& operator=(const EffectBlock&) = delete;
    const DIEFFECT* Get() const { return &m_effect; }
    bool Known() const { return m_effect.lpvTypeSpecificParams != nullptr; }

private:
    void Use(void* block, DWORD size) {
        m_effect.lpvTypeSpecificParams = block;
        m_effect.cbTypeSpecificParams = size;
    }

    DWORD m_axes[2] = {DIJOFS_X, DIJOFS_Y};
    LONG m_directions[2] = {9000, 0};
    DIENVELOPE m_envelope{sizeof(DIENVELOPE), 0, 100000, 0, 100000};
    DICONSTANTFORCE m_constant{5000};
    DIRAMPFORCE m_ramp{-5000, 5000};
    DIPERIODIC m_periodic{5000, 0, 0, 100000};
    DICONDITION m_conditions[2] = {{0, 5000, 5000, 10000, 10000, 500}, {0, 5000, 5000, 10000, 10000, 500}};
    LONG m_samples[4] = {1000, -1000, 2000, -2000};
    DICUSTOMFORCE m_custom{2, 10000, 4, m_samples};
    DIEFFECT m_effect{};
};

// A controller of the product's IDs at the joystick ID, as the test build's
// virtual devices offer it.
FfdrvVirtualDevice VirtualDeviceOf(const ModelRow& p) {
    FfdrvVirtualDevice d{};
    d.size = sizeof d;
    d.joystickId = kJoystickId;
    d.vendorId = kVendorId;
    d.productId = p.productId;
    d.versionNumber = 0x0100;
    d.inputReportLength = 9;
    d.outputReportLength = 65;
    d.featureReportLength = p.model == Model::Karvona ? 2 : 65;  // its one feature report is 2 bytes
    for (int i = 0; i < 16; ++i) d.containerId[i] = static_cast<std::uint8_t>(0xA0 + i);
    d.hasCalibration = 1;
    const std::int32_t calibration[6] = {0, 512, 1023, 0, 512, 1023};
    std::memcpy(d.calibration, calibration, sizeof calibration);
    d.axes[0] = {10, 0, 1023};
    d.axes[1] = {10, 0, 1023};
    d.buttonCount = 16;
    return d;
}

// The virtual-device exports of the loaded driver, when it is the test build.
struct VirtualDevices {
    explicit VirtualDevices(const std::wstring& dll) {
        HMODULE module = GetModuleHandleW(dll.c_str());
        if (module == nullptr) return;
        plug = reinterpret_cast<decltype(plug)>(reinterpret_cast<void*>(GetProcAddress(module, "FfdrvVirtualPlug")));
        unplug = reinterpret_cast<decltype(unplug)>(reinterpret_cast<void*>(GetProcAddress(module, "FfdrvVirtualUnplug")));
        count = reinterpret_cast<decltype(count)>(reinterpret_cast<void*>(GetProcAddress(module, "FfdrvVirtualReportCount")));
    }
    bool Present() const { return plug && unplug && count; }
    decltype(&FfdrvVirtualPlug) plug = nullptr;
    decltype(&FfdrvVirtualUnplug) unplug = nullptr;
    decltype(&FfdrvVirtualReportCount) count = nullptr;
};

class DirectInputInstall : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        // The package layout: each bitness in a folder of its own.
        wchar_t temp[MAX_PATH];
        GetTempPathW(MAX_PATH, temp);
        s_stage = std::wstring(temp) + L"ffdrv-stage-" + std::to_wstring(GetCurrentProcessId()) + L"\\";
        const std::wstring own = s_stage + (kOwn64 ? L"x64\\" : L"x86\\");
        const std::wstring peer = s_stage + (kOwn64 ? L"x86\\" : L"x64\\");
        CreateDirectoryW(s_stage.c_str(), nullptr);
        CreateDirectoryW(own.c_str(), nullptr);
        const std::wstring virtualDll = OwnDirectory() + L"virtual-devices\\svjoyff.dll";
        s_virtualBuild = GetFileAttributesW(virtualDll.c_str()) != INVALID_FILE_ATTRIBUTES;
        s_staged = CopyInto(OwnDirectory() + L"ffdrv-setup.exe", own + L"ffdrv-setup.exe") &&
                   CopyInto(s_virtualBuild ? virtualDll : OwnDirectory() + L"svjoyff.dll", own + L"svjoyff.dll");
        const std::wstring peerBuild = PeerBuildDirectory();
        if (!peerBuild.empty() && GetFileAttributesW((peerBuild + L"ffdrv-setup.exe").c_str()) != INVALID_FILE_ATTRIBUTES) {
            CreateDirectoryW(peer.c_str(), nullptr);
            s_peerStaged = CopyInto(peerBuild + L"ffdrv-setup.exe", peer + L"ffdrv-setup.exe") &&
                           CopyInto(peerBuild + L"svjoyff.dll", peer + L"svjoyff.dll");
        }
        s_setup = own + L"ffdrv-setup.exe";
        s_dll = own + L"svjoyff.dll";
    }
    static void TearDownTestSuite() { CoUninitialize(); }

    static int Setup(const char* verb) {
        return platform::RunProcess(Narrow(s_setup), {verb}, kSetupTimeoutMs);
    }

    static inline std::wstring s_stage;
    static inline std::wstring s_setup;
    static inline std::wstring s_dll;
    static inline bool s_staged = false;
    static inline bool s_peerStaged = false;
    static inline bool s_installed = false;
    static inline bool s_virtualBuild = false;
};

TEST_F(DirectInputInstall, InstallRegistersTheDriverAndWritesEveryRecord) {
    ASSERT_TRUE(s_staged) << "ffdrv-setup.exe and svjoyff.dll must be built beside this test";
    PutText(HKEY_LOCAL_MACHINE, std::wstring(kOemRoot) + kStrangerKey, L"OEMName", L"Someone else's wheel");
    PutText(HKEY_LOCAL_MACHINE, std::wstring(kOemRoot) + kStrangerKey + L"\\OEMForceFeedback", L"CLSID", kStrangerClsid);
    PutText(HKEY_LOCAL_MACHINE, std::wstring(L"SOFTWARE\\Classes\\CLSID\\") + kStrangerClsid, nullptr, L"Stranger");

    ASSERT_EQ(Setup("install"), 0);
    ASSERT_EQ(Setup("install"), 0) << "install runs twice";
    s_installed = true;
    // Where the system runs no 32-bit programs that part counts as expected.
    EXPECT_EQ(Setup("status"), 0);
    for (const ModelRow& p : kModels) {
        Key record(HKEY_LOCAL_MACHINE, ProductKey(p));
        EXPECT_TRUE(record) << p.codename;
        EXPECT_EQ(record.Text(L"OEMData"), L"<missing>") << "left to the driver's fix-up";
    }
}

TEST_F(DirectInputInstall, EveryProductsRecordLeadsToADriverThatPlaysEveryListedEffect) {
    if (!s_installed) GTEST_SKIP() << "install failed";
    for (const ModelRow& p : kModels) {
        SCOPED_TRACE(p.codename);
        Key ff(HKEY_LOCAL_MACHINE, ProductKey(p) + L"\\OEMForceFeedback");
        ASSERT_TRUE(ff);
        EXPECT_EQ(ff.Binary(L"Attributes"), (std::vector<BYTE>{0, 0, 0, 0, 0x40, 0x1F, 0, 0, 0xE8, 0x03, 0, 0}));
        CLSID clsid{};
        std::wstring text = ff.Text(L"CLSID");
        ASSERT_EQ(CLSIDFromString(text.data(), &clsid), S_OK) << Narrow(text);

        IDirectInputEffectDriver* driver = nullptr;
        ASSERT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDirectInputEffectDriver,
                                   reinterpret_cast<void**>(&driver)),
                  S_OK);
        const VirtualDevices devices(s_dll);
        EXPECT_EQ(devices.Present(), s_virtualBuild);
        const FfdrvVirtualDevice device = VirtualDeviceOf(p);
        const bool plugged = devices.Present() && devices.plug(&device) == FFDRV_VIRTUAL_OK;
        EXPECT_EQ(plugged, devices.Present());
        ASSERT_EQ(driver->DeviceID(kDirectInputVersion, kJoystickId, TRUE, 0, nullptr), S_OK);
        DIDRIVERVERSIONS versions{};
        versions.dwSize = sizeof versions;
        EXPECT_EQ(driver->GetVersions(&versions), S_OK);

        Key effects(HKEY_LOCAL_MACHINE, ProductKey(p) + L"\\OEMForceFeedback\\Effects");
        ASSERT_TRUE(effects);
        const std::vector<std::wstring> guids = effects.Subkeys();
        EXPECT_FALSE(guids.empty());
        for (const std::wstring& guid : guids) {
            Key effect(effects.handle, guid);
            SCOPED_TRACE(Narrow(effect.Text(nullptr)));
            const std::vector<BYTE> bytes = effect.Binary(L"Attributes");
            ASSERT_EQ(bytes.size(), sizeof(DIEFFECTATTRIBUTES));
            DIEFFECTATTRIBUTES a{};
            std::memcpy(&a, bytes.data(), sizeof a);
            EffectBlock block(a);
            ASSERT_TRUE(block.Known()) << "category " << DIEFT_GETTYPE(a.dwEffType);

            DWORD handle = 0;
            EXPECT_EQ(driver->DownloadEffect(kJoystickId, a.dwEffectId, &handle, block.Get(), a.dwStaticParams), S_OK);
            ASSERT_NE(handle, 0u);
            // Handing the same parameters to the downloaded effect reports
            // whether it took them (a new download never does).
            EXPECT_EQ(driver->DownloadEffect(kJoystickId, a.dwEffectId, &handle, block.Get(), a.dwStaticParams), S_OK);
            EXPECT_EQ(driver->DownloadEffect(kJoystickId, a.dwEffectId, &handle, block.Get(), a.dwDynamicParams), S_OK);
            EXPECT_EQ(driver->StartEffect(kJoystickId, handle, 0, 1), S_OK);
            DWORD status = 0xAAAA;
            EXPECT_EQ(driver->GetEffectStatus(kJoystickId, handle, &status), S_OK);
            EXPECT_EQ(status, static_cast<DWORD>(DIEGES_PLAYING));
            if (plugged) {
                // Only a simulation thread that plays the effect ends it.
                DIEFFECT shorter = *block.Get();
                shorter.dwDuration = kShortDurationUs;
                ASSERT_TRUE(a.dwDynamicParams & DIEP_DURATION);
                EXPECT_EQ(driver->DownloadEffect(kJoystickId, a.dwEffectId, &handle, &shorter, DIEP_DURATION), S_OK);
                const DWORD since = GetTickCount();
                while (driver->GetEffectStatus(kJoystickId, handle, &status) == S_OK && status != 0 &&
                       GetTickCount() - since < kEndWaitMs)
                    Sleep(5);
                EXPECT_EQ(status, 0u) << "still playing " << kEndWaitMs << " ms after a 20 ms run";
                EXPECT_EQ(driver->StartEffect(kJoystickId, handle, 0, 1), S_OK);
            }
            EXPECT_EQ(driver->StopEffect(kJoystickId, handle), S_OK);
            EXPECT_EQ(driver->GetEffectStatus(kJoystickId, handle, &status), S_OK);
            EXPECT_EQ(status, 0u);
            EXPECT_EQ(driver->DestroyEffect(kJoystickId, handle), S_OK);
        }
        DIDEVICESTATE state{};
        state.dwSize = sizeof state;
        EXPECT_EQ(driver->GetForceFeedbackState(kJoystickId, &state), S_OK);
        EXPECT_TRUE(state.dwState & DIGFFS_EMPTY);
        if (plugged) {
            EXPECT_GT(devices.count(kJoystickId), 0) << "the device received no report";
        }
        EXPECT_EQ(driver->DeviceID(kDirectInputVersion, kJoystickId, FALSE, 0, nullptr), S_OK);
        driver->Release();
        if (plugged) devices.unplug(kJoystickId);
    }
}

TEST_F(DirectInputInstall, UninstallTakesAwayExactlyWhatInstallWrote) {
    if (!s_installed) GTEST_SKIP() << "install failed";
    ASSERT_EQ(Setup("uninstall"), 0);
    for (const ModelRow& p : kModels) EXPECT_FALSE(Key(HKEY_LOCAL_MACHINE, ProductKey(p))) << p.codename;
    for (const ClassRow& row : kClassTable) {
        EXPECT_FALSE(Key(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Classes\\CLSID\\" + platform::FormatGuid(row.clsid)))
            << row.factoryName;
    }
    IUnknown* object = nullptr;
    EXPECT_EQ(CoCreateInstance(kClassTable[2].clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDirectInputEffectDriver,
                               reinterpret_cast<void**>(&object)),
              REGDB_E_CLASSNOTREG);
    Key stranger(HKEY_LOCAL_MACHINE, std::wstring(kOemRoot) + kStrangerKey + L"\\OEMForceFeedback");
    EXPECT_EQ(stranger.Text(L"CLSID"), kStrangerClsid);
    EXPECT_EQ(Key(HKEY_LOCAL_MACHINE, std::wstring(kOemRoot) + kStrangerKey).Text(L"OEMName"), L"Someone else's wheel");
    EXPECT_TRUE(Key(HKEY_LOCAL_MACHINE, std::wstring(L"SOFTWARE\\Classes\\CLSID\\") + kStrangerClsid));
    // Nothing of ours is left to report, so status says what is missing.
    EXPECT_EQ(Setup("status"), 2);
    EXPECT_EQ(Setup("uninstall"), 0) << "uninstalling again finds nothing to do";
}

}  // namespace
