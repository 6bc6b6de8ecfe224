// Integer helpers and the shared tables of the force laws.
//
// The laws were defined on 32-bit registers: products that leave the 32-bit
// range wrap rather than saturate. The helpers below reproduce that wrap
// without signed-overflow undefined behaviour, so hostile parameters give the
// same garbage force the original arithmetic would, clamped later, instead of
// a crash under a sanitizer.
#pragma once

#include <array>
#include <cstdint>

#include "platform/muldiv.h"

namespace effects {

inline std::int32_t WrapMul(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}
inline std::int32_t WrapAdd(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
inline std::int32_t WrapSub(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
inline std::int32_t WrapNeg(std::int32_t a) { return WrapSub(0, a); }
inline std::int32_t WrapAbs(std::int32_t a) { return a < 0 ? WrapNeg(a) : a; }
inline std::int64_t WrapMul64(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

inline std::int32_t Clamp(std::int32_t v, std::int32_t lo, std::int32_t hi) { return v < lo ? lo : (v > hi ? hi : v); }


inline constexpr std::int32_t kFullScale = 10000;    // DI_FFNOMINALMAX
inline constexpr std::int32_t kForceLimit = 127;     // device force units
inline constexpr std::int32_t kWaveUnit = 1024;      // table amplitude
inline constexpr std::int32_t kSplitDivisor = 10240000;  // kFullScale * kWaveUnit
inline constexpr int kTableSize = 64;
inline constexpr int kAngleUnitsPerCircle = 256;
inline constexpr int kQuarterCircle = 64;

struct EffectTables {
    std::array<std::int32_t, kTableSize> sine;  // first quarter of a sine, 0..1023
    std::array<std::int32_t, kTableSize> ramp;  // 0..1024 in 63 steps
};

// Built on first use; the first effect object constructed triggers it.
const EffectTables& Tables();

// Sine of an angle in 1/256 circle units (any integer, taken mod 256), scaled
// to +-1023.
std::int32_t SineOfAngle(std::int32_t angle);
// The quarter table mirrored into a full period, with the given table.
std::int32_t MirrorQuarter(const std::array<std::int32_t, kTableSize>& table, std::uint32_t index);

}  // namespace effects
