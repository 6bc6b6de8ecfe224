// The ring of output reports waiting for the simulation thread: 32 buffers of
// the output report length, one always left empty, so at most 31 pending.
//
// Owned by the simulation thread object. One producer side (callers that
// queue reports out of turn; they are serialised by the device mutex) and one
// consumer side (the simulation thread). No lock: each index is written by
// its own side only and published with release/acquire ordering, so a buffer
// is complete before the other side can see its slot move.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

class CReportQueue {
public:
    static constexpr unsigned kSlots = 32;

    explicit CReportQueue(unsigned outputReportLength);

    // Producer: copies min(length, output report length - offset) bytes to
    // `offset` in the slot (the rest of the slot stays zero); false when 31
    // reports are already pending.
    bool QueueReport(const std::uint8_t* report, unsigned length, unsigned offset = 0);
    // Consumer: copies one whole report of the output report length into
    // `out`; false when nothing is pending.
    bool DequeueReport(std::uint8_t* out);

    unsigned OutputReportLength() const { return m_length; }

private:
    unsigned m_length;
    std::array<std::vector<std::uint8_t>, kSlots> m_buffers;
    std::atomic<unsigned> m_head{0};  // next slot to fill; written by the producer
    std::atomic<unsigned> m_tail{0};  // next slot to send; written by the consumer
};
