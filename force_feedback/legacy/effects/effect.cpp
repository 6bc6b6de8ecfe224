#include "force_feedback/legacy/effects/effect.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <new>

#include "force_feedback/legacy/effects/effect_math.h"

using namespace effects;

namespace {

// A DirectX 5 block ends before dwStartDelay; anything shorter is not a
// DIEFFECT at all.
constexpr DWORD kMinEffectSize = offsetof(DIEFFECT, dwStartDelay);
constexpr DWORD kEffectSizeWithDelay = offsetof(DIEFFECT, dwStartDelay) + sizeof(DWORD);
// The last force must reach the device before the effect stops.
constexpr DWORD kFinalStopPauseMs = 8;
constexpr DWORD kMsPerSecondFraction = 1000;  // microseconds per millisecond
constexpr LONG kCentidegreesPerCircle = 36000;

DWORD ToMilliseconds(DWORD microseconds) {
    return microseconds == kInfinite ? kInfinite : microseconds / kMsPerSecondFraction;
}

template <typename T>
std::unique_ptr<T[]> AllocateZeroed(DWORD count) {
    return std::unique_ptr<T[]>(new (std::nothrow) T[count]());
}

// Room for `count` entries: the array made the first time is kept while it
// is large enough; a larger count gets a new, larger one. False, with the
// old array kept, when no memory is left for it.
template <typename T>
bool MakeRoom(std::unique_ptr<T[]>* array, DWORD* capacity, DWORD count) {
    if (*array && count <= *capacity) return true;
    const DWORD size = count > kAxisArrayMinimum ? count : kAxisArrayMinimum;
    auto larger = AllocateZeroed<T>(size);
    if (!larger) return false;
    *array = std::move(larger);
    *capacity = size;
    return true;
}

}  // namespace

CEffect::CEffect() { (void)Tables(); }

CEffect::~CEffect() = default;

HRESULT CEffect::Start(DWORD, DWORD iterations) {
    m_iterationsLeft = iterations;
    m_delayLeft = static_cast<LONG>(m_startDelay);
    m_playing = 1;
    m_ticked = 0;
    m_elapsed = 0;
    return S_OK;
}

HRESULT CEffect::Stop() {
    m_playing = 0;
    return S_OK;
}

HRESULT CEffect::SetParameters(DWORD flags, const DIEFFECT* effect) {
    if (effect == nullptr) return E_POINTER;
    if (effect->dwSize < kMinEffectSize) return E_INVALIDARG;
    if ((flags & DIEP_TYPESPECIFICPARAMS) && effect->lpvTypeSpecificParams && effect->cbTypeSpecificParams &&
        (effect->cbTypeSpecificParams < MinTypeSpecificSize() ||
         effect->cbTypeSpecificParams > kMaxTypeSpecificSize)) {
        return E_INVALIDARG;  // refused before anything changes
    }
    const HRESULT hr = TakeParameters(flags, *effect);
    if (m_tookTypeSpecific) ConvertTypeSpecific();
    if (flags & DIEP_START) Start(0, 1);
    return hr;
}

// Not transactional: a failing step leaves what earlier steps took.
HRESULT CEffect::TakeParameters(DWORD flags, const DIEFFECT& effect) {
    HRESULT hr = S_OK;
    m_tookTypeSpecific = false;
    m_size = effect.dwSize;
    m_flags = effect.dwFlags;
    // DirectX 5 hosts send no start delay field at all.
    if ((flags & DIEP_STARTDELAY) && effect.dwSize >= kEffectSizeWithDelay)
        m_startDelay = ToMilliseconds(effect.dwStartDelay);
    if (flags & DIEP_DURATION) m_duration = ToMilliseconds(effect.dwDuration);
    if (flags & DIEP_SAMPLEPERIOD) m_samplePeriod = ToMilliseconds(effect.dwSamplePeriod);
    if (flags & DIEP_GAIN) m_gain = effect.dwGain;
    if (flags & DIEP_TRIGGERBUTTON) m_triggerButton = effect.dwTriggerButton;
    if (flags & DIEP_TRIGGERREPEATINTERVAL) m_triggerRepeatInterval = ToMilliseconds(effect.dwTriggerRepeatInterval);
    if ((flags & DIEP_ENVELOPE) && !TakeEnvelope(effect.lpEnvelope)) hr = E_OUTOFMEMORY;
    if ((flags & DIEP_AXES) && FAILED(TakeAxes(effect))) hr = E_INVALIDARG;
    if ((flags & DIEP_DIRECTION) && FAILED(TakeDirections(effect))) hr = E_INVALIDARG;
    if ((flags & DIEP_TYPESPECIFICPARAMS) && !TakeTypeSpecific(effect)) hr = E_OUTOFMEMORY;
    return hr;
}

bool CEffect::TakeEnvelope(const DIENVELOPE* envelope) {
    if (envelope == nullptr) {
        m_envelope.reset();
        return true;
    }
    if (!m_envelope) m_envelope.reset(new (std::nothrow) EffectEnvelope{});
    if (!m_envelope) return false;
    // A zero time would divide by zero in the attack and fade laws.
    auto time = [](DWORD us) {
        const DWORD ms = ToMilliseconds(us);
        return ms == 0 ? 1u : ms;
    };
    m_envelope->attackLevel = envelope->dwAttackLevel > kFullScale ? kFullScale : envelope->dwAttackLevel;
    m_envelope->attackTime = time(envelope->dwAttackTime);
    m_envelope->fadeLevel = envelope->dwFadeLevel > kFullScale ? kFullScale : envelope->dwFadeLevel;
    m_envelope->fadeTime = time(envelope->dwFadeTime);
    return true;
}

// Any non-zero count is taken, however many axes the device has: the
// effect keeps what the application gave, and a new download and an update
// take the same block the same way.
HRESULT CEffect::TakeAxes(const DIEFFECT& effect) {
    if (effect.cAxes == 0 || effect.rgdwAxes == nullptr) return E_INVALIDARG;
    if (!MakeRoom(&m_axes, &m_axesCapacity, effect.cAxes)) return E_INVALIDARG;
    m_axisCount = effect.cAxes;
    std::memcpy(m_axes.get(), effect.rgdwAxes, static_cast<std::size_t>(effect.cAxes) * sizeof(DWORD));
    return S_OK;
}

HRESULT CEffect::TakeDirections(const DIEFFECT& effect) {
    if (effect.cAxes == 0 || effect.rglDirection == nullptr) return E_INVALIDARG;
    if (!MakeRoom(&m_directions, &m_directionsCapacity, effect.cAxes)) return E_INVALIDARG;
    m_axisCount = effect.cAxes;
    std::memcpy(m_directions.get(), effect.rglDirection, static_cast<std::size_t>(effect.cAxes) * sizeof(LONG));
    if (m_flags & DIEFF_POLAR) {
        // Signed remainder: a negative direction gives a negative angle that
        // the sine lookup later takes mod 256.
        m_directions[0] = ((m_directions[0] % kCentidegreesPerCircle) * kAngleUnitsPerCircle) / kCentidegreesPerCircle;
    } else if ((m_flags & DIEFF_CARTESIAN) && m_axes && m_axisCount >= 2) {
        // Put the application's list in axis-instance order. The axes may
        // have come with fewer entries than this call's count.
        for (DWORD i = 0; i < m_axisCount && i < m_axesCapacity; ++i) {
            const DWORD n = ObjectInstance(m_axes[i]);
            if (n < m_axisCount) m_directions[i] = effect.rglDirection[n];
        }
    }
    return S_OK;
}

bool CEffect::TakeTypeSpecific(const DIEFFECT& effect) {
    const DWORD size = effect.cbTypeSpecificParams;
    if (effect.lpvTypeSpecificParams == nullptr || size == 0) return true;
    if (!m_typeSpecific || size != m_typeSpecificSize) {
        m_typeSpecific.reset(new (std::nothrow) BYTE[size]);
        m_typeSpecificSize = m_typeSpecific ? size : 0;
        if (!m_typeSpecific) return false;
    }
    std::memcpy(m_typeSpecific.get(), effect.lpvTypeSpecificParams, size);
    m_tookTypeSpecific = true;
    return true;
}

LONG CEffect::Update(const SimTick* tick) {
    const DWORD length = tick ? tick->tickLengthMs : 0;
    if (!m_playing) {
        m_ticked = 1;
        return 1;
    }
    if (m_delayLeft != 0) {
        // The tick that ends the delay still plays nothing.
        m_delayLeft = WrapSub(m_delayLeft, static_cast<std::int32_t>(length));
        if (m_delayLeft < 0) m_delayLeft = 0;
        m_ticked = 1;
        return 1;
    }
    m_elapsed += length;
    if (m_duration != kInfinite && m_elapsed > m_duration) FinishRun();
    m_ticked = 1;
    return 1;
}

bool CEffect::AdvanceAndPlays(const SimTick* tick) {
    const bool wasDelaying = m_delayLeft != 0;
    CEffect::Update(tick);
    return !wasDelaying && Active();
}

void CEffect::FinishRun() {
    if (m_iterationsLeft == kInfinite) {
        Start(0, kInfinite);
    } else if (m_iterationsLeft > 1) {
        Start(0, m_iterationsLeft - 1);
    } else {
        if (m_ticked && m_host) m_host->Sleep(kFinalStopPauseMs);
        Stop();
    }
}

HRESULT CEffect::GetForce(LONG* x, LONG* y, LONG* summingClass) {
    if (x) *x = 0;
    if (y) *y = 0;
    if (summingClass) *summingClass = 0;
    return E_NOTIMPL;
}

LONG CEffect::ApplyEnvelope(LONG m) const {
    if (!m_envelope) return m;
    const EffectEnvelope& e = *m_envelope;
    const std::int32_t size = WrapAbs(m);
    auto signed_like_m = [m](std::int32_t r) { return m < 0 ? WrapNeg(r) : r; };
    if (m_elapsed < e.attackTime) {
        const std::int32_t level = static_cast<std::int32_t>(e.attackLevel);
        return signed_like_m(WrapAdd(level, platform::MulDiv(static_cast<std::int32_t>(m_elapsed), WrapSub(size, level),
                                                   static_cast<std::int32_t>(e.attackTime))));
    }
    if (m_duration == kInfinite) return m;
    if (m_elapsed <= m_duration - e.fadeTime) return m;
    const std::int32_t fadeLevel = static_cast<std::int32_t>(e.fadeLevel);
    if (m_elapsed >= m_duration) return signed_like_m(fadeLevel);
    const auto into = static_cast<std::int32_t>(m_elapsed + e.fadeTime - m_duration);
    return signed_like_m(WrapAdd(size, platform::MulDiv(into, WrapSub(fadeLevel, size), static_cast<std::int32_t>(e.fadeTime))));
}

LONG CEffect::SplitByAngle(LONG m, BYTE angle, LONG* x, LONG* y, LONG scale) const {
    *x = platform::MulDiv(WrapMul(SineOfAngle(angle), m), scale, kSplitDivisor);
    *y = platform::MulDiv(WrapMul(SineOfAngle(angle + kQuarterCircle), m), scale, kSplitDivisor);
    return *y;
}

void CEffect::CartesianSplit(LONG m, LONG x0, LONG y0, bool useOwnDirections, LONG* x, LONG* y, LONG scale) const {
    if (useOwnDirections) {
        if (m_axisCount == 1) {
            // One axis: it is the second axis when its instance is non-zero.
            const LONG d = Direction(0);
            if (AxisInstance(0) != 0) {
                x0 = 0;
                y0 = d == 0 ? -1 : WrapNeg(d);
            } else {
                x0 = d == 0 ? 1 : d;
                y0 = 0;
            }
        } else if (m_axisCount == 2) {
            // A positive DirectInput y pushes toward negative y: intentional, keep.
            x0 = Direction(0);
            y0 = WrapNeg(Direction(1));
        } else {
            x0 = 0;
            y0 = 0;
        }
    }
    if (x0 == 0 && y0 == 0) y0 = 1;
    const float fx = static_cast<float>(x0);
    const float fy = static_cast<float>(y0);
    const float length = std::sqrt(fx * fx + fy * fy);
    if (!(length >= 1.0f)) {
        *x = 0;
        *y = 0;
        return;
    }
    const auto ux = static_cast<std::int32_t>(fx / length * kWaveUnit);
    const auto uy = static_cast<std::int32_t>(fy / length * kWaveUnit);
    *x = platform::MulDiv(WrapMul(ux, m), scale, kSplitDivisor);
    *y = platform::MulDiv(WrapMul(uy, m), scale, kSplitDivisor);
}
