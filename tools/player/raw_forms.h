// The raw forms of the scenario language: every field of a DirectInput call
// as the driver receives it (README: "Raw forms"). Recordings use them; a
// person may too. A raw value is taken as given, whatever its range, with a
// warning where it lies outside DirectInput's nominal range.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "com_abi.h"

namespace ffplay {

struct Step;
struct EffectSpec;

// Raw DIEFFECT fields (times in microseconds, objects as IDs) that override
// what the friendly keys build.
struct RawEffect {
    std::optional<DWORD> size, effectFlags, duration, samplePeriod, gain, trigger, repeat, delay, axisCount;
    std::optional<DWORD> period, customPeriod;  // type-specific times
    std::optional<std::vector<DWORD>> axes;
    std::optional<std::vector<LONG>> directions;
    bool axesNull = false, directionsNull = false;
    bool envelopeInUs = false;  // raw-envelope: the envelope's times are microseconds
    std::optional<std::vector<std::uint8_t>> block;  // the whole type-specific block, as bytes
    bool blockNull = false;
    std::optional<DWORD> samplesNullCount;  // custom: rglForceData null with this cSamples
};

// Raw parts of a non-effect statement.
struct RawCall {
    std::optional<DWORD> handle;              // "handle:N" in place of an effect name
    std::optional<DWORD> paramFlags;          // download/update: raw-flags
    bool escape = false;                      // escape raw
    DWORD escapeEffect = 0, escapeOut = 0;
    bool escapeInNull = false;
    std::vector<std::uint8_t> escapeIn;
    std::vector<std::uint8_t> inputReport;  // input raw=HEX: one input report, report ID byte first
};

// Parses "raw-KEY=VALUE" of a download or update into `step`; `conditionsTaken`
// starts false for each statement. Returns an error message or "", and
// appends out-of-range warnings.
std::string ApplyRawEffectKey(Step& step, bool* conditionsTaken, const std::string& key, const std::string& value,
                              std::vector<std::string>* warnings);
// "gain raw=N", "command 0xN", "start NAME raw-mode=M raw-count=N",
// "escape raw command=N effect=N in=HEX|none|null out=N", "input raw=HEX|none":
// true when `words`
// is such a statement (then `step` is filled or `error` is set).
bool ParseRawStatement(Step& step, const std::vector<std::string>& words, std::string* error,
                       std::vector<std::string>* warnings);
// "handle:N" as an effect name.
std::optional<DWORD> RawHandleName(const std::string& name);

// Storage the raw overrides point into; lives as long as the DIEFFECT.
struct RawStorage {
    std::vector<DWORD> axes;
    std::vector<LONG> directions;
    std::vector<std::uint8_t> block;
};
// Applies `effect.raw` to a DIEFFECT built from the friendly fields.
void ApplyRawEffect(const EffectSpec& described, DIEFFECT* effect, RawStorage* storage);
// Makes the raw escape call of `step`.
HRESULT CallRawEscape(IDirectInputEffectDriver* driver, DWORD joystickId, const Step& step);

}  // namespace ffplay
