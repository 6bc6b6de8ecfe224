// Spring and damper effects that the device plays in its own condition
// hardware: the wheel and joystick leaves (high and low resolution) and the
// Karvona-style pair.
#pragma once

#include <array>

#include "force_feedback/legacy/effects/condition_math.h"
#include "force_feedback/legacy/effects/effect.h"

inline constexpr unsigned kConditionCommandSize = 64;
using ConditionCommand = std::array<BYTE, kConditionCommandSize>;

// One row per command generation; the leaves differ only by their row.
struct ConditionCommandFormat {
    BYTE springType;   // byte 1 of a spring command
    BYTE damperType;   // byte 1 of a damper command
    LONG coefficientSteps;  // full-scale coefficient on the device's scale
};
// High resolution: 0x0B spring / 0x0C damper, coefficients 0..15.
extern const ConditionCommandFormat kHiResConditionFormat;
// Low resolution: 0x01 spring / 0x02 damper, coefficients 0..7; otherwise the
// same layout, so the low-resolution firmware reads the same bytes.
extern const ConditionCommandFormat kLowResConditionFormat;

enum class ConditionTargets { kWheelSlots, kJoystickAxes };

// Role: formats condition commands and queues them only when they differ from
// the last one queued for the same target (stop commands: only when the stop
// byte differs, so a target is stopped once). Owner: one native leaf.
// Calling thread and lock: as the owning effect.
class CConditionCommandWriter {
public:
    CConditionCommandWriter(const ConditionCommandFormat& format, ConditionTargets targets)
        : m_format(format), m_targets(targets) {}
    // Target bits for a wheel hardware slot (0..2) or joystick axis (0..1).
    BYTE TargetBits(DWORD target) const;
    void SendSpring(IEffectHost* host, DWORD target, const DICONDITION* block, DWORD gain, LONG lowest, LONG centre,
                    LONG highest);
    void SendDamper(IEffectHost* host, DWORD target, const DICONDITION* block, DWORD gain);
    // Another effect has written the device slot since: the next command is
    // sent even when it equals the last one this writer queued. A joystick
    // holder writes both axes, so it forgets both.
    void Forget(LONG slot);

private:
    void SendClear(IEffectHost* host, DWORD target);
    void QueueIfChanged(IEffectHost* host, DWORD target);
    void PutSpringEdges(const DICONDITION& c, LONG lowest, LONG centre, LONG highest);

    const ConditionCommandFormat& m_format;
    ConditionTargets m_targets;
    ConditionCommand m_command{};
    std::array<ConditionCommand, 3> m_lastQueued{};
};

// Role: base of the conditions played in device slots: strength scaling of
// the stored blocks, one zero-length Update after new parameters, the device
// slot the simulation thread lends, and the shared wheel and joystick play
// and clear rules. Owner, threads, lock: as CEffect.
class CNativeEffect : public CEffect {
public:
    HRESULT SetParameters(DWORD flags, const DIEFFECT* effect) override;
    bool IsSimulated() const override { return false; }
    void SetHardwareSlot(LONG slot) override { m_hardwareSlot = slot; }
    DWORD GetLoad() const override;
    // Sends one target's condition (null block: stop the target). E_NOTIMPL
    // in the spring and damper bases; S_OK in the leaves.
    virtual HRESULT SendCondition(DWORD target, const DICONDITION* block, LONG lowest, LONG centre, LONG highest) = 0;

protected:
    explicit CNativeEffect(conditions::Kind kind) : m_kind(kind) {}
    DWORD MinTypeSpecificSize() const override { return conditions::kBlockSize; }
    void ConvertTypeSpecific() override;
    DWORD BlockCount() const { return conditions::BlockCount(TypeSpecificSize()); }
    conditions::AxisChoice ChooseAxes() const;
    // Plays the axis choice on a play tick; a wheel has one force axis, so only axis 0's
    // choice reaches its slot and a condition chosen for Y stops the slot.
    void PlayOnWheel();
    void PlayOnJoystick();
    void ClearWheel();
    void ClearJoystick();
    LONG Strength() const;

    conditions::Kind m_kind;
    LONG m_hardwareSlot = kNoHardwareSlot;

private:
    bool ReadyToPlay() const { return m_hardwareSlot != kNoHardwareSlot; }
    CalibrationRecord Calibration() const;
    DICONDITION ChosenBlock(const conditions::AxisChoice& choice, int axis) const;
};

class CSpringEffect : public CNativeEffect {
public:
    // The command carries one clip, taken from the positive saturation.
    static constexpr DWORD kFeatures =
        DIEFT_CONDITION | DIEFT_STARTDELAY | DIEFT_SATURATION | DIEFT_POSNEGCOEFFICIENTS | DIEFT_DEADBAND;
    HRESULT SendCondition(DWORD, const DICONDITION*, LONG, LONG, LONG) override { return E_NOTIMPL; }

protected:
    CSpringEffect() : CNativeEffect(conditions::Kind::kSpring) {}
};

class CDamperEffect : public CNativeEffect {
public:
    static constexpr DWORD kFeatures = DIEFT_CONDITION | DIEFT_STARTDELAY | DIEFT_POSNEGCOEFFICIENTS;
    HRESULT SendCondition(DWORD, const DICONDITION*, LONG, LONG, LONG) override { return E_NOTIMPL; }

protected:
    CDamperEffect() : CNativeEffect(conditions::Kind::kDamper) {}
};

class CWheelSpringEffect : public CSpringEffect {
public:
    LONG Update(const SimTick* tick) override;
    HRESULT Stop() override;
    void ForgetSentCommands(LONG slot) override { m_writer.Forget(slot); }
    HRESULT SendCondition(DWORD target, const DICONDITION* block, LONG lowest, LONG centre, LONG highest) override;

protected:
    explicit CWheelSpringEffect(const ConditionCommandFormat& format)
        : m_writer(format, ConditionTargets::kWheelSlots) {}
    CConditionCommandWriter m_writer;
};
class CHiResWheelSpringEffect : public CWheelSpringEffect {
public:
    CHiResWheelSpringEffect() : CWheelSpringEffect(kHiResConditionFormat) {}
};
class CLowResWheelSpringEffect : public CWheelSpringEffect {
public:
    CLowResWheelSpringEffect() : CWheelSpringEffect(kLowResConditionFormat) {}
};

class CJoystickSpringEffect : public CSpringEffect {
public:
    LONG Update(const SimTick* tick) override;
    HRESULT Stop() override;
    void ForgetSentCommands(LONG slot) override { m_writer.Forget(slot); }
    HRESULT SendCondition(DWORD target, const DICONDITION* block, LONG lowest, LONG centre, LONG highest) override;

protected:
    explicit CJoystickSpringEffect(const ConditionCommandFormat& format)
        : m_writer(format, ConditionTargets::kJoystickAxes) {}
    CConditionCommandWriter m_writer;
};
class CHiResJoystickSpringEffect : public CJoystickSpringEffect {
public:
    CHiResJoystickSpringEffect() : CJoystickSpringEffect(kHiResConditionFormat) {}
};
class CLowResJoystickSpringEffect : public CJoystickSpringEffect {
public:
    CLowResJoystickSpringEffect() : CJoystickSpringEffect(kLowResConditionFormat) {}
};

class CWheelDamperEffect : public CDamperEffect {
public:
    LONG Update(const SimTick* tick) override;
    HRESULT Stop() override;
    void ForgetSentCommands(LONG slot) override { m_writer.Forget(slot); }
    HRESULT SendCondition(DWORD target, const DICONDITION* block, LONG lowest, LONG centre, LONG highest) override;

protected:
    explicit CWheelDamperEffect(const ConditionCommandFormat& format)
        : m_writer(format, ConditionTargets::kWheelSlots) {}
    CConditionCommandWriter m_writer;
};
class CHiResWheelDamperEffect : public CWheelDamperEffect {
public:
    CHiResWheelDamperEffect() : CWheelDamperEffect(kHiResConditionFormat) {}
};
class CLowResWheelDamperEffect : public CWheelDamperEffect {
public:
    CLowResWheelDamperEffect() : CWheelDamperEffect(kLowResConditionFormat) {}
};

class CJoystickDamperEffect : public CDamperEffect {
public:
    LONG Update(const SimTick* tick) override;
    HRESULT Stop() override;
    void ForgetSentCommands(LONG slot) override { m_writer.Forget(slot); }
    HRESULT SendCondition(DWORD target, const DICONDITION* block, LONG lowest, LONG centre, LONG highest) override;

protected:
    explicit CJoystickDamperEffect(const ConditionCommandFormat& format)
        : m_writer(format, ConditionTargets::kJoystickAxes) {}
    CConditionCommandWriter m_writer;
};
class CHiResJoystickDamperEffect : public CJoystickDamperEffect {
public:
    CHiResJoystickDamperEffect() : CJoystickDamperEffect(kHiResConditionFormat) {}
};
class CLowResJoystickDamperEffect : public CJoystickDamperEffect {
public:
    CLowResJoystickDamperEffect() : CJoystickDamperEffect(kLowResConditionFormat) {}
};

// Role: condition of the Karvona-style joystick, which has no condition
// commands: each playing effect writes the axis blocks of the Karvona thread's
// periodic report through IEffectHost::SetKarvonaAxisBlock, and clears only
// the axes it wrote itself, so a spring on X and a damper on Y coexist. The
// Karvona thread calls Update on the effects it lets play. Owner, threads,
// lock: as CEffect.
class CKarvonaStyleNativeEffect : public CEffect {
public:
    HRESULT SetParameters(DWORD flags, const DIEFFECT* effect) override;
    LONG Update(const SimTick* tick) override;
    HRESULT Stop() override;
    bool IsSimulated() const override { return false; }
    DWORD GetLoad() const override;
    virtual bool IsDamper() const = 0;
    // Writes axis `target`'s block (null: clear it if this effect owns it).
    virtual HRESULT SendCondition(DWORD target, const DICONDITION* block);

protected:
    DWORD MinTypeSpecificSize() const override { return conditions::kBlockSize; }
    void ConvertTypeSpecific() override;
    DWORD BlockCount() const { return conditions::BlockCount(TypeSpecificSize()); }

private:
    conditions::Kind Kind() const { return IsDamper() ? conditions::Kind::kDamper : conditions::Kind::kSpring; }
    std::array<bool, 2> m_ownsAxis{false, false};
};

class CKarvonaStyleSpringEffect : public CKarvonaStyleNativeEffect {
public:
    // One coefficient and one saturation (the larger of each pair) per axis.
    static constexpr DWORD kFeatures = DIEFT_CONDITION | DIEFT_STARTDELAY | DIEFT_SATURATION | DIEFT_DEADBAND;
    bool IsDamper() const override { return false; }
};
class CKarvonaStyleDamperEffect : public CKarvonaStyleNativeEffect {
public:
    // One coefficient; the saturation is the device's fixed maximum.
    static constexpr DWORD kFeatures = DIEFT_CONDITION | DIEFT_STARTDELAY;
    bool IsDamper() const override { return true; }
};

// Karvona axis block of a (possibly mirrored) condition at `gain`.
KarvonaAxisBlock KarvonaBlockOf(const DICONDITION& c, DWORD gain, bool damper);
