#include "force_feedback/legacy/sim/wheel_filters.h"

#include <algorithm>
#include <limits>

namespace {

constexpr std::int64_t kFixedOne = 0x10000;

LONG Saturate(std::int64_t v) {
    return static_cast<LONG>(std::clamp<std::int64_t>(v, std::numeric_limits<LONG>::min(), std::numeric_limits<LONG>::max()));
}

}  // namespace

NineTapFilter::NineTapFilter(const std::array<std::int32_t, 9>& taps, std::int32_t gain)
    : m_taps(taps), m_gain(gain == 0 ? velocity::kUnityGain : gain) {}

LONG NineTapFilter::Feed(LONG sample) {
    m_newest = (m_newest + m_history.size() - 1) % m_history.size();
    m_history[m_newest] = sample;
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < m_taps.size(); ++i) {
        sum += static_cast<std::int64_t>(m_taps[i]) * m_history[(m_newest + i) % m_history.size()];
    }
    m_output = Saturate(sum / m_gain);
    return m_output;
}

WheelVelocityEstimator::WheelVelocityEstimator(const std::array<LONG, velocity::kFilterCount>& centres, DWORD constructedMs)
    : m_filters{NineTapFilter(velocity::kWheelTaps, velocity::kUnityGain), NineTapFilter(velocity::kWheelTaps, velocity::kUnityGain),
                NineTapFilter(velocity::kWheelTaps, velocity::kUnityGain), NineTapFilter(velocity::kWheelTaps, velocity::kUnityGain)},
      m_positions(centres),
      m_lastInputMs(constructedMs) {}

void WheelVelocityEstimator::OnInput(const std::array<LONG, velocity::kFilterCount>& positions, DWORD nowMs) {
    // Two reports within the same millisecond count as one millisecond apart
    // rather than dividing by zero.
    const std::int64_t elapsed = std::max<DWORD>(nowMs - m_lastInputMs, 1);
    for (int axis = 0; axis < velocity::kFilterCount; ++axis) {
        const std::int64_t moved = static_cast<std::int64_t>(positions[axis]) - m_positions[axis];
        m_velocities[axis] = m_filters[axis].Feed(Saturate(moved * kFixedOne / elapsed));
        m_positions[axis] = positions[axis];
    }
    m_lastInputMs = nowMs;
}

void WheelVelocityEstimator::OnPass(DWORD nowMs) {
    if (nowMs - m_lastInputMs <= velocity::kStaleInputMs) return;
    m_velocities[0] = m_filters[0].Feed(0);
}

LONG WheelVelocityEstimator::Velocity(int axis) const {
    if (axis < 0 || axis >= velocity::kFilterCount) return 0;
    return m_velocities[axis];
}
