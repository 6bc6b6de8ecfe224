#include "force_feedback/legacy/devices/wheel_indicator.h"

#include <array>
#include <cmath>

namespace {

constexpr double kLitLevels = 6.0;
constexpr DWORD kHighestLitLevel = 6;
constexpr std::array<BYTE, 7> kPatterns = {0x00, 0x01, 0x03, 0x07, 0x0F, 0x1F, 0x1F};

std::optional<CommandBuffer> Blink(IndicatorBlink& blink, DWORD nowMs) {
    // The period is measured from the first check in the process, not from
    // the wheel's first call: a fresh wheel may wait up to 150 ms before its
    // first toggle (intentional, keep).
    if (!blink.started) {
        blink.started = true;
        blink.lastToggleMs = nowMs;
        return std::nullopt;
    }
    if (nowMs - blink.lastToggleMs <= indicator::kBlinkPeriodMs) return std::nullopt;
    blink.lastToggleMs = nowMs;
    blink.dark = !blink.dark;
    return IndicatorCommand(blink.dark ? indicator::kPatternDark : indicator::kPatternAll);
}

}  // namespace

BYTE IndicatorPattern(DWORD level) { return level < kPatterns.size() ? kPatterns[level] : indicator::kPatternAll; }

DWORD IndicatorLevel(float x, float lo, float hi) {
    const double fraction = kLitLevels * (static_cast<double>(x) - lo) / (static_cast<double>(hi) - lo);
    // NaN and rounding at the very top of the range stay inside 1..6.
    if (!(fraction >= 0.0)) return 1;
    if (fraction >= kLitLevels) return kHighestLitLevel;
    return 1 + static_cast<DWORD>(std::floor(fraction));
}

CommandBuffer IndicatorCommand(BYTE pattern) {
    return MakeCommand({indicator::kCmdIndicator, indicator::kIndicatorLights, pattern});
}

IndicatorCommands UpdateIndicator(float x, float lo, float hi, DWORD& level, IndicatorBlink& blink, DWORD nowMs) {
    IndicatorCommands out;
    if (x < lo) {
        // Sent on every call below the range, not only on the way down.
        out.first = IndicatorCommand(indicator::kPatternDark);
        level = indicator::kLevelDark;
        return out;
    }
    if (x >= hi) {
        if (level != indicator::kLevelBlink) {
            out.first = IndicatorCommand(indicator::kPatternAll);
            level = indicator::kLevelBlink;
        }
        std::optional<CommandBuffer> toggle = Blink(blink, nowMs);
        (out.first ? out.second : out.first) = toggle;
        return out;
    }
    const DWORD n = IndicatorLevel(x, lo, hi);
    if (n != level) {
        out.first = IndicatorCommand(IndicatorPattern(n));
        level = n;
    }
    return out;
}
