// Costs of the device library's hot paths, each beside its standard-library
// counterpart in the same run.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "devio/core/future.h"
#include "devio/core/job_queue.h"
#include "devio/rap/device_request.h"

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

// One incoming report checked against 32 pending requests; the answer is the
// last one, so every request is looked at.
void BM_RapMatch32Pending(benchmark::State& state) {
    std::vector<devio::DeviceRequest> pending;
    pending.reserve(32);
    for (std::uint8_t i = 0; i < 32; ++i) {
        pending.emplace_back(std::vector<std::uint8_t>{0x10, 0xFF, static_cast<std::uint8_t>(i + 1), 0x1A, i, 0x00});
        pending.back().add_match_position(0);
    }
    const std::vector<std::uint8_t> report = {0x11, 0xFF, 32, 0x1A, 31, 0x55, 0x66, 0x77,
                                              0,    0,    0,  0,    0,  0,    0,    0,
                                              0,    0,    0,  0};
    for (auto _ : state) {
        const devio::DeviceRequest* found = nullptr;
        for (const auto& r : pending) {
            if (r.matches(report)) {
                found = &r;
                break;
            }
        }
        benchmark::DoNotOptimize(found);
    }
}
BENCHMARK(BM_RapMatch32Pending);

}  // namespace
