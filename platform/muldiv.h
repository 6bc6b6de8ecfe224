// a * b / c with a 64-bit intermediate, rounded half away from zero; -1 for a
// zero divisor or a quotient outside -2147483647..2147483647 (so INT_MIN is
// never returned). This is the
// arithmetic of every force and gain law, so both backends must agree with
// the Win32 MulDiv bit for bit.
#pragma once

#include <cstdint>

namespace platform {

// win32: the system's MulDiv. portable: PortableMulDiv.
std::int32_t MulDiv(std::int32_t a, std::int32_t b, std::int32_t c);

// The reproduction, compiled on both backends so the Windows tests can hold
// it against the system call.
constexpr std::int32_t PortableMulDiv(std::int32_t a, std::int32_t b, std::int32_t c) {
    if (c == 0) return -1;
    // A negative divisor is made positive by negating both operands in 32-bit
    // arithmetic, so INT_MIN stays negative and rounds the "wrong" way, as
    // the system call does.
    auto negate = [](std::int32_t v) { return static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(v)); };
    if (c < 0) {
        a = negate(a);
        c = negate(c);
    }
    const std::int64_t product = static_cast<std::int64_t>(a) * b;
    const std::int64_t half = c / 2;
    const bool positive = (a < 0 && b < 0) || (a >= 0 && b >= 0);
    const std::int64_t q = (positive ? product + half : product - half) / c;
    if (q > 2147483647 || q < -2147483647) return -1;
    return static_cast<std::int32_t>(q);
}

}  // namespace platform
