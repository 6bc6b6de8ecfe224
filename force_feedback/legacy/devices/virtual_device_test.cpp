// The device base through the probe family, unopened (no thread): the effect
// table, the state word, the commands and the escape buffers. Expected values
// follow from the DirectInput state bits and the escape layouts.
#include "force_feedback/legacy/devices/virtual_device.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <vector>

#include "force_feedback/legacy/module_count.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/settings/settings_test_support.h"
#include "force_feedback/legacy/testing/probe_family.h"

namespace {

constexpr DWORD kStateSize = 12;

// Records what the escape hooks were handed.
class EscapeProbe : public CVProbeDevice {
public:
    EscapeProbe() : CVProbeDevice(Model::Dastrin, 0) {}
    ~EscapeProbe() override { EndActivity(); }
    BYTE selector = 0;
    std::vector<float> floats;
    int sendCalls = 0;
    int readCalls = 0;
    bool answer = true;
    bool EscapeSendFloats(BYTE sel, LPDIEFFESCAPE, const std::vector<float>& list) override {
        ++sendCalls;
        selector = sel;
        floats = list;
        return answer;
    }
    bool EscapeReadBytes(BYTE* out) override {
        ++readCalls;
        out[0] = 0xA1;
        out[1] = 0xB2;
        return answer;
    }
};

class VirtualDeviceTest : public ::testing::Test {
protected:
    VirtualDeviceTest() : m_device(Model::Dastrin, settings_test::UniqueDeviceId()) {
        m_block.Params(DICONSTANTFORCE{5000}).Cartesian({kAxisX}, {1});
    }

    DWORD Download(DWORD type = kEffectConstant, DWORD flags = kAllParams) {
        DWORD handle = 0;
        EXPECT_EQ(m_device.DownloadEffect(type, &handle, m_block.Get(), flags), S_OK);
        return handle;
    }
    DIDEVICESTATE State() {
        DIDEVICESTATE s{kStateSize, 0, 0};
        EXPECT_EQ(m_device.GetForceFeedbackState(&s), S_OK);
        return s;
    }

    CVProbeDevice m_device;
    EffectBlock m_block;
};

TEST_F(VirtualDeviceTest, FreshDeviceIsEmptyStoppedActuatorsOffPoweredOn) {
    const DIDEVICESTATE s = State();
    EXPECT_EQ(s.dwState, DIGFFS_EMPTY | DIGFFS_STOPPED | DIGFFS_ACTUATORSOFF | DIGFFS_POWERON);
    EXPECT_EQ(s.dwLoad, 0u);
    EXPECT_FALSE(m_device.SettingsChanged());
}

TEST_F(VirtualDeviceTest, SixtyFifthDownloadIsRefusedAndFreedHandleIsReusedFirst) {
    for (DWORD i = 1; i <= kEffectSlots; ++i) ASSERT_EQ(Download(), i);
    DWORD handle = 0;
    EXPECT_EQ(m_device.DownloadEffect(kEffectConstant, &handle, m_block.Get(), kAllParams), DIERR_DEVICEFULL);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(m_device.DestroyEffect(9), S_OK);
    EXPECT_EQ(m_device.DestroyEffect(5), S_OK);
    EXPECT_EQ(Download(), 5u);
    EXPECT_EQ(Download(), 9u);
}

struct LoadCase {
    DWORD effects;
    DWORD load;
};
void PrintTo(const LoadCase& c, std::ostream* os) { *os << c.effects << " effects"; }
class LoadTest : public VirtualDeviceTest, public ::testing::WithParamInterface<LoadCase> {};

TEST_P(LoadTest, LoadIsThePercentageOfSlotsRoundedDown) {
    for (DWORD i = 0; i < GetParam().effects; ++i) Download();
    const DIDEVICESTATE s = State();
    EXPECT_EQ(s.dwLoad, GetParam().load);
    EXPECT_EQ((s.dwState & DIGFFS_EMPTY) != 0, GetParam().effects == 0);
}
INSTANTIATE_TEST_SUITE_P(Slots, LoadTest,
                         ::testing::Values(LoadCase{0, 0}, LoadCase{1, 1}, LoadCase{16, 25}, LoadCase{63, 98},
                                           LoadCase{64, 100}),
                         [](const auto& info) { return "Effects" + std::to_string(info.param.effects); });

TEST_F(VirtualDeviceTest, StateSizeBelowTwelveIsRefusedAndLargerIsTrimmed) {
    DIDEVICESTATE s{kStateSize - 1, 0x55, 0x55};
    EXPECT_EQ(m_device.GetForceFeedbackState(&s), E_INVALIDARG);
    EXPECT_EQ(s.dwState, 0x55u);
    s.dwSize = 16;
    EXPECT_EQ(m_device.GetForceFeedbackState(&s), S_OK);
    EXPECT_EQ(s.dwSize, kStateSize);
}

TEST_F(VirtualDeviceTest, PlayingEffectClearsStoppedUnlessPaused) {
    const DWORD handle = Download();
    ASSERT_EQ(m_device.StartEffect(handle, 0, 1), S_OK);
    EXPECT_EQ(State().dwState & DIGFFS_STOPPED, 0u);
    ASSERT_EQ(m_device.SendForceFeedbackCommand(DISFFC_PAUSE), S_OK);
    EXPECT_EQ(State().dwState & (DIGFFS_STOPPED | DIGFFS_PAUSED), DIGFFS_STOPPED | DIGFFS_PAUSED);
}

TEST_F(VirtualDeviceTest, StartUnpausesAndSwitchesActuatorsOn) {
    const DWORD handle = Download();
    ASSERT_EQ(m_device.SendForceFeedbackCommand(DISFFC_PAUSE), S_OK);
    ASSERT_EQ(m_device.SendForceFeedbackCommand(DISFFC_SETACTUATORSOFF), S_OK);
    EXPECT_EQ(m_device.StartEffect(handle, 0, 1), S_OK);
    const DWORD state = State().dwState;
    EXPECT_EQ(state & (DIGFFS_PAUSED | DIGFFS_ACTUATORSOFF), 0u);
    EXPECT_NE(state & DIGFFS_ACTUATORSON, 0u);
}

TEST_F(VirtualDeviceTest, DownloadWithStartSwitchesActuatorsOnButPlainDownloadOnlyUnpauses) {
    ASSERT_EQ(m_device.SendForceFeedbackCommand(DISFFC_PAUSE), S_OK);
    Download();
    EXPECT_EQ(State().dwState & (DIGFFS_PAUSED | DIGFFS_ACTUATORSOFF), DIGFFS_ACTUATORSOFF);
    Download(kEffectConstant, kAllParams | DIEP_START);
    EXPECT_EQ(State().dwState & (DIGFFS_ACTUATORSOFF | DIGFFS_ACTUATORSON), DIGFFS_ACTUATORSON);
}

TEST_F(VirtualDeviceTest, ResetEmptiesTheTableAndRestoresTheInitialState) {
    const DWORD handle = Download();
    ASSERT_EQ(m_device.StartEffect(handle, 0, 1), S_OK);
    ASSERT_EQ(m_device.SendForceFeedbackCommand(DISFFC_RESET), S_OK);
    const DIDEVICESTATE s = State();
    EXPECT_EQ(s.dwState, DIGFFS_EMPTY | DIGFFS_STOPPED | DIGFFS_ACTUATORSOFF | DIGFFS_POWERON);
    EXPECT_EQ(s.dwLoad, 0u);
    DWORD status = 7;
    EXPECT_EQ(m_device.GetEffectStatus(handle, &status), E_INVALIDARG);
}

TEST_F(VirtualDeviceTest, StopAllStopsEveryEffectButKeepsThem) {
    const DWORD a = Download(), b = Download();
    m_device.StartEffect(a, 0, 1);
    m_device.StartEffect(b, 0, 1);
    ASSERT_EQ(m_device.SendForceFeedbackCommand(DISFFC_STOPALL), S_OK);
    for (DWORD h : {a, b}) {
        DWORD status = 9;
        EXPECT_EQ(m_device.GetEffectStatus(h, &status), S_OK);
        EXPECT_EQ(status, 0u);
    }
    EXPECT_EQ(State().dwLoad, 3u);  // two of 64 slots: 200 / 64
}

TEST_F(VirtualDeviceTest, CombinedOrUnknownCommandsAreNotImplementedAndChangeNothing) {
    const DWORD handle = Download();
    m_device.StartEffect(handle, 0, 1);
    const DWORD before = m_device.DeviceState();
    for (DWORD command : {0u, 3u, 0x0Cu, 0x30u, 0x40u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(command);
        EXPECT_EQ(m_device.SendForceFeedbackCommand(command), E_NOTIMPL);
    }
    EXPECT_EQ(m_device.DeviceState(), before);
    DWORD status = 0;
    EXPECT_EQ(m_device.GetEffectStatus(handle, &status), S_OK);
    EXPECT_EQ(status, 1u);
}

TEST(VirtualDeviceBare, ActuatorsOnIsRefusedSilentlyWithoutSettings) {
    CVProbeDevice bare(Model::Dastrin, 0);
    EXPECT_EQ(bare.SendForceFeedbackCommand(DISFFC_SETACTUATORSON), S_OK);
    EXPECT_EQ(bare.DeviceState() & (DIGFFS_ACTUATORSON | DIGFFS_ACTUATORSOFF), DIGFFS_ACTUATORSOFF);
    EXPECT_FALSE(bare.SettingsChanged());
    EXPECT_EQ(bare.MapForce(-93), -93);
    BYTE lower = 1, upper = 1;
    bare.GetDeviceByteRange(&lower, &upper);
    EXPECT_EQ(lower, 0);
    EXPECT_EQ(upper, 255);
}

TEST(VirtualDeviceBare, EachDeviceHoldsOneModuleReference) {
    const ULONG before = ModuleObjectCount();
    {
        CVProbeDevice a(Model::Zorvel, 0);
        CVProbeDevice b(Model::Zorvel, 0);
        EXPECT_EQ(ModuleObjectCount(), before + 2);
    }
    EXPECT_EQ(ModuleObjectCount(), before);
}

TEST_F(VirtualDeviceTest, NoDownloadFlagAllocatesNothing) {
    DWORD handle = 0;
    EXPECT_EQ(m_device.DownloadEffect(kEffectConstant, &handle, m_block.Get(), kAllParams | DIEP_NODOWNLOAD), S_OK);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(State().dwLoad, 0u);
}

TEST_F(VirtualDeviceTest, UnknownTypeHandsOutTheHandleButLeavesTheSlotEmpty) {
    DWORD handle = 0;
    EXPECT_EQ(m_device.DownloadEffect(11, &handle, m_block.Get(), kAllParams), E_INVALIDARG);
    EXPECT_EQ(handle, 1u);
    EXPECT_EQ(State().dwLoad, 0u);
    EXPECT_EQ(Download(), 1u);
}

TEST_F(VirtualDeviceTest, NewDownloadIgnoresParameterErrorsButUpdateReportsThem) {
    DWORD handle = 0;
    EXPECT_EQ(m_device.DownloadEffect(kEffectConstant, &handle, nullptr, kAllParams), S_OK);
    EXPECT_EQ(handle, 1u);
    EXPECT_EQ(m_device.DownloadEffect(kEffectConstant, &handle, nullptr, kAllParams), E_POINTER);
    DWORD empty = 40;
    EXPECT_EQ(m_device.DownloadEffect(kEffectConstant, &empty, m_block.Get(), kAllParams), S_OK);
    EXPECT_EQ(State().dwLoad, 1u);
}

// A new download and an update of the same block agree on the axis count:
// any non-zero count is the effect's to take, before and after a smaller or
// larger one. One or two axes split the force by their directions (here
// along x), any other count pushes along +y, so the force shows which list
// the effect holds.
struct AxisUpdateCase {
    const char* name;
    DWORD downloaded;
    DWORD updated;
};

void PrintTo(const AxisUpdateCase& c, std::ostream* os) { *os << c.name; }

class AxisUpdateTest : public VirtualDeviceTest, public ::testing::WithParamInterface<AxisUpdateCase> {
protected:
    const DIEFFECT* Block(DWORD count) {
        std::vector<DWORD> axes(count);
        std::vector<LONG> directions(count, 0);
        for (DWORD i = 0; i < count; ++i) axes[i] = i << 8;
        directions[0] = 5;
        return m_block.Params(DICONSTANTFORCE{10000}).Cartesian(axes, directions).Get();
    }
    Force PlayedForce(DWORD handle) {
        CEffect* effect = m_device.GetEffect(handle - 1);
        if (effect == nullptr) return {};
        effect->Start(0, 1);
        return Tick(*effect, 8);
    }
    static Force Expected(DWORD count) { return count <= 2 ? Force{127, 0} : Force{0, 127}; }
};

TEST_P(AxisUpdateTest, NewDownloadAndUpdateTakeTheAxesAlike) {
    const AxisUpdateCase& c = GetParam();
    DWORD handle = 0;
    ASSERT_EQ(m_device.DownloadEffect(kEffectConstant, &handle, Block(c.downloaded), kAllParams), S_OK);
    EXPECT_EQ(PlayedForce(handle), Expected(c.downloaded));
    EXPECT_EQ(m_device.DownloadEffect(kEffectConstant, &handle, Block(c.updated), kAllParams), S_OK);
    EXPECT_EQ(PlayedForce(handle), Expected(c.updated));
}

INSTANTIATE_TEST_SUITE_P(Counts, AxisUpdateTest,
                         ::testing::Values(AxisUpdateCase{"SameThirtyThree", 33, 33},
                                           AxisUpdateCase{"TwoThenThirtyThree", 2, 33},
                                           AxisUpdateCase{"ThirtyThreeThenTwo", 33, 2},
                                           AxisUpdateCase{"OneThenTwoHundred", 1, 200}),
                         [](const auto& info) { return std::string(info.param.name); });

class EmptyHandleTest : public VirtualDeviceTest, public ::testing::WithParamInterface<DWORD> {};

TEST_P(EmptyHandleTest, EmptyOrOutOfRangeHandlesTouchNothing) {
    Download();
    const DWORD handle = GetParam();
    DWORD status = 0x77;
    EXPECT_EQ(m_device.GetEffectStatus(handle, &status), E_INVALIDARG);
    EXPECT_EQ(status, 0x77u);
    EXPECT_EQ(m_device.StartEffect(handle, 0, 1), E_INVALIDARG);
    EXPECT_EQ(m_device.StopEffect(handle), E_INVALIDARG);
    EXPECT_EQ(m_device.DestroyEffect(handle), S_OK);
    DWORD update = handle;
    EXPECT_EQ(m_device.DownloadEffect(kEffectConstant, &update, m_block.Get(), kAllParams), S_OK);
    EXPECT_EQ(update, handle);
    EXPECT_EQ(State().dwLoad, 1u);
}
INSTANTIATE_TEST_SUITE_P(Handles, EmptyHandleTest, ::testing::Values(2u, 64u, 65u, 0xFFFFFFFFu),
                         [](const auto& info) { return "Handle" + std::to_string(info.param); });

TEST_F(VirtualDeviceTest, DisabledForceFeedbackReportsActuatorsOffAndCreatesNothing) {
    Download();
    m_device.GetGlobalData()->SetForceEnabled(0, 0, 0);
    DIDEVICESTATE s{0, 0, 0};  // size not examined when disabled
    EXPECT_EQ(m_device.GetForceFeedbackState(&s), S_OK);
    EXPECT_EQ(s.dwState, DIGFFS_ACTUATORSOFF);
    EXPECT_EQ(s.dwLoad, 0u);
    DWORD handle = 0;
    EXPECT_EQ(m_device.DownloadEffect(kEffectConstant, &handle, m_block.Get(), kAllParams), S_OK);
    EXPECT_EQ(handle, 0u);
    DWORD status = 5;
    EXPECT_EQ(m_device.GetEffectStatus(1, &status), S_OK);
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(m_device.DestroyEffect(1), S_OK);
    m_device.GetGlobalData()->SetForceEnabled(1, 0, 0);
    EXPECT_EQ(State().dwLoad, 1u) << "destroy while disabled must not delete";
}

TEST_F(VirtualDeviceTest, GainReachesTheSettingsCombinedGain) {
    CGlobalData* settings = m_device.GetGlobalData();
    settings->SetOverallStrength(10000, 0, 0);
    EXPECT_EQ(m_device.SetGain(2500), S_OK);
    EXPECT_EQ(settings->GetCombinedGain(), 2500u);
}

// ---- Escape -----------------------------------------------------------------

std::vector<BYTE> Words(std::initializer_list<DWORD> words) {
    std::vector<BYTE> out(words.size() * 4);
    std::memcpy(out.data(), std::data(words), out.size());
    return out;
}

DIEFFESCAPE EscapeOf(DWORD command, std::vector<BYTE>& in, void* out = nullptr, DWORD outSize = 0) {
    return DIEFFESCAPE{sizeof(DIEFFESCAPE), command, in.empty() ? nullptr : in.data(),
                       static_cast<DWORD>(in.size()), out, outSize};
}

// (A null escape and commands above three: the absent-device suite, every class.)
TEST(EscapeTest, StatusCommandHandsBackThePointerToTheDevicesOwnValue) {
    EscapeProbe device;
    std::vector<BYTE> in = Words({12, 1, 7});
    DWORD callerBuffer = 0;
    DIEFFESCAPE esc = EscapeOf(kEscapeSetStatus, in, &callerBuffer, 64);
    ASSERT_EQ(device.Escape(0, &esc), S_OK);
    ASSERT_NE(esc.lpvOutBuffer, &callerBuffer);
    EXPECT_EQ(esc.cbOutBuffer, 4u);
    EXPECT_EQ(*static_cast<LONG*>(esc.lpvOutBuffer), 7);
    EXPECT_EQ(callerBuffer, 0u);
    device.SetStatusValue(-3);  // the pointer stays live: it is the device's field
    EXPECT_EQ(*static_cast<LONG*>(esc.lpvOutBuffer), -3);
}

struct MalformedCase {
    const char* name;
    DWORD command;
    std::vector<DWORD> words;
};
void PrintTo(const MalformedCase& c, std::ostream* os) { *os << c.name; }
class MalformedEscapeTest : public ::testing::TestWithParam<MalformedCase> {};

TEST_P(MalformedEscapeTest, AnswersFalseNotAnErrorAndCallsNoHook) {
    EscapeProbe device;
    std::vector<BYTE> in(GetParam().words.size() * 4);
    std::memcpy(in.data(), GetParam().words.data(), in.size());
    BYTE out[2] = {};
    DWORD callerBuffer = 0;
    DIEFFESCAPE esc = EscapeOf(GetParam().command, in, GetParam().command == 1 ? (void*)&callerBuffer : out, 2);
    EXPECT_EQ(device.Escape(0, &esc), S_FALSE);
    EXPECT_EQ(device.sendCalls + device.readCalls, 0);
    EXPECT_EQ(esc.lpvOutBuffer, GetParam().command == 1 ? (void*)&callerBuffer : (void*)out);
}
INSTANTIATE_TEST_SUITE_P(
    Buffers, MalformedEscapeTest,
    ::testing::Values(MalformedCase{"ValuesVersion2", 0, {20, 2, 1, 2, 3}},
                      MalformedCase{"ValuesTooLong", 0, {20, 1, 1, 2, 3, 4}},
                      MalformedCase{"ValuesOwnSizeWrong", 0, {24, 1, 1, 2, 3}},
                      MalformedCase{"StatusVersion2", 1, {12, 2, 7}},
                      MalformedCase{"StatusTooShort", 1, {12, 1}},
                      MalformedCase{"FloatsTooShort", 2, {16, 1, 0}},
                      MalformedCase{"FloatsOwnSizeSmall", 2, {12, 1, 0, 0}},
                      MalformedCase{"FloatsVersion0", 2, {16, 0, 0, 0}},
                      MalformedCase{"FloatsCountPastEnd", 2, {16, 1, 0x0200, 0}},
                      MalformedCase{"ReadVersion2", 3, {8, 2}},
                      MalformedCase{"ReadTooLong", 3, {8, 1, 0}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(EscapeTest, NullBuffersFollowEachCommandsRule) {
    EscapeProbe device;
    std::vector<BYTE> none;
    DIEFFESCAPE values = EscapeOf(kEscapeSetValues, none);
    EXPECT_EQ(device.Escape(0, &values), S_FALSE);
    DIEFFESCAPE status = EscapeOf(kEscapeSetStatus, none);
    EXPECT_EQ(device.Escape(0, &status), E_POINTER);
    std::vector<BYTE> read = Words({8, 1});
    DIEFFESCAPE noOut = EscapeOf(kEscapeReadBytes, read, nullptr, 2);
    EXPECT_EQ(device.Escape(0, &noOut), E_POINTER);
    BYTE out[2] = {};
    DIEFFESCAPE noIn = EscapeOf(kEscapeReadBytes, none, out, 2);
    EXPECT_EQ(device.Escape(0, &noIn), E_POINTER);
    DIEFFESCAPE wrongOut = EscapeOf(kEscapeReadBytes, read, out, 3);
    EXPECT_EQ(device.Escape(0, &wrongOut), S_FALSE);
    EXPECT_EQ(device.readCalls, 0);
}

TEST(EscapeTest, WellFormedBuffersReachTheHooks) {
    EscapeProbe device;
    std::vector<BYTE> values = Words({20, 1, 1, 2, 3});
    DIEFFESCAPE v = EscapeOf(kEscapeSetValues, values);
    EXPECT_EQ(device.Escape(0, &v), E_FAIL);  // the base has no values to set

    const float sent[2] = {1.5f, -0.25f};
    std::vector<BYTE> floats = Words({20, 1, 0x0209, 0, 0});
    std::memcpy(floats.data() + 12, sent, sizeof sent);
    DIEFFESCAPE f = EscapeOf(kEscapeSendFloats, floats);
    EXPECT_EQ(device.Escape(0, &f), S_OK);
    EXPECT_EQ(device.selector, 9);
    EXPECT_EQ(device.floats, std::vector<float>({1.5f, -0.25f}));
    device.answer = false;
    EXPECT_EQ(device.Escape(0, &f), S_FALSE);

    device.answer = true;
    std::vector<BYTE> read = Words({8, 1});
    BYTE out[2] = {};
    DIEFFESCAPE r = EscapeOf(kEscapeReadBytes, read, out, 2);
    EXPECT_EQ(device.Escape(0, &r), S_OK);
    EXPECT_EQ(out[0], 0xA1);
    EXPECT_EQ(out[1], 0xB2);
}

}  // namespace
