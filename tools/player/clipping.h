// Clipping: how often the driver asked a device for all it has (a force
// command at the end of its -127..127 range, a motor at full speed), for how
// long, and which effects are to blame. Blame is found by replaying the
// scenario on the virtual clock with each effect muted in turn, with the
// wheel held on the path it took in the full play, and comparing; each
// effect's own force comes from a replay with every other effect muted on
// the same path. Muted means downloaded with a gain of 0: every call is
// still made, so the driver keeps the same handles, the same hardware slots
// and the same actuator and centering state, and only the forces differ.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/player/player.h"

namespace ffplay {

// One thing a device can be driven to its limit on: a force axis, or a motor.
struct Channel {
    std::string name;  // "x", "y", "motor A", "motor B"
    bool motor = false;
    int index = 0;     // axis or motor number
};

// The channels a family has: one force axis on a wheel, two on a joystick,
// two motors on a pad.
std::vector<Channel> ChannelsOf(EmulatedFamily family);

// Force commands clip at -127 and 127. Motor values come from twice the
// clamped force (0..254), or 255 from the combined-motor switch, so a motor
// at 254 or more is saturated; a stopped motor is not clipping.
inline constexpr int kForceLimit = 127;
inline constexpr int kMotorLimit = 254;

int ChannelCommand(const Sample& s, const Channel& c);
bool Clipped(int command, const Channel& c);
// What the device applies on the channel as a fraction of full scale: the
// axis force (-1..1, positive pushes toward +1) or the motor (0..1).
double ChannelOutput(const Sample& s, const Channel& c);

// [fromMs, toMs) on the play's millisecond grid.
struct Stretch {
    std::uint32_t fromMs = 0, toMs = 0;
    std::uint32_t Length() const { return toMs - fromMs; }
};

struct ChannelClipping {
    Channel channel;
    std::uint32_t clippedMs = 0;
    Stretch longest;
};

struct ClippingSummary {
    std::uint32_t durationMs = 0;
    int forceReports = 0, clippedForceReports = 0;  // force commands and force off
    int motorReports = 0, clippedMotorReports = 0;  // motor settings and motors off
    std::vector<ChannelClipping> channels;
    std::uint32_t clippedMs = 0;  // any channel
    Stretch longest;              // any channel
    std::vector<Stretch> stretches;
};

// From the samples (every millisecond) and the reports of one play.
ClippingSummary MeasureClipping(const PlayResult& result);
// Milliseconds with any channel clipped: all a replay is asked for.
std::uint32_t ClippedMs(const PlayResult& result);

// A report that sets the running force, or the motors.
bool IsForceReport(const ReportMark& r);
bool IsMotorReport(const ReportMark& r);

struct EffectAttribution {
    std::string name;
    std::string type;
    // Leave-one-out: clipped time of the replay with this effect muted, and
    // the clipping this effect causes, the full play's clipped time minus
    // that (negative: the effect keeps the others from clipping).
    std::uint32_t clippedMsWithout = 0;
    std::int64_t causedMs = 0;
    // Alone (every other effect muted) on the same path, less the device's
    // own forces: per channel, one value per sample, in ChannelOutput's units.
    std::vector<std::vector<float>> lane;
};

struct Analysis {
    std::vector<Channel> channels;
    ClippingSummary clipping;
    bool attributed = false;
    std::string note;  // why there is no attribution
    int replays = 0;
    std::vector<EffectAttribution> effects;
    // Per channel, one value per sample of the full play: what the device
    // applied, what it applies with every effect muted (its own centering),
    // and the rest: total - own - every lane, the force lost to clipping
    // and to effects that do not simply add up.
    std::vector<std::vector<float>> total, own, rest;
};

// The effect names of a scenario, in the order of their first download.
std::vector<std::string> EffectNames(const Scenario& scenario);
// The scenario with the named effects muted (`others` false), or with every
// effect but the named ones muted (`others` true).
Scenario MuteEffects(const Scenario& scenario, const std::vector<std::string>& names, bool others);

// Measures the full play's clipping and, on the virtual clock and when
// `attribute` is set, replays to attribute it. `progress` (may be empty)
// hears each replay's name.
Analysis Analyse(const Scenario& scenario, const PlayResult& full, const PlayOptions& options, bool attribute = true,
                 const std::function<void(const std::string&)>& progress = {});

// Terminal lines: the clipping figures and the per-effect attribution.
std::string ClippingText(const Analysis& analysis);

// "12.5" with one decimal, as the terminal and the report both print it.
std::string Percent(double part, double whole);

}  // namespace ffplay
