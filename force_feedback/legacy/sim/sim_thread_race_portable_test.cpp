// DirectInput calls from several application threads against a running
// simulation thread on the real clock. Meant for the tsan preset, where any
// unguarded access to the effect table, the state word or the report ring is
// reported; in every build it catches deadlocks on the implicit
// continue/actuators-on path (the test would hang) and wrong results under
// contention.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/settings/settings_test_support.h"
#include "force_feedback/legacy/sim/sim_thread.h"
#include "force_feedback/legacy/testing/probe_family.h"
#include "force_feedback/legacy/testing/virtual_clock.h"

namespace {

constexpr std::uint32_t kJoystick = 11;
constexpr int kCallers = 4;
constexpr int kCallsEach = 400;

bool IsOneOf(HRESULT hr, std::initializer_list<HRESULT> allowed) {
    for (HRESULT a : allowed) {
        if (hr == a) return true;
    }
    return false;
}

// One random DirectInput call; false when its result is not one the call
// may give.
bool RandomCall(CVProbeDevice& device, std::mt19937& rng, EffectBlock& block) {
    const DWORD handle = 1 + rng() % 8;  // a few handles, so callers collide
    DWORD out = 0;
    switch (rng() % 9) {
        case 0: {
            DWORD h = 0;
            return IsOneOf(device.DownloadEffect(kEffectConstant, &h, block.Get(), kAllParams | DIEP_START),
                           {S_OK, DIERR_DEVICEFULL});
        }
        case 1: return IsOneOf(device.StartEffect(handle, 0, 1), {S_OK, E_INVALIDARG});
        case 2: return IsOneOf(device.StopEffect(handle), {S_OK, E_INVALIDARG});
        case 3: return device.DestroyEffect(handle) == S_OK;
        case 4: return IsOneOf(device.GetEffectStatus(handle, &out), {S_OK, E_INVALIDARG}) && out <= 1;
        case 5: {
            DIDEVICESTATE s{sizeof s, 0, 0};
            return device.GetForceFeedbackState(&s) == S_OK && s.dwLoad <= 100;
        }
        case 6: return device.SetGain(rng() % 10001) == S_OK;
        case 7: {
            static constexpr DWORD kCommands[] = {DISFFC_PAUSE, DISFFC_CONTINUE, DISFFC_STOPALL,
                                                  DISFFC_SETACTUATORSOFF, DISFFC_SETACTUATORSON, DISFFC_RESET};
            return device.SendForceFeedbackCommand(kCommands[rng() % std::size(kCommands)]) == S_OK;
        }
        default: {
            const BYTE command[1] = {static_cast<BYTE>(rng())};
            device.Thread()->QueueReport(command, sizeof command);  // a full ring may refuse
            return true;
        }
    }
}

TEST(SimThreadRaceTest, ConcurrentCallersAgainstARunningThread) {
    PluggedDevice plug(VirtualWheel(kJoystick));
    ASSERT_EQ(plug.Result(), FFDRV_VIRTUAL_OK);
    CVProbeDevice device(Model::Dastrin, settings_test::UniqueDeviceId());
    ASSERT_EQ(device.Open(kJoystick), S_OK);

    std::atomic<int> wrong{0};
    std::vector<std::thread> callers;
    for (int c = 0; c < kCallers; ++c) {
        callers.emplace_back([&, c] {
            std::mt19937 rng(1234u + static_cast<unsigned>(c));
            EffectBlock block;
            block.Params(DICONSTANTFORCE{static_cast<LONG>(1000 * (c + 1))}).Cartesian({kAxisX}, {1});
            for (int i = 0; i < kCallsEach; ++i) {
                if (!RandomCall(device, rng, block)) ++wrong;
            }
        });
    }
    for (std::thread& t : callers) t.join();
    EXPECT_EQ(wrong.load(), 0);

    ASSERT_EQ(device.SendForceFeedbackCommand(DISFFC_RESET), S_OK);
    DIDEVICESTATE s{sizeof s, 0, 0};
    ASSERT_EQ(device.GetForceFeedbackState(&s), S_OK);
    EXPECT_EQ(s.dwLoad, 0u);
    EXPECT_EQ(device.Close(), S_OK);
}

}  // namespace
