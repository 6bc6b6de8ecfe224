#include "force_feedback/legacy/effects/force_effects.h"

#include <cstring>

#include "force_feedback/legacy/effects/effect_math.h"

using namespace effects;

namespace {

constexpr DWORD kPhaseFull = 0x1000000;  // one period in the accumulator
constexpr DWORD kPhaseMask = 0xFFFFFF;
constexpr int kPhaseShift = 16;           // accumulator bits below the phase index
constexpr DWORD kSquareHalf = 0x800000;
constexpr DWORD kSquareIndexMask = 0xFFFF0000;
constexpr int kSawUpShift = 18;           // 64 ramp steps per period
constexpr DWORD kMinPeriodMs = 16;
constexpr DWORD kShortPeriodMs = 24;
constexpr DWORD kQuarterPhase = 64;
constexpr DWORD kCentidegreesPerCircle = 36000;
constexpr DWORD kUsPerMs = 1000;

DWORD PhaseToAngle(DWORD centidegrees) { return ((centidegrees % kCentidegreesPerCircle) * 256) / kCentidegreesPerCircle; }

template <typename T>
T ReadBlock(const BYTE* data) {
    T block;
    std::memcpy(&block, data, sizeof(T));
    return block;
}

}  // namespace

HRESULT CSimulatedEffect::Stop() {
    m_forceX = 0;
    m_forceY = 0;
    return CEffect::Stop();
}

HRESULT CSimulatedEffect::GetForce(LONG* x, LONG* y, LONG* summingClass) {
    const bool on = Active();
    if (x) *x = on ? Clamp(m_forceX, -kForceLimit, kForceLimit) : 0;
    if (y) *y = on ? Clamp(m_forceY, -kForceLimit, kForceLimit) : 0;
    if (summingClass) *summingClass = on ? m_summingClass : 0;
    return S_OK;
}

void CSimulatedEffect::SplitForce(LONG force) {
    if (m_flags & DIEFF_POLAR) {
        SplitByAngle(force, static_cast<BYTE>(Direction(0)), &m_forceX, &m_forceY, kForceLimit);
    } else {
        CartesianSplit(force, 0, 0, /*useOwnDirections=*/true, &m_forceX, &m_forceY, kForceLimit);
    }
}

LONG CConstantEffect::Update(const SimTick* tick) {
    if (!AdvanceAndPlays(tick) || !TypeSpecific()) return 1;
    const LONG magnitude = ReadBlock<DICONSTANTFORCE>(TypeSpecific()).lMagnitude;
    SplitForce(platform::MulDiv(ApplyEnvelope(magnitude), static_cast<std::int32_t>(m_gain), kFullScale));
    return 1;
}

LONG CRampEffect::Update(const SimTick* tick) {
    if (!AdvanceAndPlays(tick) || !TypeSpecific()) return 1;
    const auto ramp = ReadBlock<DIRAMPFORCE>(TypeSpecific());
    // The duration is taken as signed: infinite (-1) runs the ramp backwards
    // without end: intentional, keep.
    const std::int32_t progress = platform::MulDiv(WrapSub(ramp.lEnd, ramp.lStart), static_cast<std::int32_t>(m_elapsed),
                                         static_cast<std::int32_t>(m_duration));
    const LONG value = WrapAdd(ramp.lStart, progress);
    SplitForce(platform::MulDiv(ApplyEnvelope(value), static_cast<std::int32_t>(m_gain), kFullScale));
    return 1;
}

LONG CCustomEffect::Update(const SimTick* tick) { return CEffect::Update(tick); }

void CCustomEffect::ConvertTypeSpecific() {
    auto custom = ReadBlock<DICUSTOMFORCE>(TypeSpecific());
    if (custom.dwSamplePeriod != kInfinite) custom.dwSamplePeriod /= kUsPerMs;
    std::memcpy(MutableTypeSpecific(), &custom, sizeof(custom));
}

HRESULT CPeriodicEffect::Start(DWORD ignored, DWORD iterations) {
    const HRESULT hr = CEffect::Start(ignored, iterations);
    m_accumulator = Periodic() ? ReadBlock<DIPERIODIC>(TypeSpecific()).dwPhase << kPhaseShift : 0;
    return hr;
}

HRESULT CPeriodicEffect::SetParameters(DWORD flags, const DIEFFECT* effect) {
    // A phase change while playing moves the running wave by old - new, the
    // opposite sense to the change: intentional, keep.
    std::int32_t delta = 0;
    const bool newBlock = effect && (flags & DIEP_TYPESPECIFICPARAMS) && effect->lpvTypeSpecificParams &&
                          effect->cbTypeSpecificParams >= sizeof(DIPERIODIC);
    if (newBlock && Periodic()) {
        const auto incoming = ReadBlock<DIPERIODIC>(static_cast<const BYTE*>(effect->lpvTypeSpecificParams));
        delta = static_cast<std::int32_t>(Periodic()->dwPhase) - static_cast<std::int32_t>(PhaseToAngle(incoming.dwPhase));
    }
    const HRESULT hr = CEffect::SetParameters(flags, effect);
    if (TookTypeSpecific() && delta != 0) m_accumulator += static_cast<DWORD>(delta) << kPhaseShift;
    return hr;
}

void CPeriodicEffect::ConvertTypeSpecific() {
    auto p = ReadBlock<DIPERIODIC>(TypeSpecific());
    if (p.dwMagnitude > static_cast<DWORD>(kFullScale)) p.dwMagnitude = kFullScale;
    p.lOffset = Clamp(p.lOffset, -kFullScale, kFullScale);
    p.dwPhase = PhaseToAngle(p.dwPhase);
    if (p.dwPeriod != kInfinite) {
        p.dwPeriod /= kUsPerMs;
        // Short periods start a quarter in; the shortest are also stretched
        // to 16 ms: intentional, keep.
        if (p.dwPeriod < kMinPeriodMs) {
            p.dwPeriod = kMinPeriodMs;
            p.dwPhase = kQuarterPhase;
        } else if (p.dwPeriod < kShortPeriodMs) {
            p.dwPhase = kQuarterPhase;
        }
    }
    std::memcpy(MutableTypeSpecific(), &p, sizeof(p));
}

LONG CPeriodicEffect::Update(const SimTick* tick) {
    if (!AdvanceAndPlays(tick) || !Periodic()) return 1;
    const auto p = ReadBlock<DIPERIODIC>(TypeSpecific());
    const DWORD length = tick ? tick->tickLengthMs : 0;
    if (p.dwPeriod != kInfinite) m_accumulator += (length * kPhaseFull) / p.dwPeriod;
    if (m_accumulator >= kPhaseFull) m_accumulator &= kPhaseMask;
    const std::int32_t m = ApplyEnvelope(static_cast<std::int32_t>(p.dwMagnitude));
    const std::int32_t shaped = platform::MulDiv(platform::MulDiv(Waveform(), m, kWaveUnit), static_cast<std::int32_t>(m_gain), kFullScale);
    // The offset is added after the gain and is not scaled by it: intentional, keep.
    SplitForce(WrapAdd(shaped, p.lOffset));
    return 1;
}

LONG CSineEffect::Waveform() const { return MirrorQuarter(Tables().sine, PhaseIndex()); }

LONG CSquareEffect::Waveform() const {
    return (m_accumulator & kSquareIndexMask) < kSquareHalf ? kWaveUnit : -kWaveUnit;
}

LONG CTriangleEffect::Waveform() const { return MirrorQuarter(Tables().ramp, PhaseIndex()); }

// Both saws are one-sided, 0..1024, never negative: intentional, keep.
LONG CSawUpEffect::Waveform() const { return Tables().ramp[(m_accumulator >> kSawUpShift) & 63]; }

LONG CSawDownEffect::Waveform() const { return Tables().ramp[(255 - PhaseIndex()) >> 2]; }
