// The two-axis force joysticks' force report step (0x51 / 0x53). Their
// centering commands are the wheel's (wheel_centering.h) with the joystick
// protocols.
#pragma once

#include "com_abi.h"
#include "force_feedback/legacy/sim/wheel_reports.h"

namespace joystick {

inline constexpr BYTE kCmdForce = 0x51;
inline constexpr BYTE kForceBothAxes = 0x08;
inline constexpr BYTE kCmdForceOff = 0x53;

}  // namespace joystick

// Role: the joystick simulation thread's force report step. Owner: the
// joystick simulation thread; called on it once per pass, no lock needed.
class JoystickForceOutput {
public:
    // Formats the force or force-off report (byte 0 left for the report ID)
    // and returns true when x or y changed since the last report.
    bool Build(LONG x, LONG y, ByteRange range, BYTE* report, unsigned length);

private:
    // Like the wheel: the first pass always puts the stick in a known state.
    LONG m_lastSentX = 1;
    LONG m_lastSentY = 1;
};
