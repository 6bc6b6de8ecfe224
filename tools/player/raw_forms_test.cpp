// The raw forms: what a friendly form refuses, a raw form plays with a
// warning; a raw value that is not a value is still an error.
#include "tools/player/raw_forms.h"

#include <gtest/gtest.h>

#include "tools/player/scenario.h"

namespace ffplay {
namespace {

struct RawCase {
    const char* name;
    const char* statement;
    int warnings;
    const char* error;  // empty: parses
};

const RawCase kRawCases[] = {
    {"MagnitudeAboveNominal", "download a constant raw-magnitude=12000", 1, ""},
    {"FriendlyMagnitudeStillRefused", "download a constant magnitude=12000", 0, "out of range (-10000 to 10000)"},
    {"NegativeHexAndDecimal", "download a ramp raw-start=-20000 raw-end=0x10", 1, ""},
    {"ThreeAxesSpherical", "download a constant raw-dieff=0x41 raw-axis-count=3 raw-axes=0x2,0x102,0x202 "
                           "raw-direction=9000,4500,0 raw-flags=0x60", 0, ""},
    {"ConditionPerAxisAnyCount", "download a spring raw-condition=0,1,1,1,1,0 raw-condition=0,2,2,2,2,0 "
                                 "raw-condition=0,3,3,3,3,0 raw-flags=0x100", 0, ""},
    {"SaturationAboveNominal", "download a damper raw-condition=0,1,1,20000,1,0 raw-flags=0x100", 1, ""},
    {"CustomNullSamples", "download a custom raw-channels=1 raw-custom-period=1000 raw-samples=null:5 raw-flags=0x100", 0, ""},
    {"WholeBlockAsBytes", "download a sine raw-block=0102030405 raw-flags=0x100", 0, ""},
    {"BlockNotHex", "download a sine raw-block=0102zz", 0, "not hex bytes"},
    {"ValueTooWide", "download a constant raw-gain=0x100000000", 0, "not a 32-bit value"},
    {"KeyOfAnotherType", "download a constant raw-period=5", 0, "unknown raw parameter 'raw-period' for a constant"},
    {"GainAboveNominal", "gain raw=30000", 1, ""},
    {"RawCommand", "command 0x7F", 0, ""},
    {"EscapeWithBuffers", "escape raw command=2 effect=0 in=0C00000001000000 out=4", 0, ""},
    {"EscapeWithoutCommand", "escape raw in=none out=0", 0, "usage: escape raw"},
    {"HandleNeverDownloaded", "stop handle:17", 0, ""},
    {"StartWithRawModeAndCount", "start handle:3 raw-mode=0x1 raw-count=0xFFFFFFFF", 0, ""},
    {"InputReport", "input raw=00FF01000200000000", 0, ""},
    {"InputReportEmpty", "input raw=none", 0, ""},
    {"InputReportOddDigits", "input raw=00F", 0, "input raw: '00F' is not hex bytes"},
    {"InputWithoutRaw", "input 00FF", 0, "usage: input raw=HEX|none"},
    {"InputHasNoResult", "input raw=00 expect S_OK", 0, "no result to expect"},
};

class RawFormTest : public testing::TestWithParam<RawCase> {};

TEST_P(RawFormTest, ParsesWithWarningsOrFailsWithTheReason) {
    const RawCase& c = GetParam();
    const ParseResult r = ParseScenario(std::string("device Dastrin\n") + c.statement + "\n", "raw.ffs");
    if (*c.error) {
        ASSERT_EQ(r.errors.size(), 1u);
        EXPECT_NE(r.errors[0].message.find(c.error), std::string::npos) << r.errors[0].message;
        EXPECT_EQ(r.errors[0].line, 2);
        return;
    }
    ASSERT_TRUE(r.Ok()) << r.errors[0].Format();
    EXPECT_EQ(static_cast<int>(r.warnings.size()), c.warnings)
        << (r.warnings.empty() ? "" : r.warnings[0].Format());
}

INSTANTIATE_TEST_SUITE_P(Cases, RawFormTest, testing::ValuesIn(kRawCases),
                         [](const testing::TestParamInfo<RawCase>& info) { return info.param.name; });

// The DIEFFECT a raw download hands over is exactly what was written.
TEST(RawDieffectTest, RawFieldsReachTheDieffectUnchanged) {
    const ParseResult r = ParseScenario(
        "device Dastrin\n"
        "download a sine raw-flags=0x2000037F raw-size=52 raw-dieff=0x41 raw-duration=1500 raw-sample=7 "
        "raw-gain=10001 raw-trigger=0x304 raw-repeat=9 raw-delay=11 raw-axis-count=3 raw-axes=0x2,0x102 "
        "raw-direction=1,2,3 raw-envelope=1,2,3,4 raw-magnitude=5 raw-offset=-6 raw-phase=7 raw-period=333\n",
        "raw.ffs");
    ASSERT_TRUE(r.Ok()) << r.errors[0].Format();
    const Step& step = r.scenario.steps[0];
    EXPECT_EQ(step.paramFlags, 0x2000037Fu);
    DIENVELOPE envelope{sizeof(DIENVELOPE), 0, 0, 0, 0};
    DIEFFECT e{};
    e.cAxes = 2;
    DWORD axes[2] = {};
    LONG directions[2] = {};
    DIPERIODIC periodic{5, static_cast<LONG>(-6), 7, 333000};
    e.rgdwAxes = axes;
    e.rglDirection = directions;
    e.lpEnvelope = &envelope;
    e.lpvTypeSpecificParams = &periodic;
    e.cbTypeSpecificParams = sizeof periodic;
    RawStorage storage;
    ApplyRawEffect(step.desc, &e, &storage);
    EXPECT_EQ(e.dwSize, 52u);
    EXPECT_EQ(e.dwFlags, 0x41u);
    EXPECT_EQ(e.dwDuration, 1500u);
    EXPECT_EQ(e.dwSamplePeriod, 7u);
    EXPECT_EQ(e.dwGain, 10001u);
    EXPECT_EQ(e.dwTriggerButton, 0x304u);
    EXPECT_EQ(e.dwTriggerRepeatInterval, 9u);
    EXPECT_EQ(e.dwStartDelay, 11u);
    ASSERT_EQ(e.cAxes, 3u);
    EXPECT_EQ(e.rgdwAxes[1], 0x102u);
    EXPECT_EQ(e.rgdwAxes[2], 0u) << "an axis list shorter than the count is padded, never read past";
    EXPECT_EQ(e.rglDirection[2], 3);
    EXPECT_EQ(envelope.dwAttackTime, 2u) << "raw envelope times are microseconds already";
    EXPECT_EQ(envelope.dwFadeTime, 4u);
    EXPECT_EQ(periodic.dwPeriod, 333u) << "raw period in microseconds";
}

}  // namespace
}  // namespace ffplay
