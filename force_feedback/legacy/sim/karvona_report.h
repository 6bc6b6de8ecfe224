// The Karvona-style joystick's periodic 64-byte output report, in which the
// simulation thread carries both the running force and the axis spring
// blocks (centring spring and native conditions).
//
// Report layout (byte 0 is the report ID; everything not named is 0):
//
//   1..2    X force word, 16-bit little endian, -32767..32767, negated
//   3..6    X axis block: mode, coefficient, saturation, dead band
//   7..30   reserved
//   31..32  Y force word, 16-bit little endian, -32767..32767
//   33..36  Y axis block: mode, coefficient, saturation, dead band
//   37..63  reserved
//
// Block mode 0 is the stick's own centring spring, kKarvonaSpringMode and
// kKarvonaDamperMode a condition effect's block; an all-zero block is off.
#pragma once

#include <array>
#include <cstddef>

#include "com_abi.h"
#include "force_feedback/legacy/effects/effect_host.h"

namespace karvona {

inline constexpr unsigned kReportLength = 64;
inline constexpr std::size_t kXWordOffset = 1;
inline constexpr std::size_t kYWordOffset = 31;
inline constexpr std::size_t kXBlockOffset = 3;
inline constexpr std::size_t kYBlockOffset = 33;
inline constexpr std::size_t kBlockLength = 4;
inline constexpr BYTE kCentringMode = 0x00;
inline constexpr BYTE kCentringSaturation = 0x7F;
inline constexpr BYTE kCentringDeadBand = 0x46;
// Centring coefficient at 150 % strength.
inline constexpr LONG kCentringCoefficientMax = 50;
inline constexpr LONG kCentringStrengthMax = 15000;

}  // namespace karvona

using KarvonaReportBytes = std::array<BYTE, karvona::kReportLength>;

// Role: the report under construction and the copy last sent. Owner: the
// Karvona simulation thread. SetForce and TakeIfChanged run on that thread;
// SetAxisBlock and ApplyCentering come from effects and the device under
// the device mutex, which the thread also holds during its effect pass.
class KarvonaReport {
public:
    // x and y in -127..127; x is negated on the wire, y is not.
    void SetForce(LONG x, LONG y);
    // Writes axis 0 (X) or 1 (Y)'s block, or clears it for null.
    void SetAxisBlock(int axis, const KarvonaAxisBlock* block);
    // The centring spring: coefficient MulDiv(strength, 50, 15000) with
    // saturation 0x7F and dead band 0x46 in both blocks when `on`; both
    // blocks cleared otherwise. The mode byte is left as it is when on.
    void ApplyCentering(DWORD strength, bool on);

    // Copies the report into `out` (up to `length` bytes, the rest zero) and
    // remembers it as sent, when it differs from the last one sent; false
    // when nothing changed.
    bool TakeIfChanged(BYTE* out, unsigned length);

    const KarvonaReportBytes& Building() const { return m_building; }

private:
    void PutWord(std::size_t offset, LONG word);

    KarvonaReportBytes m_building{};
    KarvonaReportBytes m_lastSent{};
};

// The 16-bit wire value of a -127..127 force.
LONG KarvonaForceWord(LONG force, bool negated);
