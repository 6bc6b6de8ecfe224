// Plays a scenario against the driver module: loads it by path through its
// exports, creates the model's driver through its class factory, plugs a
// virtual device of the model, and runs the steps on the virtual (or real)
// clock while the hardware emulator answers the reports in a closed loop.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/player/hardware_emulator.h"
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
    int failedCalls = 0;
    std::string deviceIdResult;
};

PlayResult Play(const Scenario& scenario, const PlayOptions& options);

// "S_OK", "E_OUTOFMEMORY (0x8007000E)", ...
std::string ResultName(std::int32_t hr);

}  // namespace ffplay
