#include <windows.h>

#include "platform/thread.h"

namespace platform {

struct Event::Impl {
    HANDLE handle;
};

Event::Event(bool manualReset, bool initiallySignaled)
    : m_impl(new Impl{CreateEventW(nullptr, manualReset, initiallySignaled, nullptr)}) {}
Event::~Event() {
    if (m_impl->handle) CloseHandle(m_impl->handle);
}
void Event::Set() { SetEvent(m_impl->handle); }
void Event::Reset() { ResetEvent(m_impl->handle); }

WaitResult Event::Wait(std::uint32_t timeoutMs) {
    switch (WaitForSingleObject(m_impl->handle, timeoutMs)) {
    case WAIT_OBJECT_0:
        return WaitResult::kSignaled;
    case WAIT_TIMEOUT:
        return WaitResult::kTimeout;
    default:
        return WaitResult::kFailed;
    }
}

int WaitForAnyEvent(Event* const* events, std::size_t count, std::uint32_t timeoutMs) {
    HANDLE handles[MAXIMUM_WAIT_OBJECTS];
    if (count == 0 || count > MAXIMUM_WAIT_OBJECTS) return -1;
    for (std::size_t i = 0; i < count; ++i) handles[i] = events[i]->impl()->handle;
    const DWORD result = WaitForMultipleObjects(static_cast<DWORD>(count), handles, FALSE, timeoutMs);
    if (result >= WAIT_OBJECT_0 && result < WAIT_OBJECT_0 + count) return static_cast<int>(result - WAIT_OBJECT_0);
    return -1;
}

struct Thread::Impl {
    HANDLE handle = nullptr;
    DWORD id = 0;
    std::function<void()> body;
};

namespace {
DWORD WINAPI ThreadMain(LPVOID param) {
    // The Impl is shared: the creator may have released its Thread already.
    auto* keep = static_cast<std::shared_ptr<Thread::Impl>*>(param);
    std::shared_ptr<Thread::Impl> impl = std::move(*keep);
    delete keep;
    impl->body();
    return 0;
}
}  // namespace

std::unique_ptr<Thread> Thread::Start(std::function<void()> body, ThreadPriority priority) {
    auto impl = std::make_shared<Impl>();
    impl->body = std::move(body);
    auto* param = new std::shared_ptr<Impl>(impl);
    impl->handle = CreateThread(nullptr, 0, ThreadMain, param, CREATE_SUSPENDED, &impl->id);
    if (impl->handle == nullptr) {
        delete param;
        return nullptr;
    }
    if (priority == ThreadPriority::kHighest) SetThreadPriority(impl->handle, THREAD_PRIORITY_HIGHEST);
    if (priority == ThreadPriority::kLowest) SetThreadPriority(impl->handle, THREAD_PRIORITY_LOWEST);
    ResumeThread(impl->handle);
    return std::unique_ptr<Thread>(new Thread(std::move(impl)));
}

Thread::Thread(std::shared_ptr<Impl> impl) : m_impl(std::move(impl)) {}

Thread::~Thread() {
    if (m_impl->handle) CloseHandle(m_impl->handle);
}

bool Thread::Join(std::uint32_t timeoutMs) { return WaitForSingleObject(m_impl->handle, timeoutMs) == WAIT_OBJECT_0; }

std::uint32_t Thread::Id() const { return m_impl->id; }

void SleepMs(std::uint32_t ms) { Sleep(ms); }

}  // namespace platform
