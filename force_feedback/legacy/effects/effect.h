// The effect object model: one object per effect an application downloads.
#pragma once

#include <cstdint>
#include <memory>

#include "com_abi.h"
#include "force_feedback/legacy/effects/effect_host.h"

inline constexpr DWORD kInfinite = 0xFFFFFFFF;
// Axis and direction arrays are made for at least this many entries, so that
// a later call with a few more axes reuses the first allocation; a call with
// more than the array holds gets a larger one rather than writing past it.
inline constexpr DWORD kAxisArrayMinimum = 32;
// No DirectInput type-specific block comes near this; larger ones are refused
// rather than copied.
inline constexpr DWORD kMaxTypeSpecificSize = 4096;
inline constexpr DWORD kEnvelopeSize = 20;
inline constexpr LONG kNoHardwareSlot = -1;

// Instance number (bits 8..23) of a DirectInput object id: axis or button.
inline DWORD ObjectInstance(DWORD id) { return (id >> 8) & 0xFFFF; }

// Envelope as kept by an effect: times in ms, levels clamped to full scale.
struct EffectEnvelope {
    DWORD attackLevel;
    DWORD attackTime;
    DWORD fadeLevel;
    DWORD fadeTime;
};

// Role: base of every effect; keeps its own converted copy of the DirectInput
// parameters and the play state, and times the effect on each tick.
// Owner: the device's effect table (created by CreateEffect, deleted through
// the virtual destructor). Calling thread: application threads (SetParameters,
// Start, Stop, IsPlaying) and the simulation thread (Update, GetForce,
// GetLoad, SetHardwareSlot); the device mutex is held for every call, effects
// have no lock of their own.
//
// Every concrete class names in `kFeatures` its DIEFT_ category and the
// capability bits it really implements (envelope, start delay, and for
// conditions saturation, separate positive and negative coefficients and
// saturations, dead band). The devices' joystick OEM records advertise these
// to DirectInput, so a class must never claim what its force law ignores.
class CEffect {
public:
    CEffect();
    virtual ~CEffect();
    CEffect(const CEffect&) = delete;
    CEffect& operator=(const CEffect&) = delete;

    virtual BOOL IsPlaying() const { return m_playing; }
    // Plays `iterations` times (kInfinite: forever) after the start delay.
    virtual HRESULT Start(DWORD ignored, DWORD iterations);
    virtual HRESULT Stop();
    // Takes the parameters named by `flags` (DIEP_*). S_OK; E_INVALIDARG for
    // a zero axis count, a null axes/directions array, arrays that cannot be
    // allocated, or a type-specific block the effect cannot use (fields taken
    // before the failing step stay taken, except that a rejected
    // type-specific block leaves the effect untouched); E_POINTER for a null
    // `effect`. Any non-zero axis count is taken.
    virtual HRESULT SetParameters(DWORD flags, const DIEFFECT* effect);
    // Advances the effect by one tick; always 1.
    virtual LONG Update(const SimTick* tick);
    // Force of a simulated effect in -127..127 per axis; E_NOTIMPL for
    // effects that the device plays itself.
    virtual HRESULT GetForce(LONG* x, LONG* y, LONG* summingClass);
    // Percentage by which the simulation thread ranks native conditions.
    virtual DWORD GetLoad() const { return 0; }
    virtual void SetSimThread(IEffectHost* host) { m_host = host; }
    virtual bool IsSimulated() const = 0;
    virtual LONG ApplyEnvelope(LONG magnitude) const;
    // Polar split: returns y.
    virtual LONG SplitByAngle(LONG magnitude, BYTE angle, LONG* x, LONG* y, LONG scale) const;
    // Only native conditions hold device slots; others ignore it.
    virtual void SetHardwareSlot(LONG) {}
    // Device slot `slot` was last written by another effect: whatever this
    // effect remembers having sent there no longer stands.
    virtual void ForgetSentCommands(LONG) {}

    // Trigger handling in the simulation thread needs these two.
    DWORD TriggerButton() const { return m_triggerButton; }
    DWORD Duration() const { return m_duration; }

protected:
    // Cartesian split over explicit components, or the effect's own directions
    // when `useOwnDirections` is set.
    void CartesianSplit(LONG magnitude, LONG x0, LONG y0, bool useOwnDirections, LONG* x, LONG* y,
                        LONG scale) const;
    // Minimum type-specific size a class accepts; 0 = any.
    virtual DWORD MinTypeSpecificSize() const { return 0; }
    // Converts a freshly copied type-specific block in place (units, clamps,
    // strength scaling); runs before DIEP_START is acted on.
    virtual void ConvertTypeSpecific() {}
    // True when the last SetParameters copied a new type-specific block.
    bool TookTypeSpecific() const { return m_tookTypeSpecific; }
    // Runs the base Update; true when this tick is play time (the effect was
    // not delaying and still plays), the only ticks that compute a force. The
    // tick that ends a delay plays nothing.
    bool AdvanceAndPlays(const SimTick* tick);
    bool Active() const { return m_playing && m_delayLeft == 0; }
    // The axis count may have been set by the other array's call: each array
    // is read only within its own size.
    LONG Direction(DWORD i) const {
        return (m_directions && i < m_axisCount && i < m_directionsCapacity) ? m_directions[i] : 0;
    }
    DWORD AxisInstance(DWORD i) const {
        return (m_axes && i < m_axisCount && i < m_axesCapacity) ? ObjectInstance(m_axes[i]) : 0;
    }
    const BYTE* TypeSpecific() const { return m_typeSpecific.get(); }
    DWORD TypeSpecificSize() const { return m_typeSpecificSize; }
    BYTE* MutableTypeSpecific() { return m_typeSpecific.get(); }

    DWORD m_size = 0;
    DWORD m_flags = 0;
    DWORD m_duration = 0;
    DWORD m_samplePeriod = 0;
    DWORD m_gain = 0;
    DWORD m_triggerButton = 0;
    DWORD m_triggerRepeatInterval = 0;
    DWORD m_axisCount = 0;
    std::unique_ptr<DWORD[]> m_axes;
    DWORD m_axesCapacity = 0;
    std::unique_ptr<LONG[]> m_directions;
    DWORD m_directionsCapacity = 0;
    std::unique_ptr<EffectEnvelope> m_envelope;
    DWORD m_typeSpecificSize = 0;
    std::unique_ptr<BYTE[]> m_typeSpecific;
    DWORD m_startDelay = 0;
    IEffectHost* m_host = nullptr;
    BOOL m_playing = 0;
    BOOL m_ticked = 0;
    DWORD m_elapsed = 0;
    LONG m_delayLeft = 0;
    DWORD m_iterationsLeft = 0;

private:
    bool m_tookTypeSpecific = false;
    HRESULT TakeParameters(DWORD flags, const DIEFFECT& effect);
    bool TakeEnvelope(const DIENVELOPE* envelope);
    HRESULT TakeAxes(const DIEFFECT& effect);
    HRESULT TakeDirections(const DIEFFECT& effect);
    bool TakeTypeSpecific(const DIEFFECT& effect);
    void FinishRun();
};
