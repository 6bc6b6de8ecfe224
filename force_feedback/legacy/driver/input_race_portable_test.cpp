// Input reports arriving while effects that read them play, on the real
// clock: one thread feeds the virtual device moving axes and a trigger button
// that goes up and down, while the application's thread keeps the device busy
// with the calls a game makes (status, state, gain, escapes) and springs,
// dampers and trigger-started effects play. Meant for the tsan preset, where
// every access to positions, velocities, buttons or the status value that is
// not handed over between the input completion and its readers is reported;
// in every build it checks that the input still reaches the effects.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/devices/family_table.h"
#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/testing/driver_host.h"

namespace {

constexpr std::uint32_t kJoystick = 12;
constexpr DWORD kDirectInputVersion = DriverHost::kDirectInputVersion;
constexpr DWORD kTriggerButton = 1;  // bit 1 of the input's button mask
constexpr int kFeedReports = 1500;
constexpr int kFedPerSwing = 40;
// Waits for the driver to take in the last report are bounded by this many
// 1 ms sleeps; a pass on a loaded machine can take far longer than 8 ms.
constexpr int kSettleLimitMs = 20000;

struct RaceCase {
    const char* name;
    Model model;
};

std::string CaseName(const ::testing::TestParamInfo<RaceCase>& info) { return info.param.name; }

class InputRaceTest : public DriverHostTest<::testing::TestWithParam<RaceCase>> {
protected:
    // The real clock, deliberately: the race needs the input completion and
    // the callers to run freely against each other.
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(StartRealClock());
        ASSERT_NO_FATAL_FAILURE(Plug(DeviceOf(GetParam().model, kJoystick)));
        ASSERT_NO_FATAL_FAILURE(MakeDriver(DriverClassOf(GetParam().model)));
        Open();
    }
    void TearDown() override {
        if (m_driver) m_driver->DeviceID(kDirectInputVersion, kJoystick, FALSE, 0, nullptr);
    }

    // A condition on both axes; `handle` 0 downloads and starts a new one,
    // otherwise the playing one takes the new coefficient (and with it reads
    // the position and velocity at once, on the caller's thread).
    DWORD Condition(DWORD type, LONG coefficient, DWORD handle = 0) {
        EffectBlock block;
        const DICONDITION c{0, coefficient, coefficient, 10000, 10000, 0};
        block.Conditions({c, c}).Cartesian({kAxisX, kAxisY}, {1, 0});
        DWORD h = handle;
        const DWORD flags = handle == 0 ? kAllParams | DIEP_START : DIEP_TYPESPECIFICPARAMS;
        EXPECT_EQ(m_driver->DownloadEffect(kJoystick, type, &h, block.Get(), flags), S_OK);
        return h;
    }
    // An endless effect that the trigger button starts.
    DWORD Triggered(DWORD type) {
        EffectBlock block;
        block.Params(DIPERIODIC{3000, 0, 0, 80000}).Cartesian({kAxisX}, {1});
        block.effect.dwTriggerButton = kTriggerButton << 8;
        return Download(block, type);
    }
    DWORD Status(DWORD handle) {
        DWORD status = 0xFF;
        EXPECT_EQ(m_driver->GetEffectStatus(kJoystick, handle, &status), S_OK);
        return status;
    }
    // The escape through which a game reads the status value that the input
    // path of some wheels sets.
    void ReadStatusValue() {
        DWORD in[3] = {12, 1, 0};
        DIEFFESCAPE esc{sizeof esc, kEscapeSetStatus, in, sizeof in, nullptr, 0};
        in[2] = static_cast<DWORD>(-1);
        m_driver->Escape(kJoystick, 0, &esc);
    }
    bool WaitForStatus(DWORD handle, DWORD wanted) {
        for (int i = 0; i < kSettleLimitMs; ++i) {
            if (Status(handle) == wanted) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    }

};

TEST_P(InputRaceTest, InputFromAFeedingThreadWhileConditionsAndTriggersPlay) {
    const DWORD spring = Condition(kEffectSpring, 8000);
    const DWORD damper = Condition(kEffectDamper, 8000);
    const DWORD triggered = Triggered(kEffectSine);

    std::atomic<bool> feeding{true};
    std::thread feeder([&] {
        for (int i = 0; i < kFeedReports; ++i) {
            // The axes swing across their range; the trigger goes down and up.
            const int phase = i % (2 * kFedPerSwing);
            const std::int32_t x = 512 + (phase < kFedPerSwing ? phase : 2 * kFedPerSwing - phase) * 12 - 240;
            const std::uint64_t buttons = (i / 7) % 2 ? 1u << kTriggerButton : 0;
            m_module.setInput(kJoystick, x, 1023 - x, buttons);
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
        feeding = false;
    });
    for (LONG round = 0; feeding; ++round) {
        Condition(kEffectSpring, 4000 + round % 5000, spring);
        Condition(kEffectDamper, 4000 + round % 5000, damper);
        Status(triggered);
        DIDEVICESTATE state{sizeof state, 0, 0};
        EXPECT_EQ(m_driver->GetForceFeedbackState(kJoystick, &state), S_OK);
        ReadStatusValue();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    feeder.join();

    // The input still drives the trigger: pressed starts it, released stops
    // it (it has no end of its own).
    ASSERT_EQ(m_module.setInput(kJoystick, 512, 512, 0), FFDRV_VIRTUAL_OK);
    EXPECT_TRUE(WaitForStatus(triggered, 0));
    ASSERT_EQ(m_module.setInput(kJoystick, 512, 512, 1u << kTriggerButton), FFDRV_VIRTUAL_OK);
    EXPECT_TRUE(WaitForStatus(triggered, 1));
    EXPECT_GT(m_module.reportCount(kJoystick), 0);
}

const RaceCase kCases[] = {
    {"Dastrin", Model::Dastrin}, {"Corrin", Model::Corrin}, {"Pelvar", Model::Pelvar},
    {"Tavrin", Model::Tavrin},   {"Oskra", Model::Oskra},   {"Karvona", Model::Karvona},
    {"Zorvel", Model::Zorvel},   {"Vesk", Model::Vesk},
};

INSTANTIATE_TEST_SUITE_P(Families, InputRaceTest, ::testing::ValuesIn(kCases), CaseName);

}  // namespace
