// The Prazen wheel's row of five shift-indicator lights, driven by escape
// command 0 with a value and its lower and upper thresholds (engine speed
// and its range, typically). Pure: the device keeps the level, the process
// keeps the blink state, and the caller queues the commands returned.
#pragma once

#include <cstdint>
#include <optional>

#include "com_abi.h"
#include "force_feedback/legacy/sim/wheel_reports.h"

namespace indicator {

inline constexpr BYTE kCmdIndicator = 0xF8;
inline constexpr BYTE kIndicatorLights = 0x12;
inline constexpr BYTE kPatternDark = 0x00;
inline constexpr BYTE kPatternAll = 0x1F;  // bit i lights light i
inline constexpr DWORD kLevelDark = 0;
inline constexpr DWORD kLevelBlink = 7;
inline constexpr DWORD kBlinkPeriodMs = 150;

}  // namespace indicator

// The blink toggle: one per process, shared by every Prazen wheel, so two
// wheels above their thresholds blink in step.
struct IndicatorBlink {
    bool started = false;  // the period starts at the first blink check
    bool dark = false;     // the last toggle sent the dark pattern
    DWORD lastToggleMs = 0;
};

// The lights pattern of level 1..6; 5 and 6 both light all five lights
// (intentional, keep).
BYTE IndicatorPattern(DWORD level);

// Level 1..6 for lo <= x < hi: 1 + whole part of 6 (x - lo) / (hi - lo).
DWORD IndicatorLevel(float x, float lo, float hi);

// Up to two commands for one escape call, in queue order.
struct IndicatorCommands {
    std::optional<CommandBuffer> first;
    std::optional<CommandBuffer> second;
};

// Updates `level` (the device's indicator field) and `blink`, and returns
// what to queue. `nowMs` is the tick count at the call.
IndicatorCommands UpdateIndicator(float x, float lo, float hi, DWORD& level, IndicatorBlink& blink, DWORD nowMs);

CommandBuffer IndicatorCommand(BYTE pattern);
