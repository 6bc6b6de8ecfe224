// Damage to the file-backed settings store that the registry API cannot
// produce: a value file that is a directory, a pipe, a link loop, cut or
// garbage bytes, a key that is a file, a value nobody may read. Loading
// treats each like a missing value and says so in the debug trace.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "force_feedback/legacy/settings/model_global_data.h"
#include "force_feedback/legacy/settings/oem_fixup.h"
#include "force_feedback/legacy/settings/settings_test_support.h"

namespace {

namespace fs = std::filesystem;
using settings_test::DeviceKey;
using settings_test::TraceLines;
using settings_test::UniqueDeviceId;

void WriteFile(const fs::path& path, const std::vector<unsigned char>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Where the store keeps one device's settings key and its values.
struct StorePaths {
    fs::path value;   // the ForceEnabled value file
    fs::path key;     // the device's key directory
    fs::path parent;  // the key above it (DriverSettings)
};

struct DamageCase {
    const char* name;
    void (*damage)(const StorePaths&);
    bool keyStillReadable;  // other values of the key still load
};

void PrintTo(const DamageCase& c, std::ostream* os) { *os << c.name; }

const DamageCase kDamage[] = {
    {"ValueIsDirectory",
     [](const StorePaths& p) {
         fs::remove(p.value);
         fs::create_directory(p.value);
     },
     true},
    {"ValueIsEmptyFile", [](const StorePaths& p) { WriteFile(p.value, {}); }, true},
    {"ValueTypeCut", [](const StorePaths& p) { WriteFile(p.value, {0x04, 0x00}); }, true},
    {"ValueDataCut", [](const StorePaths& p) { WriteFile(p.value, {0x04, 0, 0, 0, 0x01, 0x00}); }, true},
    {"ValueDataTooLong", [](const StorePaths& p) { WriteFile(p.value, {0x04, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0}); },
     true},
    {"ValueGarbage", [](const StorePaths& p) { WriteFile(p.value, {0xDE, 0xAD, 0xBE, 0xEF, 0x13, 0x37, 0x42}); },
     true},
    {"ValueHuge", [](const StorePaths& p) { WriteFile(p.value, std::vector<unsigned char>(1 << 20, 0x01)); }, true},
    {"ValueIsPipe",
     [](const StorePaths& p) {
         fs::remove(p.value);
         ASSERT_EQ(mkfifo(p.value.c_str(), 0644), 0);
     },
     true},
    {"ValueIsLinkLoop",
     [](const StorePaths& p) {
         fs::remove(p.value);
         fs::create_symlink(p.value.filename(), p.value);
     },
     true},
    {"KeyIsFile",
     [](const StorePaths& p) {
         fs::remove_all(p.key);
         WriteFile(p.key, {0x04, 0, 0, 0, 1, 0, 0, 0});
     },
     false},
    {"ParentKeyIsFile",
     [](const StorePaths& p) {
         fs::remove_all(p.parent);
         WriteFile(p.parent, {});
     },
     false},
};

class DamagedStoreTest : public ::testing::TestWithParam<DamageCase> {
protected:
    void SetUp() override {
        // Healthy values first, so that the store has made the files.
        ASSERT_TRUE(m_key.SetDword(L"ForceEnabled", 1));
        ASSERT_TRUE(m_key.SetDword(L"SpringStrength", 3000));
        m_paths = FindPaths();
        ASSERT_FALSE(m_paths.value.empty()) << "the store keeps values elsewhere than this test knows";
    }
    void TearDown() override {
        // Undo what DeleteTree cannot (a key that is a file).
        std::error_code ec;
        if (!fs::is_directory(m_paths.parent, ec)) fs::remove(m_paths.parent, ec);
        if (!fs::is_directory(m_paths.key, ec)) fs::remove(m_paths.key, ec);
    }

    // The value file is the one store file named after ForceEnabled inside
    // a directory named after this device's product ID.
    StorePaths FindPaths() const {
        const std::wstring wide = settings_test::Hex4(m_id & 0xFFFF);
        std::string pid(wide.begin(), wide.end());
        for (auto& c : pid) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        const char* root = std::getenv("FFDRV_REGISTRY_ROOT");
        if (root == nullptr) return {};
        for (const auto& entry : fs::recursive_directory_iterator(root)) {
            const fs::path& path = entry.path();
            if (path.filename() == "forceenabled.val" &&
                path.parent_path().filename().string().find("pid_" + pid) != std::string::npos)
                return {path, path.parent_path(), path.parent_path().parent_path()};
        }
        return {};
    }

    std::unique_ptr<CGlobalData> Open() {
        auto settings = CreateModelGlobalData(Model::Zorvel);
        settings->Initialize(m_id);
        return settings;
    }

    const DWORD m_id = UniqueDeviceId();
    DeviceKey m_key{m_id};
    StorePaths m_paths;
};

TEST_P(DamagedStoreTest, LoadKeepsTheCurrentValueAndTracesTheDamage) {
    const DamageCase& c = GetParam();
    auto settings = Open();
    ASSERT_TRUE(settings->HasBlock());
    settings->SetForceEnabled(0, 0, 1);  // what a missing value would leave
    c.damage(m_paths);

    TraceLines trace;
    settings->LoadFromRegistry();
    EXPECT_EQ(settings->GetForceEnabled(), 0u);
    EXPECT_EQ(trace.Count(L": ForceEnabled: "), 1u);
    if (c.keyStillReadable) {
        EXPECT_EQ(settings->GetSpringStrength(), 3000u);
        // The settings that simply are not stored are no damage.
        EXPECT_EQ(trace.Lines().size(), 1u);
    } else {
        EXPECT_EQ(settings->GetSpringStrength(), 10000u);
        EXPECT_EQ(trace.Count(L"its key is unreadable"), trace.Lines().size());
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, DamagedStoreTest, ::testing::ValuesIn(kDamage),
                         [](const auto& info) { return std::string(info.param.name); });

// Nobody but its owner may read the value. Root reads everything, so the
// check runs in a child process that gives up root first.
TEST_F(DamagedStoreTest, UnreadableValueReadsAsMissing) {
    ASSERT_EQ(chmod(m_paths.value.c_str(), 0), 0);
    EXPECT_EXIT(
        {
            if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) std::_Exit(10);
            TraceLines trace;
            auto settings = CreateModelGlobalData(Model::Zorvel);
            settings->Initialize(m_id);
            // The key itself stays readable: its other value is found.
            if (settings->ReadRegistryDword(L"SpringStrength", 0, 15000, 7) != 3000) std::_Exit(11);
            if (settings->ReadRegistryDword(L"ForceEnabled", 0, 1, 7) != 7) std::_Exit(12);
            std::_Exit(trace.Count(L": ForceEnabled: ") == 1 && trace.Lines().size() == 1 ? 0 : 13);
        },
        ::testing::ExitedWithCode(0), "");
}

// The joystick OEM records go through the same store: one damaged record
// is skipped and the fix-up goes on with the next.
class DamagedOemRecordTest : public ::testing::TestWithParam<DamageCase> {
protected:
    static constexpr const wchar_t* kOemKey =
        L"System\\CurrentControlSet\\Control\\MediaProperties\\PrivateProperties\\Joystick\\OEM\\";

    void TearDown() override {
        std::error_code ec;
        if (!m_damaged.empty()) fs::remove_all(m_damaged, ec);
        for (const auto& product : m_products) platform::reg::DeleteTree(platform::reg::CurrentUser(), (kOemKey + product).c_str());
    }
    static bool Write(const std::wstring& product, std::uint32_t flags) {
        CRegistryEntry key;
        return key.Create(platform::reg::CurrentUser(), (kOemKey + product).c_str(), platform::reg::kKeyAllAccess) &&
               key.SetValue(L"OEMData", platform::reg::kBinary, &flags, sizeof flags);
    }
    static std::uint32_t Read(const std::wstring& product) {
        CRegistryEntry key;
        std::uint32_t flags = 0;
        if (!key.Open(platform::reg::CurrentUser(), (kOemKey + product).c_str(), platform::reg::kKeyRead) ||
            !key.Query(L"OEMData", &flags, sizeof flags))
            return 0xFFFFFFFF;
        return flags;
    }

    const std::vector<std::wstring> m_products = SupportedProductList();
    fs::path m_damaged;
};

TEST_P(DamagedOemRecordTest, IsSkippedAndTheNextRecordIsFixed) {
    ASSERT_TRUE(Write(m_products[0], 0x01));
    ASSERT_TRUE(Write(m_products[1], 0x01));
    // The first product's record file, found by its key's name.
    std::string first(m_products[0].begin(), m_products[0].end());
    for (auto& c : first) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    first = first.substr(first.find("pid_"));
    StorePaths paths;
    for (const auto& entry : fs::recursive_directory_iterator(std::getenv("FFDRV_REGISTRY_ROOT"))) {
        const fs::path& path = entry.path();
        if (path.filename() == "oemdata.val" && path.parent_path().filename().string().find(first) != std::string::npos)
            paths = {path, path.parent_path(), path.parent_path().parent_path()};
    }
    ASSERT_FALSE(paths.value.empty());
    m_damaged = paths.key;
    GetParam().damage(paths);

    FixJoystickOemFlags(m_products);
    EXPECT_EQ(Read(m_products[1]), 0x41u);
}

// Damage to one product's record and key; a file in the place of the
// parent key would hide the other products too.
std::vector<DamageCase> OemDamage() {
    std::vector<DamageCase> cases;
    for (const DamageCase& c : kDamage)
        if (std::string(c.name) != "ParentKeyIsFile") cases.push_back(c);
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Kinds, DamagedOemRecordTest, ::testing::ValuesIn(OemDamage()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
