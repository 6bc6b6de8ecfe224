#include "force_feedback/legacy/sim/joystick_reports.h"

bool JoystickForceOutput::Build(LONG x, LONG y, ByteRange range, BYTE* report, unsigned length) {
    if (x == m_lastSentX && y == m_lastSentY) return false;
    m_lastSentX = x;
    m_lastSentY = y;
    const BYTE p = ClampToRange(ForceByte(x, /*mirrored=*/false), range);
    const BYTE q = ClampToRange(ForceByte(y, /*mirrored=*/true), range);
    if (p == wheel::kForceCentre && q == wheel::kForceCentre) {
        FillReport(report, length, {joystick::kCmdForceOff});
    } else {
        FillReport(report, length, {joystick::kCmdForce, joystick::kForceBothAxes, p, q, wheel::kReserved, wheel::kReserved});
    }
    return true;
}
