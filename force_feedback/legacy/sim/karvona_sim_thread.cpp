#include "force_feedback/legacy/sim/karvona_sim_thread.h"

#include <algorithm>

#include "force_feedback/legacy/effects/effect.h"
#include "platform/muldiv.h"

namespace {
constexpr int kAxes = 2;
}  // namespace

CKarvonaSimThread::CKarvonaSimThread(Port& port)
    : CPolledInputSimThread(port), m_report(std::max(OutputReportLength(), 1u), 0) {}

void CKarvonaSimThread::ApplyCentering(DWORD strength, bool on) {
    m_centringStrength = strength;
    m_centringOn = on;
    m_building.ApplyCentering(strength, on);
}

void CKarvonaSimThread::SetKarvonaAxisBlock(int axis, const KarvonaAxisBlock* block) {
    if (axis < 0 || axis >= kAxes) return;
    if (block != nullptr || !m_centringOn) {
        m_building.SetAxisBlock(axis, block);
        return;
    }
    // Once a condition lets go of an axis, the stick's own spring takes it
    // back, as it would after the game stopped the effect.
    const auto strength = static_cast<std::int32_t>(std::min<DWORD>(m_centringStrength, karvona::kCentringStrengthMax));
    const KarvonaAxisBlock centring{
        karvona::kCentringMode,
        static_cast<BYTE>(platform::MulDiv(strength, karvona::kCentringCoefficientMax, karvona::kCentringStrengthMax)),
        karvona::kCentringSaturation, karvona::kCentringDeadBand};
    m_building.SetAxisBlock(axis, &centring);
}

void CKarvonaSimThread::AssignHardwareSlot(unsigned p, LONG, DWORD, LONG*, const SimTick& tick) {
    if (p != 0) return;
    Port* device = GetDevice();
    for (DWORD i = 0; i < kEffectSlots; ++i) {
        CEffect* e = device->GetEffect(i);
        if (e != nullptr && !e->IsSimulated()) e->Update(&tick);
    }
}

void CKarvonaSimThread::ReportStep(LONG x, LONG y) {
    bool changed = false;
    {
        std::lock_guard lock(GetDevice()->Mutex());
        m_building.SetForce(x, y);
        changed = m_building.TakeIfChanged(m_report.data(), OutputReportLength());
    }
    if (changed) WriteReport(m_report.data(), OutputReportLength());
}
