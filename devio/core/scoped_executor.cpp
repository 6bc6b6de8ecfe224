#include "devio/core/scoped_executor.h"

#include <algorithm>

namespace devio {

scoped_executor_impl::scoped_executor_impl(executor target) : m_target(std::move(target)) {
    if (!m_target.valid()) throw executor_error(executor_errc::invalid_executor);
}

void scoped_executor_impl::schedule(job&& j) {
    {
        std::lock_guard lock(m_mutex);
        if (!m_open) throw executor_error(executor_errc::capture_expired);
    }
    auto self = std::static_pointer_cast<scoped_executor_impl>(shared_from_this());
    auto held = std::make_shared<job>(std::move(j));
    try {
        m_target.impl()->schedule([self = std::move(self), held]() mutable { self->run_forwarded(*held); });
    } catch (...) {
        // Refused by the target: the caller keeps its job, as with any executor.
        j = std::move(*held);
        throw;
    }
}

executor_impl* scoped_executor_impl::root() noexcept { return m_target.impl()->root(); }

void scoped_executor_impl::run_forwarded(job& j) {
    const auto me = std::this_thread::get_id();
    {
        std::lock_guard lock(m_mutex);
        if (!m_open) return;
        m_running.push_back(me);
    }
    try {
        // Moved out so that what the job captured is gone before the owner
        // may go on with its destruction.
        job local = std::move(j);
        local();
    } catch (...) {
    }
    {
        std::lock_guard lock(m_mutex);
        m_running.erase(std::find(m_running.begin(), m_running.end(), me));
    }
    m_idle.notify_all();
}

void scoped_executor_impl::close() {
    const auto me = std::this_thread::get_id();
    std::unique_lock lock(m_mutex);
    m_open = false;
    m_idle.wait(lock, [&] {
        return std::all_of(m_running.begin(), m_running.end(), [&](auto id) { return id == me; });
    });
}

scoped_executor::scoped_executor(executor target)
    : m_impl(std::make_shared<scoped_executor_impl>(std::move(target))) {}

scoped_executor::~scoped_executor() { m_impl->close(); }

}  // namespace devio
