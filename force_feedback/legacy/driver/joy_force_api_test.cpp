#include "force_feedback/legacy/driver/joy_force_api.h"

#include <gtest/gtest.h>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/module_count.h"
#include "force_feedback/legacy/testing/fake_device.h"

namespace {

class JoyForceApiTest : public ::testing::Test {
protected:
    void SetUp() override { m_api = new CSVJoyForceAPI(kClassTable[kJoyForceApiIndex].device); }
    void TearDown() override { m_api->Release(); }
    ScopedFakeDevices m_fakes;
    CSVJoyForceAPI* m_api = nullptr;
};

TEST_F(JoyForceApiTest, OnlySelectors63And65ReachADevice) {
    SVJOYFORCEPARAM param{0, 0, 5000};
    for (DWORD selector : {0u, 62u, 64u, 66u, 0xFFFFFFFFu}) {
        EXPECT_EQ(m_api->SetParameter(selector, &param), E_NOTIMPL);
        EXPECT_EQ(m_api->GetParameter(selector, &param), E_NOTIMPL);
    }
    EXPECT_TRUE(FakeLog().created.empty());
    EXPECT_EQ(m_api->SetParameter(63, &param), S_OK);
    EXPECT_EQ(m_api->GetParameter(65, &param), S_OK);
    EXPECT_EQ(FakeLog().calls, (std::vector<std::string>{"setparam(0)#1", "delete#1", "getparam(0)#2", "delete#2"}));
    EXPECT_EQ(FakeLog().created, (std::vector<Model>{Model::Prazen, Model::Prazen}));
}

TEST_F(JoyForceApiTest, DeviceAllocationFailureIsOutOfMemory) {
    FakeLog().failAllocation = true;
    SVJOYFORCEPARAM param{0, 0, 0};
    EXPECT_EQ(m_api->GetParameter(63, &param), E_OUTOFMEMORY);
}

TEST_F(JoyForceApiTest, QueryInterfaceChecksPointerAndInterface) {
    EXPECT_EQ(m_api->QueryInterface(IID_ISVJoyForceAPI, nullptr), E_INVALIDARG);
    void* ppv = nullptr;
    EXPECT_EQ(m_api->QueryInterface(IID_ISVJoyForceAPI, &ppv), S_OK);
    EXPECT_EQ(ppv, static_cast<ISVJoyForceAPI*>(m_api));
    EXPECT_EQ(m_api->Release(), 1u);
    EXPECT_EQ(m_api->QueryInterface(IID_IDirectInputEffectDriver, &ppv), E_NOINTERFACE);
    EXPECT_EQ(ppv, nullptr);
}

TEST_F(JoyForceApiTest, HoldsOneModuleCountForItsLife) {
    const ULONG before = ModuleObjectCount();
    auto* other = new CSVJoyForceAPI(kClassTable[kJoyForceApiIndex].device);
    EXPECT_EQ(ModuleObjectCount(), before + 1);
    other->Release();
    EXPECT_EQ(ModuleObjectCount(), before);
}

}  // namespace
