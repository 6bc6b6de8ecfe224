// The virtual-device API as a host sees it: exported by the driver library
// beside the COM entry points, acting on the library's own devices and clock.
#include <gtest/gtest.h>

#include "force_feedback/legacy/testing/virtual_clock.h"
#include "tools/module_host/driver_module.h"

namespace {

TEST(VirtualHidExportsTest, HostPlugsADeviceAndReadsItsClockThroughTheLibrary) {
    DriverModule module;
    ASSERT_TRUE(module.Loaded()) << module.Error();
    ASSERT_TRUE(module.HasVirtualDevices());
    const auto plug = module.plug;
    const auto unplug = module.unplug;
    const auto count = module.reportCount;
    const auto useVirtual = module.useVirtual;
    const auto useReal = module.useReal;
    const auto advance = module.advance;
    const auto now = module.now;

    const FfdrvVirtualDevice wheel = VirtualWheel(4);
    ASSERT_EQ(plug(&wheel), FFDRV_VIRTUAL_OK);
    EXPECT_EQ(plug(&wheel), FFDRV_VIRTUAL_E_IN_USE);
    EXPECT_EQ(count(4), 0);
    EXPECT_EQ(count(5), FFDRV_VIRTUAL_E_NO_DEVICE);
    FfdrvVirtualDevice bad = wheel;
    bad.joystickId = 6;
    bad.size = 12;
    EXPECT_EQ(plug(&bad), FFDRV_VIRTUAL_E_ARGUMENT);
    EXPECT_EQ(plug(nullptr), FFDRV_VIRTUAL_E_ARGUMENT);

    EXPECT_EQ(advance(5), FFDRV_VIRTUAL_E_CLOCK);  // the real clock cannot be advanced
    ASSERT_EQ(useVirtual(70000), FFDRV_VIRTUAL_OK);
    ASSERT_EQ(advance(25), FFDRV_VIRTUAL_OK);
    EXPECT_EQ(now(), 70025u);
    EXPECT_EQ(useReal(), FFDRV_VIRTUAL_OK);
    EXPECT_EQ(unplug(4), FFDRV_VIRTUAL_OK);
    EXPECT_EQ(unplug(4), FFDRV_VIRTUAL_E_NO_DEVICE);
}

}  // namespace
