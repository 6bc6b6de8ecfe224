// The legacy wheel command set and the pure rules that format it: the force
// and force-off reports of the simulation thread, the mode and stop reports,
// and how an input report changes a wheel's status value. The joystick,
// Karvona and rumble formatters reuse the frame helpers declared here.
#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>

#include "com_abi.h"
#include "force_feedback/legacy/model_table.h"

namespace wheel {

// Commands, as they follow the report ID byte.
inline constexpr BYTE kCmdForce = 0x11;
inline constexpr BYTE kForceBothChannels = 0x08;
inline constexpr BYTE kCmdForceOff = 0x13;
inline constexpr BYTE kCmdStop = 0xF3;
inline constexpr BYTE kCmdMode = 0x09;
inline constexpr BYTE kModeOpen = 0x03;
inline constexpr BYTE kModeClose = 0x01;
// A force byte of 0x80 is "no force" on every force channel of the maker.
inline constexpr BYTE kForceCentre = 0x80;
// Bytes the command format reserves; always sent as 0.
inline constexpr BYTE kReserved = 0x00;

// Corrin input bits whose clear state sets the status value.
inline constexpr std::size_t kCorrinStatusOnByte = 3;
inline constexpr BYTE kCorrinStatusOnMask = 0x80;
inline constexpr std::size_t kCorrinStatusOffByte = 11;
inline constexpr BYTE kCorrinStatusOffMask = 0x01;

}  // namespace wheel

// Commands queued for the simulation thread are handed over in a buffer of
// this size, zero after the command, so a reused queue slot never carries
// bytes of an earlier, longer command.
inline constexpr unsigned kCommandBufferLength = 64;
using CommandBuffer = std::array<BYTE, kCommandBufferLength>;

// Lowest and highest force byte the device accepts (settings; 0..255 without).
struct ByteRange {
    BYTE lowest = 0;
    BYTE highest = 255;
};

// max first, then min: a range whose bounds cross yields its upper bound.
constexpr BYTE ClampToRange(BYTE v, ByteRange r) {
    const BYTE raised = v < r.lowest ? r.lowest : v;
    return raised > r.highest ? r.highest : raised;
}

// Signed force -127..127 to a force byte around 0x80; `mirrored` flips the
// channel (the second channel of every force command runs the other way).
constexpr BYTE ForceByte(LONG force, bool mirrored) {
    return static_cast<BYTE>(mirrored ? wheel::kForceCentre - force : wheel::kForceCentre + force);
}

// Zeroes `report[0..length)` and writes `command` from byte 1, leaving
// byte 0 for the report ID. Bytes that do not fit in `length` are dropped.
void FillReport(BYTE* report, unsigned length, std::initializer_list<BYTE> command);

// Zero-padded command buffer for QueueReport.
CommandBuffer MakeCommand(std::initializer_list<BYTE> command);

// Role: the wheel simulation thread's force report step. Owner: the wheel
// simulation thread; called on it once per pass, no lock needed.
class WheelForceOutput {
public:
    // x and y are the pass's forces in -127..127. Formats the force or
    // force-off report into `report` (byte 0 left for the report ID) and
    // returns true when it must be written; false when x did not change.
    bool Build(LONG x, LONG y, ByteRange range, BYTE* report, unsigned length);

private:
    // 1 rather than 0, so the very first pass with no force still sends the
    // force-off command.
    LONG m_lastSentX = 1;
};

// Full reports (byte 0 for the report ID) written by the paced write.
void BuildWheelModeReport(bool open, BYTE* report, unsigned length);
void BuildWheelStopReport(BYTE* report, unsigned length);

// The status value after one input report under `rule`, or `current` when
// the rule leaves it alone. Short reports leave the Corrin bits unread.
LONG StatusAfterInput(InputStatusRule rule, LONG current, const BYTE* report, unsigned length);
