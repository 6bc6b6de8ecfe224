// Feeds arbitrary reports and requests to the RAP matcher and the result
// check: neither may read outside the bytes it was given, and the device's
// match table must agree with the matching rule.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "devio/rap/device_request.h"
#include "devio/rap/match_table.h"

namespace {

// Splits the input: [request length][kind][extra count][extras...] request
// bytes, then the rest is the report. Copies land in exact-size vectors so
// that the sanitizer sees any read past their ends.
struct fuzz_case {
    std::vector<std::uint8_t> request;
    std::vector<std::uint8_t> report;
    std::vector<std::size_t> extras;
    std::uint8_t kind = 0;
};

fuzz_case split(const std::uint8_t* data, std::size_t size) {
    fuzz_case c;
    if (size < 3) {
        c.report.assign(data, data + size);
        return c;
    }
    std::size_t request_size = data[0] % 72;
    c.kind = data[1] % 4;
    std::size_t extra_count = data[2] % 8;
    std::size_t at = 3;
    for (; extra_count > 0 && at < size; --extra_count, ++at) {
        // Spread extras over small and huge positions alike.
        c.extras.push_back(data[at] >= 0xF0 ? static_cast<std::size_t>(-1) - (data[at] & 0x0F) : data[at]);
    }
    if (request_size > size - at) request_size = size - at;
    c.request.assign(data + at, data + at + request_size);
    at += request_size;
    c.report.assign(data + at, data + size);
    return c;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz_case c = split(data, size);
    devio::DeviceRequest request(c.request, c.kind);
    for (std::size_t k : c.extras) request.add_match_position(k);
    const bool answers = request.matches(c.report);
    // The device's flat table must say the same as the rule it stands for.
    devio::rap::match_table table;
    table.push_back(c.request, c.extras);
    if (table.find(c.report) != (answers ? 0 : devio::rap::match_table::npos)) __builtin_trap();
    // Both directions: any byte string may stand on either side.
    (void)devio::rap::report_answers(c.request, c.report, c.extras);
    auto reply = request.get_future();
    request.complete(c.report);
    try {
        auto response = reply.get();
        if (response != c.report) __builtin_trap();
    } catch (const devio::DevioException& e) {
        // A failed check always names a real code.
        if (e.code() == 0) __builtin_trap();
    }
    return 0;
}
