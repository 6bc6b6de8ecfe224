// The Karvona-style conditions: they live in the Karvona thread's axis blocks
// instead of condition commands.
#include <algorithm>

#include "force_feedback/legacy/effects/effect_math.h"
#include "force_feedback/legacy/effects/native_conditions.h"

using namespace effects;

namespace {

// The centring spring puts 50 at 150 % strength; a condition at full
// coefficient and full strength gets the same 50.
constexpr LONG kKarvonaCoefficientMax = 50;
constexpr LONG kKarvonaSaturationMax = 0x7F;
constexpr LONG kKarvonaDeadBandMax = 0xFF;
constexpr DWORD kKarvonaAxes = 2;

LONG GainedMagnitude(LONG coefficient, DWORD gain) {
    return WrapAbs(platform::MulDiv(coefficient, static_cast<std::int32_t>(gain), kFullScale));
}

}  // namespace

KarvonaAxisBlock KarvonaBlockOf(const DICONDITION& c, DWORD gain, bool damper) {
    const LONG k = std::max(GainedMagnitude(c.lPositiveCoefficient, gain), GainedMagnitude(c.lNegativeCoefficient, gain));
    KarvonaAxisBlock block{};
    block.mode = damper ? kKarvonaDamperMode : kKarvonaSpringMode;
    block.coefficient = static_cast<BYTE>(std::min<std::int32_t>(platform::MulDiv(k, kKarvonaCoefficientMax, kFullScale), kKarvonaCoefficientMax));
    if (damper) {
        block.saturation = static_cast<BYTE>(kKarvonaSaturationMax);
        return block;
    }
    const DWORD saturation = std::min<DWORD>(std::max(c.dwPositiveSaturation, c.dwNegativeSaturation), kFullScale);
    block.saturation = static_cast<BYTE>(platform::MulDiv(static_cast<std::int32_t>(saturation), kKarvonaSaturationMax, kFullScale));
    block.deadBand = static_cast<BYTE>(platform::MulDiv(Clamp(c.lDeadBand, 0, kFullScale), kKarvonaDeadBandMax, kFullScale));
    return block;
}

HRESULT CKarvonaStyleNativeEffect::SetParameters(DWORD flags, const DIEFFECT* effect) {
    const HRESULT hr = CEffect::SetParameters(flags, effect);
    if (TookTypeSpecific()) {
        const SimTick none{};
        Update(&none);
    }
    return hr;
}

void CKarvonaStyleNativeEffect::ConvertTypeSpecific() {
    conditions::ScaleBlocks(MutableTypeSpecific(), BlockCount(), conditions::StrengthOf(m_host, Kind()));
}

DWORD CKarvonaStyleNativeEffect::GetLoad() const {
    if (!m_playing) return 0;
    return conditions::Load(Kind(), TypeSpecific(), BlockCount(), m_gain);
}

LONG CKarvonaStyleNativeEffect::Update(const SimTick* tick) {
    if (!AdvanceAndPlays(tick) || BlockCount() == 0) return 1;
    const conditions::AxisChoice choice =
        conditions::ChooseAxes({(m_flags & DIEFF_POLAR) != 0, Direction(0), Direction(1), m_axisCount,
                                AxisInstance(0), AxisInstance(1), BlockCount()});
    for (DWORD axis = 0; axis < kKarvonaAxes; ++axis) {
        if (choice.block[axis] == conditions::kNoBlock) {
            SendCondition(axis, nullptr);
            continue;
        }
        DICONDITION c = conditions::ReadBlock(TypeSpecific(), static_cast<DWORD>(choice.block[axis]));
        if (choice.mirrored[axis]) c = conditions::Mirror(c);
        SendCondition(axis, &c);
    }
    return 1;
}

HRESULT CKarvonaStyleNativeEffect::Stop() {
    SendCondition(0, nullptr);
    SendCondition(1, nullptr);
    return CEffect::Stop();
}

HRESULT CKarvonaStyleNativeEffect::SendCondition(DWORD target, const DICONDITION* block) {
    if (target >= kKarvonaAxes) return E_INVALIDARG;
    if (block == nullptr) {
        if (m_ownsAxis[target] && m_host) m_host->SetKarvonaAxisBlock(static_cast<int>(target), nullptr);
        m_ownsAxis[target] = false;
        return S_OK;
    }
    const KarvonaAxisBlock axisBlock = KarvonaBlockOf(*block, m_gain, IsDamper());
    if (m_host) m_host->SetKarvonaAxisBlock(static_cast<int>(target), &axisBlock);
    m_ownsAxis[target] = true;
    return S_OK;
}
