#include "force_feedback/legacy/effects/condition_effects.h"

#include "force_feedback/legacy/effects/effect_math.h"

using namespace effects;

namespace {
constexpr LONG kMotorStepsPerForceUnit = 2;
}  // namespace

HRESULT CSimulatedConditionBase::SetParameters(DWORD flags, const DIEFFECT* effect) {
    const HRESULT hr = CSimulatedEffect::SetParameters(flags, effect);
    // Refresh the force at once instead of a tick later.
    if (TookTypeSpecific()) {
        const SimTick none{};
        Update(&none);
    }
    return hr;
}

LONG CSimulatedConditionBase::Strength() const { return conditions::StrengthOf(m_host, m_kind); }

void CSimulatedConditionBase::ConvertTypeSpecific() { conditions::ScaleBlocks(MutableTypeSpecific(), BlockCount(), Strength()); }

DWORD CSimulatedConditionBase::GetLoad() const {
    if (!m_playing) return 0;
    return conditions::Load(m_kind, TypeSpecific(), BlockCount(), m_gain);
}

conditions::AxisChoice CSimulatedConditionBase::ChooseAxes() const {
    return conditions::ChooseAxes({(m_flags & DIEFF_POLAR) != 0, Direction(0), Direction(1), m_axisCount,
                                   AxisInstance(0), AxisInstance(1), BlockCount()});
}

void CSimulatedConditionBase::ComputeForces(LONG* x, LONG* y) const {
    const conditions::AxisChoice choice = ChooseAxes();
    *x = choice.block[0] == conditions::kNoBlock ? 0 : Law(0, choice.block[0]);
    *y = choice.block[1] == conditions::kNoBlock ? 0 : Law(1, choice.block[1]);
}

CSimulatedSpringEffect::CSimulatedSpringEffect() : CSimulatedConditionBase(conditions::Kind::kSpring) {
    m_summingClass = 0;
}

void CSimulatedSpringEffect::ConvertTypeSpecific() {
    CSimulatedConditionBase::ConvertTypeSpecific();
    for (DWORD i = 0; i < 2 && i < BlockCount(); ++i) m_edges[i] = conditions::EdgesOf(Block(static_cast<int>(i)));
}

LONG CSimulatedSpringEffect::Law(int axis, int block) const {
    return conditions::SpringLaw(m_host, axis, Block(block), m_edges[block == 1 ? 1 : 0], m_gain);
}

// A host condition never reports an exact zero X force: intentional, keep.
LONG CSimulatedSpringEffect::Update(const SimTick* tick) {
    if (!AdvanceAndPlays(tick) || BlockCount() == 0) return 1;
    ComputeForces(&m_forceX, &m_forceY);
    if (m_forceX == 0) m_forceX = 1;
    return 1;
}

LONG CSimulatedDamperEffect::Law(int axis, int block) const {
    return conditions::DamperLaw(m_host, axis, Block(block), m_gain);
}

// Same non-zero X rule as the spring: intentional, keep.
LONG CSimulatedDamperEffect::Update(const SimTick* tick) {
    if (!AdvanceAndPlays(tick) || BlockCount() == 0) return 1;
    ComputeForces(&m_forceX, &m_forceY);
    if (m_forceX == 0) m_forceX = 1;
    return 1;
}

CRumbleSpringEffect::CRumbleSpringEffect() : CSimulatedConditionBase(conditions::Kind::kSpring) {}

void CRumbleSpringEffect::ConvertTypeSpecific() {
    CSimulatedConditionBase::ConvertTypeSpecific();
    for (DWORD i = 0; i < 2 && i < BlockCount(); ++i) m_edges[i] = conditions::EdgesOf(Block(static_cast<int>(i)));
}

LONG CRumbleSpringEffect::Law(int axis, int block) const {
    return conditions::SpringLaw(m_host, axis, Block(block), m_edges[block == 1 ? 1 : 0], m_gain);
}

LONG CRumbleSpringEffect::AdjustForce(LONG force, BYTE adjust, bool down) const {
    if (force == 0) return 0;
    const LONG size = WrapAbs(force);
    const LONG step = adjust / kMotorStepsPerForceUnit;
    const LONG adjusted = down ? (size > step ? size - step : 0) : Clamp(size, 0, kForceLimit - step) + step;
    return force < 0 ? -adjusted : adjusted;
}

void CRumbleSpringEffect::ApplyDeltaSettings(LONG* x, LONG* y) const {
    if (!m_host) return;
    const bool down = m_host->GetDeltaSpringAdjustDown() != 0;
    *x = AdjustForce(*x, m_host->GetDeltaSpringXAdjust(), down);
    *y = AdjustForce(*y, m_host->GetDeltaSpringYAdjust(), down);
}

void CRumbleSpringEffect::RouteToMotors(LONG* x, LONG* y) const {
    if (!m_host || m_host->GetFlipDeltaSpringToY() == 0) return;
    *y = WrapAdd(*y, *x);
    *x = 0;
}

LONG CRumbleSpringEffect::Update(const SimTick* tick) {
    if (!AdvanceAndPlays(tick) || BlockCount() == 0) return 1;
    ComputeForces(&m_forceX, &m_forceY);
    ApplyDeltaSettings(&m_forceX, &m_forceY);
    RouteToMotors(&m_forceX, &m_forceY);
    return 1;
}

LONG CRumbleDamperEffect::Law(int axis, int block) const {
    return conditions::DamperLaw(m_host, axis, Block(block), m_gain);
}

LONG CRumbleDamperEffect::Update(const SimTick* tick) {
    if (!AdvanceAndPlays(tick) || BlockCount() == 0) return 1;
    ComputeForces(&m_forceX, &m_forceY);
    return 1;
}
