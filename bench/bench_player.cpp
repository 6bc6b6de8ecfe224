// How long ffplay takes to play ten seconds of a scenario on the virtual
// clock, with the driver's real simulation thread and the emulator in the
// loop: the player promises "well under a second".
#include <benchmark/benchmark.h>

#include "tools/player/player.h"

namespace {

constexpr const char* kTenSeconds =
    "device Dastrin\n"
    "download weight damper axes=x condition=0,6000,6000,10000,10000,0 start\n"
    "download corner constant magnitude=4000 direction=9000 start\n"
    "download strip square magnitude=3000 period=80 direction=9000 start\n"
    "wait 10000\n";

void BM_PlayTenVirtualSeconds(benchmark::State& state) {
    const ffplay::ParseResult parsed = ffplay::ParseScenario(kTenSeconds, "bench.ffs");
    ffplay::PlayOptions options;
    options.modulePath = FFDRV_MODULE_PATH;
    for (auto _ : state) {
        const ffplay::PlayResult r = ffplay::Play(parsed.scenario, options);
        if (!r.fatal.empty() || r.failedCalls != 0) state.SkipWithError("the scenario did not play");
        benchmark::DoNotOptimize(r.samples.data());
    }
}
BENCHMARK(BM_PlayTenVirtualSeconds)->Unit(benchmark::kMillisecond);

}  // namespace
