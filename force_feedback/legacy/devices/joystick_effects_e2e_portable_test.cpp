// Every effect type on the force joysticks end to end, through the built
// library's exports: the exact reports at the pass times of the virtual
// clock (one pass every 8 ms, so an effect's elapsed time is 8 ms times the
// passes since it started).
//
// The joysticks run with device gain 9000: Ferolla and Oskra have their
// curve knee at 9000, so the combined gain equals the knee and the summed
// force reaches the wire unscaled. The Karvona knee is 10000, its gain stays
// at 10000.
//
// Working for the forces (x along one Cartesian axis is
// MulDiv(1024 * f, 127, 10240000), i.e. f * 127 / 10000 rounded):
// - polar 4500 is angle 32: sin = S[32] = 724, cos = sin(96) = S[31] = 706;
//   f = 10000 gives x = 724 * 127 / 1024 = 89.8 -> 90, y = 87.6 -> 88;
//   f = 5000 gives 44.9 -> 45 and 43.8 -> 44.
// - a 64 ms period moves the phase index 32 a pass: 32, 64, ... 224, 0.
//   f = MulDiv(w, 10000, 1024) for waveform value w.
//   sine w: 724 1023 706 0 -724 -1023 -706 0 -> x 90 127 88 0 -90 -127 -88 0
//   triangle w = R[i]: 520 1024 503 0 ... -> x 64 127 62 0 -64 -127 -62 0
//   saw up w = R[i / 4]: 130 260 390 520 650 780 910 0
//                      -> x 16 32 48 64 81 97 113 0
//   saw down w = R[(255 - i) / 4]: 893 763 633 503 373 243 113 1024
//                      -> 111 95 79 62 46 30 14 127
// - an effect ends at the first pass past its duration, after the 8 ms
//   pause that lets its last force reach the stick, so its force-off comes
//   16 ms after the previous pass's report.
#include <functional>

#include "force_feedback/legacy/sim/karvona_report.h"
#include "force_feedback/legacy/testing/joystick_e2e_harness.h"
#include "platform/muldiv.h"

namespace {

using namespace stick_e2e;

constexpr std::uint16_t kStickLength = 65;
constexpr std::uint16_t kKarvonaLength = 64;
constexpr BYTE kKarvonaReportId = 0x02;
constexpr DWORD kKneeGain = 9000;
constexpr DWORD kFullGain = 10000;
constexpr LONG kForceMax = 127;
constexpr LONG kWordMax = 0x7FFF;

enum class Wire { kStick, kKarvona };

struct StickModel {
    const char* name;
    int classIndex;
    Model model;
    Wire wire;
    DWORD gain;  // device gain that leaves the summed force unscaled
};

// The Nimbal driver opens the low-resolution Oskra stick.
const StickModel kFerolla{"Ferolla", 13, Model::Ferolla, Wire::kStick, kKneeGain};
const StickModel kOskra{"Oskra", 1, Model::Oskra, Wire::kStick, kKneeGain};
const StickModel kKarvona{"Karvona", kKarvonaIndex, Model::Karvona, Wire::kKarvona, kFullGain};

// A force report: the time after the first one, and the summed x and y.
struct Step {
    std::uint32_t atMs;
    LONG x;
    LONG y;
};

std::vector<BYTE> KarvonaBytes(LONG x, LONG y, std::initializer_list<std::pair<std::size_t, BYTE>> extra = {}) {
    std::vector<BYTE> r(kKarvonaLength, 0);
    r[0] = kKarvonaReportId;
    const auto put = [&r](std::size_t at, LONG word) {
        r[at] = static_cast<BYTE>(word & 0xFF);
        r[at + 1] = static_cast<BYTE>((word >> 8) & 0xFF);
    };
    // X is negated on the wire, Y is not.
    put(1, -platform::MulDiv(x, kWordMax, kForceMax));
    put(31, platform::MulDiv(y, kWordMax, kForceMax));
    for (const auto& [at, value] : extra) r[at] = value;
    return r;
}

std::vector<BYTE> StickForce(LONG x, LONG y) {
    if (x == 0 && y == 0) return Output(kStickLength, 0, {0x53});
    return Output(kStickLength, 0, {0x51, 0x08, static_cast<BYTE>(0x80 + x), static_cast<BYTE>(0x80 - y), 0x00, 0x00});
}

std::vector<BYTE> ForceReport(Wire wire, LONG x, LONG y) {
    return wire == Wire::kStick ? StickForce(x, y) : KarvonaBytes(x, y);
}

// A session past DirectInput's usual start (reset, actuators on) with the
// model's gain set and the recorded reports cleared.
class ReadySession {
public:
    explicit ReadySession(const StickModel& m) : m_session(m.classIndex, m.model) {
        if (!m_session.Ready()) return;
        m_open = m_session->DeviceID(kDirectInputVersion, kJoystick, TRUE, 0, nullptr) == S_OK;
        EXPECT_TRUE(m_open);
        m_session.Advance(3 * kPassMs);
        EXPECT_EQ(m_session->SendForceFeedbackCommand(kJoystick, DISFFC_RESET), S_OK);
        EXPECT_EQ(m_session->SendForceFeedbackCommand(kJoystick, DISFFC_SETACTUATORSON), S_OK);
        EXPECT_EQ(m_session->SetGain(kJoystick, m.gain), S_OK);
        m_session.Advance(10 * kPassMs);
        m_session.ClearReports();
    }
    ~ReadySession() {
        if (m_open) m_session->DeviceID(kDirectInputVersion, kJoystick, FALSE, 0, nullptr);
    }
    bool Ready() const { return m_open; }
    StickSession& operator*() { return m_session; }
    IDirectInputEffectDriver* operator->() { return m_session.operator->(); }
    void Advance(std::uint32_t ms) { m_session.Advance(ms); }
    DWORD Download(DWORD type, EffectBlock& block, DWORD flags = kAllParams | DIEP_START) {
        DWORD handle = 0;
        EXPECT_EQ(m_session->DownloadEffect(kJoystick, type, &handle, block.Get(), flags), S_OK);
        return handle;
    }
    std::vector<RecordedReport> Take() {
        auto r = m_session.Reports();
        m_session.ClearReports();
        return r;
    }

private:
    StickSession m_session;
    bool m_open = false;
};

class StickEffectsTest : public ::testing::Test {};

// Checks bytes and the spacing of the reports on the virtual clock.
void ExpectSteps(const std::vector<RecordedReport>& got, Wire wire, const std::vector<Step>& want) {
    std::vector<std::pair<std::uint32_t, std::vector<BYTE>>> bytes;
    for (const Step& s : want) bytes.push_back({kOutput, ForceReport(wire, s.x, s.y)});
    ExpectReports(got, bytes);
    if (got.size() != want.size() || got.empty()) return;
    for (std::size_t i = 0; i < got.size(); ++i) {
        SCOPED_TRACE("report " + std::to_string(i));
        EXPECT_EQ(got[i].timeMs - got[0].timeMs, want[i].atMs);
    }
}

// ---- Force effects on every family --------------------------------------

struct ForceCase {
    const char* name;
    DWORD type;
    std::function<void(EffectBlock&)> build;
    std::vector<Step> steps;
};

DIPERIODIC Wave() { return DIPERIODIC{10000, 0, 0, 64000}; }

const std::vector<ForceCase>& ForceCases() {
    static const std::vector<ForceCase> cases = {
        // Attack from 0 over 16 ms, fade to 0 over the last 16 of 48 ms:
        // 5000 at 8 ms, full from 16 to 32, 5000 at 40, the fade level 0 at 48.
        {"ConstantPolarWithEnvelope", kEffectConstant,
         [](EffectBlock& b) {
             b.Params(DICONSTANTFORCE{10000}).Polar(4500).DurationMs(48).Envelope(0, 16000, 0, 16000);
         },
         {{0, 45, 44}, {8, 90, 88}, {32, 45, 44}, {40, 0, 0}}},
        // -10000 + MulDiv(16000, elapsed, 32): -6000 -2000 2000 6000.
        {"Ramp", kEffectRamp,
         [](EffectBlock& b) { b.Params(DIRAMPFORCE{-10000, 6000}).Cartesian({kAxisX}, {1}).DurationMs(32); },
         {{0, -76, 0}, {8, -25, 0}, {16, 25, 0}, {24, 76, 0}, {40, 0, 0}}},
        {"Square", kEffectSquare,
         [](EffectBlock& b) { b.Params(Wave()).Cartesian({kAxisX}, {1}).DurationMs(64); },
         {{0, 127, 0}, {24, -127, 0}, {56, 127, 0}, {72, 0, 0}}},
        {"Sine", kEffectSine, [](EffectBlock& b) { b.Params(Wave()).Cartesian({kAxisX}, {1}).DurationMs(64); },
         {{0, 90, 0}, {8, 127, 0}, {16, 88, 0}, {24, 0, 0}, {32, -90, 0}, {40, -127, 0}, {48, -88, 0}, {56, 0, 0}}},
        {"Triangle", kEffectTriangle,
         [](EffectBlock& b) { b.Params(Wave()).Cartesian({kAxisX}, {1}).DurationMs(64); },
         {{0, 64, 0}, {8, 127, 0}, {16, 62, 0}, {24, 0, 0}, {32, -64, 0}, {40, -127, 0}, {48, -62, 0}, {56, 0, 0}}},
        {"SawUp", kEffectSawUp, [](EffectBlock& b) { b.Params(Wave()).Cartesian({kAxisX}, {1}).DurationMs(64); },
         {{0, 16, 0}, {8, 32, 0}, {16, 48, 0}, {24, 64, 0}, {32, 81, 0}, {40, 97, 0}, {48, 113, 0}, {56, 0, 0}}},
        // On the second axis alone with direction 1: the force is negative y.
        {"SawDownOnY", kEffectSawDown,
         [](EffectBlock& b) { b.Params(Wave()).Cartesian({kAxisY}, {1}).DurationMs(64); },
         {{0, 0, -111},
          {8, 0, -95},
          {16, 0, -79},
          {24, 0, -62},
          {32, 0, -46},
          {40, 0, -30},
          {48, 0, -14},
          {56, 0, -127},
          {72, 0, 0}}},
    };
    return cases;
}

class ForceEffectsE2ETest : public StickEffectsTest,
                            public ::testing::WithParamInterface<std::tuple<StickModel, std::size_t>> {};

TEST_P(ForceEffectsE2ETest, ReportsFollowTheForceLawPassByPass) {
    const auto& [model, index] = GetParam();
    const ForceCase& c = ForceCases()[index];
    ReadySession session(model);
    ASSERT_TRUE(session.Ready());
    EffectBlock block;
    c.build(block);
    session.Download(c.type, block, kAllParams | DIEP_ENVELOPE | DIEP_START);
    session.Advance(20 * kPassMs);
    ExpectSteps(session.Take(), model.wire, c.steps);
}

INSTANTIATE_TEST_SUITE_P(
    AllSticks, ForceEffectsE2ETest,
    ::testing::Combine(::testing::Values(kFerolla, kOskra, kKarvona), ::testing::Range<std::size_t>(0, 7)),
    [](const ::testing::TestParamInfo<std::tuple<StickModel, std::size_t>>& info) {
        return std::string(std::get<0>(info.param).name) + ForceCases()[std::get<1>(info.param)].name;
    });

// A custom force is timed like any effect but plays no samples: nothing
// reaches the stick while it runs, and its status follows its duration.
class CustomForceE2ETest : public StickEffectsTest, public ::testing::WithParamInterface<StickModel> {};

TEST_P(CustomForceE2ETest, PlaysForItsDurationWithoutForce) {
    ReadySession session(GetParam());
    ASSERT_TRUE(session.Ready());
    LONG samples[6] = {10000, -10000, 5000, -5000, -10000, 10000};
    EffectBlock block;
    block.Params(DICUSTOMFORCE{2, 8000, 6, samples}).Cartesian({kAxisX, kAxisY}, {1, 1}).DurationMs(48);
    const DWORD handle = session.Download(kEffectCustom, block);
    session.Advance(3 * kPassMs);
    DWORD status = 0;
    ASSERT_EQ(session->GetEffectStatus(kJoystick, handle, &status), S_OK);
    EXPECT_EQ(status, DIEGES_PLAYING);
    session.Advance(10 * kPassMs);
    ASSERT_EQ(session->GetEffectStatus(kJoystick, handle, &status), S_OK);
    EXPECT_EQ(status, 0u);
    EXPECT_TRUE(session.Take().empty());
}

INSTANTIATE_TEST_SUITE_P(AllSticks, CustomForceE2ETest, ::testing::Values(kFerolla, kOskra, kKarvona),
                         [](const ::testing::TestParamInfo<StickModel>& info) { return std::string(info.param.name); });

// ---- Native conditions on the two resolutions ---------------------------
//
// The stick's calibration (0, 512, 1023 over a 10-bit axis) scales to
// 0, MulDiv(512, 65535, 1023) = 32800, 65535. With offset 1000 and dead
// band 2000: c = MulDiv(1000, 32767, 10000) = 3277, h = 13107 / 2 = 6553,
// edges (32800 + 3277 - 6553) >> 8 = 0x73 and (32800 + 3277 + 6553) >> 8 =
// 0xA6; with both 0 the edges are 32800 >> 8 = 0x80. Coefficients are
// MulDiv(|k|, 15, 10000) on the high resolution and MulDiv(|k|, 7, 10000)
// on the low one; the clip is MulDiv(positive saturation, 255, 10000).

using Command = std::vector<BYTE>;

struct ConditionCase {
    const char* name;
    DWORD type;
    std::function<void(EffectBlock&)> build;
    std::vector<Command> startHigh, stopHigh, startLow, stopLow;
};

const std::vector<ConditionCase>& ConditionCases() {
    static const std::vector<ConditionCase> cases = {
        // Two blocks: block 0 to X, block 1 to Y. X: k+ 10000 -> 15 / 7,
        // k- 5000 -> 7.5 -> 8 / 3.5 -> 4, clip 6000 -> 153. Y: k+ -4000
        // -> 6 / 2.8 -> 3 with its sign bit, k- 15 / 7. The stop keeps the
        // last command's bytes.
        {"SpringOnBothAxes", kEffectSpring,
         [](EffectBlock& b) {
             b.Cartesian({kAxisX, kAxisY}, {1, 1})
                 .Conditions({DICONDITION{1000, 10000, 5000, 6000, 6000, 2000},
                              DICONDITION{0, -4000, 10000, 10000, 10000, 0}});
         },
         {{0x21, 0x0B, 0x73, 0xA6, 0xF8, 0x00, 0x99}, {0x81, 0x0B, 0x80, 0x80, 0x6F, 0x10, 0xFF}},
         {{0x23, 0x0B, 0x80, 0x80, 0x6F, 0x10, 0xFF}, {0x83, 0x0B, 0x80, 0x80, 0x6F, 0x10, 0xFF}},
         {{0x21, 0x01, 0x73, 0xA6, 0x74, 0x00, 0x99}, {0x81, 0x01, 0x80, 0x80, 0x37, 0x10, 0xFF}},
         {{0x23, 0x01, 0x80, 0x80, 0x37, 0x10, 0xFF}, {0x83, 0x01, 0x80, 0x80, 0x37, 0x10, 0xFF}}},
        // X only: k- -2000 -> 3 / 1.4 -> 1 with its sign, k+ 15 / 7; Y is
        // stopped once, and at the end only X still needs a stop.
        {"DamperOnX", kEffectDamper,
         [](EffectBlock& b) {
             b.Cartesian({kAxisX}, {1}).Conditions({DICONDITION{0, 10000, -2000, 10000, 10000, 0}});
         },
         {{0x21, 0x0C, 0x03, 0x01, 0x0F, 0x00, 0x01}, {0x83, 0x0C, 0x03, 0x01, 0x0F, 0x00, 0x01}},
         {{0x23, 0x0C, 0x03, 0x01, 0x0F, 0x00, 0x01}},
         {{0x21, 0x02, 0x01, 0x01, 0x07, 0x00, 0x01}, {0x83, 0x02, 0x01, 0x01, 0x07, 0x00, 0x01}},
         {{0x23, 0x02, 0x01, 0x01, 0x07, 0x00, 0x01}}},
        // Polar north (angle 0) puts the one block on Y; X is stopped
        // first, from a still empty command. Gain 5000: k = 3000 -> 4.5 -> 5
        // / 2.1 -> 2.
        {"InertiaPolarNorth", kEffectInertia,
         [](EffectBlock& b) { b.Polar(0).Gain(5000).Conditions({DICONDITION{0, 6000, 6000, 10000, 10000, 0}}); },
         {{0x23, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}, {0x81, 0x0C, 0x05, 0x00, 0x05, 0x00, 0x01}},
         {{0x83, 0x0C, 0x05, 0x00, 0x05, 0x00, 0x01}},
         {{0x23, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}, {0x81, 0x02, 0x02, 0x00, 0x02, 0x00, 0x01}},
         {{0x83, 0x02, 0x02, 0x00, 0x02, 0x00, 0x01}}},
        // Direction (1, -3): |1| <= |-3| gives Y, and its negative component
        // mirrors the block: k+ 2000 -> 3 / 1, k- 8000 -> 12 / 5.6 -> 6.
        {"FrictionMirroredOntoY", kEffectFriction,
         [](EffectBlock& b) {
             b.Cartesian({kAxisX, kAxisY}, {1, -3}).Conditions({DICONDITION{0, 8000, 2000, 10000, 10000, 0}});
         },
         {{0x23, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}, {0x81, 0x0C, 0x0C, 0x00, 0x03, 0x00, 0x01}},
         {{0x83, 0x0C, 0x0C, 0x00, 0x03, 0x00, 0x01}},
         {{0x23, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}, {0x81, 0x02, 0x06, 0x00, 0x01, 0x00, 0x01}},
         {{0x83, 0x02, 0x06, 0x00, 0x01, 0x00, 0x01}}},
    };
    return cases;
}

std::vector<std::pair<std::uint32_t, std::vector<BYTE>>> Commands(const std::vector<Command>& commands) {
    std::vector<std::pair<std::uint32_t, std::vector<BYTE>>> out;
    for (const Command& c : commands) {
        std::vector<BYTE> r(kStickLength, 0);
        std::copy(c.begin(), c.end(), r.begin() + 1);
        out.push_back({kOutput, r});
    }
    return out;
}

class NativeConditionE2ETest : public StickEffectsTest,
                               public ::testing::WithParamInterface<std::tuple<StickModel, std::size_t>> {};

TEST_P(NativeConditionE2ETest, StartAndStopSendTheResolutionsCommands) {
    const auto& [model, index] = GetParam();
    const ConditionCase& c = ConditionCases()[index];
    const bool high = model.model == Model::Ferolla;
    ReadySession session(model);
    ASSERT_TRUE(session.Ready());
    EffectBlock block;
    c.build(block);
    const DWORD handle = session.Download(c.type, block);
    session.Advance(5 * kPassMs);
    {
        SCOPED_TRACE("start");
        ExpectReports(session.Take(), Commands(high ? c.startHigh : c.startLow));
    }
    ASSERT_EQ(session->StopEffect(kJoystick, handle), S_OK);
    session.Advance(5 * kPassMs);
    SCOPED_TRACE("stop");
    ExpectReports(session.Take(), Commands(high ? c.stopHigh : c.stopLow));
}

INSTANTIATE_TEST_SUITE_P(
    BothResolutions, NativeConditionE2ETest,
    ::testing::Combine(::testing::Values(kFerolla, kOskra), ::testing::Range<std::size_t>(0, 4)),
    [](const ::testing::TestParamInfo<std::tuple<StickModel, std::size_t>>& info) {
        return std::string(std::get<0>(info.param).name) + ConditionCases()[std::get<1>(info.param)].name;
    });

// Four springs on X with loads 50, 80, 80, 20 (a spring of coefficient k
// both ways and full saturation has load k / 100). The stick has one
// condition unit: the highest load holds it (of equal loads the earlier)
// and writes both axes, clearing Y; the others wait. A stopped holder stops
// its axis once and the next highest takes over.
class SlotSharingE2ETest : public StickEffectsTest, public ::testing::WithParamInterface<StickModel> {};

TEST_P(SlotSharingE2ETest, HighestLoadHoldsTheConditionUnitAndTheNextTakesOver) {
    const bool high = GetParam().model == Model::Ferolla;
    const BYTE type = high ? 0x0B : 0x01;
    // Both nibbles: 5000 -> 7.5 -> 8 / 3.5 -> 4; 8000 -> 12 / 5.6 -> 6;
    // 2000 -> 3 / 1.4 -> 1.
    const BYTE k50 = high ? 0x88 : 0x44, k80 = high ? 0xCC : 0x66;
    ReadySession session(GetParam());
    ASSERT_TRUE(session.Ready());
    DWORD handles[4] = {};
    const LONG coefficients[4] = {5000, 8000, 8000, 2000};
    for (int i = 0; i < 4; ++i) {
        EffectBlock block;
        block.Cartesian({kAxisX}, {1}).Conditions(
            {DICONDITION{0, coefficients[i], coefficients[i], 10000, 10000, 0}});
        handles[i] = session.Download(kEffectSpring, block);
    }
    session.Advance(6 * kPassMs);
    const auto holds = [type](BYTE k) {
        return std::vector<Command>{{0x21, type, 0x80, 0x80, k, 0x00, 0xFF}, {0x83, type, 0x80, 0x80, k, 0x00, 0xFF}};
    };
    const auto stops = [type](BYTE k) { return Command{0x23, type, 0x80, 0x80, k, 0x00, 0xFF}; };
    {
        SCOPED_TRACE("the first 80 holds");
        ExpectReports(session.Take(), Commands(holds(k80)));
    }
    ASSERT_EQ(session->StopEffect(kJoystick, handles[1]), S_OK);
    session.Advance(6 * kPassMs);
    std::vector<Command> want = {stops(k80)};
    for (const Command& c : holds(k80)) want.push_back(c);
    {
        SCOPED_TRACE("the second 80 takes over");
        ExpectReports(session.Take(), Commands(want));
    }
    ASSERT_EQ(session->StopEffect(kJoystick, handles[2]), S_OK);
    session.Advance(6 * kPassMs);
    want = {stops(k80)};
    for (const Command& c : holds(k50)) want.push_back(c);
    {
        SCOPED_TRACE("then the 50");
        ExpectReports(session.Take(), Commands(want));
    }
    // An 80 back takes the unit; once it stops again the 50 sends its command
    // anew, though it sent the same bytes before: the 80 has written the
    // unit since.
    ASSERT_EQ(session->StartEffect(kJoystick, handles[1], 1, 0), S_OK);
    session.Advance(6 * kPassMs);
    ASSERT_EQ(session->StopEffect(kJoystick, handles[1]), S_OK);
    session.Advance(6 * kPassMs);
    want = holds(k80);
    want.push_back(stops(k80));
    for (const Command& c : holds(k50)) want.push_back(c);
    SCOPED_TRACE("the 50 again");
    ExpectReports(session.Take(), Commands(want));
}

INSTANTIATE_TEST_SUITE_P(BothResolutions, SlotSharingE2ETest, ::testing::Values(kFerolla, kOskra),
                         [](const ::testing::TestParamInfo<StickModel>& info) { return std::string(info.param.name); });

// ---- Karvona conditions --------------------------------------------------
//
// A condition takes its axis block (X at 3, Y at 33: mode, coefficient,
// saturation, dead band). Spring: mode 1, coefficient MulDiv(max |k|, 50,
// 10000), saturation MulDiv(max saturation, 127, 10000), dead band
// MulDiv(dead band, 255, 10000). Damper: mode 2, coefficient likewise,
// saturation 0x7F, dead band 0. The centring spring is mode 0, 33, 0x7F,
// 0x46 (strength 10000 of 15000).
TEST_F(StickEffectsTest, KarvonaSpringTakesTheXBlockAndGivesItBackToCentring) {
    ReadySession session(kKarvona);
    ASSERT_TRUE(session.Ready());
    EffectBlock block;
    // k 6000 -> 30, saturation 5000 -> 63.5 -> 64, dead band 2000 -> 51.
    block.Cartesian({kAxisX}, {1}).Conditions({DICONDITION{0, 6000, 3000, 5000, 2000, 2000}});
    const DWORD handle = session.Download(kEffectSpring, block);
    session.Advance(3 * kPassMs);
    // Actuators off brings the centring spring back on the free Y axis; the
    // playing spring keeps X.
    ASSERT_EQ(session->SendForceFeedbackCommand(kJoystick, DISFFC_SETACTUATORSOFF), S_OK);
    session.Advance(3 * kPassMs);
    ASSERT_EQ(session->StopEffect(kJoystick, handle), S_OK);
    session.Advance(3 * kPassMs);
    ExpectReports(session.Take(),
                  {
                      {kOutput, KarvonaBytes(0, 0, {{3, 1}, {4, 30}, {5, 64}, {6, 51}})},
                      {kOutput, KarvonaBytes(0, 0, {{3, 1}, {4, 30}, {5, 64}, {6, 51}, {34, 33}, {35, 0x7F}, {36, 0x46}})},
                      {kOutput, KarvonaBytes(0, 0, {{4, 33}, {5, 0x7F}, {6, 0x46}, {34, 33}, {35, 0x7F}, {36, 0x46}})},
                  });
}

TEST_F(StickEffectsTest, KarvonaDamperTakesTheYBlockAndClearsItWhenCentringIsOff) {
    ReadySession session(kKarvona);
    ASSERT_TRUE(session.Ready());
    EffectBlock block;
    // Gain 8000: k = MulDiv(10000, 8000, 10000) = 8000 -> 40.
    block.Cartesian({kAxisY}, {1}).Gain(8000).Conditions({DICONDITION{0, 10000, 4000, 10000, 10000, 500}});
    const DWORD handle = session.Download(kEffectDamper, block);
    session.Advance(3 * kPassMs);
    ASSERT_EQ(session->StopEffect(kJoystick, handle), S_OK);
    session.Advance(3 * kPassMs);
    ExpectReports(session.Take(), {
                                      {kOutput, KarvonaBytes(0, 0, {{33, 2}, {34, 40}, {35, 0x7F}})},
                                      {kOutput, KarvonaBytes(0, 0)},
                                  });
}

// ---- Trigger buttons -----------------------------------------------------

constexpr DWORD kButton2 = 2u << 8;  // DirectInput instance 2: input bit 2
constexpr std::uint64_t kPressed2 = 1u << 2;
constexpr std::int32_t kCentre = 512;

class TriggerE2ETest : public StickEffectsTest, public ::testing::WithParamInterface<StickModel> {};

// An endless force plays while the button is held and stops on release; a
// finite one started by the button plays out after release.
TEST_P(TriggerE2ETest, ButtonStartsAndReleaseStopsOnlyEndlessEffects) {
    const StickModel& m = GetParam();
    ReadySession session(m);
    ASSERT_TRUE(session.Ready());
    EffectBlock endless;
    endless.Params(DICONSTANTFORCE{10000}).Cartesian({kAxisX}, {1});
    endless.effect.dwTriggerButton = kButton2;
    const DWORD handle = session.Download(kEffectConstant, endless, kAllParams);
    session.Advance(3 * kPassMs);
    EXPECT_TRUE(session.Take().empty()) << "a trigger effect waits for its button";
    (*session).SetInput(kCentre, kCentre, kPressed2);
    session.Advance(3 * kPassMs);
    (*session).SetInput(kCentre, kCentre, 0);
    session.Advance(3 * kPassMs);
    {
        SCOPED_TRACE("endless");
        const auto got = session.Take();
        ExpectReports(got, {{kOutput, ForceReport(m.wire, 127, 0)}, {kOutput, ForceReport(m.wire, 0, 0)}});
    }
    ASSERT_EQ(session->DestroyEffect(kJoystick, handle), S_OK);
    session.Advance(3 * kPassMs);
    session.Take();

    EffectBlock finite;
    finite.Params(DICONSTANTFORCE{-10000}).Cartesian({kAxisY}, {1}).DurationMs(40);
    finite.effect.dwTriggerButton = kButton2;
    session.Download(kEffectConstant, finite, kAllParams);
    (*session).SetInput(kCentre, kCentre, kPressed2);
    session.Advance(kPassMs);
    (*session).SetInput(kCentre, kCentre, 0);
    session.Advance(2 * kPassMs);
    EXPECT_EQ(session.Take().size(), 1u) << "released: the finite force keeps playing";
    session.Advance(8 * kPassMs);
    SCOPED_TRACE("finite");
    ExpectReports(session.Take(), {{kOutput, ForceReport(m.wire, 0, 0)}});
}

INSTANTIATE_TEST_SUITE_P(PolledAndStick, TriggerE2ETest, ::testing::Values(kFerolla, kKarvona),
                         [](const ::testing::TestParamInfo<StickModel>& info) { return std::string(info.param.name); });

// ---- Device gain, pause, continue, reset ---------------------------------
//
// Ferolla: knee 9000. Constant 4000 on X gives 50.8 -> 51 at gain 9000;
// gain 4500 scales the sum by 4500 / 9000: 25.5 -> 26; gain 10000 is above
// the knee and maps it through the curve built at the default combined gain
// 10000: p = 1 / (1 + 3 * 1000 / 6000) = 2/3, entry 51 =
// trunc((51/127)^(2/3) * 127 + 0.5) = 69.
// Every gain, pause and continue also refreshes the centring (the stick's
// defaults at full strength; the game keeps it off: 0xF5), and a reset
// switches the actuators off, which turns the stick's own centring on
// (0xF4). Each call comes while the thread rests between passes, so its
// next pass sends the changed force first and the queued commands after.

std::vector<BYTE> FerollaCentring() { return Output(kStickLength, 0, {0xFE, 0x0D, 10, 10, 100, 0x00, 0x00}); }
std::vector<BYTE> StickCommand(BYTE command) { return Output(kStickLength, 0, {command}); }

TEST_F(StickEffectsTest, FerollaGainScalesAndMapsTheForce) {
    ReadySession session(kFerolla);
    ASSERT_TRUE(session.Ready());
    EffectBlock block;
    block.Params(DICONSTANTFORCE{4000}).Cartesian({kAxisX}, {1});
    session.Download(kEffectConstant, block);
    session.Advance(6 * kPassMs);
    ASSERT_EQ(session->SetGain(kJoystick, 4500), S_OK);
    session.Advance(6 * kPassMs);
    ASSERT_EQ(session->SetGain(kJoystick, 10000), S_OK);
    session.Advance(6 * kPassMs);
    ExpectReports(session.Take(), {{kOutput, StickForce(51, 0)},
                                   {kOutput, StickForce(26, 0)},
                                   {kOutput, FerollaCentring()},
                                   {kOutput, StickCommand(0xF5)},
                                   {kOutput, StickForce(69, 0)},
                                   {kOutput, FerollaCentring()},
                                   {kOutput, StickCommand(0xF5)}});
}

// Pause holds the loop: nothing is sent while paused, the centring queued
// by the pause included, and the effect's time runs on, so an 80 ms force
// paused after 24 ms is over at the first pass after the continue. Reset
// deletes every effect: the force goes off and the stick centres itself.
TEST_F(StickEffectsTest, FerollaPauseContinueAndReset) {
    ReadySession session(kFerolla);
    ASSERT_TRUE(session.Ready());
    EffectBlock finite;
    finite.Params(DICONSTANTFORCE{4000}).Cartesian({kAxisX}, {1}).DurationMs(80);
    const DWORD handle = session.Download(kEffectConstant, finite);
    session.Advance(3 * kPassMs);
    ASSERT_EQ(session->SendForceFeedbackCommand(kJoystick, DISFFC_PAUSE), S_OK);
    session.Advance(200);
    {
        SCOPED_TRACE("paused");
        ExpectReports(session.Take(), {{kOutput, StickForce(51, 0)}});
    }
    const std::uint32_t continuedAt = (*session).Now();
    ASSERT_EQ(session->SendForceFeedbackCommand(kJoystick, DISFFC_CONTINUE), S_OK);
    session.Advance(8 * kPassMs);
    DWORD status = 1;
    ASSERT_EQ(session->GetEffectStatus(kJoystick, handle, &status), S_OK);
    EXPECT_EQ(status, 0u);
    {
        SCOPED_TRACE("continued");
        const auto got = session.Take();
        ExpectReports(got, {{kOutput, StickForce(0, 0)},
                            {kOutput, FerollaCentring()},
                            {kOutput, StickCommand(0xF5)},
                            {kOutput, FerollaCentring()},
                            {kOutput, StickCommand(0xF5)}});
        if (!got.empty()) {
            EXPECT_LE(got[0].timeMs - continuedAt, 2 * kPassMs);
        }
    }
    EffectBlock endless;
    endless.Params(DICONSTANTFORCE{-4000}).Cartesian({kAxisX}, {1});
    const DWORD second = session.Download(kEffectConstant, endless);
    session.Advance(6 * kPassMs);
    ASSERT_EQ(session->SendForceFeedbackCommand(kJoystick, DISFFC_RESET), S_OK);
    session.Advance(6 * kPassMs);
    EXPECT_EQ(session->StartEffect(kJoystick, second, 1, 0), E_INVALIDARG);
    SCOPED_TRACE("reset");
    ExpectReports(session.Take(), {{kOutput, StickForce(-51, 0)},
                                   {kOutput, StickForce(0, 0)},
                                   {kOutput, FerollaCentring()},
                                   {kOutput, StickCommand(0xF4)}});
}

}  // namespace
