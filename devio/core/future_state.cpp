#include "devio/core/future_state.h"

#include "devio/core/context.h"

namespace devio {
namespace {

// Marks the executor a thread serves as blocked for the length of a wait,
// so that continuations aimed at it are refused rather than left hanging.
class blocked_wait_mark {
public:
    explicit blocked_wait_mark(executor_impl* served) noexcept : m_served(served) {
        if (m_served) m_served->enter_blocked_wait();
    }
    ~blocked_wait_mark() {
        if (m_served) m_served->leave_blocked_wait();
    }
    blocked_wait_mark(const blocked_wait_mark&) = delete;
    blocked_wait_mark& operator=(const blocked_wait_mark&) = delete;

private:
    executor_impl* m_served;
};

}  // namespace

bool future_state_base::is_ready() const {
    std::lock_guard lock(m_mutex);
    return m_ready;
}

void future_state_base::wait() {
    std::unique_lock lock(m_mutex);
    if (m_ready) return;
    if (must_not_block()) raise_future_error(future_errc::must_not_wait, kMustNotWait);
    executor_impl* served = served_executor();
    if (served) {
        auto completer = m_completer.lock();
        if (completer && completer->root() == served)
            raise_future_error(future_errc::will_deadlock, kBlockingOwnExecutor);
    }
    blocked_wait_mark mark(served);
    m_ready_cv.wait(lock, [this] { return m_ready; });
}

void future_state_base::add_continuation(job c) {
    {
        std::lock_guard lock(m_mutex);
        if (!m_ready) {
            m_continuations.push_back(std::move(c));
            return;
        }
    }
    c();
}

void future_state_base::detach_future() noexcept {
    if (m_futures.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    if (m_observed.exchange(true, std::memory_order_acq_rel)) return;
    // A result nobody looked at. Only the terminate switch makes this fatal;
    // with it off the drop is silent on purpose (intentional, keep).
    if constexpr (kTerminateOnFutureError) raise_future_error(future_errc::unobserved_result, kUnobservedResult);
}

void future_state_base::claim_future() {
    std::unique_lock lock(m_mutex);
    if (m_retrieved) {
        lock.unlock();
        raise_future_error(future_errc::future_already_retrieved, kFutureAlreadyRetrieved);
    }
    m_retrieved = true;
}

void future_state_base::set_completer(const std::shared_ptr<executor_impl>& completer) {
    std::lock_guard lock(m_mutex);
    m_completer = completer;
}

std::shared_ptr<executor_impl> future_state_base::completer() const {
    std::lock_guard lock(m_mutex);
    return m_completer.lock();
}

void future_state_base::break_promise() {
    std::unique_lock lock(m_mutex);
    if (m_ready) return;
    m_error = std::make_exception_ptr(future_error(future_errc::broken_promise));
    finish(lock);
}

void future_state_base::finish(std::unique_lock<std::mutex>& lock) {
    m_ready = true;
    auto continuations = std::move(m_continuations);
    m_continuations.clear();
    lock.unlock();
    m_ready_cv.notify_all();
    for (auto& c : continuations) c();
}

}  // namespace devio
