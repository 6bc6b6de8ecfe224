// Cross-thread behaviour of futures and executors; meant to run under
// ThreadSanitizer as well as natively.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <thread>
#include <vector>

#include "devio/core/future.h"
#include "devio/core/job_queue.h"
#include "devio/core/runloop_executor.h"

namespace devio {
namespace {

constexpr int kProducers = 4;
constexpr int kPerProducer = 250;

// A run loop served by its own thread, the way the bridge thread serves
// the driver's executor: job numbers travel through a locked queue.
class served_runloop {
public:
    served_runloop()
        : m_loop([this](std::uint64_t number) { post(number); }), m_server([this] { serve(); }) {}
    ~served_runloop() {
        post(kStop);
        m_server.join();
    }
    executor get_executor() const { return m_loop.get_executor(); }
    std::thread::id server_id() const { return m_server.get_id(); }

private:
    static constexpr std::uint64_t kStop = 0;

    void post(std::uint64_t number) {
        {
            std::lock_guard lock(m_mutex);
            m_numbers.push_back(number);
        }
        m_wake.notify_one();
    }
    void serve() {
        for (;;) {
            std::unique_lock lock(m_mutex);
            m_wake.wait(lock, [this] { return !m_numbers.empty(); });
            const auto number = m_numbers.front();
            m_numbers.pop_front();
            lock.unlock();
            if (number == kStop) return;
            m_loop.run_job(number);
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::uint64_t> m_numbers;
    runloop_executor m_loop;
    std::thread m_server;
};

TEST(FutureConcurrencyTest, ManyProducersCompleteWhatOneConsumerWaitsFor) {
    std::vector<promise<int>> promises(kProducers * kPerProducer);
    std::vector<future<int>> futures;
    for (auto& p : promises) futures.push_back(p.get_future());
    std::vector<std::thread> producers;
    for (int t = 0; t < kProducers; ++t) {
        producers.emplace_back([&, t] {
            for (int i = t; i < kProducers * kPerProducer; i += kProducers) promises[i].set_value(i);
        });
    }
    long long sum = 0;
    for (auto& f : futures) sum += f.get();
    for (auto& t : producers) t.join();
    const long long n = kProducers * kPerProducer;
    EXPECT_EQ(sum, n * (n - 1) / 2);
}

TEST(FutureConcurrencyTest, ContinuationsRunOnceOnTheServingThread) {
    served_runloop loop;
    std::atomic<int> runs{0};
    std::atomic<int> off_thread{0};
    const auto server = loop.server_id();
    std::vector<promise<int>> promises(kProducers * kPerProducer);
    std::vector<future<int>> results;
    for (auto& p : promises) {
        results.push_back(p.get_future().then(loop.get_executor(), [&](future<int> v) {
            runs.fetch_add(1);
            if (std::this_thread::get_id() != server) off_thread.fetch_add(1);
            return v.get() + 1;
        }));
    }
    std::vector<std::thread> producers;
    for (int t = 0; t < kProducers; ++t) {
        producers.emplace_back([&, t] {
            for (int i = t; i < kProducers * kPerProducer; i += kProducers) promises[i].set_value(i);
        });
    }
    for (int i = 0; i < kProducers * kPerProducer; ++i) EXPECT_EQ(results[i].get(), i + 1);
    for (auto& t : producers) t.join();
    EXPECT_EQ(runs.load(), kProducers * kPerProducer);
    EXPECT_EQ(off_thread.load(), 0);
}

TEST(FutureConcurrencyTest, ThenRacingSetValueRunsTheContinuationExactlyOnce) {
    job_queue queue;
    for (int round = 0; round < 300; ++round) {
        promise<int> p;
        auto f = p.get_future();
        std::atomic<int> runs{0};
        std::thread setter([&] { p.set_value(round); });
        auto next = f.then(queue.get_executor(), [&](future<int> v) {
            runs.fetch_add(1);
            return v.get();
        });
        EXPECT_EQ(next.get(), round);
        setter.join();
        EXPECT_EQ(runs.load(), 1);
    }
}

TEST(FutureConcurrencyTest, UnwrappedChainsAcrossQueueAndRunloop) {
    job_queue queue;
    served_runloop loop;
    std::vector<future<int>> results;
    for (int i = 0; i < 200; ++i) {
        results.push_back(make_ready(i).then(queue.get_executor(), [&loop](future<int> v) {
            const int x = v.get();
            return make_ready(x).then(loop.get_executor(), [](future<int> w) { return w.get() * 2; });
        }));
    }
    for (int i = 0; i < 200; ++i) EXPECT_EQ(results[i].get(), 2 * i);
}

}  // namespace
}  // namespace devio
