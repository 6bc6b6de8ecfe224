// Who wakes whom in the clock's waits: a set event wakes the threads that
// wait on it and no other, a completion routine wakes only the thread it was
// queued for (and only in an alertable wait), a time-out ends only its own
// wait, and under load no wake-up is ever lost. Each waiting thread counts how
// often it came back from blocking, so a wake-up that went to everyone shows
// up as extra returns in the bystanders.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include "platform/portable/sim_scheduler.h"
#include "platform/sim_clock.h"

namespace {
using platform::SimEvent;
using platform::SimWaitResult;
namespace sched = platform::sched;

// Polls until `done` holds. Only a guard against a hang: a correct run gets
// there as soon as the threads involved have been scheduled.
bool Eventually(const std::function<bool()>& done) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!done()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// What one waiting thread saw.
struct Outcome {
    std::atomic<bool> done{false};
    std::atomic<int> result{-1};
    std::atomic<std::uint64_t> wakeups{0};
    std::atomic<std::uint32_t> elapsedMs{0};
};

class RealClockWakeTest : public ::testing::Test {
protected:
    void SetUp() override {
        platform::UseRealClock();
        m_baseline = sched::BlockedThreads();
    }
    void TearDown() override {
        for (auto& t : m_threads) t.join();
    }

    // Runs `wait` on a new thread and records its result and its wake-ups.
    Outcome& Spawn(std::function<SimWaitResult()> wait) {
        m_outcomes.push_back(std::make_unique<Outcome>());
        Outcome& o = *m_outcomes.back();
        m_threads.emplace_back([&o, wait = std::move(wait)] {
            const std::uint64_t before = sched::ThreadWakeups();
            const std::uint32_t start = platform::SimTimeMs();
            const SimWaitResult r = wait();
            o.elapsedMs = platform::SimTimeMs() - start;
            o.wakeups = sched::ThreadWakeups() - before;
            o.result = static_cast<int>(r);
            o.done = true;
        });
        return o;
    }

    bool AllBlocked(std::size_t count) {
        return Eventually([&] { return sched::BlockedThreads() == m_baseline + count; });
    }

    static std::vector<int> Shuffled(int n) {
        std::vector<int> order(static_cast<std::size_t>(n));
        std::iota(order.begin(), order.end(), 0);
        std::shuffle(order.begin(), order.end(), std::mt19937(14));
        return order;
    }

    std::size_t m_baseline = 0;
    std::vector<std::unique_ptr<Outcome>> m_outcomes;
    std::vector<std::thread> m_threads;
};

constexpr int kWaiters = 16;
constexpr auto kSignaled = static_cast<int>(SimWaitResult::kSignaled);
constexpr auto kTimeout = static_cast<int>(SimWaitResult::kTimeout);
constexpr auto kIoCompletion = static_cast<int>(SimWaitResult::kIoCompletion);

TEST_F(RealClockWakeTest, EachSetWakesOnlyTheThreadWaitingOnThatEvent) {
    std::vector<std::unique_ptr<SimEvent>> events;
    std::vector<Outcome*> waiters;
    for (int i = 0; i < kWaiters; ++i) {
        events.push_back(std::make_unique<SimEvent>(/*manualReset=*/false, /*initiallySignaled=*/false));
        SimEvent* e = events.back().get();
        // Alertable and plain waits alike: the routine queue must not change
        // who an event wakes.
        waiters.push_back(&Spawn([e, i] { return platform::SimWait(*e, platform::kSimInfinite, i % 2 == 0); }));
    }
    ASSERT_TRUE(AllBlocked(kWaiters));
    int released = 0;
    for (int k : Shuffled(kWaiters)) {
        events[k]->Set();
        ASSERT_TRUE(Eventually([&] { return waiters[k]->done.load(); })) << "waiter " << k << " never woke";
        ++released;
        EXPECT_EQ(waiters[k]->result, kSignaled);
        EXPECT_EQ(waiters[k]->wakeups, 1u) << "waiter " << k;
        EXPECT_EQ(sched::BlockedThreads(), m_baseline + kWaiters - released);
    }
    // Every thread came back from blocking exactly once: the sets meant for
    // the others never reached it.
    for (int i = 0; i < kWaiters; ++i) EXPECT_EQ(waiters[i]->wakeups, 1u) << "waiter " << i;
}

TEST_F(RealClockWakeTest, ManualEventReleasesAllItsWaitersAndNoOneElse) {
    SimEvent shared(/*manualReset=*/true, false);
    SimEvent other(/*manualReset=*/true, false);
    std::vector<Outcome*> onShared, onOther;
    for (int i = 0; i < 6; ++i)
        onShared.push_back(&Spawn([&shared] { return platform::SimWait(shared, platform::kSimInfinite, false); }));
    for (int i = 0; i < 3; ++i)
        onOther.push_back(&Spawn([&other] { return platform::SimWait(other, platform::kSimInfinite, true); }));
    ASSERT_TRUE(AllBlocked(9));
    shared.Set();
    ASSERT_TRUE(Eventually([&] { return std::all_of(onShared.begin(), onShared.end(), [](Outcome* o) { return o->done.load(); }); }));
    EXPECT_EQ(sched::BlockedThreads(), m_baseline + 3);
    other.Set();
    ASSERT_TRUE(Eventually([&] { return std::all_of(onOther.begin(), onOther.end(), [](Outcome* o) { return o->done.load(); }); }));
    for (Outcome* o : onShared) EXPECT_EQ(o->wakeups, 1u);
    for (Outcome* o : onOther) {
        EXPECT_EQ(o->result, kSignaled);
        EXPECT_EQ(o->wakeups, 1u);
    }
}

TEST_F(RealClockWakeTest, AutoResetEventLetsExactlyOneOfSeveralWaitersThrough) {
    SimEvent gate(/*manualReset=*/false, false);
    std::vector<Outcome*> waiters;
    for (int i = 0; i < 4; ++i)
        waiters.push_back(&Spawn([&gate] { return platform::SimWait(gate, platform::kSimInfinite, false); }));
    ASSERT_TRUE(AllBlocked(4));
    for (int released = 1; released <= 4; ++released) {
        gate.Set();
        ASSERT_TRUE(Eventually([&] {
            return std::count_if(waiters.begin(), waiters.end(), [](Outcome* o) { return o->done.load(); }) ==
                   released;
        }));
        // The rest are back asleep, and the one that passed took the signal.
        ASSERT_TRUE(AllBlocked(static_cast<std::size_t>(4 - released)));
    }
    for (Outcome* o : waiters) EXPECT_EQ(o->result, kSignaled);
}

TEST_F(RealClockWakeTest, RoutineWakesOnlyTheAlertableThreadItWasQueuedFor) {
    std::vector<std::shared_ptr<sched::ApcQueue>> queues(kWaiters);
    std::vector<std::thread::id> ids(kWaiters);
    std::vector<std::atomic<bool>> ranOnItsThread(kWaiters);
    std::vector<Outcome*> waiters;
    std::atomic<int> published{0};
    for (int i = 0; i < kWaiters; ++i) {
        waiters.push_back(&Spawn([&, i] {
            queues[i] = sched::CurrentThreadQueue();
            ids[i] = std::this_thread::get_id();
            ++published;
            return platform::SimSleep(platform::kSimInfinite, /*alertable=*/true);
        }));
    }
    ASSERT_TRUE(Eventually([&] { return published == kWaiters; }));
    ASSERT_TRUE(AllBlocked(kWaiters));
    int released = 0;
    for (int k : Shuffled(kWaiters)) {
        {
            auto lock = sched::Lock();
            sched::QueueApcLocked(queues[k], [&, k] { ranOnItsThread[k] = std::this_thread::get_id() == ids[k]; });
        }
        ASSERT_TRUE(Eventually([&] { return waiters[k]->done.load(); })) << "thread " << k << " never woke";
        ++released;
        EXPECT_TRUE(ranOnItsThread[k]);
        EXPECT_EQ(waiters[k]->result, kIoCompletion);
        EXPECT_EQ(sched::BlockedThreads(), m_baseline + kWaiters - released);
    }
    for (int i = 0; i < kWaiters; ++i) EXPECT_EQ(waiters[i]->wakeups, 1u) << "thread " << i;
}

TEST_F(RealClockWakeTest, RoutineWaitsForAnAlertableWaitAndDoesNotSignalTheEvent) {
    std::shared_ptr<sched::ApcQueue> plainQueue, alertableQueue;
    std::atomic<bool> plainRan{false}, ranDuringPlainWait{false}, alertableRan{false};
    std::atomic<int> zeroSleep{-1};
    std::atomic<int> ready{0};
    SimEvent release(false, false), never(false, false);
    // A plain (non-alertable) wait sleeps on with a routine queued and ends
    // only when its event is set; the next alertable wait runs the routine.
    Outcome& plain = Spawn([&] {
        plainQueue = sched::CurrentThreadQueue();
        ++ready;
        const SimWaitResult r = platform::SimWait(release, platform::kSimInfinite, /*alertable=*/false);
        ranDuringPlainWait = plainRan.load();
        zeroSleep = static_cast<int>(platform::SimSleep(0, /*alertable=*/true));
        return r;
    });
    // An alertable wait on an event comes back for the routine, not signalled.
    Outcome& alertable = Spawn([&] {
        alertableQueue = sched::CurrentThreadQueue();
        ++ready;
        return platform::SimWait(never, platform::kSimInfinite, /*alertable=*/true);
    });
    ASSERT_TRUE(Eventually([&] { return ready == 2; }));
    ASSERT_TRUE(AllBlocked(2));
    {
        auto lock = sched::Lock();
        sched::QueueApcLocked(plainQueue, [&] { plainRan = true; });
        sched::QueueApcLocked(alertableQueue, [&] { alertableRan = true; });
    }
    ASSERT_TRUE(Eventually([&] { return alertable.done.load(); }));
    EXPECT_EQ(alertable.result, kIoCompletion);
    EXPECT_TRUE(alertableRan);
    EXPECT_EQ(alertable.wakeups, 1u);
    // The plain waiter slept through its routine.
    EXPECT_EQ(sched::BlockedThreads(), m_baseline + 1);
    EXPECT_FALSE(plain.done);
    release.Set();
    ASSERT_TRUE(Eventually([&] { return plain.done.load(); }));
    EXPECT_EQ(plain.result, kSignaled);
    EXPECT_EQ(plain.wakeups, 1u);
    EXPECT_FALSE(ranDuringPlainWait);
    EXPECT_EQ(zeroSleep, kIoCompletion);
    EXPECT_TRUE(plainRan);
}

TEST_F(RealClockWakeTest, TimeoutsEndOnlyTheirOwnWaits) {
    SimEvent never(false, false);
    SimEvent bystanderEvent(false, false);
    Outcome& bystander = Spawn([&] { return platform::SimWait(bystanderEvent, platform::kSimInfinite, true); });
    ASSERT_TRUE(AllBlocked(1));
    std::vector<Outcome*> timed;
    for (int i = 0; i < 8; ++i) {
        const std::uint32_t ms = 10 + 7 * static_cast<std::uint32_t>(i);
        timed.push_back(&Spawn([&never, ms, i] {
            return i % 2 == 0 ? platform::SimWait(never, ms, i % 4 == 0) : platform::SimSleep(ms, i % 4 == 1);
        }));
    }
    ASSERT_TRUE(Eventually([&] { return std::all_of(timed.begin(), timed.end(), [](Outcome* o) { return o->done.load(); }); }));
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(timed[i]->result, kTimeout) << i;
        EXPECT_GE(timed[i]->elapsedMs, 10u + 7u * i) << i;  // never early
        // A plain sleep (i % 4 == 3) may not go through the waits at all.
        if (i % 4 != 3) {
            EXPECT_EQ(timed[i]->wakeups, 1u) << i;
        }
    }
    EXPECT_FALSE(bystander.done);
    bystanderEvent.Set();
    ASSERT_TRUE(Eventually([&] { return bystander.done.load(); }));
    EXPECT_EQ(bystander.result, kSignaled);
    EXPECT_EQ(bystander.wakeups, 1u);  // eight time-outs around it never roused it
}

// Pairs of threads hand a token back and forth through auto-reset events while
// a third party keeps queueing completion routines to them, so event wake-ups,
// routine wake-ups and fresh waits race all the time. A lost wake-up leaves a
// thread asleep until its (generous) time-out, which is counted as a failure.
TEST_F(RealClockWakeTest, NoWakeUpIsLostUnderContention) {
    constexpr int kPairs = 6;
    constexpr int kRounds = 1500;
    constexpr std::uint32_t kLostMs = 5000;
    struct Pair {
        SimEvent ping{false, false}, pong{false, false};
    };
    std::vector<std::unique_ptr<Pair>> pairs;
    std::vector<std::shared_ptr<sched::ApcQueue>> queues(2 * kPairs);
    std::atomic<int> published{0}, finished{0}, lost{0}, routinesRun{0};
    std::atomic<bool> stopNoise{false};
    for (int p = 0; p < kPairs; ++p) pairs.push_back(std::make_unique<Pair>());
    // Waits for `event`, running (and ignoring) routines that come meanwhile;
    // false when the token never came. After one loss every thread stops, so a
    // failing run ends soon instead of losing the token over and over.
    auto await = [&](SimEvent& event, bool alertable) {
        for (;;) {
            const SimWaitResult r = platform::SimWait(event, kLostMs, alertable);
            if (r == SimWaitResult::kIoCompletion) continue;
            if (r != SimWaitResult::kSignaled) ++lost;
            return lost == 0;
        }
    };
    for (int p = 0; p < kPairs; ++p) {
        Pair& pair = *pairs[p];
        const bool alertable = p % 3 != 2;
        Spawn([&, p, alertable] {
            queues[2 * p] = sched::CurrentThreadQueue();
            ++published;
            for (int r = 0; r < kRounds; ++r) {
                pair.ping.Set();
                if (!await(pair.pong, alertable)) break;
            }
            ++finished;
            return SimWaitResult::kSignaled;
        });
        Spawn([&, p, alertable] {
            queues[2 * p + 1] = sched::CurrentThreadQueue();
            ++published;
            for (int r = 0; r < kRounds; ++r) {
                if (!await(pair.ping, alertable)) break;
                pair.pong.Set();
            }
            ++finished;
            // What the noise thread queued last still runs here.
            platform::SimSleep(0, true);
            return SimWaitResult::kSignaled;
        });
    }
    ASSERT_TRUE(Eventually([&] { return published == 2 * kPairs; }));
    std::thread noise([&] {
        std::mt19937 random(7);
        while (!stopNoise) {
            auto lock = sched::Lock();
            sched::QueueApcLocked(queues[random() % queues.size()], [&] { ++routinesRun; });
            lock.unlock();
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
    });
    const bool allFinished = Eventually([&] { return finished == 2 * kPairs || lost != 0; });
    stopNoise = true;
    noise.join();
    EXPECT_EQ(lost, 0);
    ASSERT_TRUE(allFinished);
    EXPECT_GT(routinesRun, 0);
}

// The virtual clock with many threads: each sleep, alertable or not, ends at
// its exact virtual time, in deadline order, however the threads were started.
class VirtualClockManyThreadsTest : public ::testing::Test {
protected:
    static constexpr std::uint32_t kStart = 5000;
    void SetUp() override { ASSERT_TRUE(platform::UseVirtualClock(kStart)); }
    void TearDown() override {
        for (auto& t : m_threads) t.join();
        platform::UseRealClock();
    }
    std::vector<std::thread> m_threads;
};

TEST_F(VirtualClockManyThreadsTest, SleepsOfManyThreadsEndInDeadlineOrder) {
    constexpr int kThreads = 12;
    std::mutex mutex;
    std::vector<std::pair<std::uint32_t, int>> log;
    std::vector<int> order(kThreads);
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937(3));
    for (int i : order) {
        auto participant = std::make_shared<platform::SimParticipant>();
        m_threads.emplace_back([&, i, participant]() mutable {
            participant->Attach();
            for (int round = 0; round < 3; ++round) {
                // Threads 0..11 sleep 3, 5, ... ms, so every deadline differs
                // within a round and the rounds interleave.
                platform::SimSleep(static_cast<std::uint32_t>(3 + 2 * i), i % 2 == 0);
                std::lock_guard lock(mutex);
                log.emplace_back(platform::SimTimeMs() - kStart, i);
            }
            participant.reset();
        });
    }
    std::vector<std::pair<std::uint32_t, int>> expected;
    for (int i = 0; i < kThreads; ++i) {
        for (int round = 1; round <= 3; ++round) expected.emplace_back(static_cast<std::uint32_t>(round * (3 + 2 * i)), i);
    }
    std::sort(expected.begin(), expected.end());
    // An advance stops at its own end: later deadlines wait for the next.
    ASSERT_TRUE(platform::AdvanceVirtualClock(20));
    EXPECT_EQ(platform::SimTimeMs(), kStart + 20);
    {
        std::lock_guard lock(mutex);
        EXPECT_EQ(log.size(), static_cast<std::size_t>(std::count_if(
                                  expected.begin(), expected.end(), [](auto& e) { return e.first <= 20; })));
    }
    ASSERT_TRUE(platform::AdvanceVirtualClock(180));
    // Equal times (thread 0 at 9 ms and thread 3 at 9 ms) end together; within
    // one instant the log order is the threads' race.
    EXPECT_TRUE(std::is_sorted(log.begin(), log.end(), [](auto& a, auto& b) { return a.first < b.first; }));
    std::sort(log.begin(), log.end());
    EXPECT_EQ(log, expected);
}

}  // namespace
