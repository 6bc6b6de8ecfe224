// Every driver class of the built module, used through its exports only, on
// a joystick ID that no device carries: the open fails inside DeviceID, so
// what the game sees afterwards is the device rules of a device without a
// simulation thread. Needs no virtual device, so it runs natively and under
// Wine against the DLL.
#include <gtest/gtest.h>

#include <string>

#include "force_feedback/legacy/com/class_table.h"
#include "tools/module_host/driver_module.h"

namespace {

// No test in this binary puts a device behind this ID, and no Wine prefix
// carries a force-feedback controller.
constexpr DWORD kAbsentId = 15;
constexpr DWORD kNoSuchSlot = 16;
constexpr DWORD kNeverDownloaded = 1;
constexpr DWORD kUnknownCommand = DISFFC_RESET | DISFFC_STOPALL;
constexpr DWORD kEscapeSetValuesCommand = 0;
constexpr DWORD kUnknownEscape = 4;
constexpr DWORD kUnknownTypeIndex = 11;
constexpr DWORD kDirectInputVersion = 0x800;
constexpr DWORD kTooSmallStateSize = 8;

struct SetValuesEscape {
    DWORD size = 20;
    DWORD version = 1;
    DWORD values[3] = {};
};

class AbsentDeviceExports : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_module.Loaded()) << DriverModule::DefaultPath() << ": " << m_module.Error();
        m_driver = m_module.CreateDriver(kClassTable[GetParam()].clsid);
        ASSERT_NE(m_driver, nullptr);
        // A failed open is never DeviceID's failure: it shows in the calls.
        ASSERT_EQ(m_driver->DeviceID(kDirectInputVersion, kAbsentId, TRUE, 0, nullptr), S_OK);
    }

    // Released here, not in TearDown, so that each test can check the
    // module's count afterwards.
    ULONG ReleaseDriver() {
        const ULONG left = m_driver->Release();
        m_driver = nullptr;
        return left;
    }
    void TearDown() override {
        if (m_driver != nullptr) m_driver->Release();
    }

    HRESULT EscapeCommand(DWORD command, void* in, DWORD inSize) {
        DIEFFESCAPE esc{};
        esc.dwSize = sizeof esc;
        esc.dwCommand = command;
        esc.lpvInBuffer = in;
        esc.cbInBuffer = inSize;
        return m_driver->Escape(kAbsentId, 0, &esc);
    }

    DriverModule m_module;
    IDirectInputEffectDriver* m_driver = nullptr;
};

TEST_P(AbsentDeviceExports, CallsOnTheEmptyTableFailWithTheDeviceErrors) {
    DWORD status = 0xAAAA;
    EXPECT_EQ(m_driver->StartEffect(kAbsentId, kNeverDownloaded, 0, 1), E_INVALIDARG);
    EXPECT_EQ(m_driver->StopEffect(kAbsentId, kNeverDownloaded), E_INVALIDARG);
    EXPECT_EQ(m_driver->GetEffectStatus(kAbsentId, kNeverDownloaded, &status), E_INVALIDARG);
    EXPECT_EQ(status, 0xAAAAu);
    EXPECT_EQ(m_driver->SendForceFeedbackCommand(kAbsentId, kUnknownCommand), E_NOTIMPL);

    DIDEVICESTATE state{};
    state.dwSize = kTooSmallStateSize;
    EXPECT_EQ(m_driver->GetForceFeedbackState(kAbsentId, &state), E_INVALIDARG);

    DICONSTANTFORCE constant{5000};
    DIEFFECT effect{};
    effect.dwSize = sizeof effect;
    effect.cbTypeSpecificParams = sizeof constant;
    effect.lpvTypeSpecificParams = &constant;
    DWORD handle = 0;
    EXPECT_EQ(m_driver->DownloadEffect(kAbsentId, kUnknownTypeIndex, &handle, &effect, DIEP_TYPESPECIFICPARAMS),
              E_INVALIDARG);
}

TEST_P(AbsentDeviceExports, EscapesFailWithoutAThread) {
    SetValuesEscape values;
    // Escape 0 needs the thread that queues the indicator commands.
    EXPECT_EQ(EscapeCommand(kEscapeSetValuesCommand, &values, sizeof values), E_FAIL);
    EXPECT_EQ(EscapeCommand(kUnknownEscape, &values, sizeof values), E_FAIL);
    EXPECT_EQ(m_driver->Escape(kAbsentId, 0, nullptr), E_POINTER);
}

TEST_P(AbsentDeviceExports, SlotsWithoutADeviceAreRefusedByTheDriver) {
    DIDEVICESTATE state{};
    state.dwSize = sizeof state;
    EXPECT_EQ(m_driver->GetForceFeedbackState(kAbsentId - 1, &state), E_INVALIDARG);
    EXPECT_EQ(m_driver->SetGain(kNoSuchSlot, 5000), E_INVALIDARG);
    EXPECT_EQ(m_driver->DeviceID(kDirectInputVersion, kNoSuchSlot, TRUE, 0, nullptr), E_INVALIDARG);

    ASSERT_EQ(m_driver->DeviceID(kDirectInputVersion, kAbsentId, FALSE, 0, nullptr), S_OK);
    EXPECT_EQ(m_driver->GetForceFeedbackState(kAbsentId, &state), E_INVALIDARG);
    EXPECT_EQ(m_driver->DeviceID(kDirectInputVersion, kAbsentId, FALSE, 0, nullptr), E_INVALIDARG);
}

// A game that drives the device anyway gets its effects kept in the table
// without any thread to play them, and the release still finds everything
// and leaves the module unloadable.
TEST_P(AbsentDeviceExports, EffectsOnTheUnopenedDeviceAreReleasedWithTheDriver) {
    DICONSTANTFORCE constant{5000};
    DIEFFECT effect{};
    effect.dwSize = sizeof effect;
    effect.dwDuration = INFINITE;
    effect.dwGain = 10000;
    effect.cbTypeSpecificParams = sizeof constant;
    effect.lpvTypeSpecificParams = &constant;
    DWORD handle = 0;
    ASSERT_EQ(m_driver->DownloadEffect(kAbsentId, 0, &handle, &effect, DIEP_TYPESPECIFICPARAMS | DIEP_START), S_OK);
    EXPECT_EQ(handle, 1u);
    EXPECT_EQ(m_driver->SendForceFeedbackCommand(kAbsentId, DISFFC_PAUSE), S_OK);
    EXPECT_EQ(m_driver->SetGain(kAbsentId, 5000), S_OK);

    EXPECT_EQ(m_module.canUnloadNow(), S_FALSE);
    EXPECT_EQ(ReleaseDriver(), 0u);
    EXPECT_EQ(m_module.canUnloadNow(), S_OK);
}

std::string ClassName(const ::testing::TestParamInfo<int>& info) { return kClassTable[info.param].factoryName; }

// Rows 1 to 18: every driver class (row 0 is the settings interface).
INSTANTIATE_TEST_SUITE_P(EveryDriverClass, AbsentDeviceExports, ::testing::Range(1, kClassCount), ClassName);

}  // namespace
