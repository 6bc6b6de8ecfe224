// Layout of RAP packets as carried in the maker's vendor HID reports, and
// the pure rules that match an incoming report to a pending request and
// turn error reports into library error codes. No state, no locks: callable
// from the read thread, the bridge thread or a fuzzer alike.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace devio::rap {

// Byte offsets common to requests, responses and error reports.
inline constexpr std::size_t kOffsetReportId = 0;
inline constexpr std::size_t kOffsetDeviceIndex = 1;
inline constexpr std::size_t kOffsetFeatureIndex = 2;  // RAP 1.0: sub-ID; error reports: marker
inline constexpr std::size_t kOffsetFunction = 3;      // RAP 1.0: register address
inline constexpr std::size_t kOffsetParams = 4;
inline constexpr std::size_t kHeaderSize = 4;

// Error reports repeat the failed request's bytes 2 and 3 one place later.
inline constexpr std::size_t kOffsetErrorFeatureIndex = 3;
inline constexpr std::size_t kOffsetErrorFunction = 4;
inline constexpr std::size_t kOffsetErrorCode = 5;
// An error report is recognised from 5 bytes on; its code needs 6.
inline constexpr std::size_t kErrorReportMatchSize = 5;
inline constexpr std::size_t kErrorReportFullSize = 6;

inline constexpr std::uint8_t kReportIdShort = 0x10;
inline constexpr std::uint8_t kReportIdLong = 0x11;
// Packets (header and parameters) longer than this need the long report.
inline constexpr std::size_t kShortPacketMaxSize = 7;

inline constexpr std::uint8_t kDeviceIndexSelf = 0xFF;
// Error reports to requests sent to kDeviceIndexSelf come back with this.
inline constexpr std::uint8_t kDeviceIndexErrorForSelf = 0x00;

inline constexpr std::uint8_t kRap10ErrorMarker = 0x8F;
inline constexpr std::uint8_t kRap20ErrorMarker = 0xFF;

inline constexpr std::uint8_t kFunctionShift = 4;
inline constexpr std::uint8_t kMaxFunction = 0x0F;
inline constexpr std::uint8_t kMaxSoftwareId = 0x0F;

// Protocol kind of a request; only the Vantor++ value changes behaviour.
inline constexpr std::uint8_t kProtocolRap10 = 1;
inline constexpr std::uint8_t kProtocolRap20 = 2;
inline constexpr std::uint8_t kProtocolVantorpp = 3;

// Error code ranges of the three error tables, as protocol code e maps to
// library code base + e up to the last known e.
inline constexpr std::uint32_t kRap10Base = 8;           // Rap10Success
inline constexpr std::uint8_t kRap10LastKnown = 12;      // Rap10WrongPinCode
inline constexpr std::uint32_t kRap10Unknown = 21;       // Rap10UnknownError
inline constexpr std::uint32_t kRap20Base = 44;          // Rap20NoError
inline constexpr std::uint8_t kRap20LastKnown = 9;       // Rap20Unsupported
inline constexpr std::uint32_t kRap20Unknown = 54;       // Rap20UnknownError
inline constexpr std::uint32_t kVantorppBase = 92;       // VantorppNoError
inline constexpr std::uint8_t kVantorppLastKnown = 12;   // VantorppMalformed
inline constexpr std::uint8_t kVantorppNotAuthorizedE = 14;
inline constexpr std::uint32_t kVantorppNotAuthorized = 105;
inline constexpr std::uint32_t kVantorppUnknown = 106;   // VantorppUnknownError

// Whether an incoming report answers a pending request. extra_positions
// are parameter indices whose bytes the answer must repeat. Reads no byte
// outside either span, whatever their lengths.
bool report_answers(std::span<const std::uint8_t> report, std::span<const std::uint8_t> request,
                    std::span<const std::size_t> extra_positions) noexcept;

// Outcome of a response: code 0 for success, otherwise the library error
// code and its value (the protocol's error byte, or the response length for
// a truncated error report).
struct response_status {
    std::uint32_t code = 0;
    std::uint32_t value = 0;
};
response_status check_response(std::span<const std::uint8_t> response, std::uint8_t protocol_kind) noexcept;

}  // namespace devio::rap
