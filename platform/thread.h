// Threads and events. Simulation and bridge threads are created through here
// so the win32 backend can give them real priorities and alertable waits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace platform {

enum class WaitResult { kSignaled, kTimeout, kFailed };

// A Win32-style event: manual-reset events stay signalled until Reset, auto-
// reset events release one waiter and clear themselves.
class Event {
public:
    Event(bool manualReset, bool initiallySignaled);
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    void Set();
    void Reset();
    // Waits up to `timeoutMs` (0xFFFFFFFF: forever).
    WaitResult Wait(std::uint32_t timeoutMs);

    struct Impl;
    Impl* impl() const { return m_impl.get(); }

private:
    std::unique_ptr<Impl> m_impl;
};

// Waits until one of `count` events is signalled and returns its index (the
// lowest when several are), consuming an auto-reset event as Wait does; -1 on
// time-out or failure. WaitForMultipleObjects, wait-any, on win32.
int WaitForAnyEvent(Event* const* events, std::size_t count, std::uint32_t timeoutMs);

// kLowest is for background work that must never compete with the
// simulation or the application (the call recorder's writer).
enum class ThreadPriority { kNormal, kHighest, kLowest };

// A joinable thread. Destroying a Thread that is still running detaches it;
// owners are expected to stop and Join first.
class Thread {
public:
    static std::unique_ptr<Thread> Start(std::function<void()> body, ThreadPriority priority);
    ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    // True when the thread finished within `timeoutMs`.
    bool Join(std::uint32_t timeoutMs);
    std::uint32_t Id() const;

    struct Impl;

private:
    explicit Thread(std::shared_ptr<Impl> impl);
    std::shared_ptr<Impl> m_impl;
};

void SleepMs(std::uint32_t ms);

}  // namespace platform
