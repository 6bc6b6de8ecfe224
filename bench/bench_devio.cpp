// Costs of the device library's hot paths, each beside its standard-library
// counterpart in the same run.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <memory>
#include <span>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "devio/core/future.h"
#include "devio/core/job_queue.h"
#include "devio/rap/device_request.h"
#include "devio/rap/match_table.h"

namespace {

void BM_DevioPromiseRoundTrip(benchmark::State& state) {
    for (auto _ : state) {
        devio::promise<int> p;
        auto f = p.get_future();
        p.set_value(1);
        benchmark::DoNotOptimize(f.get());
    }
}
BENCHMARK(BM_DevioPromiseRoundTrip);

void BM_StdPromiseRoundTrip(benchmark::State& state) {
    for (auto _ : state) {
        std::promise<int> p;
        auto f = p.get_future();
        p.set_value(1);
        benchmark::DoNotOptimize(f.get());
    }
}
BENCHMARK(BM_StdPromiseRoundTrip);

// One value handed to a worker thread and its answer awaited: the hop a
// continuation on a job queue costs.
void BM_DevioThenHopOnJobQueue(benchmark::State& state) {
    devio::job_queue queue;
    const auto ex = queue.get_executor();
    for (auto _ : state) {
        auto f = devio::make_ready(1).then(ex, [](devio::future<int> v) { return v.get() + 1; });
        benchmark::DoNotOptimize(f.get());
    }
}
BENCHMARK(BM_DevioThenHopOnJobQueue)->UseRealTime();

void BM_StdAsyncHopViaPromise(benchmark::State& state) {
    // A worker fed through a mutex + condition variable, answering through
    // std::promise: the standard library's nearest equivalent.
    std::mutex mutex;
    std::condition_variable wake;
    std::vector<std::promise<int>> inbox;
    bool stop = false;
    std::thread worker([&] {
        for (;;) {
            std::unique_lock lock(mutex);
            wake.wait(lock, [&] { return stop || !inbox.empty(); });
            if (inbox.empty()) return;
            auto p = std::move(inbox.back());
            inbox.pop_back();
            lock.unlock();
            p.set_value(2);
        }
    });
    for (auto _ : state) {
        std::promise<int> p;
        auto f = p.get_future();
        {
            std::lock_guard lock(mutex);
            inbox.push_back(std::move(p));
        }
        wake.notify_one();
        benchmark::DoNotOptimize(f.get());
    }
    {
        std::lock_guard lock(mutex);
        stop = true;
    }
    wake.notify_one();
    worker.join();
}
BENCHMARK(BM_StdAsyncHopViaPromise)->UseRealTime();

void BM_MutexCondvarHop(benchmark::State& state) {
    std::mutex mutex;
    std::condition_variable wake;
    int request = 0, answer = 0;
    bool stop = false;
    std::thread worker([&] {
        std::unique_lock lock(mutex);
        for (;;) {
            wake.wait(lock, [&] { return stop || request != 0; });
            if (stop) return;
            answer = request + 1;
            request = 0;
            wake.notify_all();
        }
    });
    for (auto _ : state) {
        std::unique_lock lock(mutex);
        request = 1;
        answer = 0;
        wake.notify_all();
        wake.wait(lock, [&] { return answer != 0; });
        benchmark::DoNotOptimize(answer);
    }
    {
        std::lock_guard lock(mutex);
        stop = true;
    }
    wake.notify_all();
    worker.join();
}
BENCHMARK(BM_MutexCondvarHop)->UseRealTime();

// Matching one incoming report against the pending requests of a device,
// with 1, 8 and 32 waiting. Request i asks feature i + 1 and must see its
// first parameter repeated; the report answers the last one, so every
// request is looked at. Each lookup is one out-of-line call so that
// callgrind can count it alone (--toggle-collect='*Lookup*').
struct PendingSet {
    explicit PendingSet(std::uint8_t count) {
        for (std::uint8_t i = 0; i < count; ++i) {
            auto request = std::make_shared<devio::DeviceRequest>(
                std::vector<std::uint8_t>{0x10, 0xFF, static_cast<std::uint8_t>(i + 1), 0x1A, i, 0x00});
            request->add_match_position(0);
            table.push_back(request->request(), request->match_positions());
            requests.push_back(std::move(request));
        }
        const std::uint8_t last = count - 1;
        report = {0x11, 0xFF, count, 0x1A, last, 0x55, 0x66, 0x77, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    }
    std::deque<std::shared_ptr<devio::DeviceRequest>> requests;
    devio::rap::match_table table;
    std::vector<std::uint8_t> report;
};

// The reference: each request behind its shared pointer, matched through its
// own byte and position vectors (how the device kept them before the table).
[[gnu::noinline]] std::size_t LookupPerRequest(const std::deque<std::shared_ptr<devio::DeviceRequest>>& pending,
                                               std::span<const std::uint8_t> report) {
    auto it = std::find_if(pending.begin(), pending.end(), [&](const auto& r) { return r->matches(report); });
    return static_cast<std::size_t>(it - pending.begin());
}

[[gnu::noinline]] std::size_t LookupTable(const devio::rap::match_table& table, std::span<const std::uint8_t> report) {
    return table.find(report);
}

void BM_RapMatchPerRequest(benchmark::State& state) {
    const PendingSet set(static_cast<std::uint8_t>(state.range(0)));
    const std::span<const std::uint8_t> report(set.report);
    for (auto _ : state) benchmark::DoNotOptimize(LookupPerRequest(set.requests, report));
    if (LookupPerRequest(set.requests, report) != set.requests.size() - 1) state.SkipWithError("wrong request");
}
BENCHMARK(BM_RapMatchPerRequest)->Arg(1)->Arg(8)->Arg(32);

void BM_RapMatchTable(benchmark::State& state) {
    const PendingSet set(static_cast<std::uint8_t>(state.range(0)));
    const std::span<const std::uint8_t> report(set.report);
    for (auto _ : state) benchmark::DoNotOptimize(LookupTable(set.table, report));
    if (LookupTable(set.table, report) != set.table.size() - 1) state.SkipWithError("wrong request");
}
BENCHMARK(BM_RapMatchTable)->Arg(1)->Arg(8)->Arg(32);

}  // namespace
