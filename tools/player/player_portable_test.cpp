// Plays scenarios through the built driver module on the virtual clock.
#include "tools/player/player.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tools/player/output.h"

namespace ffplay {
namespace {

PlayOptions Options() {
    PlayOptions o;
    o.modulePath = FFDRV_MODULE_PATH;
    return o;
}

TEST(PlayerTest, SameScenarioGivesTheSameTraceByteForByte) {
    const ParseResult parsed = ParseScenarioFile(std::string(FFPLAY_EXAMPLES_DIR) + "/driving_moment.ffs");
    ASSERT_TRUE(parsed.Ok());
    const PlayResult first = Play(parsed.scenario, Options());
    const PlayResult second = Play(parsed.scenario, Options());
    ASSERT_TRUE(first.fatal.empty()) << first.fatal;
    EXPECT_EQ(TraceText(first), TraceText(second));
    EXPECT_EQ(SamplesCsv(first), SamplesCsv(second));
    EXPECT_EQ(PlotSvg(first, "t"), PlotSvg(second, "t"));
    EXPECT_EQ(first.samples.size(), parsed.scenario.TotalWaitMs());
}

TEST(PlayerTest, EveryResultStandsNextToItsCall) {
    const ParseResult parsed = ParseScenario("device Quintar\ngain 5000\nwait 3\n", "g.ffs");
    ASSERT_TRUE(parsed.Ok());
    const PlayResult r = Play(parsed.scenario, Options());
    ASSERT_TRUE(r.loaded);
    std::string gainLine;
    for (const std::string& line : r.trace)
        if (line.find("SetGain(5000)") != std::string::npos) gainLine = line;
    ASSERT_FALSE(gainLine.empty());
    EXPECT_NE(gainLine.find("(line 2)"), std::string::npos);
    // A driver without a device for the model answers E_INVALIDARG for it.
    EXPECT_NE(gainLine.find(r.deviceOpened ? "-> S_OK" : "-> E_INVALIDARG (0x80070057)"), std::string::npos);
    if (!r.deviceOpened) {
        EXPECT_NE(Summary(parsed.scenario, r).find("could not be opened"), std::string::npos);
    }
}

TEST(PlayerTest, MissingModuleIsAClearFailure) {
    PlayOptions o;
    o.modulePath = "/nonexistent/libnothing.so";
    const PlayResult r = Play(ParseScenario("device Vesk\n", "v").scenario, o);
    EXPECT_FALSE(r.loaded);
    EXPECT_NE(r.fatal.find("cannot load /nonexistent/libnothing.so"), std::string::npos);
}

TEST(PlayerTest, EveryExamplePlays) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(FFPLAY_EXAMPLES_DIR)) {
        if (entry.path().extension() != ".ffs") continue;
        SCOPED_TRACE(entry.path().string());
        ++count;
        const ParseResult parsed = ParseScenarioFile(entry.path().string());
        ASSERT_TRUE(parsed.Ok()) << parsed.errors[0].Format();
        const PlayResult r = Play(parsed.scenario, Options());
        EXPECT_TRUE(r.fatal.empty()) << r.fatal;
        EXPECT_EQ(r.samples.size(), parsed.scenario.TotalWaitMs());
        EXPECT_GT(r.callCount, 0);
    }
    EXPECT_GE(count, 12);
}

}  // namespace
}  // namespace ffplay
