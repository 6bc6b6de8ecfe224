// The module's front door as DirectInput uses it: class objects, the module
// object count and the bridge thread's life.
#include <gtest/gtest.h>

#include "force_feedback/legacy/bridge/devio_thread.h"
#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/driver/joy_force_api.h"
#include "force_feedback/legacy/com/exports.h"
#include "force_feedback/legacy/module_count.h"
#include "force_feedback/legacy/bridge/process_bridge.h"
#include "force_feedback/legacy/testing/fake_device.h"

namespace {

constexpr GUID kUnknownClsid = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr IID kUnknownIid = {0x87654321, 0x4321, 0x4321, {8, 7, 6, 5, 4, 3, 2, 1}};

class ClassObjects : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(ModuleObjectCount(), 0u) << "an earlier test leaked a COM object"; }
    void TearDown() override { EXPECT_EQ(ModuleObjectCount(), 0u); }

    IClassFactory* Factory(int index) {
        IClassFactory* factory = nullptr;
        EXPECT_EQ(DllGetClassObject(kClassTable[index].clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
                  S_OK);
        return factory;
    }
    ScopedFakeDevices m_fakes;
};

TEST_F(ClassObjects, UnknownClassWinsOverWrongInterface) {
    void* ppv = reinterpret_cast<void*>(1);
    EXPECT_EQ(DllGetClassObject(kUnknownClsid, kUnknownIid, &ppv), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(ppv, nullptr);
    EXPECT_EQ(BridgeThread(), nullptr);
}

TEST_F(ClassObjects, KnownClassRefusesIUnknownBeforeCreatingAnything) {
    void* ppv = reinterpret_cast<void*>(1);
    EXPECT_EQ(DllGetClassObject(kClassTable[7].clsid, IID_IUnknown, &ppv), E_NOINTERFACE);
    EXPECT_EQ(ppv, nullptr);
    EXPECT_EQ(BridgeThread(), nullptr);
}

// With no place for the answer nothing is made, written or started, for a
// known class as for an unknown one.
TEST_F(ClassObjects, NullOutPointerIsRefusedBeforeAnythingIsMade) {
    EXPECT_EQ(DllGetClassObject(kClassTable[2].clsid, IID_IClassFactory, nullptr), E_POINTER);
    EXPECT_EQ(DllGetClassObject(kUnknownClsid, IID_IClassFactory, nullptr), E_POINTER);
    EXPECT_EQ(BridgeThread(), nullptr);
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

TEST_F(ClassObjects, EveryClassHandsOutAFactoryAndStartsTheBridge) {
    for (int index = 0; index < kClassCount; ++index) {
        SCOPED_TRACE(kClassTable[index].factoryName);
        IClassFactory* factory = Factory(index);
        ASSERT_NE(factory, nullptr);
        EXPECT_EQ(ModuleObjectCount(), 1u);
        ASSERT_NE(BridgeThread(), nullptr);
        EXPECT_TRUE(BridgeThread()->IsRunning());
        EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
        EXPECT_EQ(factory->Release(), 0u);
        EXPECT_EQ(DllCanUnloadNow(), S_OK);
        EXPECT_EQ(BridgeThread(), nullptr);
    }
}

TEST_F(ClassObjects, LockServerKeepsModuleLoadedAfterFactoryRelease) {
    IClassFactory* factory = Factory(2);
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    factory->Release();
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    EXPECT_NE(BridgeThread(), nullptr);
    // The unlock reaches the module directly: no factory is alive any more.
    IClassFactory* other = Factory(3);
    other->LockServer(FALSE);
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    other->Release();
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

TEST_F(ClassObjects, BridgeIsRecreatedAfterTheCountReachesZero) {
    IClassFactory* first = Factory(4);
    DevioThread* firstBridge = BridgeThread();
    ASSERT_NE(firstBridge, nullptr);
    first->Release();
    EXPECT_EQ(BridgeThread(), nullptr);
    IClassFactory* second = Factory(4);
    ASSERT_NE(BridgeThread(), nullptr);
    EXPECT_TRUE(BridgeThread()->IsRunning());
    second->Release();
}

TEST_F(ClassObjects, FactoryAnswersOnlyItsInterfaces) {
    IClassFactory* factory = Factory(5);
    void* ppv = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory->QueryInterface(IID_IUnknown, &ppv), S_OK);
    EXPECT_EQ(ppv, factory);
    EXPECT_EQ(factory->AddRef(), 3u);
    factory->Release();
    factory->Release();
    EXPECT_EQ(factory->QueryInterface(IID_IDirectInputEffectDriver, &ppv), E_NOINTERFACE);
    EXPECT_EQ(ppv, nullptr);
    factory->Release();
}

TEST_F(ClassObjects, CreateInstanceRefusesAggregation) {
    IClassFactory* factory = Factory(6);
    void* ppv = nullptr;
    EXPECT_EQ(factory->CreateInstance(reinterpret_cast<IUnknown*>(factory), IID_IDirectInputEffectDriver, &ppv),
              CLASS_E_NOAGGREGATION);
    IClassFactory* api = Factory(kJoyForceApiIndex);
    EXPECT_EQ(api->CreateInstance(reinterpret_cast<IUnknown*>(api), IID_ISVJoyForceAPI, &ppv), CLASS_E_NOAGGREGATION);
    api->Release();
    factory->Release();
}

TEST_F(ClassObjects, DriverAskedForUnknownInterfaceDiesAtOnce) {
    IClassFactory* factory = Factory(7);
    void* ppv = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory->CreateInstance(nullptr, kUnknownIid, &ppv), E_NOINTERFACE);
    EXPECT_EQ(ppv, nullptr);
    EXPECT_EQ(ModuleObjectCount(), 1u);
    factory->Release();
}

TEST_F(ClassObjects, DriverHoldsTheModuleWhileAlive) {
    IClassFactory* factory = Factory(8);
    IDirectInputEffectDriver* driver = nullptr;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IDirectInputEffectDriver, reinterpret_cast<void**>(&driver)), S_OK);
    factory->Release();
    EXPECT_EQ(ModuleObjectCount(), 1u);
    EXPECT_NE(BridgeThread(), nullptr);
    EXPECT_EQ(driver->Release(), 0u);
    EXPECT_EQ(BridgeThread(), nullptr);
}

TEST_F(ClassObjects, LegacyAndPrazenDriversCreateTheSameDeviceClass) {
    for (int index : {16, kLegacyWheelIndex, 1}) {
        IClassFactory* factory = Factory(index);
        IDirectInputEffectDriver* driver = nullptr;
        ASSERT_EQ(factory->CreateInstance(nullptr, IID_IDirectInputEffectDriver, reinterpret_cast<void**>(&driver)),
                  S_OK);
        EXPECT_EQ(driver->DeviceID(0x800, 0, TRUE, 0, nullptr), S_OK);
        driver->Release();
        factory->Release();
    }
    ASSERT_EQ(FakeLog().created.size(), 3u);
    EXPECT_EQ(FakeLog().created[0], Model::Prazen);
    EXPECT_EQ(FakeLog().created[1], Model::Prazen);
    EXPECT_EQ(FakeLog().created[2], Model::Oskra);
}

TEST_F(ClassObjects, JoyForceApiFactoryMakesTheSettingsInterface) {
    IClassFactory* factory = Factory(kJoyForceApiIndex);
    IUnknown* api = nullptr;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_ISVJoyForceAPI, reinterpret_cast<void**>(&api)), S_OK);
    void* driver = nullptr;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IDirectInputEffectDriver, &driver), E_NOINTERFACE);
    factory->Release();
    EXPECT_EQ(ModuleObjectCount(), 1u);
    EXPECT_EQ(api->Release(), 0u);
}

}  // namespace
