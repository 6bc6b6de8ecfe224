// A queue of jobs drained in order by one worker thread of its own.
//
// Scheduling policy: first in, first out, one job at a time, so jobs of one
// queue never overlap. Stopping refuses new jobs (job_queue_stopped), lets
// the worker finish every job already queued, then ends the worker.
#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include "devio/core/executor.h"

namespace devio {

// Shared implementation; its lock guards the queue and the stop flag.
class job_queue_impl final : public executor_impl {
public:
    // Throws executor_error(job_queue_stopped) once stopping has begun.
    void schedule(job&& j) override;
    // The worker's loop; returns when stopped and drained.
    void run();
    void request_stop();

private:
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<job> m_jobs;
    bool m_stopping = false;
};

// Owner of the queue and its worker. Destroying it stops the queue and
// joins the worker; destroyed from one of its own jobs, it lets the worker
// finish the queue by itself instead of joining.
class job_queue {
public:
    job_queue();
    ~job_queue();
    job_queue(const job_queue&) = delete;
    job_queue& operator=(const job_queue&) = delete;

    executor get_executor() const noexcept { return executor(m_impl); }
    void stop();

private:
    std::shared_ptr<job_queue_impl> m_impl;
    std::thread m_worker;
};

}  // namespace devio
