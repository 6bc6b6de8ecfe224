#include <gtest/gtest.h>

#include <ostream>

#include <memory>
#include <string>
#include <vector>

#include "force_feedback/legacy/settings/model_global_data.h"
#include "force_feedback/legacy/settings/settings_test_support.h"

namespace {

using settings_test::DeviceKey;
using settings_test::RawBlock;
using settings_test::UniqueDeviceId;
namespace reg = platform::reg;

class RegistryTest : public ::testing::Test {
protected:
    std::unique_ptr<CGlobalData> Open(Model model) {
        auto settings = CreateModelGlobalData(model);
        settings->Initialize(m_id);
        return settings;
    }

    const DWORD m_id = UniqueDeviceId();
    DeviceKey m_key{m_id};
};

// ---- one DWORD setting at a time --------------------------------------------

struct LoadCase {
    const char* name;
    const wchar_t* value;
    DWORD stored;
    DWORD expected;
};

// Names the case in test listings instead of dumping its bytes.
void PrintTo(const LoadCase& c, std::ostream* os) { *os << c.name; }

DWORD Current(const CGlobalData& s, const std::wstring& name) {
    if (name == L"AmplitudeBasedForce") return s.GetAmplitudeBasedForce();
    if (name == L"AmplitudeBasedForceThreshold") return s.GetAmplitudeBasedForceThreshold();
    if (name == L"DamperStrength") return s.GetDamperStrength();
    if (name == L"PersistentCenteringSpring") return s.GetPersistentCenteringSpring();
    if (name == L"CenteringSpring") return s.GetCenteringSpring();
    if (name == L"DeltaSpringAdjustDown") return s.GetDeltaSpringAdjustDown();
    if (name == L"DeltaSpringXAdjust") return s.GetDeltaSpringXAdjust();
    if (name == L"DeltaSpringYAdjust") return s.GetDeltaSpringYAdjust();
    if (name == L"FlipDeltaSpringToY") return s.GetFlipDeltaSpringToY();
    if (name == L"ForceEnabled") return s.GetForceEnabled();
    if (name == L"OverallStrength") return s.GetOverallStrength();
    if (name == L"SpringStrength") return s.GetSpringStrength();
    ADD_FAILURE() << "no getter for this name";
    return 0;
}

// Defaults: 0 for the switches and adjusts, 6320 threshold, 10000 strengths
// and 1 for ForceEnabled (Persistent... 0). Out of range keeps them.
const LoadCase kLoadCases[] = {
    {"SpringAtTop", L"SpringStrength", 15000, 15000},
    {"SpringAboveTop", L"SpringStrength", 15001, 10000},
    {"SpringZero", L"SpringStrength", 0, 0},
    {"OverallInRange", L"OverallStrength", 7500, 7500},
    {"OverallHuge", L"OverallStrength", 0xFFFFFFFF, 10000},
    {"DamperAtTop", L"DamperStrength", 15000, 15000},
    {"CenteringAboveTop", L"CenteringSpring", 15001, 10000},
    {"ThresholdAtTop", L"AmplitudeBasedForceThreshold", 10000, 10000},
    {"ThresholdAboveTop", L"AmplitudeBasedForceThreshold", 10001, 6320},
    {"SwitchOn", L"AmplitudeBasedForce", 1, 1},
    {"SwitchTwo", L"AmplitudeBasedForce", 2, 0},
    {"PersistentOn", L"PersistentCenteringSpring", 1, 1},
    {"ForceOff", L"ForceEnabled", 0, 0},
    {"ForceTwo", L"ForceEnabled", 2, 1},
    {"FlipOn", L"FlipDeltaSpringToY", 1, 1},
    {"AdjustDownTwo", L"DeltaSpringAdjustDown", 2, 0},
    {"DeltaXAtTop", L"DeltaSpringXAdjust", 255, 255},
    {"DeltaXAboveByte", L"DeltaSpringXAdjust", 256, 0},
    {"DeltaYInRange", L"DeltaSpringYAdjust", 17, 17},
};

class DwordLoadTest : public RegistryTest, public ::testing::WithParamInterface<LoadCase> {};

TEST_P(DwordLoadTest, InRangeIsTakenOtherwiseCurrentStays) {
    const LoadCase& c = GetParam();
    // Zorvel marks every one of these for loading.
    auto settings = Open(Model::Zorvel);
    ASSERT_TRUE(m_key.SetDword(c.value, c.stored));
    settings->LoadFromRegistry();
    EXPECT_EQ(Current(*settings, c.value), c.expected);
}

INSTANTIATE_TEST_SUITE_P(Ranges, DwordLoadTest, ::testing::ValuesIn(kLoadCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(RegistryTest, LoadedStrengthsRecomputeGainsAndCurve) {
    auto settings = Open(Model::Corrin);
    m_key.SetDword(L"OverallStrength", 15000);
    m_key.SetDword(L"SpringStrength", 5000);
    settings->LoadFromRegistry();
    EXPECT_EQ(settings->GetCombinedGain(), 15000u);
    EXPECT_EQ(settings->GetEffectiveSpringGain(), 7500u);
    EXPECT_EQ(settings->GetEffectiveDamperGain(), 15000u);
    EXPECT_EQ(settings->CurveLookup(1), 38);
}

// ---- malformed values ---------------------------------------------------------

// Four bytes of any type read as a number: the text "1" is 31 00 00 00.
TEST_F(RegistryTest, TypeIsNotExamined) {
    auto settings = Open(Model::Corrin);
    m_key.SetText(L"SpringStrength", L"1");
    m_key.SetText(L"ForceEnabled", L"1");
    settings->LoadFromRegistry();
    EXPECT_EQ(settings->GetSpringStrength(), 49u);
    EXPECT_EQ(settings->GetForceEnabled(), 1u);  // 49 is out of its range
}

// Values the registry holds but the settings cannot use: each reads as if
// it were missing (the current value stays) and leaves a trace line saying
// what was wrong. On Windows the registry itself can hold all of these.
struct UnusableCase {
    const char* name;
    std::uint32_t type;
    std::vector<unsigned char> bytes;
    const wchar_t* problem;
};

void PrintTo(const UnusableCase& c, std::ostream* os) { *os << c.name; }

const UnusableCase kUnusableCases[] = {
    {"NoBytes", reg::kDword, {}, L"0 bytes, not 4"},
    {"TwoBytes", reg::kDword, {0x01, 0x00}, L"2 bytes, not 4"},
    {"EightBytes", reg::kBinary, {0x01, 0, 0, 0, 0, 0, 0, 0}, L"larger than 4 bytes"},
    {"BeyondTheQueryBuffer", reg::kBinary, std::vector<unsigned char>(5000, 0x01), L"larger than 4 bytes"},
    // Four bytes of text read as a number (49), out of range for the switch.
    {"TextOne", reg::kSz, {'1', 0, 0, 0}, L"type 1, not REG_DWORD"},
};

class UnusableValueTest : public RegistryTest, public ::testing::WithParamInterface<UnusableCase> {};

TEST_P(UnusableValueTest, KeepsTheCurrentValueAndTracesWhy) {
    const UnusableCase& c = GetParam();
    auto settings = Open(Model::Zorvel);
    settings->SetForceEnabled(0, 0, 1);
    ASSERT_TRUE(m_key.Set(L"ForceEnabled", c.type, c.bytes.data(), static_cast<std::uint32_t>(c.bytes.size())));
    settings_test::TraceLines trace;
    settings->LoadFromRegistry();
    EXPECT_EQ(settings->GetForceEnabled(), 0u);
    const auto lines = trace.Lines();
    ASSERT_EQ(lines.size(), 1u) << "only the unusable value is traced";
    EXPECT_NE(lines[0].find(L": ForceEnabled: "), std::wstring::npos) << std::string(lines[0].begin(), lines[0].end());
    EXPECT_NE(lines[0].find(c.problem), std::wstring::npos) << std::string(lines[0].begin(), lines[0].end());
}

INSTANTIATE_TEST_SUITE_P(Kinds, UnusableValueTest, ::testing::ValuesIn(kUnusableCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(RegistryTest, MissingKeyKeepsEverything) {
    auto settings = Open(Model::Ravik);
    settings->SetSpringStrength(1234, 0, 1);
    settings->LoadFromRegistry();
    EXPECT_EQ(settings->GetSpringStrength(), 1234u);
    EXPECT_EQ(settings->ReadRegistryDword(L"Anything", 0, 100, 42), 42u);
}

// ---- the CS chain ----------------------------------------------------------------

struct ChainCase {
    const char* name;
    // Registry values, -1 for none: minK, defaultK, maxK, minClip, defaultClip, maxClip.
    long long registry[6];
    BYTE expected[6];
};

// Names the case in test listings instead of dumping its bytes.
void PrintTo(const ChainCase& c, std::ostream* os) { *os << c.name; }

// Dastrin's own range is K 0, 3, 7 and Clip 0, 90, 120.
const ChainCase kChainCases[] = {
    {"NothingStored", {-1, -1, -1, -1, -1, -1}, {0, 3, 7, 0, 90, 120}},
    {"AllInRange", {1, 2, 6, 10, 50, 100}, {1, 2, 6, 10, 50, 100}},
    {"MaximaAtModelLimit", {0, 7, 7, 0, 120, 120}, {0, 7, 7, 0, 120, 120}},
    {"MaxAboveModelLimitIgnored", {-1, -1, 8, -1, -1, 121}, {0, 3, 7, 0, 90, 120}},
    {"DefaultBelowNewMinIgnored", {2, 1, -1, 60, 59, -1}, {2, 3, 7, 60, 90, 120}},
    {"MaxBelowNewDefaultIgnored", {-1, 5, 4, -1, 100, 99}, {0, 5, 7, 0, 100, 120}},
    {"MinAboveModelMaxIgnored", {8, -1, -1, 121, -1, -1}, {0, 3, 7, 0, 90, 120}},
    // A kept default may end up below the new minimum. intentional, keep
    {"KeptDefaultBelowNewMin", {5, -1, -1, 100, -1, -1}, {5, 3, 7, 100, 90, 120}},
};

class CSChainTest : public RegistryTest, public ::testing::WithParamInterface<ChainCase> {};

TEST_P(CSChainTest, EachBoundComesFromTheValueJustRead) {
    static const wchar_t* kNames[6] = {L"CSminK", L"CSdefaultK", L"CSmaxK", L"CSminClip", L"CSdefaultClip", L"CSmaxClip"};
    const ChainCase& c = GetParam();
    auto settings = Open(Model::Dastrin);
    for (int i = 0; i < 6; ++i) {
        if (c.registry[i] >= 0) {
            ASSERT_TRUE(m_key.SetDword(kNames[i], static_cast<std::uint32_t>(c.registry[i])));
        }
    }
    settings->LoadFromRegistry();
    BYTE cs[6] = {};
    settings->GetCSValues(&cs[0], &cs[1], &cs[2], &cs[3], &cs[4], &cs[5]);
    for (int i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(cs[i], c.expected[i]);
    }
}

INSTANTIATE_TEST_SUITE_P(Chain, CSChainTest, ::testing::ValuesIn(kChainCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- saving --------------------------------------------------------------------

TEST_F(RegistryTest, SaveWritesOnlySettingsMarkedForSaving) {
    auto settings = Open(Model::Quintar);
    settings->SetOverallStrength(12000, 0, 0);
    settings->SetAmplitudeBasedForceThreshold(5000, 0, 1);
    settings->SaveToRegistry();
    std::uint32_t value = 0;
    EXPECT_TRUE(m_key.GetDword(L"OverallStrength", &value));
    EXPECT_EQ(value, 12000u);
    EXPECT_TRUE(m_key.GetDword(L"CenteringSpring", &value));
    EXPECT_EQ(value, 10000u);
    EXPECT_TRUE(m_key.GetDword(L"PersistentCenteringSpring", &value));
    EXPECT_EQ(value, 0u);
    // Wheels do not save the rumble settings, the CS range or derived gains.
    EXPECT_FALSE(m_key.GetDword(L"AmplitudeBasedForceThreshold", &value));
    EXPECT_FALSE(m_key.GetDword(L"CSdefaultK", &value));
    EXPECT_FALSE(m_key.GetDword(L"CSmaxClip", &value));
}

TEST_F(RegistryTest, SaveThenLoadRoundTrips) {
    {
        auto writer = Open(Model::Lumisk);
        writer->SetOverallStrength(14000, 0, 0);
        writer->SetSpringStrength(2500, 0, 0);
        writer->SetDamperStrength(0, 0, 0);
        writer->SetAmplitudeBasedForce(1, 0, 0);
        writer->SetAmplitudeBasedForceThreshold(4000, 0, 0);
        writer->SetDeltaSpringXAdjust(200, 0, 0);
        writer->SetDeltaSpringYAdjust(7, 0, 0);
        writer->SetFlipDeltaSpringToY(1, 0, 0);
        writer->SetCSValues(1, 2, 3, 4, 5, 6, 1, 0);
        writer->SaveToRegistry();
    }
    auto reader = Open(Model::Lumisk);  // a fresh block with defaults
    ASSERT_EQ(reader->GetOverallStrength(), 10000u);
    reader->LoadFromRegistry();
    EXPECT_EQ(reader->GetOverallStrength(), 14000u);
    EXPECT_EQ(reader->GetSpringStrength(), 2500u);
    EXPECT_EQ(reader->GetDamperStrength(), 0u);
    EXPECT_EQ(reader->GetAmplitudeBasedForce(), 1u);
    EXPECT_EQ(reader->GetAmplitudeBasedForceThreshold(), 4000u);
    EXPECT_EQ(reader->GetDeltaSpringXAdjust(), 200);
    EXPECT_EQ(reader->GetDeltaSpringYAdjust(), 7);
    EXPECT_EQ(reader->GetFlipDeltaSpringToY(), 1u);
    EXPECT_EQ(reader->GetEffectiveSpringGain(), 3500u);
    // The saved CS values lie inside the pad's 0, 4, 7 / 0, 100, 150.
    BYTE cs[6] = {};
    reader->GetCSValues(&cs[0], &cs[1], &cs[2], &cs[3], &cs[4], &cs[5]);
    const BYTE expected[6] = {1, 2, 3, 4, 5, 6};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(cs[i], expected[i]) << i;
}

// ---- floating-point values ---------------------------------------------------------

struct FloatCase {
    const char* name;
    const wchar_t* text;
    double expected;  // with range [-10, 10] and fall-back 99
};

// Names the case in test listings instead of dumping its bytes.
void PrintTo(const FloatCase& c, std::ostream* os) { *os << c.name; }

const FloatCase kFloatCases[] = {
    {"Plain", L"1.5", 1.5},
    {"Negative", L"-2.25", -2.25},
    {"Exponent", L"2.5e-1", 0.25},
    {"SurroundingBlanks", L"  3 ", 3.0},
    {"LeadingPlus", L"+4", 4.0},
    {"TrailingGarbage", L"1.5abc", 99},
    {"TwoNumbers", L"1 2", 99},
    {"Empty", L"", 99},
    {"Comma", L"1,5", 99},
    {"OutOfRange", L"10.5", 99},
    {"NotANumber", L"nan", 99},
    {"Infinity", L"inf", 99},
    {"NonAscii", L"1\u00B75", 99},
};

class FloatReadTest : public RegistryTest, public ::testing::WithParamInterface<FloatCase> {};

TEST_P(FloatReadTest, TextIsOneDecimalNumberInRange) {
    auto settings = Open(Model::Tollund);
    ASSERT_TRUE(m_key.SetText(L"Curve", GetParam().text));
    EXPECT_EQ(settings->ReadRegistryFloat(L"Curve", -10, 10, 99), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Formats, FloatReadTest, ::testing::ValuesIn(kFloatCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(RegistryTest, FloatRoundTripsAndRefusesOtherTypes) {
    auto settings = Open(Model::Tollund);
    settings_test::TraceLines trace;
    EXPECT_EQ(settings->WriteRegistryFloat(L"Exact", 0.1), reg::kSuccess);
    EXPECT_EQ(settings->ReadRegistryFloat(L"Exact", 0, 1, 99), 0.1);
    EXPECT_EQ(settings->ReadRegistryFloat(L"Missing", 0, 1, 99), 99);
    EXPECT_TRUE(trace.Lines().empty());
    m_key.SetDword(L"Dword", 1);
    EXPECT_EQ(settings->ReadRegistryFloat(L"Dword", 0, 10, 99), 99);
    EXPECT_EQ(trace.Count(L": Dword: type 4, not REG_SZ; using 99"), 1u);
    const std::wstring longText(300, L'1');
    m_key.SetText(L"Long", longText);
    EXPECT_EQ(settings->ReadRegistryFloat(L"Long", 0, 1e300, 99), 99);
    EXPECT_EQ(trace.Count(L": Long: larger than 520 bytes"), 1u);
    m_key.SetText(L"Word", L"one");
    EXPECT_EQ(settings->ReadRegistryFloat(L"Word", 0, 10, 99), 99);
    EXPECT_EQ(trace.Count(L": Word: not a number"), 1u);
}

}  // namespace
