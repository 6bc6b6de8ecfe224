// The per-thread context of the library: whether the thread must not block,
// which executor it is serving, and the last-error record of synchronous
// calls. One instance per thread, touched only by its own thread: no lock.
#pragma once

#include <cstdint>

namespace devio {

class executor_impl;

// The failure of the thread's most recent synchronous library call.
struct last_error {
    std::uint32_t code = 0;
    const char* message = nullptr;  // static text or null
    std::uint32_t value = 0;
};

// Records a failure and returns its code, so that a failing function can
// record and return in one statement: `return set_last_error(28);`.
std::uint32_t set_last_error(std::uint32_t code, const char* message = nullptr,
                             std::uint32_t value = 0) noexcept;
const last_error& get_last_error() noexcept;
void clear_last_error() noexcept;

// True while the thread runs a library callback that must not block; waits
// then fail with must_not_wait.
bool must_not_block() noexcept;
// The executor whose job this thread is running, or null.
executor_impl* served_executor() noexcept;

// Marks the thread as one that must not block for the scope's lifetime.
class must_not_block_scope {
public:
    must_not_block_scope() noexcept;
    ~must_not_block_scope();
    must_not_block_scope(const must_not_block_scope&) = delete;
    must_not_block_scope& operator=(const must_not_block_scope&) = delete;

private:
    bool m_previous;
};

// Names the executor whose job the thread runs for the scope's lifetime.
// Executors open one around every job they run.
class serving_scope {
public:
    explicit serving_scope(executor_impl* executor) noexcept;
    ~serving_scope();
    serving_scope(const serving_scope&) = delete;
    serving_scope& operator=(const serving_scope&) = delete;

private:
    executor_impl* m_previous;
};

}  // namespace devio
