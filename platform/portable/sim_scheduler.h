// Backend-internal side of the portable simulation clock: the one lock that
// every clock wait, event and completion routine shares, and the per-thread
// queue of completion routines (the portable stand-in for user APCs).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "platform/sim_clock.h"

namespace platform::sched {

// Completion routines queued for one thread; they run only when that thread
// is in an alertable wait, as user APCs do.
struct ApcQueue;

// The queue of the calling thread, created on first use.
std::shared_ptr<ApcQueue> CurrentThreadQueue();

// Everything that changes what a waiter waits for runs under this lock, so
// that the virtual clock never sees a thread as idle while a wake-up for it
// is on its way.
std::unique_lock<std::mutex> Lock();

// These require Lock() to be held by the caller.
std::uint32_t TimeMsLocked();
void QueueApcLocked(const std::shared_ptr<ApcQueue>& queue, std::function<void()> routine);
void SetEventLocked(SimEvent::Impl* event);

// For tests of the wake-up logic: threads blocked in a clock wait right now,
// and how many times the calling thread has come back from blocking in one
// (wake-ups for it, time-outs and any spurious return alike).
std::size_t BlockedThreads();
std::uint64_t ThreadWakeups();

}  // namespace platform::sched
