// The wheel suites' side of the driver host: the wheel's report frame and
// one wheel at kJoystick.
#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "force_feedback/legacy/model_table.h"
#include "force_feedback/legacy/testing/driver_host.h"

namespace wheel_e2e {

inline constexpr std::uint32_t kPassMs = DriverHost::kPassMs;
inline constexpr unsigned kReportLength = 65;
inline constexpr std::uint32_t kJoystick = 3;

using Bytes = std::vector<BYTE>;

// A full output report: report ID 0, then the command.
inline Bytes Report(std::initializer_list<BYTE> command) {
    Bytes r(kReportLength, 0);
    std::copy(command.begin(), command.end(), r.begin() + 1);
    return r;
}

class WheelHarness : public DriverHostTest<> {
protected:
    void OpenWheel(int classIndex, Model model) { OpenModel(model, kJoystick, classIndex, /*clockStartMs=*/90000); }
    void SetInput(std::int32_t x, std::uint64_t buttons = 0) { DriverHost::SetInput(x, 512, buttons); }
};

}  // namespace wheel_e2e
