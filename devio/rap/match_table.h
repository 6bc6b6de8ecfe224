// The pending requests of one connection, reduced to what an answer has to
// repeat. Every incoming report is looked up here, on the thread that reads
// the device, while requests keep coming from other threads: the lookup
// must cost little whatever the number of requests waiting.
//
// Each row is one 32-bit key (the request's bytes 1 to 3 and what the rules
// ask of its length) in a flat array in sending order, padded to whole
// blocks with keys that nothing matches. A lookup builds one probe from the
// report and compares it with a block of keys at a time: no allocation, no
// copy of the report, no pointer chased per row. Extra matching positions
// sit beside the keys and are read only for rows whose header already
// agrees. The result is the first request in sending order that the
// report answers by rap::report_answers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace devio::rap {

class match_table {
public:
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);
    // Keys are compared this many at a time.
    static constexpr std::size_t kBlock = 8;

    // Appends a request; its row is the current size() until an earlier row
    // is erased.
    void push_back(std::span<const std::uint8_t> request, std::span<const std::size_t> extra_positions);
    // Removes a row; later rows move up by one and keep their order.
    void erase(std::size_t row);
    void clear() noexcept;
    void reserve(std::size_t rows);
    std::size_t size() const noexcept { return m_rows; }
    bool empty() const noexcept { return m_rows == 0; }

    // The first row, in sending order, whose request the report answers;
    // npos when none does. Reads no byte outside the report.
    std::size_t find(std::span<const std::uint8_t> report) const noexcept;

private:
    // An extra position as a byte offset into the packets and the byte the
    // request holds there (0 beyond its end).
    struct extra {
        std::size_t offset;
        std::uint8_t expected;
    };

    bool extras_agree(std::size_t row, std::span<const std::uint8_t> report) const noexcept;

    std::vector<std::uint32_t> m_keys;  // whole blocks; rows from m_rows on are 0
    std::vector<std::vector<extra>> m_extras;
    std::size_t m_rows = 0;
};

}  // namespace devio::rap
