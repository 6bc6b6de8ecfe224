#include "devio/core/job_queue.h"

#include "devio/core/context.h"

namespace devio {

void job_queue_impl::schedule(job&& j) {
    {
        std::lock_guard lock(m_mutex);
        if (m_stopping) throw executor_error(executor_errc::job_queue_stopped);
        m_jobs.push_back(std::move(j));
    }
    m_wake.notify_one();
}

void job_queue_impl::run() {
    serving_scope serving(this);
    for (;;) {
        job j;
        {
            std::unique_lock lock(m_mutex);
            m_wake.wait(lock, [this] { return m_stopping || !m_jobs.empty(); });
            if (m_jobs.empty()) return;
            j = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        try {
            j();
        } catch (...) {
            // Nobody to report to: continuations catch their own failures.
        }
    }
}

void job_queue_impl::request_stop() {
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
}

job_queue::job_queue() : m_impl(std::make_shared<job_queue_impl>()) {
    m_worker = std::thread([impl = m_impl] { impl->run(); });
}

job_queue::~job_queue() { stop(); }

void job_queue::stop() {
    m_impl->request_stop();
    if (!m_worker.joinable()) return;
    if (m_worker.get_id() == std::this_thread::get_id()) {
        m_worker.detach();
    } else {
        m_worker.join();
    }
}

}  // namespace devio
