#include "devio/rap/rap_packet.h"

#include <limits>

#include "devio/core/errors.h"

namespace devio::rap {
namespace {

std::uint8_t byte_or_zero(std::span<const std::uint8_t> packet, std::size_t index) noexcept {
    return index < packet.size() ? packet[index] : 0;
}

bool is_error_report(std::span<const std::uint8_t> report, std::uint8_t marker) noexcept {
    return report.size() >= kErrorReportMatchSize && report[kOffsetFeatureIndex] == marker;
}

// The error report names the failed request by its bytes 2 and 3.
bool error_names_request(std::span<const std::uint8_t> report, std::span<const std::uint8_t> request) noexcept {
    return report[kOffsetErrorFeatureIndex] == request[kOffsetFeatureIndex] &&
           report[kOffsetErrorFunction] == request[kOffsetFunction];
}

bool rap10_error_answers(std::span<const std::uint8_t> report, std::span<const std::uint8_t> request) noexcept {
    if (request.size() < kHeaderSize) return false;
    const std::uint8_t index = report[kOffsetDeviceIndex];
    // A request sent to the device itself gets its RAP 1.0 error back with
    // device index 0 (intentional, keep).
    const bool same_device = index == request[kOffsetDeviceIndex] ||
                             (index == kDeviceIndexErrorForSelf && request[kOffsetDeviceIndex] == kDeviceIndexSelf);
    return same_device && error_names_request(report, request);
}

bool rap20_error_answers(std::span<const std::uint8_t> report, std::span<const std::uint8_t> request) noexcept {
    return request.size() >= kHeaderSize && report[kOffsetDeviceIndex] == request[kOffsetDeviceIndex] &&
           error_names_request(report, request);
}

bool extra_positions_agree(std::span<const std::uint8_t> report, std::span<const std::uint8_t> request,
                           std::span<const std::size_t> extra_positions) noexcept {
    constexpr std::size_t kLastSafe = std::numeric_limits<std::size_t>::max() - kOffsetParams;
    for (std::size_t k : extra_positions) {
        if (k > kLastSafe) continue;  // beyond both packets: 0 against 0
        const std::size_t at = kOffsetParams + k;
        if (byte_or_zero(report, at) != byte_or_zero(request, at)) return false;
    }
    return true;
}

std::uint32_t rap10_code(std::uint8_t e) noexcept { return e <= kRap10LastKnown ? kRap10Base + e : kRap10Unknown; }

std::uint32_t rap20_code(std::uint8_t e) noexcept { return e <= kRap20LastKnown ? kRap20Base + e : kRap20Unknown; }

std::uint32_t vantorpp_code(std::uint8_t e) noexcept {
    if (e <= kVantorppLastKnown) return kVantorppBase + e;
    // 13 has no name of its own while 14 does (intentional, keep).
    if (e == kVantorppNotAuthorizedE) return kVantorppNotAuthorized;
    return kVantorppUnknown;
}

}  // namespace

bool report_answers(std::span<const std::uint8_t> report, std::span<const std::uint8_t> request,
                    std::span<const std::size_t> extra_positions) noexcept {
    // Error reports are settled by their own rule: their bytes 2 and 3 are
    // not a header to compare.
    if (is_error_report(report, kRap10ErrorMarker)) return rap10_error_answers(report, request);
    if (is_error_report(report, kRap20ErrorMarker)) return rap20_error_answers(report, request);
    if (report.empty() || request.empty()) return false;
    for (std::size_t i = kOffsetDeviceIndex; i < kHeaderSize; ++i) {
        if (byte_or_zero(report, i) != byte_or_zero(request, i)) return false;
    }
    return extra_positions_agree(report, request, extra_positions);
}

response_status check_response(std::span<const std::uint8_t> response, std::uint8_t protocol_kind) noexcept {
    if (response.size() < kHeaderSize) return {};
    const std::uint8_t marker = response[kOffsetFeatureIndex];
    if (marker != kRap10ErrorMarker && marker != kRap20ErrorMarker) return {};
    if (response.size() < kErrorReportFullSize) {
        // An error report cut before its code still fails, and says why.
        return {static_cast<std::uint32_t>(errc::CommandResponseTooShort), static_cast<std::uint32_t>(response.size())};
    }
    const std::uint8_t e = response[kOffsetErrorCode];
    // Even e = 0 (Rap10Success) fails the request (intentional, keep).
    if (marker == kRap10ErrorMarker) return {rap10_code(e), e};
    if (protocol_kind == kProtocolVantorpp) return {vantorpp_code(e), e};
    return {rap20_code(e), e};
}

}  // namespace devio::rap
