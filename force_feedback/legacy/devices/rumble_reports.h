// The rumble pads' output: two motor speeds from the summed two-axis force,
// the single-motor amplitude combination, the refresh countdown, and the
// per-layout report formatters (layout A: Zorvel, Brennick, Tollund;
// layout B: Vesk, Lumisk; the bare family formats nothing).
#pragma once

#include <cstdint>

#include "com_abi.h"
#include "force_feedback/legacy/model_table.h"
#include "force_feedback/legacy/devices/wheel_reports.h"

namespace rumble {

inline constexpr unsigned kReportBufferLength = 65;
inline constexpr int kRefreshPasses = 16;
inline constexpr DWORD kThresholdScale = 256;
inline constexpr DWORD kFullScale = 10000;
inline constexpr double kMaxCombined = 255.0;

inline constexpr unsigned kReportIdAt = 0;
inline constexpr unsigned kCommandAt = 1;

// Layout A, from report byte 1.
inline constexpr BYTE kACmdMotors = 0x51;
inline constexpr BYTE kACmdStop = 0xF3;
inline constexpr BYTE kAStartLow = 0xFA;   // the word 0xFEFA (-262), little endian
inline constexpr BYTE kAStartHigh = 0xFE;
inline constexpr unsigned kAMotorAAt = 3;
inline constexpr unsigned kAMotorBAt = 5;
// Layout B, from report byte 0 (the paced write then puts the report ID there).
inline constexpr BYTE kBReportId = 0x03;
inline constexpr BYTE kBCmdMotors = 0x42;
inline constexpr unsigned kBMotorAAt = 3;
inline constexpr unsigned kBMotorBAt = 4;

}  // namespace rumble

// Which formatter set a rumble thread carries.
enum class RumbleLayout : std::uint8_t { None, A, B };

// The layout of a family row; None for a non-rumble row.
RumbleLayout RumbleLayoutOf(const ModelRow& row);

struct MotorPair {
    BYTE a;
    BYTE b;
};

// |x| * 2 and |y| * 2 as bytes, for forces in -127..127.
MotorPair MotorsFromForce(LONG x, LONG y);

// AmplitudeBasedForce: one motor carries the combined amplitude, chosen by
// comparing it with thresholdSetting * 256 / 10000.
MotorPair CombineByAmplitude(MotorPair motors, DWORD thresholdSetting);

MotorPair ClampMotors(MotorPair motors, ByteRange range);

// The settings a rumble pass reads; `present` false for a device without
// settings, which never combines.
struct RumbleSettingsView {
    bool present = false;
    DWORD amplitudeBasedForce = 0;
    DWORD amplitudeBasedForceThreshold = 0;
    ByteRange range{};
};

enum class RumbleSend : std::uint8_t { Nothing, Stop, Motors };

struct RumbleDecision {
    RumbleSend send;
    MotorPair motors;
};

// Role: the rumble simulation thread's memory between passes: last sent
// forces and the refresh countdown. Owner: the rumble simulation thread;
// called on it only.
class RumbleOutput {
public:
    // Start of a pass: counts down and says whether this pass re-sends the
    // motors even when unchanged (every 16th pass).
    bool StartPass();
    // x, y: the pass's forces after strength scaling (clamped here).
    RumbleDecision Decide(LONG x, LONG y, bool forced, const RumbleSettingsView& settings);

private:
    LONG m_lastSentX = 1;
    LONG m_lastSentY = 1;
    int m_refreshCountdown = rumble::kRefreshPasses;
};

// The formatters: each zeroes a 65-byte buffer, fills it and returns
// whether there is a report to write.
bool BuildRumbleStop(RumbleLayout layout, BYTE (&report)[rumble::kReportBufferLength]);
bool BuildRumbleStart(RumbleLayout layout, BYTE (&report)[rumble::kReportBufferLength]);
bool BuildRumbleMotors(RumbleLayout layout, BYTE (&report)[rumble::kReportBufferLength], MotorPair motors);

// The report of a decision: stop or motors; false for Nothing or when the
// layout formats nothing.
bool BuildRumbleReport(RumbleLayout layout, const RumbleDecision& decision, BYTE (&report)[rumble::kReportBufferLength]);
