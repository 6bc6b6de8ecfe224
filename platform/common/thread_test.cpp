#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>

namespace {

constexpr std::uint32_t kHangGuardMs = 10000;

TEST(PlatformEvent, ManualResetStaysSignalledUntilReset) {
    platform::Event event(/*manualReset=*/true, /*initiallySignaled=*/false);
    EXPECT_EQ(event.Wait(0), platform::WaitResult::kTimeout);
    event.Set();
    EXPECT_EQ(event.Wait(0), platform::WaitResult::kSignaled);
    EXPECT_EQ(event.Wait(0), platform::WaitResult::kSignaled);
    event.Reset();
    EXPECT_EQ(event.Wait(0), platform::WaitResult::kTimeout);
}

TEST(PlatformEvent, AutoResetReleasesOneWait) {
    platform::Event event(/*manualReset=*/false, /*initiallySignaled=*/true);
    EXPECT_EQ(event.Wait(0), platform::WaitResult::kSignaled);
    EXPECT_EQ(event.Wait(0), platform::WaitResult::kTimeout);
}

TEST(PlatformThread, RunsBodyAndJoinsAfterEvent) {
    platform::Event go(true, false);
    std::atomic<bool> ran{false};
    auto thread = platform::Thread::Start(
        [&] {
            go.Wait(kHangGuardMs);
            ran = true;
        },
        platform::ThreadPriority::kHighest);
    ASSERT_NE(thread, nullptr);
    EXPECT_NE(thread->Id(), 0u);
    EXPECT_FALSE(thread->Join(0));
    go.Set();
    EXPECT_TRUE(thread->Join(kHangGuardMs));
    EXPECT_TRUE(ran);
}

}  // namespace

namespace {

TEST(PlatformWaitForAnyEvent, ReturnsTheLowestSignalledIndexAndConsumesAutoReset) {
    platform::Event work(/*manualReset=*/false, /*initiallySignaled=*/false);
    platform::Event stop(/*manualReset=*/false, /*initiallySignaled=*/false);
    platform::Event* events[] = {&work, &stop};
    EXPECT_EQ(platform::WaitForAnyEvent(events, 2, 0), -1);
    stop.Set();
    work.Set();
    EXPECT_EQ(platform::WaitForAnyEvent(events, 2, 0), 0);
    EXPECT_EQ(platform::WaitForAnyEvent(events, 2, 0), 1);
    EXPECT_EQ(platform::WaitForAnyEvent(events, 2, 0), -1);
}

TEST(PlatformWaitForAnyEvent, ManualResetStaysSignalled) {
    platform::Event manual(/*manualReset=*/true, /*initiallySignaled=*/true);
    platform::Event* events[] = {&manual};
    EXPECT_EQ(platform::WaitForAnyEvent(events, 1, 0), 0);
    EXPECT_EQ(platform::WaitForAnyEvent(events, 1, 0), 0);
}

TEST(PlatformWaitForAnyEvent, WakesWhenAnotherThreadSetsTheSecondEvent) {
    platform::Event first(false, false);
    platform::Event second(false, false);
    platform::Event* events[] = {&first, &second};
    std::atomic<int> woke{-2};
    auto waiter = platform::Thread::Start([&] { woke = platform::WaitForAnyEvent(events, 2, kHangGuardMs); },
                                          platform::ThreadPriority::kNormal);
    second.Set();
    ASSERT_TRUE(waiter->Join(kHangGuardMs));
    EXPECT_EQ(woke.load(), 1);
}

}  // namespace
