// Plays a scenario against the driver module: loads it by path through its
// exports, creates the model's driver through its class factory, plugs a
// virtual device of the model, and runs the steps on the virtual (or real)
// clock while the hardware emulator answers the reports in a closed loop.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/player/hardware_emulator.h"
#include "tools/player/result_names.h"
#include "tools/player/scenario.h"

namespace ffplay {

struct Sample;

struct PlayOptions {
    std::string modulePath;
    bool realtime = false;
    std::uint32_t sampleEveryMs = 1;
    // A replay made only to compare forces keeps no trace, report list or
    // play intervals: long recordings are replayed many times.
    bool keepTrace = true;
    // The wheel or stick follows these samples (one per millisecond, from an
    // earlier play of the same scenario) instead of the forces of this play,
    // so that two plays differ only in what the driver sent, not in where
    // the hand and the motor took the wheel.
    const std::vector<Sample>* pinnedMotion = nullptr;
};

struct Sample {
    std::uint32_t timeMs;
    int forceX, forceY;   // running force command, -127..127
    double totalForceX;   // everything the device applies, -1..1
    double positionX, positionY;
    int motorA, motorB;
    std::uint64_t buttons;
    double totalForceY = 0;
    double velocityX = 0, velocityY = 0;  // travel per second
};

struct ReportMark {
    std::uint32_t timeMs;
    std::string meaning;
    bool feature = false;
    std::string bytes;   // as the trace shows them
    std::string causes;  // the calls made since the report before, "start corner, update weight"
    // The device's running command and motors once the report was applied.
    int forceX = 0, forceY = 0, motorA = 0, motorB = 0;
};

// One call the player made, for the report's marks and tables.
struct CallMark {
    std::uint32_t timeMs = 0;
    int line = 0;            // 0 for the calls the player makes itself
    int stepIndex = -1;      // in the scenario's steps; -1 for the player's own calls
    StepKind kind = StepKind::kWait;
    std::string effect;      // effect steps only
    std::string label;       // "start corner", as the trace's causes name it
    std::string function;    // "StartEffect"
    std::string result;      // "S_OK"
    bool failed = false;     // not the result the scenario expects
    bool starts = false;     // a start, or a download or update that starts the effect
};


struct PlayResult {
    bool loaded = false;          // the module and its exports were found
    bool deviceOpened = false;    // DeviceID succeeded
    std::string fatal;            // why nothing could be played
    std::vector<std::string> trace;  // calls with results, and decoded reports
    std::vector<Sample> samples;
    std::vector<ReportMark> reports;
    std::vector<CallMark> calls;
    EmulatedFamily family = EmulatedFamily::kHiResWheel;
    int callCount = 0;
    // Calls whose result was not the one expected: a failure the scenario
    // did not mark with "expect", or a marked call that got another result.
    int failedCalls = 0;
    int expectedRejections = 0;
    std::vector<std::string> unexpected;  // one line per failed call, for the terminal
    std::string deviceIdResult;
};

PlayResult Play(const Scenario& scenario, const PlayOptions& options);

// What the trace and the report call a step: "start corner", "gain 5000".
std::string StepLabel(const Step& step);

}  // namespace ffplay
