#include "force_feedback/legacy/sim/wheel_reports.h"

#include <algorithm>
#include <cstring>

void FillReport(BYTE* report, unsigned length, std::initializer_list<BYTE> command) {
    if (report == nullptr || length == 0) return;
    std::memset(report, 0, length);
    const std::size_t room = length - 1;
    std::copy_n(command.begin(), std::min(room, command.size()), report + 1);
}

CommandBuffer MakeCommand(std::initializer_list<BYTE> command) {
    CommandBuffer buffer{};
    std::copy_n(command.begin(), std::min(buffer.size(), command.size()), buffer.begin());
    return buffer;
}

bool WheelForceOutput::Build(LONG x, LONG y, ByteRange range, BYTE* report, unsigned length) {
    // The wheel has one force axis: a change of y alone is not worth a
    // report (intentional, keep).
    if (x == m_lastSentX) return false;
    m_lastSentX = x;
    const BYTE p = ClampToRange(ForceByte(x, /*mirrored=*/false), range);
    const BYTE q = ClampToRange(ForceByte(y, /*mirrored=*/true), range);
    // A raised lower bound turns "no force" into a small constant force, so
    // the test is on the clamped byte.
    if (p == wheel::kForceCentre) {
        FillReport(report, length, {wheel::kCmdForceOff});
    } else {
        FillReport(report, length, {wheel::kCmdForce, wheel::kForceBothChannels, p, q, wheel::kReserved, wheel::kReserved});
    }
    return true;
}

void BuildWheelModeReport(bool open, BYTE* report, unsigned length) {
    FillReport(report, length, {wheel::kCmdMode, open ? wheel::kModeOpen : wheel::kModeClose});
}

void BuildWheelStopReport(BYTE* report, unsigned length) { FillReport(report, length, {wheel::kCmdStop}); }

