// The narrow view that effects have of their device's simulation thread and
// settings. The simulation thread implements it; tests implement it with a
// fake, so every force law runs without a thread, a device or shared memory.
#pragma once

#include <cstdint>

#include "com_abi.h"

// The record a simulation pass hands to every effect it advances. Built by the
// simulation thread once per pass; effects only read it. Only the first field
// carries information, the rest of a pass's record stays zero.
struct SimTick {
    // Milliseconds since the previous pass, from the system millisecond clock.
    std::uint32_t tickLengthMs = 0;
};

// One axis of a calibration record, in the units of the record asked for.
struct AxisCalibration {
    LONG lowest;
    LONG centre;
    LONG highest;
};

// X then Y, 24 bytes, as the device's calibration accessors fill it.
struct CalibrationRecord {
    AxisCalibration axes[2];
};

// What a Karvona-style condition puts into one axis block of the Karvona
// thread's periodic report. The four bytes lie in the block in this order; the
// centring spring writes the same block with a coefficient on the same 0..50
// scale, saturation 0x7F and dead band 0x46.
struct KarvonaAxisBlock {
    BYTE mode;         // kKarvonaSpringMode or kKarvonaDamperMode
    BYTE coefficient;  // 0..50, 50 = full coefficient at full strength
    BYTE saturation;   // 0..0x7F
    BYTE deadBand;     // 0..0xFF, full axis travel = 0xFF
};

// Role: what an effect may ask of the simulation thread of its device.
// Owner: the simulation thread (effects hold a non-owning pointer set by
// SetSimThread). Calling thread: the simulation thread during its pass, or an
// application thread inside SetParameters; the device mutex is held in both
// cases, so implementations need no lock of their own.
class IEffectHost {
public:
    virtual ~IEffectHost() = default;

    // Calibration scaled to the device's condition range (0..65535 on the
    // high-resolution devices); false when the device cannot give one.
    virtual bool GetCalibration(CalibrationRecord* out) = 0;
    // Calibration in raw input units, the units of GetRawPosition.
    virtual bool GetRawCalibration(CalibrationRecord* out) = 0;
    // Current raw position of axis 0 (X) or 1 (Y); the centre until the first
    // input report arrives.
    virtual LONG GetRawPosition(int axis) = 0;
    // Filtered velocity of axis 0 or 1, 16.16 fixed point.
    virtual LONG GetFilteredVelocity(int axis) = 0;
    // Queues a legacy command; the thread writes it after the report ID byte.
    // False when the queue is full (the command is dropped).
    virtual bool QueueReport(const BYTE* command, unsigned length) = 0;
    // Sleeps on the thread's clock. Used once, before an effect's final stop,
    // so its last force reaches the device.
    virtual void Sleep(DWORD milliseconds) = 0;
    // Karvona-style joysticks only: sets axis 0 or 1's condition block, or
    // clears it when `block` is null. Other hosts ignore it.
    virtual void SetKarvonaAxisBlock(int axis, const KarvonaAxisBlock* block) = 0;

    // Settings, named after the settings object's getters, 0..15000 scale:
    // the one way an effect reads its device's settings.
    virtual LONG GetSpringStrength() = 0;
    virtual LONG GetDamperStrength() = 0;
    // Rumble pads' spring shaping (0..255 and 0/1 values).
    virtual BYTE GetDeltaSpringXAdjust() = 0;
    virtual BYTE GetDeltaSpringYAdjust() = 0;
    virtual DWORD GetDeltaSpringAdjustDown() = 0;
    virtual DWORD GetFlipDeltaSpringToY() = 0;
};

inline constexpr BYTE kKarvonaSpringMode = 0x01;
inline constexpr BYTE kKarvonaDamperMode = 0x02;
