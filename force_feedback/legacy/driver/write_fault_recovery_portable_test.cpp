// Output faults followed by recovery, end to end on the virtual clock: a
// wheel, a stick and a pad play a sine while their virtual device stalls,
// refuses or fails every output report for a few seconds; once it accepts
// reports again the sine must reach it again, exactly one input read must be
// outstanding, and a trigger button pressed on the device must still start
// its effect. A stalled write is given up with CancelIo after a second, which
// also cancels the input read the same thread issued; the input path has to
// survive that.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/testing/driver_module.h"
#include "force_feedback/legacy/testing/virtual_api.h"
#include "force_feedback/legacy/testing/virtual_clock.h"

namespace {

constexpr std::uint32_t kJoystick = 9;
constexpr DWORD kDirectInputVersion = 0x0800;
constexpr std::uint32_t kPassMs = 8;
constexpr DWORD kTriggerButton = 3;
constexpr std::uint16_t kKarvonaFeatureLength = 2;
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

class WriteFaultRecoveryTest : public ::testing::TestWithParam<FaultCase> {
protected:
    static void SetUpTestSuite() { s_module = new DriverModule(); }
    static void TearDownTestSuite() {
        delete s_module;
        s_module = nullptr;
    }

    void SetUp() override {
        ASSERT_TRUE(s_module->Loaded()) << s_module->Error();
        m_api.emplace(*s_module);
        ASSERT_TRUE(m_api->Complete());
        ASSERT_EQ(m_api->useVirtual(60000), FFDRV_VIRTUAL_OK);
        FfdrvVirtualDevice device = VirtualWheel(kJoystick);
        device.productId = Product(GetParam().model).productId;
        if (GetParam().model == Model::Karvona) device.featureReportLength = kKarvonaFeatureLength;
        ASSERT_EQ(m_api->plug(&device), FFDRV_VIRTUAL_OK);
        m_plugged = true;
        const int classIndex = DriverClassOf(GetParam().model);
        ASSERT_GE(classIndex, 0);
        m_driver = s_module->CreateDriver(classIndex);
        ASSERT_NE(m_driver, nullptr);
        ASSERT_EQ(m_driver->DeviceID(kDirectInputVersion, kJoystick, TRUE, 0, nullptr), S_OK);
        Advance(3 * kPassMs);
    }
    void TearDown() override {
        if (m_driver) m_driver->Release();
        if (m_plugged) m_api->unplug(kJoystick);
        if (m_api) m_api->useReal();
    }

    void Advance(std::uint32_t ms) { ASSERT_EQ(m_api->advance(ms), FFDRV_VIRTUAL_OK); }
    DWORD Download(EffectBlock& block, DWORD type, DWORD flags) {
        DWORD handle = 0;
        EXPECT_EQ(m_driver->DownloadEffect(kJoystick, type, &handle, block.Get(), flags), S_OK);
        return handle;
    }
    DWORD Status(DWORD handle) {
        DWORD status = 0xFF;
        EXPECT_EQ(m_driver->GetEffectStatus(kJoystick, handle, &status), S_OK);
        return status;
    }
    void Press(std::uint64_t buttons) { ASSERT_EQ(m_api->setInput(kJoystick, 512, 512, buttons), FFDRV_VIRTUAL_OK); }

    inline static DriverModule* s_module = nullptr;
    std::optional<VirtualApi> m_api;
    bool m_plugged = false;
    IDirectInputEffectDriver* m_driver = nullptr;
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
    ASSERT_GT(m_api->count(kJoystick), 0) << "the sine never reached the device";
    ASSERT_EQ(m_api->pendingIo(kJoystick), kOneRead);

    ASSERT_EQ(m_api->setWriteMode(kJoystick, GetParam().writeMode), FFDRV_VIRTUAL_OK);
    ASSERT_EQ(m_api->clear(kJoystick), FFDRV_VIRTUAL_OK);
    Advance(kFaultMs);
    EXPECT_EQ(m_api->count(kJoystick), 0) << "a report got through the fault";

    ASSERT_EQ(m_api->setWriteMode(kJoystick, FFDRV_VIRTUAL_WRITE_COMPLETE), FFDRV_VIRTUAL_OK);
    Advance(kRecoveryMs);
    EXPECT_GE(m_api->count(kJoystick), kReportsAfterRecovery) << "output did not resume";
    EXPECT_EQ(m_api->pendingIo(kJoystick), kOneRead) << "no input read is outstanding";

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
