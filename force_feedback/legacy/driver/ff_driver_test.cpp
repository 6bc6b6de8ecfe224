#include "force_feedback/legacy/driver/ff_driver.h"

#include <gtest/gtest.h>

#include "force_feedback/legacy/module_count.h"
#include "force_feedback/legacy/testing/fake_device.h"

namespace {

using Calls = std::vector<std::string>;

class DriverTest : public ::testing::Test {
protected:
    void SetUp() override { m_driver = new CFFDrvSVDastrin(); }
    void TearDown() override {
        if (m_driver) m_driver->Release();
        EXPECT_EQ(FakeLog().live, 0);
    }
    Calls TakeCalls() { return std::exchange(FakeLog().calls, {}); }

    ScopedFakeDevices m_fakes;
    CFFDrv* m_driver = nullptr;
};

TEST_F(DriverTest, QueryInterfaceAnswersDriverAndUnknownOnly) {
    void* ppv = nullptr;
    EXPECT_EQ(m_driver->QueryInterface(IID_IDirectInputEffectDriver, &ppv), S_OK);
    EXPECT_EQ(ppv, static_cast<IDirectInputEffectDriver*>(m_driver));
    EXPECT_EQ(m_driver->QueryInterface(IID_IUnknown, &ppv), S_OK);
    EXPECT_EQ(m_driver->Release(), 2u);
    EXPECT_EQ(m_driver->Release(), 1u);
    ppv = reinterpret_cast<void*>(1);
    EXPECT_EQ(m_driver->QueryInterface(IID_IClassFactory, &ppv), E_NOINTERFACE);
    EXPECT_EQ(ppv, nullptr);
}

TEST_F(DriverTest, ConstructionAndReleaseBalanceTheModuleCount) {
    const ULONG before = ModuleObjectCount();
    auto* other = new CFFDrvSVZorvel();
    EXPECT_EQ(ModuleObjectCount(), before + 1);
    EXPECT_EQ(other->Release(), 0u);
    EXPECT_EQ(ModuleObjectCount(), before);
}

TEST_F(DriverTest, GetVersionsRejectsShortRecordAndTrimsLongOne) {
    DIDRIVERVERSIONS small{15, 9, 9, 9};
    EXPECT_EQ(m_driver->GetVersions(&small), E_INVALIDARG);
    EXPECT_EQ(small.dwSize, 15u);
    EXPECT_EQ(small.dwFFDriverVersion, 9u);
    DIDRIVERVERSIONS large{20, 0, 0, 0};
    EXPECT_EQ(m_driver->GetVersions(&large), S_OK);
    EXPECT_EQ(large.dwSize, 16u);
    EXPECT_EQ(large.dwFirmwareRevision, 1u);
    EXPECT_EQ(large.dwHardwareRevision, 1u);
    EXPECT_EQ(large.dwFFDriverVersion, 0x100u);
}

TEST_F(DriverTest, EveryForwardedCallFailsWithoutADevice) {
    DWORD status = 0, handle = 0;
    DIEFFECT effect{};
    DIDEVICESTATE state{};
    DIEFFESCAPE escape{};
    for (DWORD id : {0u, 5u, 15u, 16u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(id);
        EXPECT_EQ(m_driver->Escape(id, 1, &escape), E_INVALIDARG);
        EXPECT_EQ(m_driver->SetGain(id, 5000), E_INVALIDARG);
        EXPECT_EQ(m_driver->SendForceFeedbackCommand(id, DISFFC_RESET), E_INVALIDARG);
        EXPECT_EQ(m_driver->GetForceFeedbackState(id, &state), E_INVALIDARG);
        EXPECT_EQ(m_driver->DownloadEffect(id, 0, &handle, &effect, 0), E_INVALIDARG);
        EXPECT_EQ(m_driver->DestroyEffect(id, 1), E_INVALIDARG);
        EXPECT_EQ(m_driver->StartEffect(id, 1, 0, 1), E_INVALIDARG);
        EXPECT_EQ(m_driver->StopEffect(id, 1), E_INVALIDARG);
        EXPECT_EQ(m_driver->GetEffectStatus(id, 1, &status), E_INVALIDARG);
    }
    EXPECT_TRUE(FakeLog().calls.empty());
}

TEST_F(DriverTest, ForwardsArgumentsAndResultUnchanged) {
    ASSERT_EQ(m_driver->DeviceID(0x800, 3, TRUE, 7, nullptr), S_OK);
    TakeCalls();
    FakeLog().result = static_cast<HRESULT>(0x80040201u);
    DWORD handle = 0, status = 0;
    DIEFFECT effect{};
    DIDEVICESTATE state{};
    DIEFFESCAPE escape{};
    const HRESULT r = FakeLog().result;
    EXPECT_EQ(m_driver->DownloadEffect(3, 11, &handle, &effect, 0x20), r);
    EXPECT_EQ(m_driver->StartEffect(3, 2, 1, 4), r);
    EXPECT_EQ(m_driver->StopEffect(3, 2), r);
    EXPECT_EQ(m_driver->GetEffectStatus(3, 2, &status), r);
    EXPECT_EQ(m_driver->DestroyEffect(3, 2), r);
    EXPECT_EQ(m_driver->SetGain(3, 7500), r);
    EXPECT_EQ(m_driver->SendForceFeedbackCommand(3, DISFFC_PAUSE), r);
    EXPECT_EQ(m_driver->GetForceFeedbackState(3, &state), r);
    EXPECT_EQ(m_driver->Escape(3, 2, &escape), r);
    auto p = [](const void* ptr) { return std::to_string(reinterpret_cast<unsigned long long>(ptr)); };
    EXPECT_EQ(TakeCalls(), (Calls{"download(11," + p(&handle) + "," + p(&effect) + ",32)#1", "start(2,1,4)#1",
                                  "stop(2)#1", "status(2," + p(&status) + ")#1", "destroy(2)#1", "gain(7500)#1",
                                  "command(4)#1", "state(" + p(&state) + ")#1", "escape(2," + p(&escape) + ")#1"}));
}

TEST_F(DriverTest, BeginOnOccupiedSlotDeletesWithoutClosing) {
    ASSERT_EQ(m_driver->DeviceID(0x800, 2, TRUE, 0, nullptr), S_OK);
    ASSERT_EQ(m_driver->DeviceID(0x800, 2, TRUE, 0, nullptr), S_OK);
    EXPECT_EQ(FakeLog().live, 1);
    EXPECT_EQ(TakeCalls(), (Calls{"open(2)#1", "delete#1", "open(2)#2"}));
    EXPECT_EQ(m_driver->DeviceID(0x800, 2, FALSE, 0, nullptr), S_OK);
    EXPECT_EQ(TakeCalls(), (Calls{"close()#2", "delete#2"}));
    EXPECT_EQ(m_driver->SetGain(2, 1), E_INVALIDARG);
}

TEST_F(DriverTest, OpenFailureIsNotReported) {
    FakeLog().result = E_FAIL;
    EXPECT_EQ(m_driver->DeviceID(0x800, 0, TRUE, 0, nullptr), S_OK);
    EXPECT_EQ(m_driver->SetGain(0, 1), E_FAIL);
}

TEST_F(DriverTest, CallsWithoutAPathAreRefusedSafely) {
    EXPECT_EQ(m_driver->DeviceID(0x800, 16, TRUE, 0, nullptr), E_INVALIDARG);
    EXPECT_EQ(m_driver->DeviceID(0x800, 0xFFFFFFFF, TRUE, 0, nullptr), E_INVALIDARG);
    EXPECT_EQ(m_driver->DeviceID(0x800, 4, FALSE, 0, nullptr), E_INVALIDARG);
    FakeLog().failAllocation = true;
    EXPECT_EQ(m_driver->DeviceID(0x800, 4, TRUE, 0, nullptr), E_OUTOFMEMORY);
    EXPECT_EQ(m_driver->SetGain(4, 1), E_INVALIDARG);
    EXPECT_TRUE(FakeLog().calls.empty());
}

TEST_F(DriverTest, FinalReleaseClosesEveryDeviceLowestIdFirst) {
    ASSERT_EQ(m_driver->DeviceID(0x800, 9, TRUE, 0, nullptr), S_OK);
    ASSERT_EQ(m_driver->DeviceID(0x800, 1, TRUE, 0, nullptr), S_OK);
    TakeCalls();
    EXPECT_EQ(m_driver->Release(), 0u);
    m_driver = nullptr;
    EXPECT_EQ(TakeCalls(), (Calls{"close()#2", "delete#2", "close()#1", "delete#1"}));
}

TEST_F(DriverTest, BaseDriverDeviceIdDoesNothing) {
    auto* base = new CFFDrv();
    EXPECT_EQ(base->DeviceID(0x800, 0, TRUE, 0, nullptr), S_OK);
    EXPECT_TRUE(FakeLog().created.empty());
    base->Release();
}

}  // namespace
