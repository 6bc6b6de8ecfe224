#include "tools/player/scenario.h"

#include <gtest/gtest.h>

namespace ffplay {
namespace {

TEST(ScenarioParseTest, DownloadCarriesEveryFieldInDirectInputUnits) {
    const ParseResult r = ParseScenario(
        "# comment line\n"
        "device dastrin joystick 3\n"
        "download hit constant magnitude=-9000 direction=27000 duration=300 gain=8000 delay=20 trigger=2 repeat=150 "
        "envelope=10000,10,0,250 start\n"
        "wait 600   # trailing comment\n",
        "a.ffs");
    ASSERT_TRUE(r.Ok()) << r.errors[0].Format();
    EXPECT_EQ(r.scenario.model, Model::Dastrin);
    EXPECT_EQ(r.scenario.joystickId, 3u);
    ASSERT_EQ(r.scenario.steps.size(), 2u);
    const Step& d = r.scenario.steps[0];
    EXPECT_EQ(d.kind, StepKind::kDownload);
    EXPECT_EQ(d.line, 3);
    EXPECT_EQ(d.paramFlags, DIEP_ALLPARAMS | DIEP_START);
    EXPECT_EQ(d.desc.typeIndex, 0u);
    EXPECT_EQ(d.desc.constant.lMagnitude, -9000);
    EXPECT_EQ(d.desc.directionFlag, DIEFF_POLAR);
    EXPECT_EQ(d.desc.directions[0], 27000);
    EXPECT_EQ(d.desc.durationMs, 300u);
    EXPECT_EQ(d.desc.gain, 8000u);
    EXPECT_EQ(d.desc.startDelayMs, 20u);
    EXPECT_EQ(d.desc.triggerButton, 0x104u);  // push button, instance 1
    EXPECT_EQ(d.desc.triggerRepeatMs, 150u);
    ASSERT_TRUE(d.desc.hasEnvelope);
    EXPECT_EQ(d.desc.envelope.dwAttackLevel, 10000u);
    EXPECT_EQ(d.desc.envelope.dwFadeTime, 250u);
    EXPECT_EQ(r.scenario.TotalWaitMs(), 600u);
}

TEST(ScenarioParseTest, UpdateHandsOverOnlyTheChangedParameters) {
    const ParseResult r = ParseScenario(
        "device Quintar\n"
        "download w sine magnitude=5000 period=100\n"
        "update w magnitude=2000 duration=infinite\n",
        "u.ffs");
    ASSERT_TRUE(r.Ok());
    const Step& u = r.scenario.steps[1];
    EXPECT_EQ(u.paramFlags, DIEP_TYPESPECIFICPARAMS | DIEP_DURATION);
    EXPECT_EQ(u.desc.periodic.dwMagnitude, 2000u);
    EXPECT_EQ(u.desc.periodic.dwPeriod, 100u);  // kept from the download
    EXPECT_EQ(u.desc.durationMs, kInfiniteMs);
}

TEST(ScenarioParseTest, OneAxisEffectsUseACartesianDirectionAndConditionsPerAxis) {
    const ParseResult r = ParseScenario(
        "device Ferolla\n"
        "download s spring axes=x condition=100,8000,-8000,10000,9000,500\n"
        "download t damper condition=0,1,1,1,1,0 condition=0,2,2,2,2,0\n",
        "c.ffs");
    ASSERT_TRUE(r.Ok()) << r.errors[0].Format();
    const EffectSpec& s = r.scenario.steps[0].desc;
    EXPECT_EQ(s.directionFlag, DIEFF_CARTESIAN);
    EXPECT_EQ(s.axes.size(), 1u);
    ASSERT_EQ(s.conditions.size(), 1u);
    EXPECT_EQ(s.conditions[0].lNegativeCoefficient, -8000);
    EXPECT_EQ(s.conditions[0].dwNegativeSaturation, 9000u);
    EXPECT_EQ(r.scenario.steps[1].desc.conditions.size(), 2u);
    EXPECT_EQ(r.scenario.steps[1].desc.typeIndex, 8u);
}

struct BadCase {
    const char* name;
    const char* text;
    int line;
    const char* message;
};

class ScenarioBadFileTest : public testing::TestWithParam<BadCase> {};

TEST_P(ScenarioBadFileTest, ReportsFileLineAndMessageAndPlaysNothing) {
    const BadCase& c = GetParam();
    const ParseResult r = ParseScenario(std::string("device Quintar\nwait 10\n") + c.text, "bad.ffs");
    ASSERT_FALSE(r.Ok());
    EXPECT_TRUE(r.scenario.steps.empty());
    EXPECT_EQ(r.errors[0].file, "bad.ffs");
    EXPECT_EQ(r.errors[0].line, c.line);
    EXPECT_NE(r.errors[0].message.find(c.message), std::string::npos) << r.errors[0].message;
    EXPECT_EQ(r.errors[0].Format().rfind("bad.ffs:" + std::to_string(c.line) + ": ", 0), 0u);
}

const BadCase kBadCases[] = {
    {"UnknownStatement", "jump 3\n", 3, "unknown statement 'jump'"},
    {"MalformedNumber", "wait 12x\n", 3, "'12x' is not a whole number"},
    {"MagnitudeOutOfRange", "download a constant magnitude=10001\n", 3, "out of range (-10000 to 10000)"},
    {"GainOutOfRange", "gain -1\n", 3, "out of range (0 to 10000)"},
    {"UnknownType", "download a wobble\n", 3, "unknown effect type 'wobble'"},
    {"UnknownParameter", "download a ramp magnitude=1\n", 3, "unknown parameter 'magnitude' for a ramp effect"},
    {"EffectNeverDownloaded", "start ghost\n", 3, "effect 'ghost' was never downloaded"},
    {"DestroyedEffectIsGone", "download a constant\ndestroy a\nstop a\n", 5, "never downloaded"},
    {"DuplicateName", "download a constant\ndownload a sine period=5\n", 4, "already downloaded"},
    {"ConditionNeedsBlock", "download s spring\n", 3, "needs condition="},
    {"ConditionNeedsSixValues", "download s spring condition=1,2,3\n", 3, "needs 6 comma-separated values"},
    {"PeriodicNeedsPeriod", "download p sine magnitude=10\n", 3, "needs period=MS"},
    {"PolarNeedsTwoAxes", "download p constant axes=x direction=9000\n", 3, "polar direction needs axes=x,y"},
    {"BadAxis", "download p constant axes=z\n", 3, "'z' is not an axis"},
    {"EnvelopeLevel", "download p constant envelope=20000,0,0,0\n", 3, "envelope levels"},
    {"ButtonOutOfRange", "press 13\n", 3, "out of range (1 to 12)"},
    {"UnknownCommand", "command explode\n", 3, "unknown command 'explode'"},
    {"EscapeArguments", "escape 0 1 2\n", 3, "usage: escape 0 VALUE LOW HIGH"},
    {"EscapeFloat", "escape 0 1 2 x\n", 3, "'x' is not a finite number"},
    {"EscapeNotFinite", "escape 0 nan 1000 7000\n", 3, "'nan' is not a finite number"},
    {"EscapeOverflow", "escape 0 1e39 1000 7000\n", 3, "'1e39' is not a finite number"},
    {"WaitOverflow", "wait 99999999999999999999\n", 3, "is not a whole number"},
    {"NegativeWait", "wait -5\n", 3, "out of range (0 to 3600000)"},
    {"ExpectUnknownResult", "gain 100 expect E_WHATEVER\n", 3, "'E_WHATEVER' is not a result name"},
    {"ExpectNotLast", "gain expect E_FAIL 100\n", 3, "expect RESULT (at the end of the line)"},
    {"ExpectAlone", "expect E_FAIL\n", 3, "expect RESULT (at the end of the line)"},
    {"ExpectOnAWait", "wait 5 expect E_FAIL\n", 3, "'expect' applies to driver calls only"},
    {"ExpectHexTooLong", "gain 1 expect 0x180070057\n", 3, "is not a result name"},
    {"DisplaceAxis", "displace z 0.5\n", 3, "'z' is not an axis"},
    {"DisplaceOutOfRange", "displace x 1.5\n", 3, "position 1.5 is out of range (-1 to 1)"},
    {"DisplaceMalformed", "displace x 0.5.1\n", 3, "'0.5.1' is not a finite number"},
    {"SecondDevice", "device Vesk\n", 3, "already given"},
};
INSTANTIATE_TEST_SUITE_P(Cases, ScenarioBadFileTest, testing::ValuesIn(kBadCases),
                         [](const testing::TestParamInfo<BadCase>& info) { return std::string(info.param.name); });

TEST(ScenarioParseTest, ExpectMarksADeliberateRejectionByNameOrCode) {
    const ParseResult r = ParseScenario(
        "device Quintar\n"
        "setting 3 15001 expect E_INVALIDARG   # above 15000\n"
        "gain 10 expect 0x80004005\n"
        "gain 20\n",
        "e.ffs");
    ASSERT_TRUE(r.Ok()) << r.errors[0].Format();
    ASSERT_EQ(r.scenario.steps.size(), 3u);
    EXPECT_EQ(r.scenario.steps[0].value2, 15001u);
    EXPECT_EQ(r.scenario.steps[0].expected, std::optional<std::int32_t>(static_cast<std::int32_t>(0x80070057u)));
    EXPECT_EQ(r.scenario.steps[1].value, 10u);
    EXPECT_EQ(r.scenario.steps[1].expected, std::optional<std::int32_t>(static_cast<std::int32_t>(0x80004005u)));
    EXPECT_FALSE(r.scenario.steps[2].expected.has_value());
}

TEST(ScenarioParseTest, DisplaceMovesAnAxisByHand) {
    const ParseResult r = ParseScenario("device Ferolla\ndisplace y -0.25 1.5\ndisplace x 1\n", "d.ffs");
    ASSERT_TRUE(r.Ok()) << r.errors[0].Format();
    const Step& d = r.scenario.steps[0];
    EXPECT_EQ(d.kind, StepKind::kDisplace);
    EXPECT_EQ(d.value, 1u);
    EXPECT_DOUBLE_EQ(d.position, -0.25);
    EXPECT_DOUBLE_EQ(d.velocity, 1.5);
    EXPECT_DOUBLE_EQ(r.scenario.steps[1].velocity, 0.0);
}

TEST(ScenarioParseTest, EveryBadLineIsReportedNotOnlyTheFirst) {
    const ParseResult r = ParseScenario("device Quintar\nwait x\ngain 20000\nwait 5\n", "m.ffs");
    ASSERT_EQ(r.errors.size(), 2u);
    EXPECT_EQ(r.errors[0].line, 2);
    EXPECT_EQ(r.errors[1].line, 3);
}

TEST(ScenarioParseTest, DeviceMustComeFirstAndBeKnown) {
    EXPECT_NE(ParseScenario("wait 5\n", "f").errors[0].message.find("first statement must be 'device MODEL'"),
              std::string::npos);
    const ParseResult unknown = ParseScenario("device Foo\n", "f");
    ASSERT_FALSE(unknown.Ok());
    EXPECT_NE(unknown.errors[0].message.find("unknown device model 'Foo'"), std::string::npos);
    EXPECT_FALSE(ParseScenario("# nothing\n", "f").Ok());
    EXPECT_EQ(ParseScenarioFile("/nonexistent/x.ffs").errors[0].message, "cannot read the file");
}

}  // namespace
}  // namespace ffplay
