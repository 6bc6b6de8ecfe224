// The built module, loaded by path and used only through its exports, as
// DirectInput uses it. Natively the shared object; under Wine the DLL.
#include <gtest/gtest.h>

#include "force_feedback/legacy/com/class_table.h"
#include "tools/module_host/driver_module.h"

namespace {

class ModuleExports : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_module.Loaded()) << DriverModule::DefaultPath() << ": " << m_module.Error(); }
    DriverModule m_module;
};

TEST_F(ModuleExports, ExportsTheFourComFunctionsAndNothingOfTheDriver) {
    EXPECT_NE(m_module.getClassObject, nullptr);
    EXPECT_NE(m_module.canUnloadNow, nullptr);
    EXPECT_NE(m_module.registerServer, nullptr);
    EXPECT_NE(m_module.unregisterServer, nullptr);
    EXPECT_EQ(m_module.Symbol("ModuleIncrement"), nullptr);
    EXPECT_EQ(m_module.Symbol("_Z15ModuleIncrementv"), nullptr);
}

TEST_F(ModuleExports, EveryModelDriverAnswersGetVersionsThroughItsFactory) {
    for (int index = 1; index < kClassCount; ++index) {
        SCOPED_TRACE(kClassTable[index].factoryName);
        IDirectInputEffectDriver* driver = m_module.CreateDriver(kClassTable[index].clsid);
        ASSERT_NE(driver, nullptr);
        EXPECT_EQ(m_module.canUnloadNow(), S_FALSE);
        DIDRIVERVERSIONS versions{};
        versions.dwSize = sizeof versions;
        EXPECT_EQ(driver->GetVersions(&versions), S_OK);
        EXPECT_EQ(versions.dwFFDriverVersion, 0x100u);
        EXPECT_EQ(driver->Release(), 0u);
        EXPECT_EQ(m_module.canUnloadNow(), S_OK);
    }
}

}  // namespace
