#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "devio/core/future.h"
#include "devio/core/job_queue.h"
#include "devio/core/runloop_executor.h"
#include "devio/core/scoped_executor.h"
#include "devio/core/test_runloop.h"

namespace devio {
namespace {

executor_errc schedule_error(const auto& handle) {
    try {
        handle.schedule([] {});
    } catch (const executor_error& e) {
        return static_cast<executor_errc>(e.code().value());
    }
    ADD_FAILURE() << "scheduling was accepted";
    return executor_errc{};
}

// ---- runloop ------------------------------------------------------------------

TEST(RunloopExecutorTest, JobsAreNumberedAndRunOnlyWhenAskedFor) {
    testing::manual_runloop loop;
    std::vector<int> ran;
    for (int i = 0; i < 3; ++i) loop.get_executor().schedule([&ran, i] { ran.push_back(i); });
    EXPECT_EQ(loop.posted(), (std::deque<std::uint64_t>{1, 2, 3}));
    EXPECT_TRUE(ran.empty());

    EXPECT_TRUE(loop.loop().run_job(3));
    EXPECT_TRUE(loop.loop().run_job(1));
    EXPECT_EQ(ran, (std::vector<int>{2, 0}));
    EXPECT_FALSE(loop.loop().run_job(3)) << "a job runs once";
    EXPECT_FALSE(loop.loop().run_job(99));
    EXPECT_EQ(loop.loop().pending(), 1u);
}

TEST(RunloopExecutorTest, JobRunsOnTheThreadThatAsks) {
    testing::manual_runloop loop;
    std::thread::id ran_on;
    loop.get_executor().schedule([&] { ran_on = std::this_thread::get_id(); });
    std::thread owner([&] { loop.drain(); });
    const auto owner_id = owner.get_id();
    owner.join();
    EXPECT_EQ(ran_on, owner_id);
}

TEST(RunloopExecutorTest, ThrowingJobDoesNotStopTheLoop) {
    testing::manual_runloop loop;
    bool later = false;
    loop.get_executor().schedule([] { throw std::runtime_error("job failed"); });
    loop.get_executor().schedule([&] { later = true; });
    EXPECT_EQ(loop.drain(), 2);
    EXPECT_TRUE(later);
}

TEST(RunloopExecutorTest, HandlesOutlivingTheOwnerAreRefused) {
    executor handle;
    {
        testing::manual_runloop loop;
        handle = loop.get_executor();
    }
    EXPECT_EQ(schedule_error(handle), executor_errc::invalid_executor);
}

// ---- job queue ----------------------------------------------------------------

TEST(JobQueueTest, RunsJobsInOrderOnItsWorker) {
    std::vector<int> order;
    std::thread::id worker;
    promise<void> done;
    auto finished = done.get_future();
    job_queue queue;
    for (int i = 0; i < 50; ++i) queue.get_executor().schedule([&order, i] { order.push_back(i); });
    queue.get_executor().schedule([&] {
        worker = std::this_thread::get_id();
        done.set_value();
    });
    finished.get();
    ASSERT_EQ(order.size(), 50u);
    for (int i = 0; i < 50; ++i) EXPECT_EQ(order[i], i);
    EXPECT_NE(worker, std::this_thread::get_id());
}

TEST(JobQueueTest, StopFinishesQueuedJobsThenRefusesNewOnes) {
    int ran = 0;
    executor handle;
    {
        job_queue queue;
        handle = queue.get_executor();
        for (int i = 0; i < 20; ++i) handle.schedule([&ran] { ++ran; });
        queue.stop();
        EXPECT_EQ(ran, 20);
    }
    EXPECT_EQ(schedule_error(handle), executor_errc::job_queue_stopped);
}

TEST(JobQueueTest, DestroyedFromItsOwnJobDoesNotHang) {
    auto queue = std::make_unique<job_queue>();
    promise<void> done;
    auto finished = done.get_future();
    queue->get_executor().schedule([&] {
        queue.reset();
        done.set_value();
    });
    finished.get();
    EXPECT_EQ(queue, nullptr);
}

// ---- weak and safe handles ---------------------------------------------------

TEST(WeakExecutorTest, RefusesOnceTheTargetIsGone) {
    EXPECT_EQ(schedule_error(weak_executor()), executor_errc::invalid_executor);
    weak_executor weak;
    {
        testing::manual_runloop loop;
        weak = loop.get_executor();
        weak.schedule([] {});
        EXPECT_EQ(loop.drain(), 1);
    }
    EXPECT_TRUE(weak.expired());
    EXPECT_FALSE(weak.lock().valid());
    EXPECT_EQ(schedule_error(weak), executor_errc::capture_expired);
}

TEST(SafeExecutorTest, DropsJobsQuietlyAndBreaksTheirPromises) {
    safe_executor safe;
    {
        testing::manual_runloop loop;
        safe = safe_executor(loop.get_executor());
        EXPECT_TRUE(safe.schedule([] {}));
    }
    promise<int> owned;
    auto f = owned.get_future();
    EXPECT_FALSE(safe.schedule([p = std::move(owned)]() mutable { p.set_value(1); }));
    try {
        f.get();
        ADD_FAILURE() << "the dropped job's promise was not broken";
    } catch (const future_error& e) {
        EXPECT_EQ(e.code(), future_errc::broken_promise);
    }
}

TEST(SafeExecutorTest, RefusalByALiveExecutorIsQuietToo) {
    job_queue queue;
    safe_executor safe(queue.get_executor());
    queue.stop();
    EXPECT_FALSE(safe.schedule([] {}));
}

// ---- scoped --------------------------------------------------------------------

TEST(ScopedExecutorTest, ForwardsToTheTargetWhileTheOwnerLives) {
    testing::manual_runloop loop;
    scoped_executor scope(loop.get_executor());
    int ran = 0;
    scope.get_executor().schedule([&] { ++ran; });
    EXPECT_EQ(ran, 0);
    loop.drain();
    EXPECT_EQ(ran, 1);
}

TEST(ScopedExecutorTest, JobsNotStartedWhenTheOwnerGoesAreDropped) {
    testing::manual_runloop loop;
    bool ran = false;
    executor handle;
    {
        scoped_executor scope(loop.get_executor());
        handle = scope.get_executor();
        handle.schedule([&] { ran = true; });
    }
    loop.drain();
    EXPECT_FALSE(ran);
    EXPECT_EQ(schedule_error(handle), executor_errc::capture_expired);
}

TEST(ScopedExecutorTest, ContinuationAfterTheOwnerGoesGivesCaptureExpired) {
    testing::manual_runloop loop;
    promise<int> p;
    future<int> next;
    {
        scoped_executor scope(loop.get_executor());
        next = p.get_future().then(scope.get_executor(), [](future<int> v) { return v.get(); });
    }
    p.set_value(1);
    EXPECT_THROW(next.get(), DevioExceptionCaptureExpired);
}

TEST(ScopedExecutorTest, OwnerDestroyedFromItsOwnJobDoesNotWaitForItself) {
    testing::manual_runloop loop;
    auto scope = std::make_unique<scoped_executor>(loop.get_executor());
    scope->get_executor().schedule([&] { scope.reset(); });
    EXPECT_EQ(loop.drain(), 1);
    EXPECT_EQ(scope, nullptr);
}

TEST(ScopedExecutorTest, EmptyTargetIsRefused) {
    EXPECT_THROW(scoped_executor{executor()}, executor_error);
}

TEST(ScopedExecutorTest, WaitOnOwnContinuationThroughTheScopeWillDeadlock) {
    testing::manual_runloop loop;
    scoped_executor scope(loop.get_executor());
    future_errc raised{};
    loop.get_executor().schedule([&] {
        auto f = make_ready(1).then(scope.get_executor(), [](future<int> v) { return v.get(); });
        try {
            f.get();
        } catch (const future_error& e) {
            raised = static_cast<future_errc>(e.code().value());
        }
    });
    loop.drain();
    EXPECT_EQ(raised, future_errc::will_deadlock);
}

}  // namespace
}  // namespace devio
