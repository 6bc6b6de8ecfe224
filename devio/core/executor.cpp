#include "devio/core/executor.h"

namespace devio {

void executor::schedule(job j) const {
    if (!m_impl) throw executor_error(executor_errc::invalid_executor);
    m_impl->schedule(std::move(j));
}

void weak_executor::schedule(job j) const {
    if (!m_bound) throw executor_error(executor_errc::invalid_executor);
    auto target = m_target.lock();
    if (!target) throw executor_error(executor_errc::capture_expired);
    target->schedule(std::move(j));
}

bool safe_executor::schedule(job j) const noexcept {
    auto target = m_target.lock();
    if (!target) return false;
    try {
        target->schedule(std::move(j));
        return true;
    } catch (...) {
        // The refused job was destroyed unrun; whoever waited on it sees its
        // promise broken.
        return false;
    }
}

}  // namespace devio
