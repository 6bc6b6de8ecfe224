// An executor tied to the lifetime of its owner: an object that schedules
// work touching its own members through a scoped_executor member can be
// destroyed safely while such work is still queued.
//
// Scheduling policy: jobs are forwarded, in order, to the target executor
// and run on its threads. Once the owner is destroyed, forwarded jobs that
// have not started are dropped unrun (their promises break), and new jobs
// are refused with capture_expired. Destruction waits for jobs of this
// scope that are running on other threads; from inside one of its own jobs
// it does not wait (it would wait for itself).
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "devio/core/executor.h"

namespace devio {

// Shared implementation; its lock guards the open flag and the list of
// threads running one of its jobs.
class scoped_executor_impl final : public executor_impl {
public:
    explicit scoped_executor_impl(executor target);

    // Throws executor_error(capture_expired) after close, or what the target
    // throws.
    void schedule(job&& j) override;
    executor_impl* root() noexcept override;
    // Refuses further jobs and waits as described above.
    void close();

private:
    void run_forwarded(job& j);

    executor m_target;
    std::mutex m_mutex;
    std::condition_variable m_idle;
    bool m_open = true;
    std::vector<std::thread::id> m_running;
};

class scoped_executor {
public:
    // Throws executor_error(invalid_executor) when target is empty.
    explicit scoped_executor(executor target);
    ~scoped_executor();
    scoped_executor(const scoped_executor&) = delete;
    scoped_executor& operator=(const scoped_executor&) = delete;

    executor get_executor() const noexcept { return executor(m_impl); }

private:
    std::shared_ptr<scoped_executor_impl> m_impl;
};

}  // namespace devio
