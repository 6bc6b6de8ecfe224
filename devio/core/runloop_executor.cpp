#include "devio/core/runloop_executor.h"

#include <vector>

#include "devio/core/context.h"

namespace devio {

runloop_executor_impl::runloop_executor_impl(notify_fn notify) : m_notify(std::move(notify)) {}

void runloop_executor_impl::schedule(job&& j) {
    std::uint64_t number = 0;
    {
        std::lock_guard lock(m_mutex);
        if (m_shut_down) throw executor_error(executor_errc::invalid_executor);
        number = m_next_number++;
        m_jobs.emplace(number, std::move(j));
    }
    if (m_notify) m_notify(number);
}

bool runloop_executor_impl::run_job(std::uint64_t job_number) {
    job j;
    {
        std::lock_guard lock(m_mutex);
        auto it = m_jobs.find(job_number);
        if (it == m_jobs.end()) return false;
        j = std::move(it->second);
        m_jobs.erase(it);
    }
    serving_scope serving(this);
    try {
        j();
    } catch (...) {
    }
    return true;
}

void runloop_executor_impl::shutdown() {
    std::map<std::uint64_t, job> dropped;
    {
        std::lock_guard lock(m_mutex);
        m_shut_down = true;
        dropped.swap(m_jobs);
    }
    // Destroyed outside the lock: breaking a promise may run continuations
    // that schedule here again.
}

std::size_t runloop_executor_impl::pending() const {
    std::lock_guard lock(m_mutex);
    return m_jobs.size();
}

runloop_executor::runloop_executor(runloop_executor_impl::notify_fn notify)
    : m_impl(std::make_shared<runloop_executor_impl>(std::move(notify))) {}

runloop_executor::~runloop_executor() { m_impl->shutdown(); }

}  // namespace devio
