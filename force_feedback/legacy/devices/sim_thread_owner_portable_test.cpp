// Reopening a device that is already open: the running simulation thread
// ends (its stop command goes out) before the new one starts, effects
// follow the new thread, and after the close nothing writes any more.
#include "force_feedback/legacy/devices/sim_thread_owner.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "force_feedback/legacy/devices/joystick_device.h"
#include "force_feedback/legacy/devices/wheel_device.h"
#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/testing/recorded_reports.h"
#include "force_feedback/legacy/testing/virtual_clock.h"

namespace {

constexpr std::uint32_t kJoystick = 12;
constexpr std::uint32_t kPassMs = 8;
constexpr BYTE kThreadStop = 0xF3;

struct ReopenCase {
    const char* name;
    std::function<std::unique_ptr<CVDevice>()> make;
    BYTE forceOff;  // the first pass: nothing pushes yet
    BYTE force;     // the force command of the family
};

const ReopenCase kCases[] = {
    {"PelvarWheel", [] { return std::make_unique<CVPelvarWheelDevice>(); }, 0x13, 0x11},
    {"FerollaStick", [] { return std::make_unique<CVFerollaJoystickDevice>(); }, 0x53, 0x51},
};

class ReopenTest : public ::testing::TestWithParam<ReopenCase> {
protected:
    static void Advance(std::uint32_t ms) { ASSERT_TRUE(platform::AdvanceVirtualClock(ms)); }
    static std::vector<BYTE> Commands() {
        std::vector<BYTE> out;
        for (const RecordedReport& r : RecordedReports(kJoystick)) out.push_back(r.bytes.at(1));
        return out;
    }

    VirtualClockScope m_clock{60000};
    PluggedDevice m_plug{VirtualWheel(kJoystick)};
};

TEST_P(ReopenTest, ASecondOpenEndsTheRunningThreadBeforeStartingAnother) {
    ASSERT_EQ(m_plug.Result(), FFDRV_VIRTUAL_OK);
    const ReopenCase& c = GetParam();
    std::unique_ptr<CVDevice> device = c.make();
    ASSERT_EQ(device->Open(kJoystick), S_OK);
    Advance(3 * kPassMs);
    ASSERT_EQ(device->Open(kJoystick), S_OK);
    Advance(3 * kPassMs);
    EXPECT_EQ(Commands(), (std::vector<BYTE>{c.forceOff, kThreadStop, c.forceOff}));

    EffectBlock block;
    block.Params(DICONSTANTFORCE{10000}).Cartesian({kAxisX}, {1});
    DWORD handle = 0;
    ASSERT_EQ(device->DownloadEffect(kEffectConstant, &handle, block.Get(), kAllParams | DIEP_START), S_OK);
    Advance(4 * kPassMs);
    ASSERT_EQ(device->Close(), S_OK);
    Advance(10 * kPassMs);
    // One force report: a thread orphaned by the reopen would have sent its
    // own, and would still be writing after the close.
    const std::vector<BYTE> commands = Commands();
    ASSERT_GE(commands.size(), 3u);
    const std::vector<BYTE> tail(commands.begin() + 3, commands.end());
    EXPECT_EQ(std::count(tail.begin(), tail.end(), c.force), 1) << "one running thread";
    EXPECT_EQ(tail.back(), kThreadStop);
    EXPECT_EQ(std::count(tail.begin(), tail.end(), kThreadStop), 1);
}

INSTANTIATE_TEST_SUITE_P(Families, ReopenTest, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
