// The force joysticks end to end: the built driver library loaded by path,
// a driver made through its own class factory, a virtual stick of the model
// plugged in through the library's exports, and every report that reaches
// the stick checked byte for byte in virtual time.
//
// Expected bytes come from the command tables: force 0x51 0x08 p q with
// p = 0x80 + x and q = 0x80 - y, force-off 0x53, centring parameters
// 0xFE sel k k s 0 0 from the model's centring ranges at 100 % strength
// (k and s are the defaults), centring on 0xF4 / off 0xF5, the thread's
// reset 0xF3 at the end; for the Karvona stick the 64-byte report with
// -x and y as 16-bit words at bytes 1 and 31 and the centring spring
// (coefficient MulDiv(10000, 50, 15000) = 33, 0x7F, 0x46) in the axis
// blocks at bytes 4 and 34, and the release feature report 0x04 0x04.
#include "force_feedback/legacy/testing/joystick_e2e_harness.h"

namespace {

using namespace stick_e2e;

struct StickCase {
    const char* name;
    int classIndex;
    Model model;
    BYTE selector;  // centring parameters of the resolution
    BYTE k;         // centring coefficient and saturation at 100 %
    BYTE s;
    BYTE springType;          // native spring command of the resolution
    BYTE springCoefficients;  // full coefficient both ways: 15 or 7 per nibble
};

// The Nimbal driver opens an Oskra stick.
const StickCase kSticks[] = {
    {"Ferolla", 13, Model::Ferolla, 0x0D, 10, 100, 0x0B, 0xFF},
    {"Tavrin", 4, Model::Tavrin, 0x0D, 11, 217, 0x0B, 0xFF},
    {"Nimbal", 1, Model::Oskra, 0x03, 4, 100, 0x01, 0x77},
};

// The sticks' 65-byte output report, report ID 0.
std::vector<BYTE> Out(std::initializer_list<BYTE> command) { return Output(65, 0x00, command); }

class JoystickE2ETest : public ::testing::TestWithParam<StickCase> {};

TEST_P(JoystickE2ETest, SessionSendsCentringForcesAndTheResetCommand) {
    const StickCase& c = GetParam();
    StickSession session(c.classIndex, c.model);
    ASSERT_TRUE(session.Ready());
    ASSERT_EQ(session->DeviceID(kDirectInputVersion, kJoystick, TRUE, 0, nullptr), S_OK);
    session.Advance(3 * kPassMs);
    // DirectInput's usual start: reset (actuators still off: the stick
    // centres itself), then actuators on (the game decides: centring off).
    ASSERT_EQ(session->SendForceFeedbackCommand(kJoystick, DISFFC_RESET), S_OK);
    ASSERT_EQ(session->SendForceFeedbackCommand(kJoystick, DISFFC_SETACTUATORSON), S_OK);
    session.Advance(10 * kPassMs);
    const std::uint32_t startedAt = session.Now();
    session.PlayConstant(kAxisX, -10000, 200);
    session.Advance(100);
    session.PlayConstant(kAxisY, 10000, 200);
    session.Advance(300);
    ASSERT_EQ(session->DeviceID(kDirectInputVersion, kJoystick, FALSE, 0, nullptr), S_OK);

    const auto reports = session.Reports();
    ExpectReports(reports, {
                               {kOutput, Out({0x53})},  // first pass: the stick starts unforced
                               {kOutput, Out({0xFE, c.selector, c.k, c.k, c.s, 0x00, 0x00})},
                               {kOutput, Out({0xF4})},
                               {kOutput, Out({0xFE, c.selector, c.k, c.k, c.s, 0x00, 0x00})},
                               {kOutput, Out({0xF5})},
                               {kOutput, Out({0x51, 0x08, 0x01, 0x80, 0x00, 0x00})},  // x = -127
                               {kOutput, Out({0x51, 0x08, 0x01, 0xFF, 0x00, 0x00})},  // y = -127 too
                               {kOutput, Out({0x51, 0x08, 0x80, 0xFF, 0x00, 0x00})},  // x ended
                               {kOutput, Out({0x53})},                                // y ended
                               {kOutput, Out({0xF3})},
                           });
    if (reports.size() == 10) {
        EXPECT_LE(reports[5].timeMs - startedAt, 2 * kPassMs);
        EXPECT_GE(reports[7].timeMs - startedAt, 200u);
        EXPECT_LE(reports[7].timeMs - startedAt, 200u + 3 * kPassMs);
        EXPECT_GE(reports[8].timeMs - startedAt, 300u);
    }
}

// A spring condition on X plays in the stick's own condition hardware: a
// download-and-play command for axis 0 (target 0x20), axis 1 (target 0x80)
// stopped once, and at the end a stop for axis 0 that keeps the other bytes.
// Edges: offset and dead band 0 put both at the centre's high byte, 0x80;
// clip MulDiv(10000, 255, 10000) = 0xFF; no sign bits.
TEST_P(JoystickE2ETest, NativeSpringGoesOutAsConditionCommands) {
    const StickCase& c = GetParam();
    StickSession session(c.classIndex, c.model);
    ASSERT_TRUE(session.Ready());
    ASSERT_EQ(session->DeviceID(kDirectInputVersion, kJoystick, TRUE, 0, nullptr), S_OK);
    session.Advance(3 * kPassMs);
    EffectBlock block;
    block.Cartesian({kAxisX}, {1}).Conditions({DICONDITION{0, 10000, 10000, 10000, 10000, 0}});
    DWORD handle = 0;
    ASSERT_EQ(session->DownloadEffect(kJoystick, kEffectSpring, &handle, block.Get(), kAllParams | DIEP_START), S_OK);
    session.Advance(10 * kPassMs);
    ASSERT_EQ(session->StopEffect(kJoystick, handle), S_OK);
    session.Advance(10 * kPassMs);
    ASSERT_EQ(session->DeviceID(kDirectInputVersion, kJoystick, FALSE, 0, nullptr), S_OK);

    const BYTE k = c.springCoefficients;
    ExpectReports(session.Reports(),
                  {
                      {kOutput, Out({0x53})},
                      // starting the effect switched the actuators on first
                      {kOutput, Out({0xFE, c.selector, c.k, c.k, c.s, 0x00, 0x00})},
                      {kOutput, Out({0xF5})},
                      {kOutput, Out({0x21, c.springType, 0x80, 0x80, k, 0x00, 0xFF})},
                      {kOutput, Out({0x83, c.springType, 0x80, 0x80, k, 0x00, 0xFF})},
                      {kOutput, Out({0x23, c.springType, 0x80, 0x80, k, 0x00, 0xFF})},
                      {kOutput, Out({0xF3})},
                  });
}

INSTANTIATE_TEST_SUITE_P(Sticks, JoystickE2ETest, ::testing::ValuesIn(kSticks),
                         [](const ::testing::TestParamInfo<StickCase>& info) { return std::string(info.param.name); });


// The Karvona report: 64 bytes, report ID 2, force words at 1 and 31,
// axis blocks (mode, coefficient, saturation, dead band) at 3 and 33.
constexpr std::uint16_t kKarvonaLength = 64;
constexpr BYTE kKarvonaReportId = 0x02;
constexpr BYTE kCentringCoefficient = 33;  // MulDiv(10000, 50, 15000) rounds 33.3 down

std::vector<BYTE> KarvonaReport(LONG xWord, LONG yWord, bool centring) {
    std::vector<BYTE> r(kKarvonaLength, 0);
    r[0] = kKarvonaReportId;
    r[1] = static_cast<BYTE>(xWord & 0xFF);
    r[2] = static_cast<BYTE>((xWord >> 8) & 0xFF);
    r[31] = static_cast<BYTE>(yWord & 0xFF);
    r[32] = static_cast<BYTE>((yWord >> 8) & 0xFF);
    if (centring) {
        for (std::size_t block : {3u, 33u}) {
            r[block + 1] = kCentringCoefficient;
            r[block + 2] = 0x7F;
            r[block + 3] = 0x46;
        }
    }
    return r;
}

class KarvonaE2ETest : public JoystickE2ETest {};

TEST_F(KarvonaE2ETest, SessionSendsChangedReportsOnlyAndReleasesTheStick) {
    StickSession session(kKarvonaIndex, Model::Karvona);
    ASSERT_TRUE(session.Ready());
    ASSERT_EQ(session->DeviceID(kDirectInputVersion, kJoystick, TRUE, 0, nullptr), S_OK);
    session.Advance(3 * kPassMs);  // nothing changed yet: nothing sent
    ASSERT_EQ(session->SendForceFeedbackCommand(kJoystick, DISFFC_RESET), S_OK);
    session.Advance(3 * kPassMs);  // actuators off: the stick's own spring
    ASSERT_EQ(session->SendForceFeedbackCommand(kJoystick, DISFFC_SETACTUATORSON), S_OK);
    session.Advance(3 * kPassMs);  // the game's: centring off
    session.PlayConstant(kAxisX, 10000, 100);
    session.Advance(50);
    session.PlayConstant(kAxisY, 10000, 100);
    session.Advance(200);
    ASSERT_EQ(session->DeviceID(kDirectInputVersion, kJoystick, FALSE, 0, nullptr), S_OK);

    const std::vector<BYTE> release = {0x04, 0x04};
    std::vector<BYTE> reset(kKarvonaLength, 0);
    reset[0] = kKarvonaReportId;
    reset[1] = 0xF3;
    ExpectReports(session.Reports(),
                  {
                      {kOutput, KarvonaReport(0, 0, /*centring=*/true)},
                      {kOutput, KarvonaReport(0, 0, /*centring=*/false)},
                      {kOutput, KarvonaReport(-32767, 0, false)},       // x = 127, negated on the wire
                      {kOutput, KarvonaReport(-32767, -32767, false)},  // y = -127 as it is
                      {kOutput, KarvonaReport(0, -32767, false)},
                      {kOutput, KarvonaReport(0, 0, false)},
                      {kFeature, release},  // Close
                      {kOutput, reset},     // the thread's last pass
                      {kFeature, release},  // the device's destruction
                  });
}

}  // namespace
