// The shared state between a promise and its future. Internal to the
// library's future and promise; included through devio/core/future.h.
//
// Owned jointly (shared_ptr) by the promise, the future, and any pending
// continuation job. Each state has its own lock guarding readiness, the
// result, the continuation list and the completing executor; the count of
// futures and the observed flag are atomics. Continuations are queued under
// the lock and run outside it, once, on the thread that satisfies the state
// (or on the thread adding them when it is already satisfied).
#pragma once

#include <atomic>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <variant>
#include <vector>

#include "devio/core/errors.h"
#include "devio/core/executor.h"
#include "devio/core/job.h"

namespace devio {

inline constexpr const char* kFutureNotValid = "devio future not valid";
inline constexpr const char* kMustNotWait = "devio waiting in context which must not block";
inline constexpr const char* kBlockingOwnExecutor =
    "blocking the executor required to complete continuation, will deadlock";
inline constexpr const char* kExecutorBlocked = "executor required to complete continuation is blocked, will deadlock";
inline constexpr const char* kUnobservedResult = "Future being destructed without prior get() or ignore() call";
inline constexpr const char* kPromiseAlreadySatisfied = "devio promise already satisfied";
inline constexpr const char* kFutureAlreadyRetrieved = "devio future already retrieved";
inline constexpr const char* kPromiseNoState = "devio promise has no state";

class future_state_base {
public:
    future_state_base() = default;
    future_state_base(const future_state_base&) = delete;
    future_state_base& operator=(const future_state_base&) = delete;

    bool is_ready() const;
    // Blocks until satisfied. A wait that would block first checks the
    // thread's context: must_not_wait when it must not block, will_deadlock
    // when the thread serves the executor that is to satisfy this state.
    void wait();
    // Runs c once the state is satisfied (at once, here, if it already is).
    void add_continuation(job c);

    void attach_future() noexcept { m_futures.fetch_add(1, std::memory_order_relaxed); }
    // Drops one future; the last one going with the result never observed
    // passes silently (deliberately lenient, as the terminate switch is off).
    void detach_future() noexcept;
    void mark_observed() noexcept { m_observed.store(true, std::memory_order_relaxed); }
    // Records that the future was handed out; a second time raises
    // future_already_retrieved.
    void claim_future();

    void set_completer(const std::shared_ptr<executor_impl>& completer);
    std::shared_ptr<executor_impl> completer() const;
    // Breaks the state (broken_promise) unless it is already satisfied.
    void break_promise();

protected:
    // Stores the result through store and satisfies the state, or raises
    // promise_already_satisfied.
    template <class Store>
    void satisfy(Store&& store) {
        std::unique_lock lock(m_mutex);
        if (m_ready) {
            lock.unlock();
            raise_future_error(future_errc::promise_already_satisfied, kPromiseAlreadySatisfied);
        }
        store();
        finish(lock);
    }

    std::exception_ptr m_error;  // written before readiness, read after

private:
    void finish(std::unique_lock<std::mutex>& lock);

    mutable std::mutex m_mutex;
    std::condition_variable m_ready_cv;
    bool m_ready = false;
    bool m_retrieved = false;
    std::vector<job> m_continuations;
    std::weak_ptr<executor_impl> m_completer;
    std::atomic<int> m_futures{0};
    std::atomic<bool> m_observed{false};
};

// Shared state of a future of T; T = void keeps no value.
template <class T>
class future_shared_state final : public future_state_base {
public:
    using value_type = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

    void set_value(value_type value) {
        satisfy([&] { m_value.emplace(std::move(value)); });
    }
    void set_exception(std::exception_ptr error) {
        satisfy([&] { m_error = std::move(error); });
    }
    // Stores error unless the state is already satisfied; false then.
    bool try_set_exception(std::exception_ptr error) {
        try {
            set_exception(std::move(error));
            return true;
        } catch (const future_error&) {
            return false;
        }
    }
    // The result of a satisfied state: rethrows its exception or moves its
    // value out (the single future of the state consumes it).
    value_type take() {
        if (m_error) std::rethrow_exception(m_error);
        return std::move(*m_value);
    }

private:
    std::optional<value_type> m_value;
};

using future_shared_state_void = future_shared_state<void>;

}  // namespace devio
