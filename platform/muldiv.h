// a * b / c with a 64-bit intermediate, rounded half away from zero; -1 for a
// zero divisor or a quotient outside -2147483647..2147483647. This is the
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
    std::int64_t num = static_cast<std::int64_t>(a) * b;
    std::int64_t den = c;
    if (den < 0) {
        num = -num;
        den = -den;
    }
    const std::int64_t half = den / 2;
    const std::int64_t q = num >= 0 ? (num + half) / den : (num - half) / den;
    if (q > 2147483647 || q < -2147483647) return -1;
    return static_cast<std::int32_t>(q);
}

}  // namespace platform
