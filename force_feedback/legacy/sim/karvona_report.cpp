#include "force_feedback/legacy/sim/karvona_report.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "platform/muldiv.h"

namespace {

constexpr std::int32_t kWordMax = 0x7FFF;
constexpr std::int32_t kForceMax = 0x7F;
constexpr unsigned kByteBits = 8;
constexpr unsigned kByteMask = 0xFF;
// Byte offsets inside an axis block.
constexpr std::size_t kModeAt = 0;
constexpr std::size_t kCoefficientAt = 1;
constexpr std::size_t kSaturationAt = 2;
constexpr std::size_t kDeadBandAt = 3;

std::size_t BlockOffset(int axis) { return axis == 0 ? karvona::kXBlockOffset : karvona::kYBlockOffset; }

}  // namespace

LONG KarvonaForceWord(LONG force, bool negated) {
    const LONG word = platform::MulDiv(force, kWordMax, kForceMax);
    return negated ? -word : word;
}

void KarvonaReport::PutWord(std::size_t offset, LONG word) {
    const auto bits = static_cast<std::uint16_t>(word);
    m_building[offset] = static_cast<BYTE>(bits & kByteMask);
    m_building[offset + 1] = static_cast<BYTE>(bits >> kByteBits);
}

void KarvonaReport::SetForce(LONG x, LONG y) {
    // The stick's X axis pushes the other way from DirectInput's; Y matches
    // (intentional, keep).
    PutWord(karvona::kXWordOffset, KarvonaForceWord(x, /*negated=*/true));
    PutWord(karvona::kYWordOffset, KarvonaForceWord(y, /*negated=*/false));
}

void KarvonaReport::SetAxisBlock(int axis, const KarvonaAxisBlock* block) {
    if (axis != 0 && axis != 1) return;
    BYTE* b = m_building.data() + BlockOffset(axis);
    if (block == nullptr) {
        std::memset(b, 0, karvona::kBlockLength);
        return;
    }
    b[kModeAt] = block->mode;
    b[kCoefficientAt] = block->coefficient;
    b[kSaturationAt] = block->saturation;
    b[kDeadBandAt] = block->deadBand;
}

void KarvonaReport::ApplyCentering(DWORD strength, bool on) {
    const auto st = static_cast<std::int32_t>(std::min<DWORD>(strength, karvona::kCentringStrengthMax));
    const auto coefficient = static_cast<BYTE>(platform::MulDiv(st, karvona::kCentringCoefficientMax, karvona::kCentringStrengthMax));
    for (int axis = 0; axis < 2; ++axis) {
        if (!on) {
            SetAxisBlock(axis, nullptr);
            continue;
        }
        BYTE* b = m_building.data() + BlockOffset(axis);
        b[kCoefficientAt] = coefficient;
        b[kSaturationAt] = karvona::kCentringSaturation;
        b[kDeadBandAt] = karvona::kCentringDeadBand;
    }
}

bool KarvonaReport::TakeIfChanged(BYTE* out, unsigned length) {
    if (m_building == m_lastSent) return false;
    m_lastSent = m_building;
    if (out != nullptr && length > 0) {
        std::memset(out, 0, length);
        std::memcpy(out, m_building.data(), std::min<unsigned>(length, karvona::kReportLength));
    }
    return true;
}
