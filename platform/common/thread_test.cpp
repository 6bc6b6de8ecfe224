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
