// Futures and promises of the library. A promise is the producing side, set
// once with a value or an exception; its future is the consuming side,
// taken once with get, dropped with ignore, or chained with then onto an
// executor. Futures and promises are move-only and may be used from any
// thread, one thread at a time per object; the shared state they meet in
// carries its own lock (future_state.h).
//
// Misuse of a promise is reported by throwing future_error:
//   no_state                   the promise was moved from;
//   future_already_retrieved   get_future called twice;
//   promise_already_satisfied  a second set_value/set_exception/delegate.
// A promise destroyed before being satisfied breaks its state: the future
// then yields future_error(broken_promise).
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "devio/core/future_state.h"

namespace devio {

template <class T>
class future;
template <class T>
class promise;

namespace detail {

template <class R>
struct unwrap_future {
    using type = R;
    static constexpr bool is_future = false;
};
template <class U>
struct unwrap_future<future<U>> {
    using type = U;
    static constexpr bool is_future = true;
};

struct future_access;

template <class T>
void forward_result(future<T>& from, future_shared_state<T>& to) {
    try {
        if constexpr (std::is_void_v<T>) {
            from.get();
            to.set_value({});
        } else {
            to.set_value(from.get());
        }
    } catch (...) {
        to.set_exception(std::current_exception());
    }
}

// Satisfies `to` with the result of `from` once that one is satisfied.
template <class T>
void delegate_state(const std::shared_ptr<future_shared_state<T>>& to, future<T>&& from);

}  // namespace detail

// A weak reference to a future's state: tells whether the result is there
// without owning or consuming it.
template <class T>
class future_weakref {
public:
    future_weakref() = default;
    explicit future_weakref(std::weak_ptr<future_shared_state<T>> state) noexcept : m_state(std::move(state)) {}

    // True once neither a promise nor a future holds the state.
    bool expired() const noexcept { return m_state.expired(); }
    bool is_ready() const {
        auto state = m_state.lock();
        return state && state->is_ready();
    }

private:
    std::weak_ptr<future_shared_state<T>> m_state;
};

template <class T>
class future {
public:
    using state_type = future_shared_state<T>;

    future() = default;
    explicit future(std::shared_ptr<state_type> state) noexcept : m_state(std::move(state)) {
        if (m_state) m_state->attach_future();
    }
    future(future&& other) noexcept : m_state(std::move(other.m_state)) {}
    future& operator=(future&& other) noexcept {
        if (this != &other) {
            release();
            m_state = std::move(other.m_state);
        }
        return *this;
    }
    ~future() { release(); }

    bool valid() const noexcept { return m_state != nullptr; }
    bool is_ready() const { return m_state && m_state->is_ready(); }

    // Waits for the result, then returns the value or rethrows the stored
    // exception; the future is consumed either way. Raises no_state on an
    // invalid future and, when it would have to block, must_not_wait or
    // will_deadlock (the future stays valid then).
    auto get() -> std::conditional_t<std::is_void_v<T>, void, T> {
        if (!m_state) raise_future_error(future_errc::no_state, kFutureNotValid);
        m_state->wait();
        auto state = std::move(m_state);
        state->mark_observed();
        state->detach_future();
        if constexpr (std::is_void_v<T>) {
            state->take();
        } else {
            return state->take();
        }
    }

    // Marks the result observed and drops it. No effect on an invalid future.
    void ignore() noexcept {
        if (!m_state) return;
        m_state->mark_observed();
        release();
    }

    // Runs callback(future<T>) on ex once this future is satisfied, and
    // returns the future of its result; a callback returning a future is
    // unwrapped into one future. Consumes this future. Raises no_state on an
    // invalid future, executor_error(invalid_executor) on an empty executor,
    // and will_deadlock when ex is at this moment blocked in a wait. When ex
    // refuses the job later, the returned future holds the DevioException of
    // the translated executor error.
    template <class F>
    auto then(const executor& ex, F&& callback);

    future_weakref<T> weakref() const noexcept { return future_weakref<T>(m_state); }

private:
    friend struct detail::future_access;

    void release() noexcept {
        if (!m_state) return;
        m_state->detach_future();
        m_state.reset();
    }

    std::shared_ptr<state_type> m_state;
};

template <class T>
class promise {
public:
    using value_type = typename future_shared_state<T>::value_type;

    promise() : m_state(std::make_shared<future_shared_state<T>>()) {}
    promise(promise&& other) noexcept = default;
    promise& operator=(promise&& other) noexcept {
        if (this != &other) {
            abandon();
            m_state = std::move(other.m_state);
            m_delegated = other.m_delegated;
        }
        return *this;
    }
    ~promise() { abandon(); }

    future<T> get_future() {
        require_state();
        m_state->claim_future();
        return future<T>(m_state);
    }

    template <class U = T, class = std::enable_if_t<!std::is_void_v<U>>>
    void set_value(value_type value) {
        require_unsettled();
        settle_with([&](auto& state) { state.set_value(std::move(value)); });
    }
    template <class U = T, class = std::enable_if_t<std::is_void_v<U>>>
    void set_value() {
        require_unsettled();
        settle_with([](auto& state) { state.set_value({}); });
    }
    void set_exception(std::exception_ptr error) {
        require_unsettled();
        settle_with([&](auto& state) { state.set_exception(std::move(error)); });
    }
    // Hands the promise's duty to another future: the promise's future gets
    // whatever `source` gets. Raises no_state when source is invalid.
    void delegate(future<T>&& source) {
        require_unsettled();
        if (!source.valid()) raise_future_error(future_errc::no_state, kFutureNotValid);
        detail::delegate_state(m_state, std::move(source));
        m_delegated = true;
    }

private:
    void require_state() const {
        if (!m_state) raise_future_error(future_errc::no_state, kPromiseNoState);
    }
    void require_unsettled() const {
        require_state();
        if (m_delegated || m_state->is_ready())
            raise_future_error(future_errc::promise_already_satisfied, kPromiseAlreadySatisfied);
    }
    // The setter keeps its own reference: once the waiter has the result, the
    // promise object may be destroyed by its owner while the setter is still
    // waking waiters and running continuations.
    template <class Set>
    void settle_with(Set&& set) {
        auto state = m_state;
        set(*state);
    }
    void abandon() noexcept {
        if (!m_state) return;
        if (!m_delegated) m_state->break_promise();
        m_state.reset();
    }

    std::shared_ptr<future_shared_state<T>> m_state;
    bool m_delegated = false;
};

// A future that is already satisfied.
template <class T>
future<std::decay_t<T>> make_ready(T&& value) {
    auto state = std::make_shared<future_shared_state<std::decay_t<T>>>();
    state->claim_future();
    state->set_value(std::forward<T>(value));
    return future<std::decay_t<T>>(std::move(state));
}
inline future<void> make_ready() {
    auto state = std::make_shared<future_shared_state<void>>();
    state->claim_future();
    state->set_value({});
    return future<void>(std::move(state));
}
// A future that already holds an exception.
template <class T>
future<T> make_failed(std::exception_ptr error) {
    auto state = std::make_shared<future_shared_state<T>>();
    state->claim_future();
    state->set_exception(std::move(error));
    return future<T>(std::move(state));
}

namespace detail {

// Reaches the state of a future without making it part of the public face.
struct future_access {
    template <class T>
    static const std::shared_ptr<future_shared_state<T>>& state(const future<T>& f) noexcept {
        return f.m_state;
    }
};

template <class T>
void delegate_state(const std::shared_ptr<future_shared_state<T>>& to, future<T>&& from) {
    auto source = future_access::state(from);
    // Whoever completes the source now completes this state too, which the
    // deadlock check of a wait on it must know.
    to->set_completer(source->completer());
    source->add_continuation([to, from = std::move(from)]() mutable { forward_result(from, *to); });
}

template <class R, class U, class Fn, class T>
void run_continuation(promise<U>& result, Fn& fn, future<T>&& antecedent) {
    try {
        if constexpr (unwrap_future<R>::is_future) {
            result.delegate(fn(std::move(antecedent)));
        } else if constexpr (std::is_void_v<R>) {
            fn(std::move(antecedent));
            result.set_value();
        } else {
            result.set_value(fn(std::move(antecedent)));
        }
    } catch (...) {
        result.set_exception(std::current_exception());
    }
}

// Hands a continuation to its executor. A refusal leaves the job intact
// (executor_impl::schedule only takes a job it accepts), so the result can
// carry the reason before the job, and the promise in it, are destroyed.
template <class U>
void schedule_continuation(const executor& ex, const std::shared_ptr<future_shared_state<U>>& result, job j) {
    try {
        ex.impl()->schedule(std::move(j));
    } catch (const executor_error& e) {
        result->try_set_exception(make_devio_exception(devio_code_for_executor_error(e.code().value())));
    }
}

}  // namespace detail

template <class T>
template <class F>
auto future<T>::then(const executor& ex, F&& callback) {
    using Fn = std::decay_t<F>;
    using R = std::invoke_result_t<Fn&, future<T>>;
    using U = typename detail::unwrap_future<R>::type;
    if (!m_state) raise_future_error(future_errc::no_state, kFutureNotValid);
    if (!ex.valid()) throw executor_error(executor_errc::invalid_executor);
    executor_impl* target = ex.impl()->root();
    if (target && target->is_blocked()) raise_future_error(future_errc::will_deadlock, kExecutorBlocked);

    promise<U> result_promise;
    future<U> result = result_promise.get_future();
    auto result_state = detail::future_access::state(result);
    result_state->set_completer(ex.impl());
    auto antecedent_state = m_state;
    antecedent_state->add_continuation([self = std::move(*this), result_state, ex, p = std::move(result_promise),
                                        fn = Fn(std::forward<F>(callback))]() mutable {
        detail::schedule_continuation<U>(
            ex, result_state, [self = std::move(self), p = std::move(p), fn = std::move(fn)]() mutable {
                detail::run_continuation<R>(p, fn, std::move(self));
            });
    });
    return result;
}

}  // namespace devio
