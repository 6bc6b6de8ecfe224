// How an input report changes a wheel's status value (the value escape
// command 1 also sets): a rule per model, read from the family table.
#pragma once

#include <cstddef>

#include "com_abi.h"
#include "force_feedback/legacy/devices/family_table.h"

namespace wheel {

// Corrin input bits whose clear state sets the status value.
inline constexpr std::size_t kCorrinStatusOnByte = 3;
inline constexpr BYTE kCorrinStatusOnMask = 0x80;
inline constexpr std::size_t kCorrinStatusOffByte = 11;
inline constexpr BYTE kCorrinStatusOffMask = 0x01;

}  // namespace wheel

// The status value after one input report under `rule`, or `current` when
// the rule leaves it alone. Short reports leave the Corrin bits unread.
LONG StatusAfterInput(InputStatusRule rule, LONG current, const BYTE* report, unsigned length);
