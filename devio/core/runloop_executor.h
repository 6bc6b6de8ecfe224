// An executor whose jobs run on its owner's thread, one at a time, when the
// owner asks for them. Each scheduled job gets a number; the notify callback
// hands the number to the owner (the bridge thread posts it through its own
// queue), and the owner later calls run_job with it on its own thread.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "devio/core/executor.h"

namespace devio {

// Shared implementation; owned by runloop_executor and by every executor
// handle and queued continuation that refers to it. Its lock guards the job
// table only; jobs and the notify callback run outside it.
class runloop_executor_impl final : public executor_impl {
public:
    using notify_fn = std::function<void(std::uint64_t job_number)>;

    explicit runloop_executor_impl(notify_fn notify);

    // Numbers the job (from 1, increasing) and passes the number to notify
    // on the calling thread. Throws executor_error(invalid_executor) once the
    // owner has shut the executor down.
    void schedule(job&& j) override;

    // Runs the job with that number on the calling thread. False when no
    // such job waits (already run, dropped, or never scheduled). An
    // exception escaping a job is swallowed: the owner's loop must go on.
    bool run_job(std::uint64_t job_number);

    // Drops every waiting job (breaking the promises they own) and refuses
    // new ones.
    void shutdown();
    std::size_t pending() const;

private:
    notify_fn m_notify;
    mutable std::mutex m_mutex;
    std::map<std::uint64_t, job> m_jobs;
    std::uint64_t m_next_number = 1;
    bool m_shut_down = false;
};

// The owner's side. Destroying it shuts the executor down; handles that
// outlive it then refuse jobs with invalid_executor.
class runloop_executor {
public:
    explicit runloop_executor(runloop_executor_impl::notify_fn notify);
    ~runloop_executor();
    runloop_executor(const runloop_executor&) = delete;
    runloop_executor& operator=(const runloop_executor&) = delete;

    executor get_executor() const noexcept { return executor(m_impl); }
    bool run_job(std::uint64_t job_number) { return m_impl->run_job(job_number); }
    std::size_t pending() const { return m_impl->pending(); }

private:
    std::shared_ptr<runloop_executor_impl> m_impl;
};

}  // namespace devio
