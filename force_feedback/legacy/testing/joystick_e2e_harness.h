// The joystick suites' side of the driver host: a session on one virtual
// stick of a model and the comparison of recorded reports with their kinds.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/testing/driver_host.h"

namespace stick_e2e {

inline constexpr DWORD kJoystick = 7;
inline constexpr DWORD kDirectInputVersion = DriverHost::kDirectInputVersion;
inline constexpr std::uint32_t kPassMs = DriverHost::kPassMs;
inline constexpr std::uint32_t kOutput = FFDRV_VIRTUAL_REPORT_OUTPUT;
inline constexpr std::uint32_t kFeature = FFDRV_VIRTUAL_REPORT_FEATURE;

// An output report: report ID, the command, zeros to the report length.
inline std::vector<BYTE> Output(std::size_t length, BYTE reportId, std::initializer_list<BYTE> command) {
    std::vector<BYTE> r(length, 0);
    r[0] = reportId;
    std::copy(command.begin(), command.end(), r.begin() + 1);
    return r;
}

// A driver session on one stick, on the virtual clock: made, used, closed.
class StickSession : public DriverHost {
public:
    StickSession(int classIndex, Model model) {
        StartVirtualClock(40000);
        Plug(DeviceOf(model, kJoystick));
        MakeDriver(classIndex);
    }
    bool Ready() const { return m_driver != nullptr; }
    IDirectInputEffectDriver* operator->() { return m_driver; }
    // A constant force along one axis, started at once.
    DWORD PlayConstant(DWORD axis, LONG magnitude, DWORD durationMs) {
        EffectBlock block;
        block.Params(DICONSTANTFORCE{magnitude}).Cartesian({axis}, {1}).DurationMs(durationMs);
        return Download(block, kEffectConstant, kAllParams | DIEP_START);
    }
};

inline void ExpectReports(const std::vector<RecordedReport>& got, const std::vector<std::pair<std::uint32_t, std::vector<BYTE>>>& want) {
    std::string dump;
    for (const RecordedReport& r : got) {
        dump += (r.kind == kFeature ? "F" : "O") + std::to_string(r.timeMs) + ":";
        for (std::size_t i = 0; i < std::min<std::size_t>(r.bytes.size(), 40); ++i) dump += " " + std::to_string(r.bytes[i]);
        dump += "\n";
    }
    ASSERT_EQ(got.size(), want.size()) << dump;
    for (std::size_t i = 0; i < got.size(); ++i) {
        SCOPED_TRACE("report " + std::to_string(i));
        EXPECT_EQ(got[i].kind, want[i].first);
        EXPECT_EQ(got[i].bytes, want[i].second);
    }
}

}  // namespace stick_e2e
