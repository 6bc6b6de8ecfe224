#include "force_feedback/legacy/sim/report_queue.h"

#include <algorithm>
#include <cstring>

CReportQueue::CReportQueue(unsigned outputReportLength) : m_length(outputReportLength) {
    for (auto& buffer : m_buffers) buffer.assign(m_length, 0);
}

bool CReportQueue::QueueReport(const std::uint8_t* report, unsigned length, unsigned offset) {
    const unsigned head = m_head.load(std::memory_order_relaxed);
    const unsigned next = (head + 1) % kSlots;
    if (next == m_tail.load(std::memory_order_acquire)) return false;
    std::vector<std::uint8_t>& slot = m_buffers[head];
    std::fill(slot.begin(), slot.end(), 0);
    if (report != nullptr && offset < m_length) std::memcpy(slot.data() + offset, report, std::min(length, m_length - offset));
    m_head.store(next, std::memory_order_release);
    return true;
}

bool CReportQueue::DequeueReport(std::uint8_t* out) {
    const unsigned tail = m_tail.load(std::memory_order_relaxed);
    if (tail == m_head.load(std::memory_order_acquire)) return false;
    if (m_length != 0) std::memcpy(out, m_buffers[tail].data(), m_length);
    m_tail.store((tail + 1) % kSlots, std::memory_order_release);
    return true;
}
