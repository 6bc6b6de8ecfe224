// Test helpers for the effect suites: a fake simulation thread and a builder
// for the parameter blocks an application passes through DirectInput.
#pragma once

#include <cstring>
#include <optional>
#include <vector>

#include "com_abi.h"
#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/effects/effect_host.h"

// Records everything effects ask of the thread; positions, velocities and
// calibration are whatever the test sets.
class FakeEffectHost : public IEffectHost {
public:
    std::optional<CalibrationRecord> calibration{CalibrationRecord{{{0, 32768, 65535}, {0, 32768, 65535}}}};
    std::optional<CalibrationRecord> rawCalibration{CalibrationRecord{{{0, 128, 255}, {0, 128, 255}}}};
    LONG position[2] = {128, 128};
    LONG velocity[2] = {0, 0};
    std::vector<std::vector<BYTE>> queued;
    std::vector<DWORD> sleeps;
    std::optional<KarvonaAxisBlock> karvona[2];
    int karvonaClears[2] = {0, 0};
    LONG springStrength = 10000;
    LONG damperStrength = 10000;
    BYTE deltaX = 0;
    BYTE deltaY = 0;
    DWORD adjustDown = 0;
    DWORD flipToY = 0;

    bool GetCalibration(CalibrationRecord* out) override { return Fill(calibration, out); }
    bool GetRawCalibration(CalibrationRecord* out) override { return Fill(rawCalibration, out); }
    LONG GetRawPosition(int axis) override { return position[axis]; }
    LONG GetFilteredVelocity(int axis) override { return velocity[axis]; }
    bool QueueReport(const BYTE* command, unsigned length) override {
        queued.emplace_back(command, command + length);
        return true;
    }
    void Sleep(DWORD ms) override { sleeps.push_back(ms); }
    void SetKarvonaAxisBlock(int axis, const KarvonaAxisBlock* block) override {
        if (block) {
            karvona[axis] = *block;
        } else {
            karvona[axis].reset();
            ++karvonaClears[axis];
        }
    }
    LONG GetSpringStrength() override { return springStrength; }
    LONG GetDamperStrength() override { return damperStrength; }
    BYTE GetDeltaSpringXAdjust() override { return deltaX; }
    BYTE GetDeltaSpringYAdjust() override { return deltaY; }
    DWORD GetDeltaSpringAdjustDown() override { return adjustDown; }
    DWORD GetFlipDeltaSpringToY() override { return flipToY; }

private:
    static bool Fill(const std::optional<CalibrationRecord>& from, CalibrationRecord* out) {
        if (!from) return false;
        *out = *from;
        return true;
    }
};

// Axis object ids with the instance number in bits 8..23.
inline constexpr DWORD kAxisX = 0x00000000;
inline constexpr DWORD kAxisY = 0x00000100;

// A DIEFFECT whose pointers refer to storage inside this object.
struct EffectBlock {
    DIEFFECT effect{};
    std::vector<DWORD> axes;
    std::vector<LONG> directions;
    DIENVELOPE envelope{};
    std::vector<BYTE> typeSpecific;

    EffectBlock() {
        effect.dwSize = sizeof(DIEFFECT);
        effect.dwFlags = DIEFF_OBJECTIDS | DIEFF_POLAR;
        effect.dwDuration = kInfinite;
        effect.dwGain = 10000;
        effect.dwTriggerButton = kInfinite;
    }
    EffectBlock& Polar(LONG centidegrees) {
        effect.dwFlags = DIEFF_OBJECTIDS | DIEFF_POLAR;
        return Axes({kAxisX, kAxisY}, {centidegrees, 0});
    }
    EffectBlock& Cartesian(std::vector<DWORD> ids, std::vector<LONG> dirs) {
        effect.dwFlags = DIEFF_OBJECTIDS | DIEFF_CARTESIAN;
        return Axes(std::move(ids), std::move(dirs));
    }
    EffectBlock& Axes(std::vector<DWORD> ids, std::vector<LONG> dirs) {
        axes = std::move(ids);
        directions = std::move(dirs);
        return *this;
    }
    EffectBlock& DurationMs(DWORD ms) {
        effect.dwDuration = ms == kInfinite ? kInfinite : ms * 1000;
        return *this;
    }
    EffectBlock& Gain(DWORD gain) {
        effect.dwGain = gain;
        return *this;
    }
    EffectBlock& StartDelayMs(DWORD ms) {
        effect.dwStartDelay = ms * 1000;
        return *this;
    }
    EffectBlock& Envelope(DWORD attackLevel, DWORD attackUs, DWORD fadeLevel, DWORD fadeUs) {
        envelope = {sizeof(DIENVELOPE), attackLevel, attackUs, fadeLevel, fadeUs};
        return *this;
    }
    template <typename T>
    EffectBlock& Params(const T& block) {
        typeSpecific.resize(sizeof(T));
        std::memcpy(typeSpecific.data(), &block, sizeof(T));
        return *this;
    }
    EffectBlock& Conditions(std::vector<DICONDITION> blocks) {
        typeSpecific.assign(blocks.size() * sizeof(DICONDITION), 0);
        if (!blocks.empty()) std::memcpy(typeSpecific.data(), blocks.data(), typeSpecific.size());
        return *this;
    }
    // Points the DIEFFECT at the storage; call after the last change.
    const DIEFFECT* Get() {
        effect.cAxes = static_cast<DWORD>(axes.size());
        effect.rgdwAxes = axes.empty() ? nullptr : axes.data();
        effect.rglDirection = directions.empty() ? nullptr : directions.data();
        effect.lpEnvelope = envelope.dwSize ? &envelope : nullptr;
        effect.cbTypeSpecificParams = static_cast<DWORD>(typeSpecific.size());
        effect.lpvTypeSpecificParams = typeSpecific.empty() ? nullptr : typeSpecific.data();
        return &effect;
    }
};

inline constexpr DWORD kAllParams = DIEP_DURATION | DIEP_SAMPLEPERIOD | DIEP_GAIN | DIEP_TRIGGERBUTTON |
                                    DIEP_AXES | DIEP_DIRECTION | DIEP_TYPESPECIFICPARAMS | DIEP_STARTDELAY;

struct Force {
    LONG x = 0;
    LONG y = 0;
    LONG summingClass = 0;
    bool operator==(const Force& o) const { return x == o.x && y == o.y; }
};

inline Force ForceOf(CEffect& e) {
    Force f;
    e.GetForce(&f.x, &f.y, &f.summingClass);
    return f;
}

inline Force Tick(CEffect& e, DWORD ms) {
    const SimTick tick{ms};
    e.Update(&tick);
    return ForceOf(e);
}
