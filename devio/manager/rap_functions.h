// The RAP function numbers and payloads of the features this library speaks,
// in one place. Requests carry (function << 4 | software ID) in byte 3 and the
// parameters from byte 4; answers repeat bytes 1 to 3 and carry the results
// from byte 4. Notifications carry software ID 0. Multi-byte values are
// big-endian.
//
//  feature  fn  name              request params          answer
//  0x0000    0  getFeature        id hi, id lo            index, type, version (index 0: absent)
//  0x0000    1  getProtocol       -                       major, minor
//  0x0001    0  getCount          -                       count (root excluded)
//  0x0001    1  getFeatureId      index (1..count)        id hi, id lo, type, version
//  0x807A    0  getReadiness      a, b                    ready (non-zero: takes commands)
//  0x807A    1  sendCommand       command, count, first,  -
//                                 up to 3 values (u32)
//  0x807A    2  getValue16        -                       hi, lo
//  0x807A    3  getStateFlag      -                       flag
//  0x807A    4  select            byte, argument          -
//  0x807A    5  setTriple         a, b, c (i32)           -
//  0x807A  ev0  modeChanged       (notification)          mode, value hi, value lo
//
// sendCommand carries at most three values per packet: a longer list goes
// out as several packets, `first` naming the index of the packet's first
// value, each packet waiting for the answer to the one before.
#pragma once

#include <cstddef>
#include <cstdint>

namespace devio::rapfn {

inline constexpr std::uint16_t kFeatureRoot = 0x0000;
inline constexpr std::uint16_t kFeatureSet = 0x0001;
inline constexpr std::uint16_t kFeatureRpmIndicator = 0x807A;

inline constexpr std::uint8_t kRootIndex = 0;  // the root always sits at index 0
inline constexpr std::uint8_t kRootGetFeature = 0;
inline constexpr std::uint8_t kRootGetProtocol = 1;

inline constexpr std::uint8_t kSetGetCount = 0;
inline constexpr std::uint8_t kSetGetFeatureId = 1;

inline constexpr std::uint8_t kRpmGetReadiness = 0;
inline constexpr std::uint8_t kRpmSendCommand = 1;
inline constexpr std::uint8_t kRpmGetValue16 = 2;
inline constexpr std::uint8_t kRpmGetStateFlag = 3;
inline constexpr std::uint8_t kRpmSelect = 4;
inline constexpr std::uint8_t kRpmSetTriple = 5;
inline constexpr std::uint8_t kRpmEventModeChanged = 0;
inline constexpr std::size_t kRpmValuesPerPacket = 3;

// Software ID that marks an unsolicited report (a notification).
inline constexpr std::uint8_t kNotificationSoftwareId = 0;

inline void put_u32(std::uint8_t* out, std::uint32_t v) noexcept {
    out[0] = static_cast<std::uint8_t>(v >> 24);
    out[1] = static_cast<std::uint8_t>(v >> 16);
    out[2] = static_cast<std::uint8_t>(v >> 8);
    out[3] = static_cast<std::uint8_t>(v);
}
inline std::uint32_t get_u32(const std::uint8_t* in) noexcept {
    return (std::uint32_t{in[0]} << 24) | (std::uint32_t{in[1]} << 16) | (std::uint32_t{in[2]} << 8) | in[3];
}

}  // namespace devio::rapfn
