// The wheel simulation thread's velocity estimate for the host-simulated
// damper: a nine-tap smoothing filter per axis, fed with raw position
// differences over time.
//
// What the filters are fed with: on every input report, for each axis,
// (position - previous position) in raw input units, divided by the
// milliseconds since the previous report, as 16.16 fixed point. The output
// is therefore a velocity in raw units per millisecond, 16.16, which is what
// the host damper law multiplies by its coefficient. When the wheel sends no
// input report for more than 12 ms (it reports only on change), each
// simulation pass feeds a zero sample to axis 0 so a wheel that stopped
// moving stops being damped.
#pragma once

#include <array>
#include <cstdint>

#include "com_abi.h"

namespace velocity {

// 16.16 coefficients: the first nine values of a symmetric ten-value window,
// each times 65536 truncated toward zero. The tenth value is not used, so
// the filter's DC gain is 59005/65536, about 0.9 (intentional, keep).
inline constexpr std::array<std::int32_t, 9> kWheelTaps = {6523, 6542, 6557, 6568, 6574, 6574, 6568, 6557, 6542};
inline constexpr std::int32_t kUnityGain = 0x10000;
inline constexpr DWORD kStaleInputMs = 12;
inline constexpr int kFilterCount = 4;

}  // namespace velocity

// Role: a nine-tap FIR over 16.16 samples. Owner: the wheel simulation
// thread; fed and read on it only.
class NineTapFilter {
public:
    NineTapFilter(const std::array<std::int32_t, 9>& taps, std::int32_t gain);

    // Pushes one sample and returns the new output:
    // sum(taps[i] * sample[n - i]) / gain, the newest sample on taps[0].
    LONG Feed(LONG sample);
    LONG Output() const { return m_output; }

private:
    std::array<std::int32_t, 9> m_taps;
    std::int32_t m_gain;
    std::array<LONG, 9> m_history{};
    unsigned m_newest = 0;
    LONG m_output = 0;
};

// Role: per-axis velocity estimates of one wheel. Owner: the wheel
// simulation thread; OnInput runs in its input completion routine, OnPass
// in its Tick, both on that thread.
class WheelVelocityEstimator {
public:
    // `centres`: the raw calibration centres, the positions assumed until the
    // first report; `constructedMs`: the stamp the first report is timed from.
    WheelVelocityEstimator(const std::array<LONG, velocity::kFilterCount>& centres, DWORD constructedMs);

    // One input report's raw positions at `nowMs`.
    void OnInput(const std::array<LONG, velocity::kFilterCount>& positions, DWORD nowMs);
    // The simulation pass: after more than 12 ms without input, a zero
    // sample for axis 0.
    void OnPass(DWORD nowMs);

    LONG Velocity(int axis) const;

private:
    std::array<NineTapFilter, velocity::kFilterCount> m_filters;
    std::array<LONG, velocity::kFilterCount> m_positions;
    std::array<LONG, velocity::kFilterCount> m_velocities{};
    DWORD m_lastInputMs;
};
