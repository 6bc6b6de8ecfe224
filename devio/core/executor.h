// Executors: things that run jobs. Implementations derive from executor_impl
// and are shared objects (a queued job may keep its executor alive);
// callers hold them through the handle types below.
//
// Scheduling never runs the job on the calling thread.
#pragma once

#include <atomic>
#include <memory>

#include "devio/core/errors.h"
#include "devio/core/job.h"

namespace devio {

// Base of every executor implementation. schedule is safe from any thread.
class executor_impl : public std::enable_shared_from_this<executor_impl> {
public:
    virtual ~executor_impl() = default;

    // Queues the job or throws executor_error when the executor no longer
    // takes jobs. A refused job is left untouched with the caller.
    virtual void schedule(job&& j) = 0;

    // The executor whose thread actually runs the jobs (an adapter forwards
    // to its target); null when that target is gone. Used to tell whether a
    // wait blocks the executor it waits for.
    virtual executor_impl* root() noexcept { return this; }

    // True while a thread serving this executor is blocked in a wait.
    bool is_blocked() const noexcept { return m_blocked.load(std::memory_order_acquire) > 0; }
    void enter_blocked_wait() noexcept { m_blocked.fetch_add(1, std::memory_order_acq_rel); }
    void leave_blocked_wait() noexcept { m_blocked.fetch_sub(1, std::memory_order_acq_rel); }

private:
    std::atomic<int> m_blocked{0};
};

// Owning, copyable handle to an executor; may be empty.
class executor {
public:
    executor() = default;
    explicit executor(std::shared_ptr<executor_impl> impl) noexcept : m_impl(std::move(impl)) {}

    bool valid() const noexcept { return m_impl != nullptr; }
    // Throws executor_error(invalid_executor) on an empty handle, or what
    // the implementation throws.
    void schedule(job j) const;
    const std::shared_ptr<executor_impl>& impl() const noexcept { return m_impl; }

    friend bool operator==(const executor& a, const executor& b) noexcept { return a.m_impl == b.m_impl; }

private:
    std::shared_ptr<executor_impl> m_impl;
};

// Non-owning handle. Scheduling through it once the executor is gone throws
// executor_error(capture_expired); through a handle that never named an
// executor, invalid_executor.
class weak_executor {
public:
    weak_executor() = default;
    weak_executor(const executor& target) noexcept : m_target(target.impl()), m_bound(target.valid()) {}

    // The executor, or an empty handle once it is gone.
    executor lock() const noexcept { return executor(m_target.lock()); }
    bool expired() const noexcept { return m_target.expired(); }
    void schedule(job j) const;

private:
    std::weak_ptr<executor_impl> m_target;
    bool m_bound = false;
};

// For objects that may outlive their executor (a device object posting to
// the bridge's run loop): holds the executor weakly, and a job scheduled
// after the executor is gone, or refused by it, is dropped without an error.
// Any promise the job owned is then broken, which is how its waiter learns.
class safe_executor {
public:
    safe_executor() = default;
    explicit safe_executor(const executor& target) noexcept : m_target(target.impl()) {}

    // True when the job was accepted by the executor.
    bool schedule(job j) const noexcept;
    // The executor, or an empty handle once it is gone.
    executor lock() const noexcept { return executor(m_target.lock()); }

private:
    std::weak_ptr<executor_impl> m_target;
};

}  // namespace devio
