#include <atomic>

#include "platform/clock.h"

namespace platform {
namespace {
std::atomic<TimeSource*> g_source{nullptr};
}  // namespace

void SetTimeSource(TimeSource* source) { g_source.store(source); }

std::uint32_t TimeGetTime() {
    TimeSource* source = g_source.load();
    return source ? source->NowMs() : timer::SystemTimeMs();
}

TimerResolutionGuard::TimerResolutionGuard(bool activate) {
    if (activate) Activate();
}

TimerResolutionGuard::~TimerResolutionGuard() { Deactivate(); }

bool TimerResolutionGuard::Activate() {
    if (m_active) return true;
    std::uint32_t minPeriod = 0;
    std::uint32_t maxPeriod = 0;
    if (!timer::GetDevCaps(&minPeriod, &maxPeriod)) return false;
    const std::uint32_t period = TimerPeriodFor(minPeriod, maxPeriod);
    if (!timer::BeginPeriod(period)) return false;
    m_period = period;
    m_active = true;
    return true;
}

void TimerResolutionGuard::Deactivate() {
    if (!m_active) return;
    timer::EndPeriod(m_period);
    m_active = false;
}

}  // namespace platform
