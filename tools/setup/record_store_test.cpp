// Install, uninstall and status of the OEM records against the registry
// (file-backed natively, the prefix's own under Wine), in a branch of the
// current user's hive of their own so nothing real is touched.
#include "tools/setup/record_store.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace reg = platform::reg;

namespace setup {
namespace {

class RecordStore : public ::testing::Test {
protected:
    void SetUp() override {
        std::random_device rd;
        m_base = L"Software\\FfdrvSetupTest\\Run" + std::to_wstring(rd()) + L"\\OEM";
        m_records = BuildOemRecords();
    }
    void TearDown() override { reg::DeleteTree(reg::CurrentUser(), L"Software\\FfdrvSetupTest"); }

    bool KeyExists(const std::wstring& path) const {
        reg::Key key = nullptr;
        if (reg::OpenKey(reg::CurrentUser(), (m_base + L"\\" + path).c_str(), reg::kKeyRead, &key) != reg::kSuccess)
            return false;
        reg::CloseKey(key);
        return true;
    }
    void PutValue(const std::wstring& path, const wchar_t* name, std::uint32_t word) const {
        reg::Key key = nullptr;
        ASSERT_EQ(reg::CreateKey(reg::CurrentUser(), (m_base + L"\\" + path).c_str(), reg::kKeyAllAccess, &key, nullptr),
                  reg::kSuccess);
        ASSERT_EQ(reg::SetValue(key, name, reg::kBinary, &word, sizeof word), reg::kSuccess);
        reg::CloseKey(key);
    }
    void PutText(const std::wstring& path, const wchar_t* name, const std::wstring& text) const {
        reg::Key key = nullptr;
        ASSERT_EQ(reg::CreateKey(reg::CurrentUser(), (m_base + L"\\" + path).c_str(), reg::kKeyAllAccess, &key, nullptr),
                  reg::kSuccess);
        ASSERT_EQ(reg::SetValue(key, name, reg::kSz, text.c_str(),
                                static_cast<std::uint32_t>((text.size() + 1) * sizeof(wchar_t))),
                  reg::kSuccess);
        reg::CloseKey(key);
    }
    std::vector<RecordCheck> Check() const { return CheckRecords(reg::CurrentUser(), m_base, m_records); }
    StoreResult Write() const { return WriteRecords(reg::CurrentUser(), m_base, m_records); }
    StoreResult Remove() const { return RemoveRecords(reg::CurrentUser(), m_base, m_records); }

    std::wstring m_base;
    std::vector<OemRecord> m_records;
};

TEST_F(RecordStore, NothingInstalledReadsAsAbsentEverywhere) {
    for (const RecordCheck& c : Check()) {
        EXPECT_FALSE(c.keyPresent);
        EXPECT_TRUE(c.Absent());
        EXPECT_FALSE(c.Complete());
    }
    EXPECT_TRUE(Remove().Ok());  // nothing to remove is not a failure
}

TEST_F(RecordStore, InstallWritesCompleteRecordsAndTwiceChangesNothing) {
    ASSERT_TRUE(Write().Ok());
    for (const RecordCheck& c : Check()) {
        EXPECT_TRUE(c.Complete()) << Product(c.record->model).codename;
        EXPECT_FALSE(c.Absent());
    }
    ASSERT_TRUE(Write().Ok());
    for (const RecordCheck& c : Check()) EXPECT_TRUE(c.Complete());
}

TEST_F(RecordStore, UninstallLeavesOtherMakersAndTheSystemsOwnValues) {
    const std::wstring other = L"VID_046D&PID_C294";
    PutText(other, L"OEMName", L"Other maker wheel");
    PutText(other + L"\\OEMForceFeedback", L"CLSID", L"{00000000-0000-0000-0000-000000000001}");
    // The system's own flags in one of our products' keys, there before install.
    const std::wstring pelvar = m_records[static_cast<std::size_t>(Model::Pelvar)].keyName;
    PutValue(pelvar, L"OEMData", 0x40);

    ASSERT_TRUE(Write().Ok());
    ASSERT_TRUE(Remove().Ok());

    EXPECT_TRUE(KeyExists(other + L"\\OEMForceFeedback"));
    EXPECT_TRUE(KeyExists(pelvar));  // kept for its OEMData
    EXPECT_FALSE(KeyExists(pelvar + L"\\OEMForceFeedback"));
    reg::Key key = nullptr;
    ASSERT_EQ(reg::OpenKey(reg::CurrentUser(), (m_base + L"\\" + pelvar).c_str(), reg::kKeyRead, &key), reg::kSuccess);
    std::uint32_t subkeys = 9, values = 9;
    EXPECT_EQ(reg::CountEntries(key, &subkeys, &values), reg::kSuccess);
    EXPECT_EQ(subkeys, 0u);
    EXPECT_EQ(values, 1u);  // OEMData alone; our OEMName is gone
    reg::CloseKey(key);
    for (const OemRecord& r : m_records) {
        if (r.keyName != pelvar) {
            EXPECT_FALSE(KeyExists(r.keyName)) << Product(r.model).codename;
        }
    }
    for (const RecordCheck& c : Check()) EXPECT_TRUE(c.Absent());
}

TEST_F(RecordStore, AnOemNameSomeoneElseChangedSurvivesUninstall) {
    ASSERT_TRUE(Write().Ok());
    PutText(m_records[0].keyName, L"OEMName", L"Renamed by the user");
    ASSERT_TRUE(Remove().Ok());
    EXPECT_TRUE(KeyExists(m_records[0].keyName));
    EXPECT_FALSE(KeyExists(m_records[0].keyName + L"\\OEMForceFeedback"));
}

TEST_F(RecordStore, StatusNamesWhatIsMissingDifferentOrExtra) {
    ASSERT_TRUE(Write().Ok());
    const std::size_t index = static_cast<std::size_t>(Model::Zorvel);
    const OemRecord& zorvel = m_records[index];
    ASSERT_EQ(zorvel.model, Model::Zorvel);
    const std::wstring effects = ForceFeedbackPath(zorvel) + L"\\Effects\\";
    reg::Key key = nullptr;
    ASSERT_EQ(reg::OpenKey(reg::CurrentUser(), (m_base + L"\\" + ForceFeedbackPath(zorvel) + L"\\Effects").c_str(),
                           reg::kKeyAllAccess, &key),
              reg::kSuccess);
    ASSERT_EQ(reg::DeleteTree(key, L"{13541C27-8E33-11D0-9AD0-00A0C9A06E35}"), reg::kSuccess);  // spring
    reg::CloseKey(key);
    PutValue(effects + L"{13541C28-8E33-11D0-9AD0-00A0C9A06E35}", L"Attributes", 8);  // damper: wrong bytes
    PutValue(effects + L"{ABCDEF00-0000-0000-0000-000000000000}", L"Attributes", 1);  // not ours

    const RecordCheck check = Check()[index];
    EXPECT_FALSE(check.Complete());
    EXPECT_FALSE(check.Absent());
    ASSERT_EQ(check.missing.size(), 1u);  // the key, not its values one by one
    EXPECT_EQ(check.missing[0], L"OEMForceFeedback\\Effects\\{13541C27-8E33-11D0-9AD0-00A0C9A06E35}");
    ASSERT_EQ(check.differs.size(), 1u);
    EXPECT_EQ(check.differs[0], L"OEMForceFeedback\\Effects\\{13541C28-8E33-11D0-9AD0-00A0C9A06E35}: Attributes");
    EXPECT_EQ(check.extra.size(), 1u);
    for (std::size_t i = 0; i < m_records.size(); ++i) {
        if (i != index) {
            EXPECT_TRUE(Check()[i].Complete());
        }
    }

    // Install puts the record back exactly, the stranger included.
    ASSERT_TRUE(Write().Ok());
    EXPECT_TRUE(Check()[index].Complete());
    EXPECT_FALSE(KeyExists(effects + L"{ABCDEF00-0000-0000-0000-000000000000}"));
}

}  // namespace
}  // namespace setup
