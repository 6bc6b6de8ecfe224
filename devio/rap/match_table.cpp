#include "devio/rap/match_table.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "devio/rap/rap_packet.h"

namespace devio::rap {
namespace {

// Key layout: the request's bytes 1, 2 and 3 (0 beyond its end) in the low
// three bytes, then what the rules ask of the request's length.
constexpr std::uint32_t kHeaderBits = 0x00FFFFFFu;
constexpr std::uint32_t kNonEmpty = 1u << 24;    // a plain answer needs a request at all
constexpr std::uint32_t kFullHeader = 1u << 25;  // an error report needs its four header bytes
constexpr std::uint32_t kHasExtras = 1u << 26;   // extra positions to check after the header

std::uint8_t byte_or_zero(std::span<const std::uint8_t> packet, std::size_t index) noexcept {
    return index < packet.size() ? packet[index] : 0;
}

std::uint32_t pack(std::uint8_t b1, std::uint8_t b2, std::uint8_t b3) noexcept {
    return static_cast<std::uint32_t>(b1) | static_cast<std::uint32_t>(b2) << 8 | static_cast<std::uint32_t>(b3) << 16;
}

// Whether any key of the block equals the probe or the alternative once
// masked. The rare block that holds a hit is then walked row by row, which
// keeps the sending order. Where the compiler has vector types, the block
// is compared two times four lanes at once.
#if defined(__GNUC__)
using lanes = std::uint32_t __attribute__((vector_size(16)));
static_assert(match_table::kBlock == 2 * sizeof(lanes) / sizeof(std::uint32_t));

bool block_has_hit(const std::uint32_t* keys, std::uint32_t mask, std::uint32_t probe,
                   std::uint32_t alternative) noexcept {
    lanes low;
    lanes high;
    std::memcpy(&low, keys, sizeof low);
    std::memcpy(&high, keys + 4, sizeof high);
    low &= mask;
    high &= mask;
    const lanes hits = (low == probe) | (low == alternative) | (high == probe) | (high == alternative);
    std::uint64_t words[2];
    std::memcpy(words, &hits, sizeof words);
    return (words[0] | words[1]) != 0;
}
#else
bool block_has_hit(const std::uint32_t* keys, std::uint32_t mask, std::uint32_t probe,
                   std::uint32_t alternative) noexcept {
    std::uint32_t any = 0;
    for (std::size_t j = 0; j < match_table::kBlock; ++j) {
        const std::uint32_t key = keys[j] & mask;
        any |= static_cast<std::uint32_t>(key == probe) | static_cast<std::uint32_t>(key == alternative);
    }
    return any != 0;
}
#endif

// The first row whose masked key equals the probe or the alternative and
// which `accept` takes.
template <class Accept>
std::size_t first_row(const std::vector<std::uint32_t>& keys, std::uint32_t mask, std::uint32_t probe,
                      std::uint32_t alternative, Accept accept) noexcept {
    for (std::size_t block = 0; block < keys.size(); block += match_table::kBlock) {
        if (!block_has_hit(&keys[block], mask, probe, alternative)) continue;
        for (std::size_t row = block; row < block + match_table::kBlock; ++row) {
            const std::uint32_t key = keys[row] & mask;
            if ((key == probe || key == alternative) && accept(row)) return row;
        }
    }
    return match_table::npos;
}

}  // namespace

void match_table::push_back(std::span<const std::uint8_t> request, std::span<const std::size_t> extra_positions) {
    std::uint32_t key = pack(byte_or_zero(request, kOffsetDeviceIndex), byte_or_zero(request, kOffsetFeatureIndex),
                             byte_or_zero(request, kOffsetFunction));
    if (!request.empty()) key |= kNonEmpty;
    if (request.size() >= kHeaderSize) key |= kFullHeader;

    std::vector<extra> extras;
    constexpr std::size_t kLastSafe = std::numeric_limits<std::size_t>::max() - kOffsetParams;
    for (std::size_t k : extra_positions) {
        if (k > kLastSafe) continue;  // beyond both packets: 0 against 0, always agrees
        const std::size_t offset = kOffsetParams + k;
        extras.push_back(extra{offset, byte_or_zero(request, offset)});
    }
    if (!extras.empty()) key |= kHasExtras;

    // Keys come in whole blocks; the rows past the last request hold key 0,
    // which no probe equals (every probe has a length bit set).
    if (m_rows == m_keys.size()) m_keys.resize(m_keys.size() + kBlock, 0);
    m_extras.push_back(std::move(extras));
    m_keys[m_rows++] = key;
}

void match_table::erase(std::size_t row) {
    if (row >= m_rows) return;
    std::copy(m_keys.begin() + static_cast<std::ptrdiff_t>(row + 1), m_keys.begin() + static_cast<std::ptrdiff_t>(m_rows),
              m_keys.begin() + static_cast<std::ptrdiff_t>(row));
    m_keys[--m_rows] = 0;
    m_extras.erase(m_extras.begin() + static_cast<std::ptrdiff_t>(row));
}

void match_table::clear() noexcept {
    std::fill(m_keys.begin(), m_keys.end(), 0);
    m_rows = 0;
    m_extras.clear();
}

void match_table::reserve(std::size_t rows) {
    m_keys.reserve((rows + kBlock - 1) / kBlock * kBlock);
    m_extras.reserve(rows);
}

bool match_table::extras_agree(std::size_t row, std::span<const std::uint8_t> report) const noexcept {
    for (const extra& e : m_extras[row]) {
        if (byte_or_zero(report, e.offset) != e.expected) return false;
    }
    return true;
}

std::size_t match_table::find(std::span<const std::uint8_t> report) const noexcept {
    const std::size_t n = report.size();
    if (n >= kErrorReportMatchSize &&
        (report[kOffsetFeatureIndex] == kRap10ErrorMarker || report[kOffsetFeatureIndex] == kRap20ErrorMarker)) {
        // An error report names the failed request by its device index and
        // its bytes 2 and 3 (carried one place later); extra positions do
        // not count. A RAP 1.0 error to a request sent to the device itself
        // comes back with device index 0 (intentional, keep).
        const std::uint8_t index = report[kOffsetDeviceIndex];
        const std::uint32_t named = pack(0, report[kOffsetErrorFeatureIndex], report[kOffsetErrorFunction]) | kFullHeader;
        const std::uint32_t probe = named | index;
        const bool for_self = report[kOffsetFeatureIndex] == kRap10ErrorMarker && index == kDeviceIndexErrorForSelf;
        const std::uint32_t alternative = for_self ? (named | kDeviceIndexSelf) : probe;
        return first_row(m_keys, kHeaderBits | kFullHeader, probe, alternative, [](std::size_t) { return true; });
    }
    if (n == 0) return npos;
    const std::uint32_t probe = pack(byte_or_zero(report, kOffsetDeviceIndex), byte_or_zero(report, kOffsetFeatureIndex),
                                     byte_or_zero(report, kOffsetFunction)) |
                                kNonEmpty;
    // Among rows whose header agrees, the extra positions decide.
    return first_row(m_keys, kHeaderBits | kNonEmpty, probe, probe, [&](std::size_t row) {
        return (m_keys[row] & kHasExtras) == 0 || extras_agree(row, report);
    });
}

}  // namespace devio::rap
