#include "force_feedback/legacy/settings/global_data.h"

#include <gtest/gtest.h>

#include <ostream>

#include <memory>
#include <string>

#include "force_feedback/legacy/settings/model_global_data.h"
#include "force_feedback/legacy/settings/settings_test_support.h"

namespace {

using settings_test::DeviceKey;
using settings_test::RawBlock;
using settings_test::UniqueDeviceId;

// Record offsets, written out from the record layout.
constexpr std::size_t kStamp = 0, kCurve = 4, kKnee = 516, kOverall = 520, kOverallFlags = 524;
constexpr std::size_t kAppGain = 528, kCombined = 532, kSpring = 536, kSpringFlags = 540;
constexpr std::size_t kEffSpring = 544, kEffSpringFlags = 548, kDamper = 552, kDamperFlags = 556;
constexpr std::size_t kEffDamper = 560, kEffDamperFlags = 564, kCentering = 568, kCenteringFlags = 572;
constexpr std::size_t kPersistent = 576, kPersistentFlags = 580, kForceEnabled = 584, kForceEnabledFlags = 588;
constexpr std::size_t kPercentage = 592, kPercentageFlags = 596, kAbf = 600, kAbfFlags = 604;
constexpr std::size_t kAbfThreshold = 608, kAbfThresholdFlags = 612, kDeltaX = 613, kDeltaXFlags = 614;
constexpr std::size_t kDeltaY = 615, kDeltaYFlags = 616, kDeltaDown = 620, kDeltaDownFlags = 624;
constexpr std::size_t kFlip = 628, kFlipFlags = 632, kCS = 633, kCSFlags = 639;
constexpr std::size_t kReportId = 640, kRangeLower = 641, kRangeUpper = 642;

constexpr unsigned char kLoadOnly = 2, kSaveAndLoad = 3;

std::size_t CurveEntry(int i) { return kCurve + 4 * static_cast<std::size_t>(i); }

// A fresh device ID per test, its registry key removed afterwards.
class GlobalDataTest : public ::testing::Test {
protected:
    std::unique_ptr<CGlobalData> Open(Model model) {
        auto settings = CreateModelGlobalData(model);
        settings->Initialize(m_id);
        return settings;
    }
    void TearDown() override { platform::shm::InjectFaultForTesting(platform::shm::Fault::kNone); }

    const DWORD m_id = UniqueDeviceId();
    DeviceKey m_key{m_id};
};

// ---- model defaults ----------------------------------------------------

struct ModelCase {
    Model model;
    DWORD knee;
    unsigned char cs[6];
    unsigned char reportId, lower, upper;
    bool rumble;
    // Curve entries 1 and 64 at combined gain 10000 for this knee.
    int entry1, entry64;
};

// Names the case in test listings instead of dumping its bytes.
void PrintTo(const ModelCase& c, std::ostream* os) { *os << Product(c.model).codename; }

const ModelCase kModelCases[] = {
    {Model::Quintar, 9500, {0, 12, 15, 0, 128, 255}, 0, 0, 255, false, 3, 74},
    {Model::Pelvar, 9500, {0, 12, 15, 0, 128, 255}, 0, 0, 255, false, 3, 74},
    {Model::Dastrin, 9000, {0, 3, 7, 0, 90, 120}, 0, 0, 255, false, 5, 80},
    {Model::Drovik, 9500, {0, 11, 15, 0, 204, 255}, 0, 0, 255, false, 3, 74},
    {Model::Ravik, 9000, {0, 3, 7, 0, 90, 120}, 0, 8, 246, false, 5, 80},
    {Model::Corrin, 10000, {0, 6, 15, 0, 180, 255}, 0, 0, 255, false, 1, 64},
    {Model::Wendlow, 10000, {0, 6, 15, 0, 180, 255}, 0, 0, 255, false, 1, 64},
    {Model::Prazen, 10000, {0, 6, 15, 0, 180, 255}, 0, 0, 255, false, 1, 64},
    {Model::Ferolla, 9000, {0, 10, 15, 0, 100, 255}, 0, 0, 255, false, 5, 80},
    {Model::Oskra, 9000, {0, 4, 5, 0, 100, 101}, 0, 0, 255, false, 5, 80},
    {Model::Tavrin, 10000, {0, 11, 15, 0, 217, 255}, 0, 0, 255, false, 1, 64},
    {Model::Karvona, 10000, {0, 6, 15, 0, 180, 255}, 2, 0, 255, false, 1, 64},
    {Model::Zorvel, 10000, {0, 4, 7, 0, 100, 150}, 0, 0, 255, true, 1, 64},
    {Model::Brennick, 10000, {0, 4, 7, 0, 100, 150}, 0, 0, 255, true, 1, 64},
    {Model::Tollund, 10000, {0, 4, 7, 0, 100, 150}, 0, 0, 255, true, 1, 64},
    {Model::Vesk, 10000, {0, 4, 7, 0, 100, 150}, 3, 0, 255, true, 1, 64},
    {Model::Lumisk, 10000, {0, 4, 7, 0, 100, 150}, 3, 0, 255, true, 1, 64},
};

class ModelDefaultsTest : public GlobalDataTest, public ::testing::WithParamInterface<ModelCase> {};

TEST_P(ModelDefaultsTest, FirstHolderWritesTheModelRecord) {
    const ModelCase& c = GetParam();
    auto settings = Open(c.model);
    RawBlock raw(m_id);
    ASSERT_TRUE(raw.Existed());
    ASSERT_TRUE(raw.Mapped());

    EXPECT_EQ(raw.U32(kStamp), 0u);
    EXPECT_EQ(raw.U32(kKnee), c.knee);
    for (std::size_t offset : {kOverall, kAppGain, kCombined, kSpring, kEffSpring, kDamper, kEffDamper, kCentering}) {
        SCOPED_TRACE(offset);
        EXPECT_EQ(raw.U32(offset), 10000u);
    }
    EXPECT_EQ(raw.U32(kPersistent), 0u);
    EXPECT_EQ(raw.U32(kForceEnabled), 1u);
    EXPECT_EQ(raw.U32(kPercentage), 100u);
    EXPECT_EQ(raw.U32(kAbf), 0u);
    EXPECT_EQ(raw.U32(kAbfThreshold), 6320u);
    EXPECT_EQ(raw.U8(kDeltaX), 0);
    EXPECT_EQ(raw.U8(kDeltaY), 0);
    EXPECT_EQ(raw.U32(kDeltaDown), 0u);
    EXPECT_EQ(raw.U32(kFlip), 0u);
    for (int i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(raw.U8(kCS + i), c.cs[i]);
    }
    EXPECT_EQ(raw.U8(kReportId), c.reportId);
    EXPECT_EQ(raw.U8(kRangeLower), c.lower);
    EXPECT_EQ(raw.U8(kRangeUpper), c.upper);
    EXPECT_EQ(raw.I32(CurveEntry(0)), 0);
    EXPECT_EQ(raw.I32(CurveEntry(1)), c.entry1);
    EXPECT_EQ(raw.I32(CurveEntry(64)), c.entry64);
    EXPECT_EQ(raw.I32(CurveEntry(127)), 127);
    EXPECT_EQ(settings->CurveLookup(-64), -c.entry64);
}

// Which settings each pattern marks for saving: pads save their rumble
// switches but not the centring spring, wheels and joysticks the reverse.
TEST_P(ModelDefaultsTest, FlagsFollowTheModelPattern) {
    const ModelCase& c = GetParam();
    auto settings = Open(c.model);
    RawBlock raw(m_id);
    ASSERT_TRUE(raw.Mapped());
    for (std::size_t flags : {kOverallFlags, kSpringFlags, kEffSpringFlags, kDamperFlags, kEffDamperFlags,
                              kForceEnabledFlags}) {
        SCOPED_TRACE(flags);
        EXPECT_EQ(raw.U8(flags), kSaveAndLoad);
    }
    const unsigned char rumbleSaved = c.rumble ? kSaveAndLoad : kLoadOnly;
    const unsigned char forceSaved = c.rumble ? kLoadOnly : kSaveAndLoad;
    for (std::size_t flags : {kAbfFlags, kAbfThresholdFlags, kDeltaXFlags, kDeltaYFlags, kDeltaDownFlags, kFlipFlags}) {
        SCOPED_TRACE(flags);
        EXPECT_EQ(raw.U8(flags), rumbleSaved);
    }
    EXPECT_EQ(raw.U8(kCenteringFlags), forceSaved);
    EXPECT_EQ(raw.U8(kPersistentFlags), forceSaved);
    EXPECT_EQ(raw.U8(kPercentageFlags), kLoadOnly);
    EXPECT_EQ(raw.U8(kCSFlags), kLoadOnly);
}

INSTANTIATE_TEST_SUITE_P(AllModels, ModelDefaultsTest, ::testing::ValuesIn(kModelCases),
                         [](const auto& info) { return std::string(Product(info.param.model).codename); });

// ---- response curve ------------------------------------------------------

struct CurveCase {
    const char* name;
    DWORD applicationGain, overallStrength, knee;
    int entry1, entry2, entry64, entry126;
};

// Names the case in test listings instead of dumping its bytes.
void PrintTo(const CurveCase& c, std::ostream* os) { *os << c.name; }

// Entries worked out as truncate(pow(i / 127, p) * 127 + 0.5) with
// p = 1 / (1 + 3 (c - k) / (15000 - k)) above the knee, 1 below it.
const CurveCase kCurveCases[] = {
    {"FullBoostAtKnee10000", 10000, 15000, 10000, 38, 45, 107, 127},
    {"FullBoostAtKnee9000", 10000, 15000, 9000, 38, 45, 107, 127},
    {"HalfwayAboveKnee", 10000, 12500, 10000, 18, 24, 97, 127},
    {"GainBuiltFromBothHalves", 11000, 10000, 10000, 6, 9, 83, 126},
    {"ExactlyAtKneeIsIdentity", 10000, 9500, 9500, 1, 2, 64, 126},
    {"BelowKneeIsIdentity", 5000, 10000, 9000, 1, 2, 64, 126},
    {"ZeroGainIsIdentity", 0, 10000, 10000, 1, 2, 64, 126},
    {"KneeAtFullBoostStaysIdentity", 10000, 15000, 15000, 1, 2, 64, 126},
};

class CurveTest : public GlobalDataTest, public ::testing::WithParamInterface<CurveCase> {};

TEST_P(CurveTest, EntriesAndOddSymmetricLookup) {
    const CurveCase& c = GetParam();
    auto settings = Open(Model::Corrin);
    settings->SetCurveKnee(c.knee);
    settings->SetApplicationGain(c.applicationGain);
    settings->SetOverallStrength(c.overallStrength, 0, 1);
    ASSERT_EQ(settings->RebuildCurve(), S_OK);
    const int expected[][2] = {{0, 0}, {1, c.entry1}, {2, c.entry2}, {64, c.entry64}, {126, c.entry126}, {127, 127}};
    RawBlock raw(m_id);
    for (const auto& [index, entry] : expected) {
        SCOPED_TRACE(index);
        EXPECT_EQ(raw.I32(CurveEntry(index)), entry);
        EXPECT_EQ(settings->CurveLookup(index), entry);
        EXPECT_EQ(settings->CurveLookup(-index), -entry);
    }
}

INSTANTIATE_TEST_SUITE_P(GainAndKnee, CurveTest, ::testing::ValuesIn(kCurveCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(GlobalDataTest, LookupBeyondTheTableReadsTheLastEntry) {
    auto settings = Open(Model::Corrin);
    settings->SetOverallStrength(15000, 0, 1);
    settings->RebuildCurve();
    EXPECT_EQ(settings->CurveLookup(500), 127);
    EXPECT_EQ(settings->CurveLookup(-2147483647 - 1), -127);
}

// ---- setters and derived values -----------------------------------------

TEST_F(GlobalDataTest, StrengthAndGainCombineThroughMulDiv) {
    auto settings = Open(Model::Dastrin);
    settings->SetApplicationGain(8000);
    settings->SetOverallStrength(12000, 0, 1);
    EXPECT_EQ(settings->GetCombinedGain(), 9600u);
    settings->SetApplicationGain(5000);
    EXPECT_EQ(settings->GetCombinedGain(), 6000u);
    settings->SetSpringStrength(5000, 0, 1);
    settings->SetDamperStrength(15000, 0, 1);
    // Strengths alone leave the effective gains until the derived update.
    EXPECT_EQ(settings->GetEffectiveSpringGain(), 10000u);
    settings->UpdateDerivedValues();
    EXPECT_EQ(settings->GetEffectiveSpringGain(), 3000u);
    EXPECT_EQ(settings->GetEffectiveDamperGain(), 9000u);
    EXPECT_EQ(*settings->GetEffectiveSpringGainAddress(), 3000u);
    EXPECT_EQ(*settings->GetCombinedGainAddress(), 6000u);
}

TEST_F(GlobalDataTest, FlagsAreOnlyEverOred) {
    auto settings = Open(Model::Corrin);
    RawBlock raw(m_id);
    // Defaults leave DeltaSpringXAdjust load-only.
    ASSERT_EQ(raw.U8(kDeltaXFlags), kLoadOnly);
    settings->SetDeltaSpringXAdjust(9, 1, 0);
    EXPECT_EQ(raw.U8(kDeltaXFlags), kSaveAndLoad);
    settings->SetDeltaSpringXAdjust(10, 0, 0);
    EXPECT_EQ(raw.U8(kDeltaXFlags), kSaveAndLoad);
    EXPECT_EQ(raw.U8(kDeltaX), 10);
    settings->SetDefaults();
    EXPECT_EQ(raw.U8(kDeltaXFlags), kSaveAndLoad);
}

TEST_F(GlobalDataTest, ChangeStampIsSharedAndClearedByDefaults) {
    auto first = Open(Model::Prazen);
    auto second = Open(Model::Prazen);
    first->SetChangeStamp(0xDEADBEEF);
    EXPECT_EQ(second->GetChangeStamp(), 0xDEADBEEFu);
    RawBlock raw(m_id);
    EXPECT_EQ(raw.U32(kStamp), 0xDEADBEEFu);
    second->SetDefaults();
    EXPECT_EQ(first->GetChangeStamp(), 0u);
}

TEST_F(GlobalDataTest, SecondHolderKeepsTheFirstHoldersValues) {
    auto first = Open(Model::Ravik);
    first->SetOverallStrength(4321, 0, 1);
    first->SetDeviceByteRange(20, 200);
    auto second = Open(Model::Ravik);
    EXPECT_EQ(second->GetOverallStrength(), 4321u);
    BYTE lower = 0, upper = 0;
    second->GetDeviceByteRange(&lower, &upper);
    EXPECT_EQ(lower, 20);
    EXPECT_EQ(upper, 200);
}

TEST_F(GlobalDataTest, BlockStartsAfreshOnceEveryHolderIsGone) {
    Open(Model::Ravik)->SetOverallStrength(4321, 0, 1);
    EXPECT_EQ(Open(Model::Ravik)->GetOverallStrength(), 10000u);
}

// ---- without a block ---------------------------------------------------

struct FaultCase {
    const char* name;
    platform::shm::Fault fault;
};

// Names the case in test listings instead of dumping its bytes.
void PrintTo(const FaultCase& c, std::ostream* os) { *os << c.name; }

class NoBlockTest : public GlobalDataTest, public ::testing::WithParamInterface<FaultCase> {};

TEST_P(NoBlockTest, GettersFallBackAndNothingIsStored) {
    platform::shm::InjectFaultForTesting(GetParam().fault);
    auto settings = Open(Model::Karvona);
    ASSERT_FALSE(settings->HasBlock());
    settings->SetOverallStrength(5, 1, 1);
    settings->SetForceEnabled(0, 1, 1);
    settings->SetReportId(9);

    EXPECT_EQ(settings->GetChangeStamp(), 0u);
    EXPECT_EQ(settings->GetCurveKnee(), 10000u);
    EXPECT_EQ(settings->GetOverallStrength(), 10000u);
    EXPECT_EQ(settings->GetApplicationGain(), 10000u);
    EXPECT_EQ(settings->GetCombinedGain(), 10000u);
    EXPECT_EQ(settings->GetSpringStrength(), 10000u);
    EXPECT_EQ(settings->GetEffectiveSpringGain(), 10000u);
    EXPECT_EQ(settings->GetDamperStrength(), 10000u);
    EXPECT_EQ(settings->GetEffectiveDamperGain(), 10000u);
    EXPECT_EQ(settings->GetCenteringSpring(), 10000u);
    EXPECT_EQ(settings->GetPersistentCenteringSpring(), 1u);
    EXPECT_EQ(settings->GetForceEnabled(), 1u);
    EXPECT_EQ(settings->GetPercentage(), 100u);
    EXPECT_EQ(settings->GetAmplitudeBasedForce(), 0u);
    EXPECT_EQ(settings->GetAmplitudeBasedForceThreshold(), 6320u);
    EXPECT_EQ(settings->GetDeltaSpringXAdjust(), 0);
    EXPECT_EQ(settings->GetDeltaSpringYAdjust(), 0);
    EXPECT_EQ(settings->GetDeltaSpringAdjustDown(), 0u);
    EXPECT_EQ(settings->GetFlipDeltaSpringToY(), 0u);
    BYTE cs[6] = {};
    settings->GetCSValues(&cs[0], &cs[1], &cs[2], &cs[3], &cs[4], &cs[5]);
    const BYTE expectedCS[6] = {0, 4, 7, 0, 100, 150};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(cs[i], expectedCS[i]) << i;
    EXPECT_EQ(settings->GetReportId(), 0);
    BYTE lower = 1, upper = 1;
    settings->GetDeviceByteRange(&lower, &upper);
    EXPECT_EQ(lower, 0);
    EXPECT_EQ(upper, 255);
    EXPECT_EQ(settings->GetCombinedGainAddress(), nullptr);
    EXPECT_EQ(settings->GetSpringStrengthAddress(), nullptr);
    EXPECT_EQ(settings->GetDamperStrengthAddress(), nullptr);
    EXPECT_EQ(settings->GetEffectiveDamperGainAddress(), nullptr);
    EXPECT_EQ(settings->RebuildCurve(), E_NOTIMPL);
    EXPECT_EQ(settings->CurveLookup(-100), -100);
    settings->SaveToRegistry();
    EXPECT_FALSE(m_key.Exists());
}

INSTANTIATE_TEST_SUITE_P(
    MappingRefused, NoBlockTest,
    ::testing::Values(FaultCase{"CreateFails", platform::shm::Fault::kCreate},
                      FaultCase{"MapFails", platform::shm::Fault::kMap}),
    [](const auto& info) { return std::string(info.param.name); });

// Something else holds the name with a block shorter than the record. Views
// come in units of the platform's granularity: when the unit covers the
// record, the whole record is addressable and used; when it does not, the
// settings must not touch the block at all.
TEST_F(GlobalDataTest, TooSmallExistingBlockIsNeverReachedPast) {
    constexpr std::uint32_t kForeignSize = 100;
    RawBlock foreign(m_id, kForeignSize);
    ASSERT_TRUE(foreign.Mapped());
    foreign.SetU8(kForeignSize - 1, 0x5A);
    auto settings = Open(Model::Quintar);
    const bool viewCoversRecord = platform::shm::ViewGranularity() >= CGlobalData::kRecordSize;
    EXPECT_EQ(settings->HasBlock(), viewCoversRecord);
    settings->SetOverallStrength(1234, 1, 1);
    EXPECT_EQ(settings->GetOverallStrength(), viewCoversRecord ? 1234u : 10000u);
    EXPECT_EQ(foreign.U8(kForeignSize - 1), 0x5A);  // an existing block gets no defaults
    RawBlock again(m_id, CGlobalData::kRecordSize);
    EXPECT_EQ(again.Size(), foreign.Size());
}

// ---- names ----------------------------------------------------------------

TEST_F(GlobalDataTest, RegistryKeyNamesVendorAndProductInHex) {
    CGlobalData settings;
    platform::shm::InjectFaultForTesting(platform::shm::Fault::kCreate);
    settings.Initialize(0xC7A5A10Bu);
    wchar_t path[CGlobalData::kRegistryKeyLength];
    ASSERT_TRUE(settings.FormatRegistryKey(path, std::size(path)));
    EXPECT_EQ(std::wstring(path), L"Software\\Corvanta\\Gearbench\\DriverSettings\\VID_C7A5&PID_A10B");
    wchar_t tooShort[20] = L"unchanged";
    EXPECT_FALSE(settings.FormatRegistryKey(tooShort, std::size(tooShort)));
    EXPECT_EQ(std::wstring(tooShort), L"");
}

TEST_F(GlobalDataTest, BlockIsNamedAfterTheDevice) {
    RawBlock raw(m_id);
    raw.SetU32(kOverall, 777);
    auto settings = Open(Model::Tavrin);
    EXPECT_EQ(settings->GetOverallStrength(), 777u);
}

}  // namespace
