// Spring and damper effects that the host simulates from the positions and
// velocities the simulation thread reads: the simulated pair used by the
// low-resolution wheels (and the Drovik's dampers) and the rumble pair.
#pragma once

#include "force_feedback/legacy/effects/condition_math.h"
#include "force_feedback/legacy/effects/force_effects.h"

// Role: shared parameter handling of the host-simulated conditions: strength
// scaling of the stored DICONDITION array, one zero-length Update after new
// parameters, the load figure, and the axis choice. Owner, threads, lock: as
// CEffect.
class CSimulatedConditionBase : public CSimulatedEffect {
public:
    HRESULT SetParameters(DWORD flags, const DIEFFECT* effect) override;
    DWORD GetLoad() const override;

protected:
    explicit CSimulatedConditionBase(conditions::Kind kind) : m_kind(kind) {}
    DWORD MinTypeSpecificSize() const override { return conditions::kBlockSize; }
    void ConvertTypeSpecific() override;
    DWORD BlockCount() const { return conditions::BlockCount(TypeSpecificSize()); }
    DICONDITION Block(int i) const { return conditions::ReadBlock(TypeSpecific(), static_cast<DWORD>(i)); }
    conditions::AxisChoice ChooseAxes() const;
    // Law of this condition for one axis and block.
    virtual LONG Law(int axis, int block) const = 0;
    // Forces of both axes from the axis choice; 0 for an axis without block.
    void ComputeForces(LONG* x, LONG* y) const;
    LONG Strength() const;

    conditions::Kind m_kind;
};

// Role: the host spring of the low-resolution wheels; its force goes to the
// simulation thread's second sum, which the strength curve does not boost.
class CSimulatedSpringEffect : public CSimulatedConditionBase {
public:
    static constexpr DWORD kFeatures = DIEFT_CONDITION | DIEFT_STARTDELAY | DIEFT_SATURATION |
                                       DIEFT_POSNEGCOEFFICIENTS | DIEFT_POSNEGSATURATION | DIEFT_DEADBAND;
    CSimulatedSpringEffect();
    LONG Update(const SimTick* tick) override;

protected:
    void ConvertTypeSpecific() override;
    LONG Law(int axis, int block) const override;

    // Band edges of blocks 0 and 1; other blocks use block 0's.
    conditions::BandEdges m_edges[2];
};

// Role: the host damper (low-resolution wheels, Drovik wheel).
class CSimulatedDamperEffect : public CSimulatedConditionBase {
public:
    // The host damper law has no saturation, dead band or offset.
    static constexpr DWORD kFeatures = DIEFT_CONDITION | DIEFT_STARTDELAY | DIEFT_POSNEGCOEFFICIENTS;
    CSimulatedDamperEffect() : CSimulatedConditionBase(conditions::Kind::kDamper) {}
    LONG Update(const SimTick* tick) override;

protected:
    LONG Law(int axis, int block) const override;
};

// Role: spring on a rumble pad. The pad has no force axes: the host spring
// law runs on the stick axes and the result drives the motors, so a stick
// pushed out of the dead band rumbles in proportion. It reports an exact zero
// when the stick rests in the band (a resting pad must stay silent), and
// applies the pad's delta-spring settings. Owner, threads, lock: as CEffect.
class CRumbleSpringEffect : public CSimulatedConditionBase {
public:
    static constexpr DWORD kFeatures = CSimulatedSpringEffect::kFeatures;
    CRumbleSpringEffect();
    LONG Update(const SimTick* tick) override;
    // Moves a non-zero axis force away from zero by `adjust` motor steps (two
    // motor steps per force unit), or toward zero when `down`; never across
    // zero, never past full force.
    virtual LONG AdjustForce(LONG force, BYTE adjust, bool down) const;
    // Applies the host's X/Y adjust and direction settings to both forces.
    virtual void ApplyDeltaSettings(LONG* x, LONG* y) const;
    // With FlipDeltaSpringToY set, the X spring drives the Y motor instead.
    virtual void RouteToMotors(LONG* x, LONG* y) const;

protected:
    void ConvertTypeSpecific() override;
    LONG Law(int axis, int block) const override;

    conditions::BandEdges m_edges[2];
};

// Role: damper on a rumble pad: the host damper law on the stick axes,
// silent at rest like the rumble spring.
class CRumbleDamperEffect : public CSimulatedConditionBase {
public:
    static constexpr DWORD kFeatures = CSimulatedDamperEffect::kFeatures;
    CRumbleDamperEffect() : CSimulatedConditionBase(conditions::Kind::kDamper) {}
    LONG Update(const SimTick* tick) override;

protected:
    LONG Law(int axis, int block) const override;
};
