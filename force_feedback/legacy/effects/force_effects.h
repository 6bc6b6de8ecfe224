// Simulated effects whose force does not depend on the device's position:
// constant, ramp, the five periodic waveforms and the custom force.
#pragma once

#include "force_feedback/legacy/effects/effect.h"

// Role: base of every effect whose force the host computes; holds the force
// of the last Update. Owner, threads, lock: as CEffect.
class CSimulatedEffect : public CEffect {
public:
    HRESULT Stop() override;
    // S_OK always: the clamped force while playing past the delay, else zeros.
    HRESULT GetForce(LONG* x, LONG* y, LONG* summingClass) override;
    bool IsSimulated() const override { return true; }

protected:
    // Splits a signed force along the effect's direction into m_forceX/Y.
    void SplitForce(LONG force);

    LONG m_forceX = 0;
    LONG m_forceY = 0;
    // Which of the simulation thread's two sums takes this force.
    LONG m_summingClass = 1;
};

// Role: DICONSTANTFORCE, enveloped and gained.
class CConstantEffect : public CSimulatedEffect {
public:
    static constexpr DWORD kFeatures = DIEFT_CONSTANTFORCE | DIEFT_FFATTACK | DIEFT_FFFADE | DIEFT_STARTDELAY;
    LONG Update(const SimTick* tick) override;

protected:
    DWORD MinTypeSpecificSize() const override { return sizeof(DICONSTANTFORCE); }
};

// Role: DIRAMPFORCE, lStart to lEnd over the duration.
class CRampEffect : public CSimulatedEffect {
public:
    static constexpr DWORD kFeatures = DIEFT_RAMPFORCE | DIEFT_FFATTACK | DIEFT_FFFADE | DIEFT_STARTDELAY;
    LONG Update(const SimTick* tick) override;

protected:
    DWORD MinTypeSpecificSize() const override { return sizeof(DIRAMPFORCE); }
};

// Role: DICUSTOMFORCE: timed like any effect, plays no force. The samples are
// neither copied nor read; only the block itself is kept.
class CCustomEffect : public CSimulatedEffect {
public:
    // No envelope: there is no force for one to shape.
    static constexpr DWORD kFeatures = DIEFT_CUSTOMFORCE | DIEFT_STARTDELAY;
    LONG Update(const SimTick* tick) override;

protected:
    DWORD MinTypeSpecificSize() const override { return sizeof(DICUSTOMFORCE); }
    void ConvertTypeSpecific() override;
};

// Role: DIPERIODIC base: phase accumulator, period and phase conversion; the
// leaves give the waveform.
class CPeriodicEffect : public CSimulatedEffect {
public:
    static constexpr DWORD kFeatures = DIEFT_PERIODIC | DIEFT_FFATTACK | DIEFT_FFFADE | DIEFT_STARTDELAY;
    HRESULT Start(DWORD ignored, DWORD iterations) override;
    HRESULT SetParameters(DWORD flags, const DIEFFECT* effect) override;
    LONG Update(const SimTick* tick) override;
    // Value at the current phase, -1024..1024.
    virtual LONG Waveform() const = 0;

protected:
    DWORD MinTypeSpecificSize() const override { return sizeof(DIPERIODIC); }
    void ConvertTypeSpecific() override;
    const DIPERIODIC* Periodic() const { return reinterpret_cast<const DIPERIODIC*>(TypeSpecific()); }
    DWORD PhaseIndex() const { return (m_accumulator >> 16) & 0xFF; }

    // 24-bit phase; a full period is 0x1000000.
    DWORD m_accumulator = 0;
};

class CSineEffect : public CPeriodicEffect {
public:
    LONG Waveform() const override;
};
class CSquareEffect : public CPeriodicEffect {
public:
    LONG Waveform() const override;
};
class CTriangleEffect : public CPeriodicEffect {
public:
    LONG Waveform() const override;
};
class CSawUpEffect : public CPeriodicEffect {
public:
    LONG Waveform() const override;
};
class CSawDownEffect : public CPeriodicEffect {
public:
    LONG Waveform() const override;
};
