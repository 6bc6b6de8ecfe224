// The settings field table, checked from outside: the indices each family
// accepts and reads back (a device without settings answers with these), and for every persisted setting that a set lands at its record
// offset, that save and load each follow that setting's own flags byte, and
// that the registry name is its own. Offsets and names are written out from
// the record layout, never taken from the table.
#include "force_feedback/legacy/settings/setting_fields.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "force_feedback/legacy/settings/model_global_data.h"
#include "force_feedback/legacy/settings/settings_test_support.h"

namespace {

using settings_test::DeviceKey;
using settings_test::RawBlock;
using settings_test::UniqueDeviceId;

// ---- which index each family accepts ----------------------------------------

struct IndexCase {
    const char* name;
    SettingsFamily family;
    DWORD index;
    DWORD value;
    HRESULT expected;
    bool exists;  // read back, though the value may be refused
};

void PrintTo(const IndexCase& c, std::ostream* os) { *os << c.name; }

class SettingIndexTest : public ::testing::TestWithParam<IndexCase> {};

TEST_P(SettingIndexTest, AcceptsOrRefuses) {
    const IndexCase& c = GetParam();
    SVJOYFORCEPARAM param{c.index, /*dwSave=*/0, c.value};
    EXPECT_EQ(c.expected, SetDeviceSetting(c.family, /*settings=*/nullptr, &param));
    SVJOYFORCEPARAM read{c.index, /*dwSave=*/1, 0xDEADBEEF};
    EXPECT_EQ(c.exists ? S_OK : E_INVALIDARG, GetDeviceSetting(c.family, /*settings=*/nullptr, &read));
    if (!c.exists) {
        EXPECT_EQ(read.dwValue, 0xDEADBEEFu) << "a refused read wrote";
    }
}

constexpr SettingsFamily kWheel = SettingsFamily::kWheel;
constexpr SettingsFamily kRumble = SettingsFamily::kRumble;

INSTANTIATE_TEST_SUITE_P(
    Families, SettingIndexTest,
    ::testing::Values(IndexCase{"WheelStrengthAtLimit", kWheel, 0, 15000, S_OK, true},
                      IndexCase{"WheelStrengthAboveLimit", kWheel, 2, 15001, E_INVALIDARG, true},
                      IndexCase{"WheelCenteringAtLimit", kWheel, 3, 15000, S_OK, true},
                      IndexCase{"WheelCenteringAboveLimit", kWheel, 3, 15001, E_INVALIDARG, true},
                      IndexCase{"WheelForceEnabledAnyValue", kWheel, 4, 0xFFFFFFFF, S_OK, true},
                      IndexCase{"WheelIndexFive", kWheel, 5, 0, E_INVALIDARG, false},
                      IndexCase{"WheelPersistentCentering", kWheel, 6, 12345678, S_OK, true},
                      IndexCase{"WheelIndexSeven", kWheel, 7, 0, E_INVALIDARG, false},
                      IndexCase{"WheelRumbleIndex", kWheel, 256, 0, E_INVALIDARG, false},
                      IndexCase{"WheelAllOnesIndex", kWheel, 0xFFFFFFFF, 0, E_INVALIDARG, false},
                      IndexCase{"RumbleOverallAtLimit", kRumble, 0, 15000, S_OK, true},
                      IndexCase{"RumbleStrengthAboveLimit", kRumble, 1, 15001, E_INVALIDARG, true},
                      IndexCase{"RumbleForceEnabledAnyValue", kRumble, 4, 0xFFFFFFFF, S_OK, true},
                      IndexCase{"RumbleIndexThree", kRumble, 3, 0, E_INVALIDARG, false},
                      IndexCase{"RumbleIndexFive", kRumble, 5, 0, E_INVALIDARG, false},
                      IndexCase{"RumbleIndexSix", kRumble, 6, 0, E_INVALIDARG, false},
                      IndexCase{"RumbleThresholdAnyValue", kRumble, 257, 99999, S_OK, true},
                      IndexCase{"RumbleDeltaXWide", kRumble, 258, 0x1FF, S_OK, true},
                      IndexCase{"RumbleFlipToY", kRumble, 261, 1, S_OK, true},
                      IndexCase{"RumbleIndex255", kRumble, 255, 0, E_INVALIDARG, false},
                      IndexCase{"RumbleIndex262", kRumble, 262, 0, E_INVALIDARG, false},
                      IndexCase{"RumbleNegativeIndex", kRumble, static_cast<DWORD>(-1), 0, E_INVALIDARG, false}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SettingDefaultsTest, AnswersOfADeviceWithoutSettings) {
    const struct {
        SettingsFamily family;
        DWORD index;
        DWORD expected;
    } cases[] = {{kWheel, 0, 10000}, {kWheel, 3, 10000}, {kWheel, 4, 0},  {kWheel, 6, 1},
                 {kRumble, 0, 10000}, {kRumble, 1, 10000}, {kRumble, 2, 10000}, {kRumble, 4, 0},
                 {kRumble, 256, 0}, {kRumble, 257, 6320},
                 {kRumble, 258, 0}, {kRumble, 261, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.index);
        SVJOYFORCEPARAM param{c.index, 0, 0xDEADBEEF};
        ASSERT_EQ(S_OK, GetDeviceSetting(c.family, /*settings=*/nullptr, &param));
        EXPECT_EQ(c.expected, param.dwValue);
    }
}

// ---- every persisted setting, from its record offset outward ------------------

constexpr DWORD kAbsent = 0xFFFFFFFF;

// The record layout as documented for the shared block.
struct PersistedSetting {
    const wchar_t* name;
    std::size_t offset;
    bool byteWide;
    std::size_t flagsOffset;
    DWORD wheelIndex;   // kAbsent: not a wheel/joystick setting
    DWORD rumbleIndex;  // kAbsent: not a rumble setting
    DWORD probe;        // a value in the registry range, unlike every default
};

// The parameter is gtest's copy of a row, so rows are told apart by name.
bool IsSame(const PersistedSetting& a, const PersistedSetting& b) { return std::wcscmp(a.name, b.name) == 0; }

void PrintTo(const PersistedSetting& s, std::ostream* os) { *os << std::string(s.name, s.name + std::wcslen(s.name)); }

constexpr PersistedSetting kPersisted[] = {
    {L"AmplitudeBasedForce", 600, false, 604, kAbsent, 256, 1},
    {L"AmplitudeBasedForceThreshold", 608, false, 612, kAbsent, 257, 4321},
    {L"DamperStrength", 552, false, 556, 2, 2, 12001},
    {L"PersistentCenteringSpring", 576, false, 580, 6, kAbsent, 1},
    {L"CenteringSpring", 568, false, 572, 3, kAbsent, 12003},
    {L"DeltaSpringAdjustDown", 620, false, 624, kAbsent, 260, 1},
    {L"DeltaSpringXAdjust", 613, true, 614, kAbsent, 258, 201},
    {L"DeltaSpringYAdjust", 615, true, 616, kAbsent, 259, 202},
    {L"FlipDeltaSpringToY", 628, false, 632, kAbsent, 261, 1},
    {L"ForceEnabled", 584, false, 588, 4, 4, 0},
    {L"OverallStrength", 520, false, 524, 0, 0, 12004},
    {L"SpringStrength", 536, false, 540, 1, 1, 12005},
};

std::unique_ptr<CGlobalData> Open(Model model, DWORD deviceId) {
    auto settings = CreateModelGlobalData(model);
    settings->Initialize(deviceId);
    return settings;
}

class PersistedSettingTest : public ::testing::TestWithParam<PersistedSetting> {
protected:
    DWORD Value(const RawBlock& block, const PersistedSetting& s) const {
        return s.byteWide ? block.U8(s.offset) : block.U32(s.offset);
    }

    // Leaves only `bits` in this setting's flags byte and none in the others.
    void KeepOnlyFlags(RawBlock& block, BYTE bits) const {
        for (const PersistedSetting& s : kPersisted) block.SetU8(s.flagsOffset, 0);
        block.SetU8(GetParam().flagsOffset, bits);
        block.SetU8(639, 0);  // the CS bytes' flags
    }

    const DWORD m_id = UniqueDeviceId();
    DeviceKey m_key{m_id};
};

// Each family that exposes the setting stores it where the record has it,
// saves it under its own name, and reads it back.
TEST_P(PersistedSettingTest, SetLandsAtItsOffsetAndIsSavedUnderItsName) {
    const PersistedSetting& s = GetParam();
    const struct {
        SettingsFamily family;
        DWORD index;
        Model model;  // one whose defaults mark the family's settings for saving
    } families[] = {{kWheel, s.wheelIndex, Model::Prazen}, {kRumble, s.rumbleIndex, Model::Zorvel}};
    for (const auto& f : families) {
        if (f.index == kAbsent) continue;
        SCOPED_TRACE(f.family == kWheel ? "wheel" : "rumble");
        const DWORD id = UniqueDeviceId();
        DeviceKey key(id);
        auto settings = Open(f.model, id);
        RawBlock block(id);
        ASSERT_TRUE(block.Mapped());
        ASSERT_NE(s.probe, Value(block, s));
        SVJOYFORCEPARAM set{f.index, /*dwSave=*/1, s.probe};
        ASSERT_EQ(S_OK, SetDeviceSetting(f.family, settings.get(), &set));
        EXPECT_EQ(s.probe, Value(block, s));
        EXPECT_NE(0, block.U8(s.flagsOffset) & kLoadFlag);
        std::uint32_t saved = 0;
        EXPECT_TRUE(key.GetDword(s.name, &saved));
        EXPECT_EQ(s.probe, saved);
        SVJOYFORCEPARAM get{f.index, 0, 0xDEADBEEF};
        ASSERT_EQ(S_OK, GetDeviceSetting(f.family, settings.get(), &get));
        EXPECT_EQ(s.probe, get.dwValue);
    }
}

// Saving writes this setting exactly when its own flags byte says so.
TEST_P(PersistedSettingTest, SaveFollowsItsOwnFlagsByte) {
    const PersistedSetting& s = GetParam();
    auto settings = Open(Model::Quintar, m_id);
    RawBlock block(m_id);
    ASSERT_TRUE(block.Mapped());
    KeepOnlyFlags(block, kSaveFlag);
    settings->SaveToRegistry();
    for (const PersistedSetting& other : kPersisted) {
        std::uint32_t value = 0;
        EXPECT_EQ(IsSame(other, s), m_key.GetDword(other.name, &value)) << ::testing::PrintToString(other);
        if (IsSame(other, s)) {
            EXPECT_EQ(Value(block, s), value);
        }
    }
}

// Loading reads this setting, within its range, exactly when its own flags
// byte says so, and stores it at its offset.
TEST_P(PersistedSettingTest, LoadFollowsItsOwnFlagsByte) {
    const PersistedSetting& s = GetParam();
    auto settings = Open(Model::Zorvel, m_id);
    RawBlock block(m_id);
    ASSERT_TRUE(block.Mapped());
    DWORD before[std::size(kPersisted)];
    for (std::size_t i = 0; i < std::size(kPersisted); ++i) {
        before[i] = Value(block, kPersisted[i]);
        ASSERT_TRUE(m_key.SetDword(kPersisted[i].name, kPersisted[i].probe));
    }
    KeepOnlyFlags(block, kLoadFlag);
    settings->LoadFromRegistry();
    for (std::size_t i = 0; i < std::size(kPersisted); ++i) {
        const PersistedSetting& other = kPersisted[i];
        EXPECT_EQ(IsSame(other, s) ? other.probe : before[i], Value(block, other)) << ::testing::PrintToString(other);
    }
}

// Registry reads and writes in the order they are made.
class RecordingSettings : public CZorvelGlobalData {
public:
    DWORD ReadRegistryDword(const wchar_t* name, DWORD minimum, DWORD maximum, DWORD fallback) const override {
        reads.emplace_back(name);
        return CZorvelGlobalData::ReadRegistryDword(name, minimum, maximum, fallback);
    }
    LONG WriteRegistryDword(const wchar_t* name, DWORD value) override {
        writes.emplace_back(name);
        return CZorvelGlobalData::WriteRegistryDword(name, value);
    }
    mutable std::vector<std::wstring> reads;
    std::vector<std::wstring> writes;
};

TEST(SettingOrderTest, LoadAndSaveKeepTheirFixedOrder) {
    const std::vector<std::wstring> expected = {
        L"AmplitudeBasedForce", L"AmplitudeBasedForceThreshold", L"DamperStrength", L"PersistentCenteringSpring",
        L"CenteringSpring",     L"DeltaSpringAdjustDown",        L"DeltaSpringXAdjust", L"DeltaSpringYAdjust",
        L"FlipDeltaSpringToY",  L"ForceEnabled",                 L"OverallStrength",    L"SpringStrength",
        L"CSminK",              L"CSdefaultK",                   L"CSmaxK",             L"CSminClip",
        L"CSdefaultClip",       L"CSmaxClip"};
    const DWORD id = UniqueDeviceId();
    DeviceKey key(id);
    RecordingSettings settings;
    settings.Initialize(id);
    // Mark for saving what the pad's defaults leave unsaved.
    settings.SetPersistentCenteringSpring(0, /*save=*/1, /*load=*/0);
    settings.SetCenteringSpring(10000, 1, 0);
    settings.SetCSValues(0, 4, 7, 0, 100, 150, 1, 0);
    settings.SaveToRegistry();
    EXPECT_EQ(expected, settings.writes);
    settings.LoadFromRegistry();
    EXPECT_EQ(expected, settings.reads);
}

INSTANTIATE_TEST_SUITE_P(Record, PersistedSettingTest, ::testing::ValuesIn(kPersisted),
                         [](const auto& info) { return ::testing::PrintToString(info.param); });

}  // namespace
