// The cost of one wake-up on the real clock as more threads sleep beside it:
// a thread sets the event one of N sleeping threads waits on and waits for its
// answer. What it costs (time, and voluntary context switches in the whole
// process per round trip) should not grow with N: a wake-up reaches only the
// thread it is for. Goal: at most 2 switches per round trip (the woken thread
// and the caller each sleep at most once) for every N.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "platform/sim_clock.h"

namespace {

long VoluntarySwitches() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_nvcsw;
}

void BM_WakeOneOfManySleepers(benchmark::State& state) {
    platform::UseRealClock();
    const auto sleepers = static_cast<std::size_t>(state.range(0));
    std::vector<std::unique_ptr<platform::SimEvent>> wake;
    for (std::size_t i = 0; i < sleepers; ++i) wake.push_back(std::make_unique<platform::SimEvent>(false, false));
    platform::SimEvent answer(false, false);
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < sleepers; ++i) {
        threads.emplace_back([&, i] {
            for (;;) {
                platform::SimWait(*wake[i], platform::kSimInfinite, /*alertable=*/i % 2 == 0);
                if (stop) return;
                answer.Set();
            }
        });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // every sleeper asleep
    std::size_t next = 0;
    const long before = VoluntarySwitches();
    for (auto _ : state) {
        wake[next]->Set();
        platform::SimWait(answer, platform::kSimInfinite, false);
        next = (next + 1) % sleepers;
    }
    const long switches = VoluntarySwitches() - before;
    stop = true;
    for (auto& e : wake) e->Set();
    for (auto& t : threads) t.join();
    state.counters["vcsw_per_roundtrip"] =
        static_cast<double>(switches) / static_cast<double>(std::max<benchmark::IterationCount>(state.iterations(), 1));
}
BENCHMARK(BM_WakeOneOfManySleepers)->Arg(1)->Arg(4)->Arg(16)->Arg(64)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
