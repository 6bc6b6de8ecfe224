// The scenario a player runs: which device, then a list of timed steps that
// become IDirectInputEffectDriver calls, settings-interface calls, button
// changes and waits. Parsing is strict: a file with any error yields no steps,
// so nothing of a broken scenario is ever played.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "com_abi.h"
#include "force_feedback/legacy/model_table.h"
#include "tools/player/raw_forms.h"

namespace ffplay {

inline constexpr DWORD kInfiniteMs = 0xFFFFFFFFu;
inline constexpr int kButtonCount = 12;

// Object IDs as DirectInput hands them to a driver: type bits plus instance.
inline constexpr DWORD kAbsAxisType = 0x02;
inline constexpr DWORD kPushButtonType = 0x04;
inline constexpr DWORD kInstanceShift = 8;
inline constexpr DWORD AxisObject(DWORD instance) { return kAbsAxisType | (instance << kInstanceShift); }
inline constexpr DWORD ButtonObject(DWORD instance) { return kPushButtonType | (instance << kInstanceShift); }

// Everything a download or update hands the driver, in DirectInput's units
// except times, which a person writes in milliseconds.
struct EffectSpec {
    std::string typeName;
    DWORD typeIndex = 0;
    DWORD directionFlag = DIEFF_POLAR;
    DWORD durationMs = kInfiniteMs;
    DWORD samplePeriodMs = 0;
    DWORD gain = 10000;
    DWORD triggerButton = DIEB_NOTRIGGER;
    DWORD triggerRepeatMs = 0;
    DWORD startDelayMs = 0;
    std::vector<DWORD> axes{AxisObject(0), AxisObject(1)};
    std::vector<LONG> directions{9000, 0};
    bool hasEnvelope = false;
    DIENVELOPE envelope{sizeof(DIENVELOPE), 0, 0, 0, 0};  // times in ms here
    DICONSTANTFORCE constant{0};
    DIRAMPFORCE ramp{0, 0};
    DIPERIODIC periodic{0, 0, 0, 0};  // period in ms here
    std::vector<DICONDITION> conditions;
    DWORD customChannels = 1;
    DWORD customPeriodMs = 0;
    std::vector<LONG> customSamples;
    RawEffect raw;  // raw-* keys: handed over exactly as written
};

enum class StepKind {
    kDownload, kUpdate, kStart, kStop, kDestroy, kStatus, kGain, kCommand, kState, kEscape,
    kSetSetting, kGetSetting, kPress, kRelease, kWait, kDisplace, kInput,
};

struct Step {
    StepKind kind = StepKind::kWait;
    int line = 0;
    std::string effect;   // effect name for effect steps
    EffectSpec desc;      // download/update: the effect after this step
    DWORD paramFlags = 0; // download/update: DIEP_* flags handed over
    DWORD value = 0;      // gain, command, escape command, setting index, button, wait ms, start count
    DWORD value2 = 0;     // setting value; start mode
    bool save = false;    // setting: persist
    std::vector<float> floats;  // escape 0: current, low, high
    LONG statusValue = 0;       // escape 1
    // Driver calls: the result the scenario expects when it is not a success
    // (a deliberate rejection); any other result then counts as a failure.
    std::optional<std::int32_t> expected;
    // displace: axis (0 x, 1 y), position -1..1 and velocity in travel per second.
    double position = 0, velocity = 0;
    RawCall raw;  // raw forms of the call (handles, flags, escape buffers)
};

struct Scenario {
    std::string file;
    Model model = Model::Quintar;
    DWORD joystickId = 0;
    std::vector<Step> steps;
    DWORD TotalWaitMs() const;
};

struct ScenarioError {
    std::string file;
    int line = 0;
    std::string message;
    std::string Format() const { return file + ":" + std::to_string(line) + ": " + message; }
};

struct ParseResult {
    Scenario scenario;
    std::vector<ScenarioError> errors;  // non-empty: scenario.steps is empty
    std::vector<ScenarioError> warnings;  // raw values outside DirectInput's nominal ranges
    bool Ok() const { return errors.empty(); }
};

ParseResult ParseScenario(const std::string& text, const std::string& fileName);
// Reads the file; an unreadable file is one error at line 0.
ParseResult ParseScenarioFile(const std::string& path);

// The command names accepted by `command`, for messages and the trace.
const char* CommandName(DWORD command);

}  // namespace ffplay
