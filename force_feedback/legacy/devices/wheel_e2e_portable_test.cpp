// Every wheel driver class end to end: the built library loaded by path, the
// driver made through its class factory, a virtual wheel of the model
// plugged in through the library's exports, and the exact reports that reach
// the wheel in virtual time. Expected bytes are written out from the wheel
// command set:
//   force      0x11 0x08 (0x80 + x) (0x80 - y) 0x00 0x00, clamped to the
//              model's byte range; 0x13 when the first force byte is 0x80
//   centering  0xFE sel k k s 0x00 0x00 (sel 0x0D high, 0x03 low
//              resolution), then 0x14 / 0xF4 (on) or 0xF5 (off)
//   mode       0x09 0x03 at open, 0x09 0x01 at close (Quintar, Drovik, Ravik)
//   stop       0xF3 as the thread ends
// with the models' default centering bytes (k = default K, s = default clip
// at strength 10000) and PersistentCenteringSpring 0, so a started effect
// switches the wheel's own spring off.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "force_feedback/legacy/testing/wheel_e2e_harness.h"
#include "platform/muldiv.h"

namespace {

using namespace wheel_e2e;

struct WheelCase {
    const char* name;
    int classIndex;
    Model model;
    BYTE selector;     // centering parameter selector
    BYTE k, s;         // default centering coefficient and clip
    bool modeReports;
    BYTE lowest, highest;  // force byte range
    bool native;       // springs in hardware slots
    DWORD knee;        // of the response curve: a combined gain below it scales by gain / knee
};

// Rows written from the model settings and wheel class tables.
const WheelCase kWheels[] = {
    {"Dastrin", 2, Model::Dastrin, 0x03, 3, 90, false, 0, 255, false, 9000},
    {"Drovik", 5, Model::Drovik, 0x0D, 11, 204, true, 0, 255, true, 9500},
    {"Quintar", 7, Model::Quintar, 0x0D, 12, 128, true, 0, 255, true, 9500},
    {"Ravik", 8, Model::Ravik, 0x03, 3, 90, true, 8, 246, false, 9000},
    {"Pelvar", 12, Model::Pelvar, 0x0D, 12, 128, false, 0, 255, true, 9500},
    {"Corrin", 14, Model::Corrin, 0x0D, 6, 180, false, 0, 255, true, 10000},
    {"Wendlow", 15, Model::Wendlow, 0x0D, 6, 180, false, 0, 255, true, 10000},
    {"Prazen", 16, Model::Prazen, 0x0D, 6, 180, false, 0, 255, true, 10000},
    {"PrazenLegacyWheel", 18, Model::Prazen, 0x0D, 6, 180, false, 0, 255, true, 10000},
};

BYTE Clamp(int v, const WheelCase& c) { return static_cast<BYTE>(std::clamp<int>(v, c.lowest, c.highest)); }

class WheelEndToEndTest : public WheelHarness, public ::testing::WithParamInterface<WheelCase> {
protected:
    void SetUp() override { OpenWheel(GetParam().classIndex, GetParam().model); }
};

TEST_P(WheelEndToEndTest, ConstantForceSessionWritesOpenForceCenteringAndCloseReports) {
    const WheelCase& c = GetParam();
    EffectBlock block;
    block.Params(DICONSTANTFORCE{10000}).Cartesian({kAxisX}, {1}).DurationMs(100);
    const DWORD handle = Download(block, kEffectConstant);
    ASSERT_EQ(handle, 1u);
    const std::uint32_t startedAt = Now();
    ASSERT_EQ(m_driver->StartEffect(kJoystick, handle, 0, 1), S_OK);
    Advance(200);
    // The effect ended on the thread: the device is stopped, not empty.
    DIDEVICESTATE state{sizeof(DIDEVICESTATE), 0, 0};
    ASSERT_EQ(m_driver->GetForceFeedbackState(kJoystick, &state), S_OK);
    EXPECT_EQ(state.dwState & (DIGFFS_STOPPED | DIGFFS_ACTUATORSON | DIGFFS_EMPTY),
              DIGFFS_STOPPED | DIGFFS_ACTUATORSON);
    Close();

    std::vector<Bytes> expected;
    if (c.modeReports) expected.push_back(Report({0x09, 0x03}));
    expected.push_back(Report({0x13}));  // the first pass: x 0 differs from the initial 1
    // Full force to the right; the second channel mirrors y = 0.
    expected.push_back(Report({0x11, 0x08, Clamp(0x80 + 127, c), Clamp(0x80, c), 0x00, 0x00}));
    expected.push_back(Report({0xFE, c.selector, c.k, c.k, c.s, 0x00, 0x00}));
    expected.push_back(Report({0xF5}));
    expected.push_back(Report({0x13}));
    if (c.modeReports) expected.push_back(Report({0x09, 0x01}));
    expected.push_back(Report({0xF3}));
    ExpectReports(0, expected);

    const auto reports = Reports();
    const std::size_t force = c.modeReports ? 2 : 1;
    ASSERT_GT(reports.size(), force + 3);
    EXPECT_LE(reports[force].timeMs - startedAt, 2 * kPassMs);
    EXPECT_GE(reports[force + 3].timeMs - startedAt, 100u);
    EXPECT_LE(reports[force + 3].timeMs - startedAt, 100u + 3 * kPassMs);
}

TEST_P(WheelEndToEndTest, SpringIsNativeOnHighResolutionWheelsAndHostSimulatedOnLowResolutionOnes) {
    const WheelCase& c = GetParam();
    EffectBlock block;
    block.Conditions({DICONDITION{0, 10000, 10000, 10000, 10000, 0}}).Cartesian({kAxisX}, {1});
    const DWORD handle = Download(block, kEffectSpring);
    ASSERT_EQ(m_driver->StartEffect(kJoystick, handle, 0, 1), S_OK);
    Advance(6 * kPassMs);
    const std::size_t before = Reports().size();
    if (c.native) {
        // Slot 0 (0x20) download-and-play. The scaled centre is
        // MulDiv(512, 65535, 1023) = 32800 (32799.53 rounded), >> 5 = 1025 on
        // both edges: bits 10..3 = 0x80, bits 2..0 = 1 in byte 5 at bits 7..5
        // and 3..1 (0x22); coefficients 15 and 15 in one byte; clip 255.
        // Sent once, and the host adds no force of its own.
        int commands = 0;
        for (const auto& r : Reports()) {
            commands += r.bytes == Report({0x21, 0x0B, 0x80, 0x80, 0xFF, 0x22, 0xFF});
            EXPECT_NE(r.bytes[1], 0x11) << "a host force beside the hardware spring";
        }
        EXPECT_EQ(commands, 1) << "one spring command for hardware slot 0";

    } else {
        // Held at the far right (raw 1023 of 0..512..1023) the host spring
        // gives its full 127: d = MulDiv(511, 10000, 513) = 9961, four times
        // that is past the 10000 saturation.
        DriverHost::SetInput(1023, 512);
        Advance(4 * kPassMs);
        const auto reports = Reports();
        ASSERT_GT(reports.size(), before);
        EXPECT_EQ(reports.back().bytes, Report({0x11, 0x08, Clamp(0x80 + 127, c), Clamp(0x80, c), 0x00, 0x00}));
    }
    Close();
}

// The commands of a running wheel: a pause holds the loop once the pass in
// flight is done (a gain changed meanwhile reaches the wheel only after the
// continue), the gain scales the force below the curve knee, and a reset
// empties the table and switches the actuators off, so the wheel's own
// spring comes back on.
TEST_P(WheelEndToEndTest, PauseContinueGainAndResetReachTheWheel) {
    const WheelCase& c = GetParam();
    EffectBlock block;
    block.Params(DICONSTANTFORCE{10000}).Cartesian({kAxisX}, {1});
    const DWORD handle = Download(block, kEffectConstant);
    ASSERT_EQ(m_driver->StartEffect(kJoystick, handle, 0, 1), S_OK);
    Advance(3 * kPassMs);
    const Bytes centering = Report({0xFE, c.selector, c.k, c.k, c.s, 0x00, 0x00});
    const BYTE half = Clamp(0x80 + platform::MulDiv(127, 5000, static_cast<int>(c.knee)), c);

    ASSERT_EQ(m_driver->SendForceFeedbackCommand(kJoystick, DISFFC_PAUSE), S_OK);
    // The pass in flight drains the queue, one paced write at a time, the
    // centering of the start and of the pause included; then the loop holds.
    Advance(8 * kPassMs);
    std::size_t seen = Reports().size();
    // A download would continue the device itself; the gain does not.
    ASSERT_EQ(m_driver->SetGain(kJoystick, 5000), S_OK);
    Advance(10 * kPassMs);
    ASSERT_EQ(Reports().size(), seen) << "a paused wheel got a report";
    ASSERT_EQ(m_driver->SendForceFeedbackCommand(kJoystick, DISFFC_CONTINUE), S_OK);
    Advance(6 * kPassMs);  // five paced writes
    // The force goes ahead of the centering queued by the gain and the continue.
    ExpectReports(seen, {Report({0x11, 0x08, half, Clamp(0x80, c), 0x00, 0x00}), centering, Report({0xF5}),
                         centering, Report({0xF5})});

    seen = Reports().size();
    ASSERT_EQ(m_driver->SendForceFeedbackCommand(kJoystick, DISFFC_RESET), S_OK);
    Advance(4 * kPassMs);
    const BYTE on = c.selector == 0x0D ? 0x14 : 0xF4;
    ExpectReports(seen, {Report({0x13}), centering, Report({on})});
    DWORD status = 0;
    EXPECT_EQ(m_driver->GetEffectStatus(kJoystick, handle, &status), E_INVALIDARG);
    Close();
}

// While the thread is held nothing drains the 32-entry ring, which keeps
// one entry free: further commands are dropped, the caller is never
// blocked, and the continue sends exactly the 31 the ring could hold.
TEST_P(WheelEndToEndTest, AFullReportQueueDropsCommandsWithoutBlocking) {
    const WheelCase& c = GetParam();
    ASSERT_EQ(m_driver->SendForceFeedbackCommand(kJoystick, DISFFC_PAUSE), S_OK);
    const std::size_t seen = Reports().size();
    // Each accepted command queues the centering parameters and a switch.
    for (int i = 0; i < 40; ++i) ASSERT_EQ(m_driver->SendForceFeedbackCommand(kJoystick, DISFFC_STOPALL), S_OK);
    ASSERT_EQ(m_driver->SendForceFeedbackCommand(kJoystick, DISFFC_CONTINUE), S_OK);
    Advance(40 * kPassMs);
    const auto reports = Reports();
    ASSERT_EQ(reports.size(), seen + 31);
    const BYTE on = c.selector == 0x0D ? 0x14 : 0xF4;
    for (std::size_t i = seen; i < reports.size(); ++i) {
        SCOPED_TRACE(i);
        const bool parameters = (i - seen) % 2 == 0;
        EXPECT_EQ(reports[i].bytes, parameters ? Report({0xFE, c.selector, c.k, c.k, c.s, 0x00, 0x00}) : Report({on}));
    }
    Close();
}

// A settings tool changes the strengths of a running Prazen wheel through
// ISVJoyForceAPI: the values travel through the shared settings block and
// its change stamp, and the wheel's next pass takes them over.
class WheelSettingsEndToEndTest : public WheelEndToEndTest {};

TEST_P(WheelSettingsEndToEndTest, StrengthsChangedThroughTheSettingsInterfaceReachTheRunningWheel) {
    ISVJoyForceAPI* api = MakeJoyForceApi();
    ASSERT_NE(api, nullptr);
    EffectBlock block;
    block.Params(DICONSTANTFORCE{10000}).Cartesian({kAxisX}, {1});
    const DWORD handle = Download(block, kEffectConstant);
    ASSERT_EQ(m_driver->StartEffect(kJoystick, handle, 0, 1), S_OK);
    Advance(3 * kPassMs);
    std::size_t seen = Reports().size();

    // Half the overall strength: below the knee of 10000 the force is
    // attenuated, MulDiv(127, 5000, 10000) = 64; the refresh also sends the
    // centering settings again.
    SVJOYFORCEPARAM overall{0, 0, 5000};
    ASSERT_EQ(api->SetParameter(CSVJoyForceAPI::kSelectorWheel, &overall), S_OK);
    Advance(3 * kPassMs);
    ExpectReports(seen, {Report({0x11, 0x08, 0x80 + 64, 0x80, 0x00, 0x00}),
                         Report({0xFE, 0x0D, 6, 6, 180, 0x00, 0x00}), Report({0xF5})});
    seen = Reports().size();

    // Full centering strength takes the maxima 15 and 255.
    SVJOYFORCEPARAM centering{3, 0, 15000};
    ASSERT_EQ(api->SetParameter(CSVJoyForceAPI::kSelectorWheelAlt, &centering), S_OK);
    Advance(3 * kPassMs);
    ExpectReports(seen, {Report({0xFE, 0x0D, 15, 15, 255, 0x00, 0x00}), Report({0xF5})});

    SVJOYFORCEPARAM tooStrong{0, 0, 15001};
    EXPECT_EQ(api->SetParameter(CSVJoyForceAPI::kSelectorWheel, &tooStrong), E_INVALIDARG);
    EXPECT_EQ(api->SetParameter(64, &overall), E_NOTIMPL);
    SVJOYFORCEPARAM read{0, 0, 0};
    EXPECT_EQ(api->GetParameter(CSVJoyForceAPI::kSelectorWheel, &read), S_OK);
    EXPECT_EQ(read.dwValue, 5000u);

    // The block outlives this test while another holder has it open.
    overall.dwValue = 10000;
    centering.dwValue = 10000;
    EXPECT_EQ(api->SetParameter(CSVJoyForceAPI::kSelectorWheel, &overall), S_OK);
    EXPECT_EQ(api->SetParameter(CSVJoyForceAPI::kSelectorWheel, &centering), S_OK);
    api->Release();
    Close();
}

INSTANTIATE_TEST_SUITE_P(Prazen, WheelSettingsEndToEndTest, ::testing::Values(kWheels[7]),
                         [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(Wheels, WheelEndToEndTest, ::testing::ValuesIn(kWheels),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
