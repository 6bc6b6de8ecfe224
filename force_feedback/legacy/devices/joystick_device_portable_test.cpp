// The joystick families on a virtual stick in virtual time: centring rules
// reaching the stick (strength, the low-resolution 5/6 swap, the centring
// flag), settings entry checks and the Karvona stick's axis blocks (trigger
// buttons through the polled read are in the joystick effects suite).
// Expected bytes come from the command tables and the models' centring
// ranges (Ferolla k 0/10/15, s 0/100/255; Oskra k 0/4/5, s 0/100/101).
#include "force_feedback/legacy/devices/joystick_device.h"

#include <gtest/gtest.h>

#include <memory>

#include "force_feedback/legacy/devices/karvona_device.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/testing/driver_host.h"
#include "force_feedback/legacy/testing/recorded_reports.h"
#include "force_feedback/legacy/testing/virtual_clock.h"

namespace {

constexpr std::uint32_t kJoystick = 11;
constexpr DWORD kPassMs = DriverHost::kPassMs;

std::vector<BYTE> Command(std::initializer_list<BYTE> bytes) { return bytes; }

// The command bytes of a recorded output report (after the report ID),
// up to the last non-zero byte.
std::vector<BYTE> CommandOf(const RecordedReport& r) {
    std::size_t end = r.bytes.size();
    while (end > 1 && r.bytes[end - 1] == 0) --end;
    return {r.bytes.begin() + 1, r.bytes.begin() + static_cast<std::ptrdiff_t>(end)};
}

template <typename Device>
class StickTest : public ::testing::Test {
protected:
    explicit StickTest(Model model) : m_plug(DriverHost::DeviceOf(model, kJoystick)) {}
    void Open() {
        ASSERT_EQ(m_plug.Result(), FFDRV_VIRTUAL_OK);
        ASSERT_EQ(m_device->Open(kJoystick), S_OK);
        Advance(3 * kPassMs);
        FfdrvVirtualClearReports(kJoystick);
    }
    void TearDown() override { m_device.reset(); }
    static void Advance(std::uint32_t ms) { ASSERT_TRUE(platform::AdvanceVirtualClock(ms)); }
    HRESULT Set(DWORD index, DWORD value) {
        SVJOYFORCEPARAM p{index, 0, value};
        return m_device->SetSetting(&p);
    }
    std::vector<std::vector<BYTE>> Commands() {
        std::vector<std::vector<BYTE>> out;
        for (const RecordedReport& r : RecordedReports(kJoystick)) out.push_back(CommandOf(r));
        FfdrvVirtualClearReports(kJoystick);
        return out;
    }

    VirtualClockScope m_clock{30000};
    PluggedDevice m_plug;
    std::unique_ptr<Device> m_device = std::make_unique<Device>();
};

class FerollaTest : public StickTest<CVFerollaJoystickDevice> {
protected:
    FerollaTest() : StickTest(Model::Ferolla) {}
};
class OskraTest : public StickTest<CVOskraJoystickDevice> {
protected:
    OskraTest() : StickTest(Model::Oskra) {}
};
class KarvonaTest : public StickTest<CVKarvonaJoystickDevice> {
protected:
    KarvonaTest() : StickTest(Model::Karvona) {}
    // Bytes 3..6 and 33..36 of the last report sent.
    std::vector<BYTE> Blocks() {
        const auto reports = RecordedReports(kJoystick);
        if (reports.empty()) return {};
        const auto& b = reports.back().bytes;
        return {b[3], b[4], b[5], b[6], b[33], b[34], b[35], b[36]};
    }
};

TEST_F(FerollaTest, StrengthChangeReachesTheRunningStickThroughTheChangeStamp) {
    Open();
    ASSERT_EQ(Set(3, 15000), S_OK);  // k = 15, s = 255: the maxima
    Advance(4 * kPassMs);
    // Actuators are still off: the stick centres itself.
    EXPECT_EQ(Commands(), (std::vector<std::vector<BYTE>>{Command({0xFE, 0x0D, 15, 15, 255}), Command({0xF4})}));
    EXPECT_EQ(m_device->GetGlobalData()->GetPercentage(), 255u);
    ASSERT_EQ(Set(3, 5000), S_OK);  // lower branch: MulDiv(5000, 10 - 0, 10000) = 5, s = 50
    Advance(4 * kPassMs);
    EXPECT_EQ(Commands(), (std::vector<std::vector<BYTE>>{Command({0xFE, 0x0D, 5, 5, 50}), Command({0xF4})}));
}

TEST_F(FerollaTest, CentringFlagKeepsTheSpringOnWithActuatorsOn) {
    Open();
    ASSERT_EQ(m_device->SendForceFeedbackCommand(DISFFC_SETACTUATORSON), S_OK);
    Advance(4 * kPassMs);
    EXPECT_EQ(Commands(), (std::vector<std::vector<BYTE>>{Command({0xFE, 0x0D, 10, 10, 100}), Command({0xF5})}));
    EXPECT_EQ(m_device->GetGlobalData()->GetPercentage(), 0u);
    ASSERT_EQ(Set(6, 1), S_OK);
    Advance(4 * kPassMs);
    EXPECT_EQ(Commands(), (std::vector<std::vector<BYTE>>{Command({0xFE, 0x0D, 10, 10, 100}), Command({0xF4})}));
    EXPECT_EQ(m_device->GetGlobalData()->GetPercentage(), 100u);
}

TEST_F(OskraTest, LowResolutionSwapsCoefficientFiveForSix) {
    Open();
    ASSERT_EQ(Set(3, 15000), S_OK);  // k = 5 is sent as 6; s = 101
    Advance(4 * kPassMs);
    EXPECT_EQ(Commands(), (std::vector<std::vector<BYTE>>{Command({0xFE, 0x03, 6, 6, 101}), Command({0xF4})}));
}

TEST_F(OskraTest, SettingsEntryRejectsBadIndicesAndStrengthsAndKeepsTheValue) {
    struct Case {
        DWORD index;
        DWORD value;
        HRESULT hr;
    };
    const Case cases[] = {{5, 1, E_INVALIDARG}, {7, 1, E_INVALIDARG},      {0, 15001, E_INVALIDARG},
                          {2, 15001, E_INVALIDARG}, {3, 15001, E_INVALIDARG}, {1, 15000, S_OK},
                          {4, 0xFFFFFFFF, S_OK}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "index " << c.index << " value " << c.value);
        EXPECT_EQ(Set(c.index, c.value), c.hr);
    }
    SVJOYFORCEPARAM get{0, 0, 0};
    ASSERT_EQ(m_device->GetSetting(&get), S_OK);
    EXPECT_EQ(get.dwValue, 10000u);
    get = {1, 0, 0};
    ASSERT_EQ(m_device->GetSetting(&get), S_OK);
    EXPECT_EQ(get.dwValue, 15000u);
    get = {5, 0, 77};
    EXPECT_EQ(m_device->GetSetting(&get), E_INVALIDARG);
    EXPECT_EQ(get.dwValue, 77u);
}

// (The indicator escape without a thread is the absent-device suite's.)
TEST_F(OskraTest, WithoutAThreadCentringFails) { EXPECT_EQ(m_device->ApplyCenteringSettings(10000, 1), E_HANDLE); }

TEST_F(FerollaTest, FullQueueDropsCentringCommandsWithoutBlocking) {
    Open();
    // Each call below queues parameters then centring on; the paused thread
    // holds them, and the ring keeps 31.
    ASSERT_EQ(m_device->SendForceFeedbackCommand(DISFFC_PAUSE), S_OK);
    for (int i = 0; i < 20; ++i) ASSERT_EQ(m_device->SetGain(5000), S_OK);
    Advance(4 * kPassMs);
    EXPECT_TRUE(Commands().empty());
    ASSERT_EQ(m_device->SendForceFeedbackCommand(DISFFC_CONTINUE), S_OK);
    Advance(40 * kPassMs);
    const auto commands = Commands();
    ASSERT_EQ(commands.size(), 31u);
    for (std::size_t i = 0; i < commands.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(commands[i], i % 2 == 0 ? Command({0xFE, 0x0D, 10, 10, 100}) : Command({0xF4}));
    }
}

TEST_F(KarvonaTest, CentringAtFullStrengthWritesCoefficientFifty) {
    Open();
    ASSERT_EQ(Set(3, 15000), S_OK);
    Advance(4 * kPassMs);
    EXPECT_EQ(Blocks(), Command({0x00, 50, 0x7F, 0x46, 0x00, 50, 0x7F, 0x46}));
}

TEST_F(KarvonaTest, ConditionTakesItsAxisAndGivesItBackToTheCentringSpring) {
    Open();
    ASSERT_EQ(Set(6, 1), S_OK);  // the stick's spring stays on while the game runs
    ASSERT_EQ(m_device->SendForceFeedbackCommand(DISFFC_SETACTUATORSON), S_OK);
    Advance(4 * kPassMs);
    EXPECT_EQ(Blocks(), Command({0x00, 33, 0x7F, 0x46, 0x00, 33, 0x7F, 0x46}));
    EffectBlock block;
    block.Cartesian({kAxisX}, {1}).Conditions({DICONDITION{0, 10000, 10000, 10000, 10000, 0}});
    DWORD handle = 0;
    ASSERT_EQ(m_device->DownloadEffect(kEffectSpring, &handle, block.Get(), kAllParams | DIEP_START), S_OK);
    Advance(4 * kPassMs);
    // Full coefficient and saturation: 50 and 0x7F, spring mode, no dead band.
    EXPECT_EQ(Blocks(), Command({0x01, 50, 0x7F, 0x00, 0x00, 33, 0x7F, 0x46}));
    ASSERT_EQ(m_device->StopEffect(handle), S_OK);
    Advance(4 * kPassMs);
    EXPECT_EQ(Blocks(), Command({0x00, 33, 0x7F, 0x46, 0x00, 33, 0x7F, 0x46}));
}

TEST_F(KarvonaTest, CloseReleasesTheStickBeforeTheThreadEnds) {
    Open();
    ASSERT_EQ(m_device->Close(), S_OK);
    const auto reports = RecordedReports(kJoystick);
    ASSERT_GE(reports.size(), 2u);
    EXPECT_EQ(reports[0].kind, static_cast<std::uint32_t>(FFDRV_VIRTUAL_REPORT_FEATURE));
    EXPECT_EQ(reports[0].bytes, Command({0x04, 0x04}));
    EXPECT_EQ(reports.back().kind, static_cast<std::uint32_t>(FFDRV_VIRTUAL_REPORT_OUTPUT));
}

}  // namespace
