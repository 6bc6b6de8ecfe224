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

struct PlayOptions {
    std::string modulePath;
    bool realtime = false;
    std::uint32_t sampleEveryMs = 1;
};

struct Sample {
    std::uint32_t timeMs;
    int forceX, forceY;   // running force command, -127..127
    double totalForceX;   // everything the device applies, -1..1
    double positionX, positionY;
    int motorA, motorB;
    std::uint64_t buttons;
};

struct ReportMark {
    std::uint32_t timeMs;
    std::string meaning;
};

struct PlayResult {
    bool loaded = false;          // the module and its exports were found
    bool deviceOpened = false;    // DeviceID succeeded
    std::string fatal;            // why nothing could be played
    std::vector<std::string> trace;  // calls with results, and decoded reports
    std::vector<Sample> samples;
    std::vector<ReportMark> reports;
    int callCount = 0;
    // Calls whose result was not the one expected: a failure the scenario
    // did not mark with "expect", or a marked call that got another result.
    int failedCalls = 0;
    int expectedRejections = 0;
    std::vector<std::string> unexpected;  // one line per failed call, for the terminal
    std::string deviceIdResult;
};

PlayResult Play(const Scenario& scenario, const PlayOptions& options);

}  // namespace ffplay
