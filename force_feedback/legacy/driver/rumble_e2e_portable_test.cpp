// The rumble pads end to end: the built driver library loaded by path, each
// pad's driver made through the library's own class factory, a virtual pad
// of that model plugged through the library's exports, and the exact output
// reports it receives in virtual time.
//
// Expected bytes come from the pad command tables:
//   layout A (Zorvel, Brennick, Tollund), report ID 0:
//     start  [0] 00 [1] FA [2] FE
//     motors [0] 00 [1] 51 [2] 00 [3] motor A [4] 00 [5] motor B
//     stop   [0] 00 [1] F3
//   layout B (Vesk, Lumisk), report ID setting 3 (byte 0 as the pad sees it):
//     motors [0] 03 [1] 42 [2] 00 [3] motor A [4] motor B
//     stop   the motors report with both motors 0; no start report
// and every other byte of the 65-byte report 0. Motor A is |x| * 2 and
// motor B |y| * 2; a constant force of magnitude m on one axis gives
// MulDiv(m, 127, 10000) on that axis (5000 -> 64, 10000 -> 127).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/devices/family_table.h"
#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/testing/driver_host.h"

namespace {

constexpr std::uint32_t kJoystick = 7;
constexpr unsigned kReportLength = 65;
constexpr std::uint32_t kPassMs = DriverHost::kPassMs;

constexpr BYTE kAMotors = 0x51;
constexpr BYTE kAStop = 0xF3;
constexpr BYTE kAStart0 = 0xFA;
constexpr BYTE kAStart1 = 0xFE;
constexpr BYTE kBMotors = 0x42;
constexpr BYTE kBReportId = 0x03;

enum class Layout { A, B };

struct PadCase {
    Model model;
    Layout layout;
};

void PrintTo(const PadCase& c, std::ostream* os) { *os << CodenameOf(c.model); }

std::string PadName(const ::testing::TestParamInfo<PadCase>& info) { return CodenameOf(info.param.model); }

using Bytes = std::vector<BYTE>;

Bytes Zeros() { return Bytes(kReportLength, 0); }

Bytes Motors(Layout layout, BYTE a, BYTE b) {
    Bytes r = Zeros();
    if (layout == Layout::A) {
        r[1] = kAMotors;
        r[3] = a;
        r[5] = b;
    } else {
        r[0] = kBReportId;
        r[1] = kBMotors;
        r[3] = a;
        r[4] = b;
    }
    return r;
}

Bytes Stop(Layout layout) {
    if (layout == Layout::B) return Motors(Layout::B, 0, 0);
    Bytes r = Zeros();
    r[1] = kAStop;
    return r;
}

Bytes Start() {
    Bytes r = Zeros();
    r[1] = kAStart0;
    r[2] = kAStart1;
    return r;
}

// A run of identical reports in a row (the pads re-send unchanged motors).
struct ReportRun {
    Bytes bytes;
    std::uint32_t firstMs;
    std::uint32_t lastMs;
    unsigned count;
};

class RumbleEndToEndTest : public DriverHostTest<::testing::TestWithParam<PadCase>> {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(StartVirtualClock(50000));
        ASSERT_NO_FATAL_FAILURE(Plug(DeviceOf(GetParam().model, kJoystick)));
        MakeDriver(DriverClassOf(GetParam().model));
    }

    // A constant force of `magnitude` along +X or +Y alone.
    DWORD Constant(LONG magnitude, bool onY, DWORD durationMs = kInfinite) {
        EffectBlock block;
        block.Params(DICONSTANTFORCE{magnitude}).Cartesian({kAxisX, kAxisY}, {onY ? 0 : 1, onY ? 1 : 0});
        block.DurationMs(durationMs);
        return Download(block, kEffectConstant);
    }

    // The pads write only full output reports.
    std::vector<RecordedReport> Sent() {
        const auto reports = Reports();
        for (const RecordedReport& r : reports) {
            EXPECT_EQ(r.bytes.size(), kReportLength);
            EXPECT_EQ(r.kind, static_cast<std::uint32_t>(FFDRV_VIRTUAL_REPORT_OUTPUT));
        }
        return reports;
    }
    std::vector<ReportRun> Runs() {
        std::vector<ReportRun> runs;
        for (RecordedReport& s : Sent()) {
            if (!runs.empty() && runs.back().bytes == s.bytes) {
                runs.back().lastMs = s.timeMs;
                ++runs.back().count;
                continue;
            }
            runs.push_back({std::move(s.bytes), s.timeMs, s.timeMs, 1});
        }
        return runs;
    }
    // The runs' bytes must be `expected`, in order.
    static void ExpectRuns(const std::vector<ReportRun>& runs, const std::vector<Bytes>& expected) {
        std::string seen;
        for (const ReportRun& r : runs) {
            seen += "[";
            for (int i = 0; i < 6; ++i) seen += std::to_string(r.bytes[i]) + " ";
            seen += "x" + std::to_string(r.count) + " @" + std::to_string(r.firstMs) + "]";
        }
        ASSERT_EQ(runs.size(), expected.size()) << seen;
        for (std::size_t i = 0; i < runs.size(); ++i) {
            SCOPED_TRACE(i);
            EXPECT_EQ(runs[i].bytes, expected[i]);
        }
    }
    // The reports a freshly opened pad writes before any effect.
    std::vector<Bytes> OpeningReports() const {
        const Layout layout = GetParam().layout;
        if (layout == Layout::A) return {Start(), Stop(layout)};
        return {Stop(layout)};
    }

};

TEST_P(RumbleEndToEndTest, SessionDrivesBothMotorsAndStopsThemAtTheEnd) {
    const Layout layout = GetParam().layout;
    Open();
    Advance(20);
    const DWORD xHandle = Constant(5000, /*onY=*/false, /*durationMs=*/200);
    ASSERT_EQ(xHandle, 1u);
    const std::uint32_t startedAt = Now();
    ASSERT_EQ(m_driver->StartEffect(kJoystick, xHandle, 0, 1), S_OK);
    Advance(60);
    const DWORD yHandle = Constant(10000, /*onY=*/true);
    ASSERT_EQ(m_driver->StartEffect(kJoystick, yHandle, 0, 1), S_OK);
    Advance(60);
    ASSERT_EQ(m_driver->StopEffect(kJoystick, yHandle), S_OK);
    Advance(200);
    const std::uint32_t closedAt = Now();
    Close();

    std::vector<Bytes> expected = OpeningReports();
    for (const Bytes& b : {Motors(layout, 128, 0), Motors(layout, 128, 254), Motors(layout, 128, 0), Stop(layout)})
        expected.push_back(b);
    const std::vector<ReportRun> runs = Runs();
    ExpectRuns(runs, expected);
    if (runs.size() != expected.size()) return;
    const std::size_t first = OpeningReports().size();
    EXPECT_LE(runs[first].firstMs - startedAt, 2 * kPassMs);
    // While an effect plays, unchanged motors are re-sent on every paced
    // write: the passes in between write nothing and take no time.
    EXPECT_GE(runs[first].count, 60 / kPassMs - 1);
    // The effect ends 200 ms after its start and the motors stop with it;
    // the thread's last pass sends the stop report once more at close.
    EXPECT_GE(runs.back().firstMs - startedAt, 200u);
    EXPECT_LE(runs.back().firstMs - startedAt, 200u + 2 * kPassMs);
    EXPECT_GE(runs.back().lastMs, closedAt);
}

TEST_P(RumbleEndToEndTest, IdlePadRefreshesItsStoppedMotorsEverySixteenPasses) {
    Open();
    Advance(600);
    const std::vector<RecordedReport> sent = Sent();
    const std::size_t opening = OpeningReports().size();
    ASSERT_GE(sent.size(), opening + 3);
    for (std::size_t i = opening; i < sent.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(sent[i].bytes, Stop(GetParam().layout));
    }
    // Sixteen passes of 8 ms, the writing one taking a paced write longer;
    // the first stop is the change from the thread's initial forces.
    for (std::size_t i = opening + 1; i + 1 < sent.size(); ++i) {
        EXPECT_EQ(sent[i + 1].timeMs - sent[i].timeMs, 16 * kPassMs + kPassMs) << i;
    }
    Close();
}

TEST_P(RumbleEndToEndTest, GainPauseContinueAndResetReachTheMotors) {
    const Layout layout = GetParam().layout;
    Open();
    Advance(20);
    ASSERT_EQ(m_driver->SetGain(kJoystick, 5000), S_OK);  // 64 * 0.5 = 32
    const DWORD handle = Constant(5000, /*onY=*/false);
    ASSERT_EQ(m_driver->StartEffect(kJoystick, handle, 0, 1), S_OK);
    Advance(40);
    ASSERT_EQ(m_driver->SendForceFeedbackCommand(kJoystick, DISFFC_PAUSE), S_OK);
    Advance(10);
    const std::size_t whilePaused = Reports().size();
    ASSERT_EQ(m_driver->SetGain(kJoystick, 10000), S_OK);
    Advance(100);
    EXPECT_EQ(Reports().size(), whilePaused) << "a paused pad wrote";
    ASSERT_EQ(m_driver->SendForceFeedbackCommand(kJoystick, DISFFC_CONTINUE), S_OK);
    Advance(40);
    ASSERT_EQ(m_driver->SendForceFeedbackCommand(kJoystick, DISFFC_RESET), S_OK);
    Advance(40);
    DWORD status = 0;
    EXPECT_EQ(m_driver->GetEffectStatus(kJoystick, handle, &status), E_INVALIDARG);
    Close();

    std::vector<Bytes> expected = OpeningReports();
    for (const Bytes& b : {Motors(layout, 64, 0), Motors(layout, 128, 0), Stop(layout)}) expected.push_back(b);
    ExpectRuns(Runs(), expected);
}

TEST_P(RumbleEndToEndTest, EscapeZeroIsRefusedAndLeavesThePadRunning) {
    Open();
    DWORD in[5] = {20, 1, 1, 2, 3};
    DIEFFESCAPE esc{sizeof(DIEFFESCAPE), 0, in, sizeof in, nullptr, 0};
    EXPECT_EQ(m_driver->Escape(kJoystick, 0, &esc), E_FAIL);
    esc.dwCommand = 4;
    EXPECT_EQ(m_driver->Escape(kJoystick, 0, &esc), E_FAIL);
    Advance(20);
    const DWORD handle = Constant(10000, /*onY=*/true);
    ASSERT_EQ(m_driver->StartEffect(kJoystick, handle, 0, 1), S_OK);
    Advance(30);
    Close();
    std::vector<Bytes> expected = OpeningReports();
    expected.push_back(Motors(GetParam().layout, 0, 254));
    expected.push_back(Stop(GetParam().layout));
    ExpectRuns(Runs(), expected);
}

struct TypeCase {
    const char* name;
    DWORD type;
    BYTE motorA;  // on an X-only effect; 0 means the pad stays stopped
};

// Every effect type a pad accepts. Periodic forces of magnitude 0 and
// offset 10000 are a steady 127 whatever their waveform; a custom force
// plays no samples; the rumble spring and damper are silent while the stick
// rests at its centre.
TEST_P(RumbleEndToEndTest, EveryEffectTypeReachesTheMotors) {
    const Layout layout = GetParam().layout;
    const TypeCase cases[] = {
        {"constant", kEffectConstant, 254}, {"ramp", kEffectRamp, 254},         {"square", kEffectSquare, 254},
        {"sine", kEffectSine, 254},         {"triangle", kEffectTriangle, 254}, {"sawup", kEffectSawUp, 254},
        {"sawdown", kEffectSawDown, 254},   {"custom", kEffectCustom, 0},       {"spring", kEffectSpring, 0},
        {"damper", kEffectDamper, 0},       {"inertia", kEffectInertia, 0},     {"friction", kEffectFriction, 0},
    };
    Open();
    Advance(20);
    for (const TypeCase& c : cases) {
        SCOPED_TRACE(c.name);
        EffectBlock block;
        block.Cartesian({kAxisX}, {1});
        LONG samples[2] = {10000, 10000};
        if (c.type == kEffectConstant) block.Params(DICONSTANTFORCE{10000});
        if (c.type == kEffectRamp) block.Params(DIRAMPFORCE{10000, 10000});
        if (c.type >= kEffectSquare && c.type <= kEffectSawDown) block.Params(DIPERIODIC{0, 10000, 0, 100000});
        if (c.type == kEffectCustom) block.Params(DICUSTOMFORCE{1, 10000, 2, samples});
        if (c.type >= kEffectSpring && c.type <= kEffectFriction)
            block.Conditions({DICONDITION{0, 10000, 10000, 10000, 10000, 0}});
        ClearReports();
        const DWORD handle = Download(block, c.type, kAllParams | DIEP_START);
        ASSERT_NE(handle, 0u);
        Advance(40);
        const std::vector<RecordedReport> sent = Sent();
        ASSERT_FALSE(sent.empty());
        EXPECT_EQ(sent.back().bytes, c.motorA ? Motors(layout, c.motorA, 0) : Stop(layout));
        ASSERT_EQ(m_driver->DestroyEffect(kJoystick, handle), S_OK);
        Advance(40);
        EXPECT_EQ(Sent().back().bytes, Stop(layout));
    }
    Close();
}

INSTANTIATE_TEST_SUITE_P(Pads, RumbleEndToEndTest,
                         ::testing::Values(PadCase{Model::Zorvel, Layout::A}, PadCase{Model::Brennick, Layout::A},
                                           PadCase{Model::Tollund, Layout::A}, PadCase{Model::Vesk, Layout::B},
                                           PadCase{Model::Lumisk, Layout::B}),
                         PadName);

}  // namespace
