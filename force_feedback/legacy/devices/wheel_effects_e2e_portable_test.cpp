// Every effect type on the wheels end to end, through the built library's
// exports on the virtual clock: the force laws as the wheel receives them
// (exact force reports, pass by pass), the hardware condition slots of the
// high-resolution wheels, the host-simulated conditions of the
// low-resolution wheel and of the Drovik's dampers, the centering spring
// below full strength, and trigger buttons.
//
// Every test first sets the device gain to the model's curve knee (Pelvar
// and Drovik 9500, Dastrin 9000): the pass then neither attenuates nor
// boosts, so the reported force is the effect's own. The actuators are
// switched on before the effect starts, so no centering command lands
// between the force reports and every pass lasts exactly one 8 ms write.
// Started between two passes, an effect's first update therefore sees 8 ms
// elapsed, its k-th 8k ms.
//
// Force reports: x in -127..127 goes out as 0x11 0x08 (0x80 + x) 0x80, or
// 0x13 when x is 0, and only when x differs from the last report. With a
// Cartesian direction on X the split is x = MulDiv(1024 f, 127, 10240000),
// that is f * 127 / 10000 rounded half away from zero.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "force_feedback/legacy/testing/wheel_e2e_harness.h"

namespace {

using namespace wheel_e2e;

struct Wheel {
    const char* name;
    int classIndex;
    Model model;
    DWORD knee;  // response curve knee of the model's settings
};

const Wheel kPelvar{"Pelvar", 12, Model::Pelvar, 9500};
const Wheel kDastrin{"Dastrin", 2, Model::Dastrin, 9000};
const Wheel kDrovik{"Drovik", 5, Model::Drovik, 9500};
const Wheel kPrazen{"Prazen", 16, Model::Prazen, 10000};

void PrintTo(const Wheel& w, std::ostream* os) { *os << w.name; }

constexpr DWORD kTriggerButton2 = 0x0000020C;  // DIDFT_BUTTON, instance 2
constexpr DWORD kTriggerButton4 = 0x0000040C;  // DIDFT_BUTTON, instance 4
constexpr std::uint64_t kButtonBit2 = 1u << 2;
constexpr std::uint64_t kButtonBit4 = 1u << 4;
constexpr std::int32_t kCentre = 512;

Bytes ForceReport(int x) {
    if (x == 0) return Report({0x13});
    return Report({0x11, 0x08, static_cast<BYTE>(0x80 + x), 0x80, 0x00, 0x00});
}

std::vector<Bytes> ForceReports(const std::vector<int>& xs) {
    std::vector<Bytes> out;
    for (int x : xs) out.push_back(ForceReport(x));
    return out;
}

class WheelEffectsTest : public WheelHarness {
protected:
    // Opens the wheel, sets the gain to the knee, switches the actuators on
    // and lets the commands of both drain; reports are then counted from
    // m_mark.
    void Prime(const Wheel& wheel) {
        OpenWheel(wheel.classIndex, wheel.model);
        if (HasFatalFailure()) return;
        ASSERT_EQ(m_driver->SetGain(kJoystick, wheel.knee), S_OK);
        ASSERT_EQ(m_driver->SendForceFeedbackCommand(kJoystick, DISFFC_SETACTUATORSON), S_OK);
        Advance(8 * kPassMs);
        m_mark = Reports().size();
    }

    void Start(DWORD handle) { ASSERT_EQ(m_driver->StartEffect(kJoystick, handle, 0, 1), S_OK); }
    void Stop(DWORD handle) { ASSERT_EQ(m_driver->StopEffect(kJoystick, handle), S_OK); }

    DWORD Status(DWORD handle) {
        DWORD status = 0xFFFF;
        EXPECT_EQ(m_driver->GetEffectStatus(kJoystick, handle, &status), S_OK);
        return status;
    }

    // Holds the wheel at `x` for `passes` passes.
    void Hold(std::int32_t x, unsigned passes = 3) {
        SetInput(x);
        Advance(passes * kPassMs);
    }

    std::size_t m_mark = 0;
};

// ---------------------------------------------------------------- forces

struct ForceCase {
    const char* name;
    DWORD type;
    void (*build)(EffectBlock&);
    std::vector<int> xs;   // the x of each report, one pass apart
    bool finalStopPause;   // the last report follows the 8 ms end-of-play pause
};

const LONG kCustomSamples[4] = {10000, 5000, -5000, -10000};

// Working of each sequence (pass k, elapsed 8k ms):
const ForceCase kForceCases[] = {
    // Ramp -10000 -> 10000 over 80 ms, polar east (angle 64, sin 1023):
    // v = -10000 + MulDiv(20000, 8k, 80) = -10000 + 2000k; x =
    // MulDiv(1023 v, 127, 10240000): -8000 -> -101.50 -> -102, -6000 ->
    // -76.1, -4000 -> -50.75 -> -51, -2000 -> -25.4, 0 -> 0x13, then the
    // mirror; k = 10 (elapsed 80, not past the duration) is 126.88 -> 127.
    // At k = 11 the effect pauses 8 ms, then stops: 0x13.
    {"Ramp", kEffectRamp,
     [](EffectBlock& b) { b.Params(DIRAMPFORCE{-10000, 10000}).Polar(9000).DurationMs(80); },
     {-102, -76, -51, -25, 0, 25, 51, 76, 102, 127, 0}, true},
    // Square, period 32 ms: 8 ms adds 0x400000 to the phase, so the sign
    // runs + - - + + - - + + -. Envelope attack 0 -> 10000 over 40 ms and
    // fade to 0 over the last 40 ms of 80: |m| = 2000, 4000, 6000, 8000,
    // 10000, 8000, 6000, 4000, 2000, then the fade level 0 at 80 ms. x =
    // +-|m| * 127 / 10000: 25.4, 50.8, 76.2, 101.6, 127. The stop at 88 ms
    // finds x already 0 and sends nothing.
    {"SquareWithEnvelope", kEffectSquare,
     [](EffectBlock& b) {
         b.Params(DIPERIODIC{10000, 0, 0, 32000}).Cartesian({kAxisX}, {1}).DurationMs(80);
         b.Envelope(0, 40000, 0, 40000);
     },
     {25, -51, -76, 102, 127, -102, -76, 51, 25, 0}, false},
    // Sine, period 64 ms: 32 phase units a pass, indices 32, 64, 96 ... 0.
    // S[32] = sin(pi/4) 1024 = 724; index 64 mirrors to S[63] = 1023; index
    // 96 mirrors to S[127 - 96] = S[31] = sin(31 pi/128) 1024 = 706 (not
    // 724: the mirror is 127 - i); 128 gives -S[0] = 0; 160, 192, 224 give
    // -724, -1023, -706. f = MulDiv(w, 10000, 1024): 7070, 9990, 6895; x =
    // 89.8 -> 90, 126.9 -> 127, 87.6 -> 88.
    {"Sine", kEffectSine,
     [](EffectBlock& b) { b.Params(DIPERIODIC{10000, 0, 0, 64000}).Cartesian({kAxisX}, {1}).DurationMs(64); },
     {90, 127, 88, 0, -90, -127, -88, 0}, false},
    // Triangle, period 128 ms: 16 units a pass. R[i] = 1024 i / 63: R[16]
    // 260, R[32] 520, R[48] 780, index 64 -> R[63] 1024, 80 -> R[47] 763,
    // 96 -> R[31] 503, 112 -> R[15] 243, 128 -> -R[0] 0. f = w 10000/1024:
    // 2539, 5078, 7617, 10000, 7451, 4912, 2373; x 32.2, 64.5, 96.7, 127,
    // 94.6, 62.4, 30.1.
    {"Triangle", kEffectTriangle,
     [](EffectBlock& b) { b.Params(DIPERIODIC{10000, 0, 0, 128000}).Cartesian({kAxisX}, {1}).DurationMs(64); },
     {32, 64, 97, 127, 95, 62, 30, 0}, false},
    // Saw up, period 64 ms: accumulator >> 18 steps 8 a pass: R[8] 130,
    // R[16] 260, R[24] 390, R[32] 520, R[40] 650, R[48] 780, R[56] 910, then
    // R[0] 0. f 1270 (1269.53), 2539, 3809, 5078, 6348, 7617, 8887; x 16.1,
    // 32.2, 48.4, 64.5, 80.6, 96.7, 112.9.
    {"SawUp", kEffectSawUp,
     [](EffectBlock& b) { b.Params(DIPERIODIC{10000, 0, 0, 64000}).Cartesian({kAxisX}, {1}).DurationMs(64); },
     {16, 32, 48, 64, 81, 97, 113, 0}, false},
    // Saw down, period 64 ms, pushing left (direction -1): R[(255 - i) >> 2]
    // at i = 32 ... 224, 0: R[55] 893, R[47] 763, R[39] 633, R[31] 503,
    // R[23] 373, R[15] 243, R[7] 113, R[63] 1024. f 8721, 7451, 6182, 4912,
    // 3643, 2373, 1104 (1103.52), 10000; x negated: 110.8, 94.6, 78.5, 62.4,
    // 46.3, 30.1, 14.0, 127. Still full at the end, the stop after the
    // pause brings 0x13.
    {"SawDown", kEffectSawDown,
     [](EffectBlock& b) { b.Params(DIPERIODIC{10000, 0, 0, 64000}).Cartesian({kAxisX}, {-1}).DurationMs(64); },
     {-111, -95, -79, -62, -46, -30, -14, -127, 0}, true},
    // A custom force is timed like any effect but its samples are not
    // played: the wheel gets no force at all.
    {"CustomPlaysNoSamples", kEffectCustom,
     [](EffectBlock& b) {
         b.Params(DICUSTOMFORCE{1, 8000, 4, const_cast<LONG*>(kCustomSamples)}).Cartesian({kAxisX}, {1}).DurationMs(32);
     },
     {}, false},
};

void PrintTo(const ForceCase& c, std::ostream* os) { *os << c.name; }

using ForceParam = std::tuple<Wheel, ForceCase>;

class WheelForceEffectTest : public WheelEffectsTest, public ::testing::WithParamInterface<ForceParam> {
protected:
    void SetUp() override { Prime(std::get<0>(GetParam())); }
};

TEST_P(WheelForceEffectTest, ReportsTheForceLawPassByPass) {
    const ForceCase& c = std::get<1>(GetParam());
    EffectBlock block;
    c.build(block);
    const DWORD handle = Download(block, c.type, kAllParams | DIEP_ENVELOPE);
    const std::uint32_t startedAt = Now();
    Start(handle);
    EXPECT_EQ(Status(handle), 1u);
    Advance(16 * kPassMs);
    EXPECT_EQ(Status(handle), 0u) << "a finite effect plays out";
    ExpectReports(m_mark, ForceReports(c.xs));

    const auto reports = Reports();
    if (c.xs.empty() || reports.size() != m_mark + c.xs.size()) return;
    EXPECT_GT(reports[m_mark].timeMs, startedAt);
    EXPECT_LE(reports[m_mark].timeMs - startedAt, kPassMs);
    for (std::size_t i = 1; i < c.xs.size(); ++i) {
        SCOPED_TRACE(i);
        const bool paused = c.finalStopPause && i + 1 == c.xs.size();
        EXPECT_EQ(reports[m_mark + i].timeMs - reports[m_mark + i - 1].timeMs, paused ? 2 * kPassMs : kPassMs);
    }
    Close();
}

INSTANTIATE_TEST_SUITE_P(Wheels, WheelForceEffectTest,
                         ::testing::Combine(::testing::Values(kPelvar, kDastrin), ::testing::ValuesIn(kForceCases)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).name) + "_" + std::get<1>(info.param).name;
                         });

// ------------------------------------------------------ native conditions

// Hardware condition commands of the high-resolution wheel, worked from the
// virtual wheel's calibration: 0, 512, 1023 of a 10-bit axis scale to 0,
// MulDiv(512, 65535, 1023) = 32800, 65535.
struct NativeCase {
    const char* name;
    DWORD type;
    DICONDITION condition;
    DWORD gain;
    Bytes command;  // in hardware slot 0; the stop is the same with 0x23
};

void PrintTo(const NativeCase& c, std::ostream* os) { *os << c.name; }

const NativeCase kNativeCases[] = {
    // Offset 2000, dead band 1000: h = MulDiv(1000, 65535, 10000) / 2 =
    // 6554 / 2 = 3277; c = MulDiv(2000, 65536 >> 1, 10000) = 6554. Edges
    // (6554 - 3277 + 32800) >> 5 = 1127 and (6554 + 3277 + 32800) >> 5 =
    // 1332: high parts 1127 >> 3 = 0x8C, 1332 >> 3 = 0xA6; low bits 7 and
    // 4. Coefficients 10000 -> 15 and |-5000| -> 7.5 -> 8 (0xF8), the
    // negative one signed: byte 5 = 4 << 5 | 7 << 1 | 1 = 0x8F. Clip
    // MulDiv(5000, 255, 10000) = 127.5 -> 128.
    {"Spring", kEffectSpring, {2000, 10000, -5000, 5000, 10000, 1000}, 10000,
     Report({0x21, 0x0B, 0x8C, 0xA6, 0xF8, 0x8F, 0x80})},
    // Negative coefficient first: |-4000| 15 / 10000 = 6 with its sign 1,
    // then 8000 -> 12 unsigned, then the trailer 1.
    {"Damper", kEffectDamper, {0, 8000, -4000, 10000, 10000, 0}, 10000,
     Report({0x21, 0x0C, 0x06, 0x01, 0x0C, 0x00, 0x01})},
    // The effect's gain halves both: 5000 -> 7.5 -> 8.
    {"Inertia", kEffectInertia, {0, 10000, 10000, 10000, 10000, 0}, 5000,
     Report({0x21, 0x0C, 0x08, 0x00, 0x08, 0x00, 0x01})},
    // 2000 -> 3; -3000 -> 4.5 -> 5 with the positive sign set.
    {"Friction", kEffectFriction, {0, -3000, 2000, 10000, 10000, 0}, 10000,
     Report({0x21, 0x0C, 0x03, 0x00, 0x05, 0x01, 0x01})},
};

class WheelNativeConditionTest : public WheelEffectsTest, public ::testing::WithParamInterface<NativeCase> {
protected:
    void SetUp() override { Prime(kPelvar); }
};

TEST_P(WheelNativeConditionTest, PlaysInHardwareSlotZeroAndStopsItOnce) {
    const NativeCase& c = GetParam();
    EffectBlock block;
    block.Conditions({c.condition}).Cartesian({kAxisX}, {1}).Gain(c.gain);
    const DWORD handle = Download(block, c.type);
    Start(handle);
    Advance(4 * kPassMs);  // sent once, not again while unchanged
    ExpectReports(m_mark, {c.command});

    Stop(handle);
    Advance(4 * kPassMs);
    Bytes stop = c.command;
    stop[1] = 0x23;
    ExpectReports(m_mark, {c.command, stop});
    Close();
}

INSTANTIATE_TEST_SUITE_P(Pelvar, WheelNativeConditionTest, ::testing::ValuesIn(kNativeCases),
                         [](const auto& info) { return std::string(info.param.name); });

// Four conditions for three hardware slots, ranked by load (one block:
// MulDiv(sum, 100, 20000)): the damper 8000 + 8000 -> 80, the spring
// min(6000, 10000) twice -> 60, the inertia 4000 + 4000 -> 40, the friction
// 2000 + 2000 -> 20. Slots go by rank: 0x20 damper, 0x40 spring, 0x80
// inertia; the friction waits. When the damper stops, its slot is stopped
// and the remaining three move up a rank each; when it starts again they
// move back.
TEST_F(WheelEffectsTest, HardwareSlotsGoToTheThreeLargestLoadsAndMoveWhenOneStopsAndStartsAgain) {
    Prime(kPelvar);
    const struct {
        DWORD type;
        LONG k;
    } conditions[] = {{kEffectSpring, 6000}, {kEffectDamper, 8000}, {kEffectInertia, 4000}, {kEffectFriction, 2000}};
    std::vector<DWORD> handles;
    for (const auto& c : conditions) {
        EffectBlock block;
        block.Conditions({DICONDITION{0, c.k, c.k, 10000, 10000, 0}}).Cartesian({kAxisX}, {1});
        handles.push_back(Download(block, c.type));
    }
    for (DWORD h : handles) Start(h);
    Advance(5 * kPassMs);
    // Spring at the centre 32800 >> 5 = 1025 on both edges (0x80, low bits
    // 1 -> 0x22); 6000 -> 9 in both nibbles; clip 255. Dampers: 8000 -> 12,
    // 4000 -> 6, 2000 -> 3.
    const Bytes damperIn0 = Report({0x21, 0x0C, 0x0C, 0x00, 0x0C, 0x00, 0x01});
    const Bytes springIn1 = Report({0x41, 0x0B, 0x80, 0x80, 0x99, 0x22, 0xFF});
    const Bytes inertiaIn2 = Report({0x81, 0x0C, 0x06, 0x00, 0x06, 0x00, 0x01});
    ExpectReports(m_mark, {damperIn0, springIn1, inertiaIn2});

    Stop(handles[1]);
    Advance(6 * kPassMs);  // four queued commands, one 8 ms write each
    ExpectReports(m_mark, {damperIn0, springIn1, inertiaIn2, Report({0x23, 0x0C, 0x0C, 0x00, 0x0C, 0x00, 0x01}),
                           Report({0x21, 0x0B, 0x80, 0x80, 0x99, 0x22, 0xFF}),
                           Report({0x41, 0x0C, 0x06, 0x00, 0x06, 0x00, 0x01}),
                           Report({0x81, 0x0C, 0x03, 0x00, 0x03, 0x00, 0x01})});
    EXPECT_EQ(Status(handles[1]), 0u);
    EXPECT_EQ(Status(handles[3]), 1u);

    // The damper back: every holder moves down a rank again. Each slot was
    // last written by another effect, so each new holder sends its command
    // even where it once sent the same bytes to that slot; the friction
    // waits again, overwritten.
    const std::size_t before = Reports().size();
    Start(handles[1]);
    Advance(6 * kPassMs);
    ExpectReports(before, {damperIn0, springIn1, inertiaIn2});
    Close();
}

// ---------------------------------------------------- simulated conditions

// A host spring on the low-resolution wheel, 2000 on both sides, the
// negative side clipped at 5000, raw calibration 0, 512, 1023:
//   512: d = 0, inside the band: no force, reported as x = 1
//   768: span 1023 - 512 + 1 = 512, d = MulDiv(256, 10000, 513) = 4990,
//        g = MulDiv(4 4990, 2000, 10000) = 3992, x = MulDiv(3992, 127,
//        10000) = 50.7 -> 51
//  1023: d = MulDiv(511, 10000, 513) = 9961, g = 7968.8 -> 7969, x = 101
//   256: span 513, d = MulDiv(-256, 10000, 514) = -4981, g = -3985, x = -51
//     0: d = -9961, g = -7969 clipped to -5000, x = -63.5 -> -64
TEST_F(WheelEffectsTest, DastrinHostSpringFollowsTheHeldPosition) {
    Prime(kDastrin);
    EffectBlock block;
    block.Conditions({DICONDITION{0, 2000, 2000, 10000, 5000, 0}}).Cartesian({kAxisX}, {1});
    Start(Download(block, kEffectSpring));
    Advance(3 * kPassMs);
    for (std::int32_t x : {512, 768, 1023, 256, 0, 512}) Hold(x);
    ExpectReports(m_mark, ForceReports({1, 51, 101, -51, -64, 1}));
    Close();
}

// Moves the virtual wheel 40 raw units every pass (8 ms): each input report
// feeds the filter 40 65536 / 8 = 327680. After n such samples the filter
// gives 327680 T(n) / 65536 = 5 T(n), T the running sum of the taps: 6523,
// 13065, 19622, 26190, 32764, 39338, 45906, 52463, 59005. The host damper
// with coefficient 10000 makes f = 10000 v 20 / 655360000 = v / 3276.8,
// truncated: 9, 19, 29, 39, 49, 60, 70, 80, 90. Once the reports stop, every
// pass more than 12 ms after the last one feeds a zero sample, and the
// force falls through 5 (59005 - T(k)) / 3276.8: 80, 70, 60, 50, 40, 30, 19,
// 9, then 0, which a host condition reports as x = 1. Moving back gives the
// same figures negated: the force follows the velocity's sign, as the spring
// law's does for displacement, so both push the wheel back against its
// travel.
const std::vector<int> kDamperRun = {9, 19, 29, 39, 49, 60, 70, 80, 90, 80, 70, 60, 50, 40, 30, 19, 9, 1};

class WheelHostDamperTest : public WheelEffectsTest, public ::testing::WithParamInterface<std::tuple<Wheel, DWORD>> {
protected:
    // Rests at `from` long enough for the filter to forget, then moves.
    void MoveSteadily(std::int32_t from, std::int32_t step) {
        Hold(from, 15);
        Hold(from, 1);  // a zero sample that times the first step
        for (int i = 1; i <= 12; ++i) Hold(from + step * i, 1);
        Advance(15 * kPassMs);
    }

    void ExpectDamping() {
        std::vector<int> expected{1};  // at rest: 0, reported as 1
        expected.insert(expected.end(), kDamperRun.begin(), kDamperRun.end());
        for (int x : kDamperRun) expected.push_back(x == 1 ? 1 : -x);
        ExpectReports(m_mark, ForceReports(expected));
    }

    void RunBothWays(DWORD type) {
        EffectBlock block;
        block.Conditions({DICONDITION{0, 10000, 10000, 10000, 10000, 0}}).Cartesian({kAxisX}, {1});
        Hold(100, 15);
        Start(Download(block, type));
        Advance(2 * kPassMs);
        MoveSteadily(100, 40);
        MoveSteadily(580, -40);
        ExpectDamping();
    }
};

// The Dastrin's damper and the Drovik's dampers run on the host: no
// condition command, only force.
TEST_P(WheelHostDamperTest, OpposesASteadilyTurningWheelAndLetsGoWhenItStops) {
    Prime(std::get<0>(GetParam()));
    RunBothWays(std::get<1>(GetParam()));
    Close();
}

INSTANTIATE_TEST_SUITE_P(Wheels, WheelHostDamperTest,
                         ::testing::Values(std::tuple{kDastrin, kEffectDamper}, std::tuple{kDrovik, kEffectDamper},
                                           std::tuple{kDrovik, kEffectInertia}, std::tuple{kDrovik, kEffectFriction}),
                         [](const auto& info) {
                             const DWORD type = std::get<1>(info.param);
                             return std::string(std::get<0>(info.param).name) +
                                    (type == kEffectDamper ? "Damper" : type == kEffectInertia ? "Inertia" : "Friction");
                         });

// --------------------------------------------------------------- centering

// CenteringSpring below 10000 on a running Prazen (K 0, 6, 15; clip 0, 180,
// 255) takes the lower branch, k = MulDiv(strength, 6 - 0, 10000) and s =
// MulDiv(strength, 180 - 0, 10000): 5000 -> 3, 90; 2500 -> 1.5 -> 2, 45;
// 9999 -> 6.0, 180.0 -> 6, 180. The actuators are on and the game's
// centering is off, so each is followed by 0xF5.
TEST_F(WheelEffectsTest, PrazenCenteringBelowFullStrengthScalesTheDefaults) {
    Prime(kPrazen);
    ISVJoyForceAPI* api = MakeJoyForceApi();
    ASSERT_NE(api, nullptr);
    const struct {
        DWORD strength;
        BYTE k, s;
    } steps[] = {{5000, 3, 90}, {2500, 2, 45}, {9999, 6, 180}};
    std::vector<Bytes> expected;
    for (const auto& step : steps) {
        SCOPED_TRACE(step.strength);
        SVJOYFORCEPARAM centering{3, 0, step.strength};
        ASSERT_EQ(api->SetParameter(CSVJoyForceAPI::kSelectorWheelAlt, &centering), S_OK);
        Advance(3 * kPassMs);
        expected.push_back(Report({0xFE, 0x0D, step.k, step.k, step.s, 0x00, 0x00}));
        expected.push_back(Report({0xF5}));
        ExpectReports(m_mark, expected);
    }
    SVJOYFORCEPARAM restore{3, 0, 10000};
    EXPECT_EQ(api->SetParameter(CSVJoyForceAPI::kSelectorWheelAlt, &restore), S_OK);
    api->Release();
    Close();
}

// ----------------------------------------------------------------- triggers

// Constant forces of +-5000 on X: x = 63.5 -> +-64.
TEST_F(WheelEffectsTest, TriggerButtonsStartRestartAndStopEffects) {
    Prime(kPelvar);
    EffectBlock endless;
    endless.Params(DICONSTANTFORCE{5000}).Cartesian({kAxisX}, {1});
    endless.effect.dwTriggerButton = kTriggerButton2;
    const DWORD held = Download(endless, kEffectConstant);
    EffectBlock timed;
    timed.Params(DICONSTANTFORCE{-5000}).Cartesian({kAxisX}, {1}).DurationMs(40);
    timed.effect.dwTriggerButton = kTriggerButton4;
    const DWORD shot = Download(timed, kEffectConstant);
    Advance(3 * kPassMs);
    EXPECT_EQ(Reports().size(), m_mark) << "nothing plays before its button";

    // An endless effect plays while its button is down.
    SetInput(kCentre, kButtonBit2);
    Advance(3 * kPassMs);
    EXPECT_EQ(Status(held), 1u);
    SetInput(kCentre, 0);
    Advance(3 * kPassMs);
    EXPECT_EQ(Status(held), 0u);

    // A finite one plays out its 40 ms whatever the button does.
    SetInput(kCentre, kButtonBit4);
    SetInput(kCentre, 0);
    Advance(3 * kPassMs);
    EXPECT_EQ(Status(shot), 1u);
    Advance(5 * kPassMs);
    EXPECT_EQ(Status(shot), 0u);

    // Pressed again while playing, it starts over: still playing 56 ms after
    // the first press, done a full run after the second.
    SetInput(kCentre, kButtonBit4);
    Advance(3 * kPassMs);
    SetInput(kCentre, 0);
    SetInput(kCentre, kButtonBit4);
    Advance(4 * kPassMs);
    EXPECT_EQ(Status(shot), 1u);
    Advance(4 * kPassMs);
    EXPECT_EQ(Status(shot), 0u);
    ExpectReports(m_mark, ForceReports({64, 0, -64, 0, -64, 0}));
    Close();
}

}  // namespace
