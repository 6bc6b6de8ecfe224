#include "devio/core/future.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

#include "devio/core/context.h"
#include "devio/core/job_queue.h"
#include "devio/core/test_runloop.h"

namespace devio {
namespace {

template <class F>
future_error expect_future_error(F&& f) {
    try {
        f();
    } catch (const future_error& e) {
        return e;
    }
    ADD_FAILURE() << "no future_error raised";
    return future_error(future_errc{});
}

// ---- the same round trips over int, a move-only type and void ------------

template <class T>
struct value_of;
template <>
struct value_of<int> {
    static int make() { return 42; }
    static void expect(int v) { EXPECT_EQ(v, 42); }
};
template <>
struct value_of<std::unique_ptr<std::string>> {
    static std::unique_ptr<std::string> make() { return std::make_unique<std::string>("moved"); }
    static void expect(const std::unique_ptr<std::string>& v) {
        ASSERT_TRUE(v);
        EXPECT_EQ(*v, "moved");
    }
};

template <class T>
class FutureRoundTripTest : public ::testing::Test {
protected:
    static void set(promise<T>& p) {
        if constexpr (std::is_void_v<T>) {
            p.set_value();
        } else {
            p.set_value(value_of<T>::make());
        }
    }
    static void check(future<T>& f) {
        if constexpr (std::is_void_v<T>) {
            f.get();
        } else {
            value_of<T>::expect(f.get());
        }
    }
};
using RoundTripTypes = ::testing::Types<int, std::unique_ptr<std::string>, void>;
TYPED_TEST_SUITE(FutureRoundTripTest, RoundTripTypes);

TYPED_TEST(FutureRoundTripTest, ValueSetBeforeGetIsReturnedAndConsumesTheFuture) {
    promise<TypeParam> p;
    auto f = p.get_future();
    this->set(p);
    ASSERT_TRUE(f.valid());
    this->check(f);
    EXPECT_FALSE(f.valid());
    EXPECT_EQ(expect_future_error([&] { f.get(); }).code(), future_errc::no_state);
}

TYPED_TEST(FutureRoundTripTest, ValueSetOnAnotherThreadWakesTheWaiter) {
    promise<TypeParam> p;
    auto f = p.get_future();
    std::thread producer([&] { this->set(p); });
    this->check(f);
    producer.join();
}

TYPED_TEST(FutureRoundTripTest, StoredExceptionIsRethrown) {
    promise<TypeParam> p;
    auto f = p.get_future();
    p.set_exception(make_devio_exception(28));
    EXPECT_THROW(f.get(), DevioExceptionDeviceRemoved);
    EXPECT_FALSE(f.valid());
}

TYPED_TEST(FutureRoundTripTest, DestroyedPromiseBreaksItsFuture) {
    auto f = promise<TypeParam>().get_future();
    EXPECT_EQ(expect_future_error([&] { f.get(); }).code(), future_errc::broken_promise);
}

TYPED_TEST(FutureRoundTripTest, ContinuationReceivesTheSatisfiedFuture) {
    testing::manual_runloop loop;
    promise<TypeParam> p;
    int ran = 0;
    auto next = p.get_future().then(loop.get_executor(), [&](future<TypeParam> f) {
        ++ran;
        this->check(f);
        return 7;
    });
    EXPECT_EQ(loop.drain(), 0);
    this->set(p);
    EXPECT_EQ(loop.drain(), 1);
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(next.get(), 7);
}

// ---- future errors ----------------------------------------------------------

TEST(FutureErrorTest, GetOrThenWithoutStateRaisesNoState) {
    future<int> empty;
    auto e = expect_future_error([&] { empty.get(); });
    EXPECT_EQ(e.code(), future_errc::no_state);
    EXPECT_STREQ(e.what(), "devio future not valid");
    testing::manual_runloop loop;
    auto then_error = expect_future_error([&] { (void)empty.then(loop.get_executor(), [](future<int>) {}); });
    EXPECT_STREQ(then_error.what(), "devio future not valid");
}

TEST(FutureErrorTest, ThenConsumesTheFuture) {
    testing::manual_runloop loop;
    auto f = make_ready(1);
    auto next = f.then(loop.get_executor(), [](future<int> v) { return v.get(); });
    EXPECT_FALSE(f.valid());
    EXPECT_EQ(expect_future_error([&] { f.get(); }).code(), future_errc::no_state);
    next.ignore();
}

TEST(FutureErrorTest, WaitInMustNotBlockContextRaisesMustNotWait) {
    promise<int> p;
    auto f = p.get_future();
    {
        must_not_block_scope callback;
        auto e = expect_future_error([&] { f.get(); });
        EXPECT_EQ(e.code(), future_errc::must_not_wait);
        EXPECT_STREQ(e.what(), "devio waiting in context which must not block");
    }
    EXPECT_TRUE(f.valid()) << "a refused wait leaves the future usable";
    p.set_value(5);
    EXPECT_EQ(f.get(), 5);
}

TEST(FutureErrorTest, ReadyResultIsNoWaitEvenWhereBlockingIsForbidden) {
    must_not_block_scope callback;
    EXPECT_EQ(make_ready(3).get(), 3);
}

TEST(FutureErrorTest, WaitingOnOwnExecutorsContinuationWillDeadlock) {
    testing::manual_runloop loop;
    promise<int> p;
    std::string what;
    loop.get_executor().schedule([&] {
        auto doubled = p.get_future().then(loop.get_executor(), [](future<int> v) { return v.get() * 2; });
        try {
            doubled.get();
        } catch (const future_error& e) {
            EXPECT_EQ(e.code(), future_errc::will_deadlock);
            what = e.what();
        }
    });
    loop.drain();
    EXPECT_EQ(what, "blocking the executor required to complete continuation, will deadlock");
}

TEST(FutureErrorTest, ContinuationForBlockedExecutorWillDeadlock) {
    promise<void> gate;
    auto gate_future = gate.get_future();
    job_queue queue;  // joined before the gate goes
    queue.get_executor().schedule([&] { gate_future.get(); });
    // Waits until the worker is inside its wait; the queue reports it.
    while (!queue.get_executor().impl()->is_blocked()) std::this_thread::yield();

    auto e = expect_future_error([&] { (void)make_ready(1).then(queue.get_executor(), [](future<int>) {}); });
    EXPECT_EQ(e.code(), future_errc::will_deadlock);
    EXPECT_STREQ(e.what(), "executor required to complete continuation is blocked, will deadlock");
    gate.set_value();
}

TEST(FutureErrorTest, DroppingUnreadFuturesDoesNotRaise) {
    promise<int> pending;
    EXPECT_NO_THROW({ auto f = pending.get_future(); });
    EXPECT_NO_THROW({ auto f = make_ready(9); });
    promise<int> satisfied;
    auto f = satisfied.get_future();
    satisfied.set_value(1);
    EXPECT_NO_THROW(f = future<int>());
}

// ---- promise misuse ---------------------------------------------------------

TEST(PromiseMisuseTest, SettingTwiceRaisesPromiseAlreadySatisfied) {
    promise<int> p;
    p.set_value(1);
    EXPECT_EQ(expect_future_error([&] { p.set_value(2); }).code(), future_errc::promise_already_satisfied);
    EXPECT_EQ(expect_future_error([&] { p.set_exception(make_devio_exception(1)); }).code(),
              future_errc::promise_already_satisfied);
    EXPECT_EQ(p.get_future().get(), 1) << "the first result stands";
}

TEST(PromiseMisuseTest, TakingTheFutureTwiceRaisesFutureAlreadyRetrieved) {
    promise<void> p;
    auto f = p.get_future();
    EXPECT_EQ(expect_future_error([&] { (void)p.get_future(); }).code(), future_errc::future_already_retrieved);
    p.set_value();
    f.get();
}

TEST(PromiseMisuseTest, MovedFromPromiseHasNoState) {
    promise<int> p;
    promise<int> taken = std::move(p);
    EXPECT_EQ(expect_future_error([&] { p.set_value(1); }).code(), future_errc::no_state);
    taken.set_value(4);
    EXPECT_EQ(taken.get_future().get(), 4);
}

// ---- continuations ----------------------------------------------------------

class ContinuationTest : public ::testing::Test {
protected:
    testing::manual_runloop m_loop;
};

TEST_F(ContinuationTest, RunsOnItsExecutorOnlyWhenServed) {
    auto next = make_ready(20).then(m_loop.get_executor(), [](future<int> v) { return v.get() + 1; });
    EXPECT_FALSE(next.is_ready());
    EXPECT_EQ(m_loop.drain(), 1);
    EXPECT_EQ(next.get(), 21);
}

TEST_F(ContinuationTest, AntecedentFailureReachesTheCallback) {
    promise<int> p;
    auto next = p.get_future().then(m_loop.get_executor(), [](future<int> v) {
        try {
            v.get();
        } catch (const DevioException& e) {
            return static_cast<int>(e.code());
        }
        return -1;
    });
    p.set_exception(make_devio_exception(39));
    m_loop.drain();
    EXPECT_EQ(next.get(), 39);
}

TEST_F(ContinuationTest, CallbackExceptionIsStoredInTheResult) {
    auto next = make_ready().then(m_loop.get_executor(), [](future<void>) -> int { throw_devio_exception(72); });
    m_loop.drain();
    EXPECT_THROW(next.get(), DevioExceptionShuttingDown);
}

TEST_F(ContinuationTest, CallbackReturningAFutureIsUnwrapped) {
    promise<std::string> inner;
    auto inner_future = inner.get_future();
    future<std::string> next =
        make_ready(1).then(m_loop.get_executor(), [&](future<int> v) {
            v.ignore();
            return std::move(inner_future);
        });
    m_loop.drain();
    EXPECT_FALSE(next.is_ready()) << "the outer result waits for the inner future";
    inner.set_value("inner");
    EXPECT_EQ(next.get(), "inner");
}

TEST_F(ContinuationTest, UnwrappedFailureAndInvalidInnerFuture) {
    auto failing = make_ready().then(m_loop.get_executor(),
                                     [](future<void>) { return make_failed<int>(make_devio_exception(5)); });
    auto invalid = make_ready().then(m_loop.get_executor(), [](future<void>) { return future<int>(); });
    m_loop.drain();
    EXPECT_THROW(failing.get(), DevioExceptionNotConnected);
    EXPECT_EQ(expect_future_error([&] { invalid.get(); }).code(), future_errc::no_state);
}

TEST_F(ContinuationTest, ChainsRunInOrderEachOnce) {
    int calls = 0;
    promise<int> p;
    auto end = p.get_future()
                   .then(m_loop.get_executor(), [&](future<int> v) { ++calls; return v.get() * 10; })
                   .then(m_loop.get_executor(), [&](future<int> v) { ++calls; return v.get() + 3; });
    p.set_value(4);
    m_loop.drain();
    EXPECT_EQ(m_loop.drain(), 0);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(end.get(), 43);
}

TEST_F(ContinuationTest, EmptyExecutorIsRefusedAtOnce) {
    auto f = make_ready(1);
    EXPECT_THROW((void)f.then(executor(), [](future<int>) {}), executor_error);
    EXPECT_TRUE(f.valid());
    f.ignore();
}

TEST_F(ContinuationTest, StoppedQueueGivesJobQueueStopped) {
    job_queue queue;
    queue.stop();
    auto next = make_ready(1).then(queue.get_executor(), [](future<int> v) { return v.get(); });
    EXPECT_THROW(next.get(), DevioExceptionJobQueueStopped);
}

TEST(ContinuationLifetimeTest, RunloopGoneBeforeServingBreaksTheResult) {
    future<int> next;
    {
        testing::manual_runloop loop;
        next = make_ready(1).then(loop.get_executor(), [](future<int> v) { return v.get(); });
    }
    EXPECT_EQ(expect_future_error([&] { next.get(); }).code(), future_errc::broken_promise);
}

TEST(ContinuationLifetimeTest, RunloopShutDownBeforeTheAntecedentGivesInvalidExecutor) {
    promise<int> p;
    future<int> next;
    {
        testing::manual_runloop loop;
        next = p.get_future().then(loop.get_executor(), [](future<int> v) { return v.get(); });
    }
    p.set_value(1);
    EXPECT_THROW(next.get(), DevioExceptionInvalidExecutor);
}

// ---- delegation, make_ready, weak references -------------------------------

TEST(PromiseDelegationTest, DelegatedPromiseTakesTheSourcesResult) {
    promise<int> source;
    promise<int> delegating;
    auto f = delegating.get_future();
    delegating.delegate(source.get_future());
    EXPECT_EQ(expect_future_error([&] { delegating.set_value(0); }).code(),
              future_errc::promise_already_satisfied);
    { promise<int> gone = std::move(delegating); }  // its end no longer breaks f
    EXPECT_FALSE(f.is_ready());
    source.set_value(11);
    EXPECT_EQ(f.get(), 11);
}

TEST(PromiseDelegationTest, BrokenSourceBreaksTheDelegate) {
    promise<void> delegating;
    auto f = delegating.get_future();
    delegating.delegate(promise<void>().get_future());
    EXPECT_EQ(expect_future_error([&] { f.get(); }).code(), future_errc::broken_promise);
}

TEST(MakeReadyTest, ReadyAndFailedFutures) {
    auto ready = make_ready(std::string("x"));
    EXPECT_TRUE(ready.is_ready());
    EXPECT_EQ(ready.get(), "x");
    make_ready().get();
    EXPECT_THROW(make_failed<int>(make_devio_exception(4)).get(), DevioExceptionNoResponse);
}

TEST(FutureWeakrefTest, FollowsReadinessWithoutOwning) {
    future_weakref<int> ref;
    {
        promise<int> p;
        auto f = p.get_future();
        ref = f.weakref();
        EXPECT_FALSE(ref.is_ready());
        EXPECT_FALSE(ref.expired());
        p.set_value(1);
        EXPECT_TRUE(ref.is_ready());
        f.ignore();
    }
    EXPECT_TRUE(ref.expired());
    EXPECT_FALSE(ref.is_ready());
}

}  // namespace
}  // namespace devio
