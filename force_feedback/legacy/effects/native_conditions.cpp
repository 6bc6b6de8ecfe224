#include "force_feedback/legacy/effects/native_conditions.h"

#include "force_feedback/legacy/effects/effect_math.h"

using namespace effects;

const ConditionCommandFormat kHiResConditionFormat = {/*springType=*/0x0B, /*damperType=*/0x0C,
                                                      /*coefficientSteps=*/15};
const ConditionCommandFormat kLowResConditionFormat = {/*springType=*/0x01, /*damperType=*/0x02,
                                                       /*coefficientSteps=*/7};

namespace {

// Byte 0: target bits or'ed with the action.
constexpr BYTE kDownloadAndPlay = 0x01;
constexpr BYTE kStopTarget = 0x03;
constexpr int kWheelSlotBitShift = 5;         // slots 0..2 answer to 0x20, 0x40, 0x80
constexpr BYTE kJoystickAxisBits[2] = {0x20, 0x80};
constexpr DWORD kWheelTargets = 3;
constexpr DWORD kJoystickTargets = 2;
// Byte offsets within a condition command.
constexpr int kByteTarget = 0;
constexpr int kByteType = 1;
constexpr int kByteLowerEdge = 2;   // spring; damper: negative coefficient
constexpr int kByteUpperEdge = 3;   // spring; damper: negative sign
constexpr int kByteCoefficients = 4;  // spring: packed; damper: positive coefficient
constexpr int kByteSigns = 5;       // spring: signs (+ wheel edge low bits); damper: positive sign
constexpr int kByteClip = 6;        // spring: clip; damper: always 1
constexpr BYTE kDamperTrailer = 1;
constexpr LONG kClipSteps = 255;
constexpr LONG kWheelEdgeMax = 65535;
constexpr int kWheelEdgeShift = 5;  // 16-bit position to 11-bit edge
constexpr int kJoystickEdgeShift = 8;
constexpr LONG kJoystickEdgeMax = 255;

struct SignedCoefficients {
    BYTE positive;
    BYTE negative;
    BYTE positiveSign;
    BYTE negativeSign;
};

SignedCoefficients Coefficients(const DICONDITION& c, DWORD gain, LONG steps) {
    const std::int32_t kp = platform::MulDiv(c.lPositiveCoefficient, static_cast<std::int32_t>(gain), kFullScale);
    const std::int32_t kn = platform::MulDiv(c.lNegativeCoefficient, static_cast<std::int32_t>(gain), kFullScale);
    return {static_cast<BYTE>(platform::MulDiv(WrapAbs(kp), steps, kFullScale)),
            static_cast<BYTE>(platform::MulDiv(WrapAbs(kn), steps, kFullScale)), static_cast<BYTE>(kp < 0),
            static_cast<BYTE>(kn < 0)};
}

}  // namespace

BYTE CConditionCommandWriter::TargetBits(DWORD target) const {
    if (m_targets == ConditionTargets::kWheelSlots) return static_cast<BYTE>(1u << (target + kWheelSlotBitShift));
    return kJoystickAxisBits[target & 1];
}

void CConditionCommandWriter::Forget(LONG slot) {
    if (m_targets == ConditionTargets::kJoystickAxes) {
        m_lastQueued.fill({});
        return;
    }
    if (slot >= 0 && static_cast<DWORD>(slot) < kWheelTargets) m_lastQueued[static_cast<DWORD>(slot)] = {};
}

void CConditionCommandWriter::QueueIfChanged(IEffectHost* host, DWORD target) {
    if (m_command == m_lastQueued[target]) return;
    if (host) host->QueueReport(m_command.data(), kConditionCommandSize);
    m_lastQueued[target] = m_command;
}

// Only byte 0 changes; the rest keeps the last command's bytes, and the stop
// goes out only when byte 0 differs, so a target is stopped once: intentional, keep.
void CConditionCommandWriter::SendClear(IEffectHost* host, DWORD target) {
    m_command[kByteTarget] = TargetBits(target) | kStopTarget;
    if (m_command[kByteTarget] == m_lastQueued[target][kByteTarget]) return;
    if (host) host->QueueReport(m_command.data(), kConditionCommandSize);
    m_lastQueued[target] = m_command;
}

void CConditionCommandWriter::PutSpringEdges(const DICONDITION& c, LONG lowest, LONG centre, LONG highest) {
    const std::int32_t travel = WrapSub(highest, lowest);
    const std::int32_t h = platform::MulDiv(c.lDeadBand, travel, kFullScale) / 2;
    if (m_targets == ConditionTargets::kWheelSlots) {
        const std::int32_t c0 = platform::MulDiv(c.lOffset, WrapAdd(travel, 1) >> 1, kFullScale);
        const std::int32_t lower = Clamp(WrapAdd(WrapSub(c0, h), centre), 0, kWheelEdgeMax) >> kWheelEdgeShift;
        const std::int32_t upper = Clamp(WrapAdd(WrapAdd(c0, h), centre), 0, kWheelEdgeMax) >> kWheelEdgeShift;
        m_command[kByteLowerEdge] = static_cast<BYTE>(lower >> 3);
        m_command[kByteUpperEdge] = static_cast<BYTE>(upper >> 3);
        m_command[kByteSigns] = static_cast<BYTE>(((upper & 7) << 5) | ((lower & 7) << 1));
    } else {
        const std::int32_t c0 = platform::MulDiv(c.lOffset, travel >> 1, kFullScale);
        const std::int32_t lower = WrapAdd(WrapSub(c0, h), centre) >> kJoystickEdgeShift;
        const std::int32_t upper = WrapAdd(WrapAdd(c0, h), centre) >> kJoystickEdgeShift;
        m_command[kByteLowerEdge] = static_cast<BYTE>(Clamp(lower, 0, kJoystickEdgeMax));
        m_command[kByteUpperEdge] = static_cast<BYTE>(Clamp(upper, 0, kJoystickEdgeMax));
        m_command[kByteSigns] = 0;
    }
}

// Positive coefficient in the high nibble, negative in the low: the
// spring's order differs from the damper's: intentional, keep.
void CConditionCommandWriter::SendSpring(IEffectHost* host, DWORD target, const DICONDITION* block, DWORD gain,
                                         LONG lowest, LONG centre, LONG highest) {
    if (target >= (m_targets == ConditionTargets::kWheelSlots ? kWheelTargets : kJoystickTargets)) return;
    if (block == nullptr) return SendClear(host, target);
    const SignedCoefficients k = Coefficients(*block, gain, m_format.coefficientSteps);
    m_command[kByteTarget] = TargetBits(target) | kDownloadAndPlay;
    m_command[kByteType] = m_format.springType;
    PutSpringEdges(*block, lowest, centre, highest);
    m_command[kByteCoefficients] = static_cast<BYTE>((k.positive << 4) | k.negative);
    m_command[kByteSigns] |= static_cast<BYTE>((k.positiveSign << 4) | k.negativeSign);
    m_command[kByteClip] = static_cast<BYTE>(platform::MulDiv(static_cast<std::int32_t>(block->dwPositiveSaturation), kClipSteps,
                                                    kFullScale));
    QueueIfChanged(host, target);
}

// Negative coefficient first, one byte each: intentional, keep.
void CConditionCommandWriter::SendDamper(IEffectHost* host, DWORD target, const DICONDITION* block, DWORD gain) {
    if (target >= (m_targets == ConditionTargets::kWheelSlots ? kWheelTargets : kJoystickTargets)) return;
    if (block == nullptr) return SendClear(host, target);
    const SignedCoefficients k = Coefficients(*block, gain, m_format.coefficientSteps);
    m_command[kByteTarget] = TargetBits(target) | kDownloadAndPlay;
    m_command[kByteType] = m_format.damperType;
    m_command[kByteLowerEdge] = k.negative;
    m_command[kByteUpperEdge] = k.negativeSign;
    m_command[kByteCoefficients] = k.positive;
    m_command[kByteSigns] = k.positiveSign;
    m_command[kByteClip] = kDamperTrailer;
    QueueIfChanged(host, target);
}

HRESULT CNativeEffect::SetParameters(DWORD flags, const DIEFFECT* effect) {
    const HRESULT hr = CEffect::SetParameters(flags, effect);
    // Refresh the device slot at once instead of a tick later.
    if (TookTypeSpecific()) {
        const SimTick none{};
        Update(&none);
    }
    return hr;
}

void CNativeEffect::ConvertTypeSpecific() {
    conditions::ScaleBlocks(MutableTypeSpecific(), BlockCount(), conditions::StrengthOf(m_host, m_kind));
}

DWORD CNativeEffect::GetLoad() const {
    if (!m_playing) return 0;
    return conditions::Load(m_kind, TypeSpecific(), BlockCount(), m_gain);
}

conditions::AxisChoice CNativeEffect::ChooseAxes() const {
    return conditions::ChooseAxes({(m_flags & DIEFF_POLAR) != 0, Direction(0), Direction(1), m_axisCount,
                                   AxisInstance(0), AxisInstance(1), BlockCount()});
}

// Without a host the caller's defaults stand, as the device would leave them.
CalibrationRecord CNativeEffect::Calibration() const {
    CalibrationRecord cal{{{0, 128, 255}, {0, 128, 255}}};
    if (m_host) {
        CalibrationRecord fromHost = cal;
        if (m_host->GetCalibration(&fromHost)) cal = fromHost;
    }
    return cal;
}

DICONDITION CNativeEffect::ChosenBlock(const conditions::AxisChoice& choice, int axis) const {
    const DICONDITION c = conditions::ReadBlock(TypeSpecific(), static_cast<DWORD>(choice.block[axis]));
    return choice.mirrored[axis] ? conditions::Mirror(c) : c;
}

void CNativeEffect::PlayOnWheel() {
    if (!ReadyToPlay()) return;
    const conditions::AxisChoice choice = ChooseAxes();
    const AxisCalibration a = Calibration().axes[0];
    const auto slot = static_cast<DWORD>(m_hardwareSlot);
    if (choice.block[0] == conditions::kNoBlock) {
        SendCondition(slot, nullptr, 0, 0, 0);
        return;
    }
    const DICONDITION c = ChosenBlock(choice, 0);
    SendCondition(slot, &c, a.lowest, a.centre, a.highest);
}

void CNativeEffect::PlayOnJoystick() {
    if (!ReadyToPlay()) return;
    const conditions::AxisChoice choice = ChooseAxes();
    const CalibrationRecord cal = Calibration();
    for (int axis = 0; axis < 2; ++axis) {
        if (choice.block[axis] == conditions::kNoBlock) {
            SendCondition(static_cast<DWORD>(axis), nullptr, 0, 0, 0);
            continue;
        }
        const DICONDITION c = ChosenBlock(choice, axis);
        const AxisCalibration& a = cal.axes[axis];
        SendCondition(static_cast<DWORD>(axis), &c, a.lowest, a.centre, a.highest);
    }
}

void CNativeEffect::ClearWheel() {
    if (m_hardwareSlot != kNoHardwareSlot) SendCondition(static_cast<DWORD>(m_hardwareSlot), nullptr, 0, 0, 0);
}

void CNativeEffect::ClearJoystick() {
    SendCondition(0, nullptr, 0, 0, 0);
    SendCondition(1, nullptr, 0, 0, 0);
}

LONG CWheelSpringEffect::Update(const SimTick* tick) {
    if (AdvanceAndPlays(tick)) PlayOnWheel();
    return 1;
}
HRESULT CWheelSpringEffect::Stop() {
    ClearWheel();
    return CEffect::Stop();
}
HRESULT CWheelSpringEffect::SendCondition(DWORD target, const DICONDITION* block, LONG lowest, LONG centre,
                                          LONG highest) {
    m_writer.SendSpring(m_host, target, block, m_gain, lowest, centre, highest);
    return S_OK;
}

LONG CJoystickSpringEffect::Update(const SimTick* tick) {
    if (AdvanceAndPlays(tick)) PlayOnJoystick();
    return 1;
}
HRESULT CJoystickSpringEffect::Stop() {
    ClearJoystick();
    return CEffect::Stop();
}
HRESULT CJoystickSpringEffect::SendCondition(DWORD target, const DICONDITION* block, LONG lowest, LONG centre,
                                             LONG highest) {
    m_writer.SendSpring(m_host, target, block, m_gain, lowest, centre, highest);
    return S_OK;
}

LONG CWheelDamperEffect::Update(const SimTick* tick) {
    if (AdvanceAndPlays(tick)) PlayOnWheel();
    return 1;
}
HRESULT CWheelDamperEffect::Stop() {
    ClearWheel();
    return CEffect::Stop();
}
HRESULT CWheelDamperEffect::SendCondition(DWORD target, const DICONDITION* block, LONG, LONG, LONG) {
    m_writer.SendDamper(m_host, target, block, m_gain);
    return S_OK;
}

LONG CJoystickDamperEffect::Update(const SimTick* tick) {
    if (AdvanceAndPlays(tick)) PlayOnJoystick();
    return 1;
}
HRESULT CJoystickDamperEffect::Stop() {
    ClearJoystick();
    return CEffect::Stop();
}
HRESULT CJoystickDamperEffect::SendCondition(DWORD target, const DICONDITION* block, LONG, LONG, LONG) {
    m_writer.SendDamper(m_host, target, block, m_gain);
    return S_OK;
}
