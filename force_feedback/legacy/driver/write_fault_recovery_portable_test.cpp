// Output faults followed by recovery, end to end on the virtual clock: a
// wheel, a stick and a pad play a sine while their virtual device stalls,
// refuses or fails every output report for a few seconds; once it accepts
// reports again the sine must reach it again, exactly one input read must be
// outstanding, and a trigger button pressed on the device must still start
// its effect. A stalled write is given up with CancelIo after a second, which
// also cancels the input read the same thread issued; the input path has to
// survive that.
#include <gtest/gtest.h>

#include <string>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/testing/driver_host.h"

namespace {

constexpr std::uint32_t kJoystick = 9;
constexpr std::uint32_t kPassMs = DriverHost::kPassMs;
constexpr DWORD kTriggerButton = 3;
// Long enough for three stalled writes to be given up (one second each).
constexpr std::uint32_t kFaultMs = 3200;
// A write stalled when the stall clears is given up up to a second later;
// the reports after it must flow at the pace of the writes.
constexpr std::uint32_t kStalledWriteMs = 1000;
constexpr std::uint32_t kRecoveryMs = kStalledWriteMs + 200;
constexpr std::int32_t kReportsAfterRecovery = 200 / kPassMs / 2;
// Reads, as the virtual device counts what is in flight on it.
constexpr std::int32_t kOneRead = 1;

struct FaultCase {
    const char* name;
    Model model;
    std::uint32_t writeMode;
    const char* fault;
};

void PrintTo(const FaultCase& c, std::ostream* os) { *os << c.name << " " << c.fault; }

std::string CaseName(const ::testing::TestParamInfo<FaultCase>& info) {
    return std::string(info.param.name) + info.param.fault;
}

class WriteFaultRecoveryTest : public DriverHostTest<::testing::TestWithParam<FaultCase>> {
protected:
    void SetUp() override { OpenModel(GetParam().model, kJoystick, /*classIndex=*/-1, /*clockStartMs=*/60000); }

    DWORD Status(DWORD handle) {
        DWORD status = 0xFF;
        EXPECT_EQ(m_driver->GetEffectStatus(kJoystick, handle, &status), S_OK);
        return status;
    }
    void Press(std::uint64_t buttons) { SetInput(512, 512, buttons); }
};

TEST_P(WriteFaultRecoveryTest, OutputResumesAndTheTriggerStillStartsItsEffect) {
    EffectBlock sine;
    sine.Params(DIPERIODIC{6000, 0, 0, 80000}).Cartesian({kAxisX}, {1});
    Download(sine, kEffectSine, kAllParams | DIEP_START);
    EffectBlock push;
    push.Params(DICONSTANTFORCE{4000}).Cartesian({kAxisX}, {1});
    push.effect.dwTriggerButton = kTriggerButton << 8;
    const DWORD triggered = Download(push, kEffectConstant, kAllParams);
    Advance(100);
    ASSERT_GT(m_module.reportCount(kJoystick), 0) << "the sine never reached the device";
    ASSERT_EQ(m_module.pendingIo(kJoystick), kOneRead);

    ASSERT_EQ(m_module.setWriteMode(kJoystick, GetParam().writeMode), FFDRV_VIRTUAL_OK);
    ClearReports();
    Advance(kFaultMs);
    EXPECT_EQ(m_module.reportCount(kJoystick), 0) << "a report got through the fault";

    ASSERT_EQ(m_module.setWriteMode(kJoystick, FFDRV_VIRTUAL_WRITE_COMPLETE), FFDRV_VIRTUAL_OK);
    Advance(kRecoveryMs);
    EXPECT_GE(m_module.reportCount(kJoystick), kReportsAfterRecovery) << "output did not resume";
    EXPECT_EQ(m_module.pendingIo(kJoystick), kOneRead) << "no input read is outstanding";

    ASSERT_EQ(Status(triggered), 0u);
    Press(1u << kTriggerButton);
    Advance(4 * kPassMs);
    EXPECT_EQ(Status(triggered), 1u) << "the trigger button did not start its effect";
    Press(0);
    Advance(4 * kPassMs);
    EXPECT_EQ(Status(triggered), 0u) << "releasing the trigger did not stop its endless effect";
}

// Dastrin wheel and Zorvel pad (completion-routine reads), Tavrin stick
// (polled reads); each with the three faults the virtual device can play.
const FaultCase kCases[] = {
    {"Dastrin", Model::Dastrin, FFDRV_VIRTUAL_WRITE_STALL, "Stall"},
    {"Dastrin", Model::Dastrin, FFDRV_VIRTUAL_WRITE_FAIL, "Failure"},
    {"Dastrin", Model::Dastrin, FFDRV_VIRTUAL_WRITE_ERROR, "Error"},
    {"Tavrin", Model::Tavrin, FFDRV_VIRTUAL_WRITE_STALL, "Stall"},
    {"Tavrin", Model::Tavrin, FFDRV_VIRTUAL_WRITE_FAIL, "Failure"},
    {"Tavrin", Model::Tavrin, FFDRV_VIRTUAL_WRITE_ERROR, "Error"},
    {"Zorvel", Model::Zorvel, FFDRV_VIRTUAL_WRITE_STALL, "Stall"},
    {"Zorvel", Model::Zorvel, FFDRV_VIRTUAL_WRITE_FAIL, "Failure"},
    {"Zorvel", Model::Zorvel, FFDRV_VIRTUAL_WRITE_ERROR, "Error"},
    // The Karvona-style stick polls its reads like the Tavrin.
    {"Karvona", Model::Karvona, FFDRV_VIRTUAL_WRITE_STALL, "Stall"},
};

INSTANTIATE_TEST_SUITE_P(Families, WriteFaultRecoveryTest, ::testing::ValuesIn(kCases), CaseName);

}  // namespace
