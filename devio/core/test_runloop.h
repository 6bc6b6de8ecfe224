// Test helper: a run loop served by hand on the test thread, so that
// continuations run exactly when a test says so.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>

#include "devio/core/runloop_executor.h"

namespace devio::testing {

class manual_runloop {
public:
    manual_runloop()
        : m_loop([this](std::uint64_t number) {
              std::lock_guard lock(m_mutex);
              m_numbers.push_back(number);
          }) {}

    executor get_executor() const { return m_loop.get_executor(); }
    runloop_executor& loop() { return m_loop; }

    // Runs every posted job, including those posted while draining; returns
    // how many ran.
    int drain() {
        int ran = 0;
        for (;;) {
            std::uint64_t number = 0;
            {
                std::lock_guard lock(m_mutex);
                if (m_numbers.empty()) return ran;
                number = m_numbers.front();
                m_numbers.pop_front();
            }
            ran += m_loop.run_job(number) ? 1 : 0;
        }
    }

    std::deque<std::uint64_t> posted() {
        std::lock_guard lock(m_mutex);
        return m_numbers;
    }

private:
    std::mutex m_mutex;
    std::deque<std::uint64_t> m_numbers;
    runloop_executor m_loop;
};

}  // namespace devio::testing
