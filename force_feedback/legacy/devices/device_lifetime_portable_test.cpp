// The end of a device's simulation thread leaves nothing in flight: a thread
// told to stop before its first pass must not leave an input read behind
// whose overlapped record dies with the thread object (the device's CInput
// closes the handle later, and the backend would then complete a freed
// record). Each family's thread runs its last pass on the test thread here,
// on a device whose own thread has been stopped, so the count of requests
// in flight on the virtual device is the thread's alone.
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "force_feedback/legacy/devices/joystick_device.h"
#include "force_feedback/legacy/devices/karvona_device.h"
#include "force_feedback/legacy/devices/rumble_device.h"
#include "force_feedback/legacy/devices/wheel_device.h"
#include "force_feedback/legacy/sim/karvona_sim_thread.h"
#include "force_feedback/legacy/sim/rumble_sim_thread.h"
#include "force_feedback/legacy/sim/wheel_sim_thread.h"
#include "force_feedback/legacy/testing/driver_host.h"
#include "force_feedback/legacy/testing/virtual_clock.h"

namespace {

constexpr std::uint32_t kJoystick = 13;

struct LastPassCase {
    const char* name;
    Model model;
    std::function<std::unique_ptr<CVDevice>()> makeDevice;
    std::function<std::unique_ptr<CSimThread>(CVDevice&)> makeThread;
};

template <class Device>
std::unique_ptr<CVDevice> Make() {
    return std::make_unique<Device>();
}

const LastPassCase kCases[] = {
    {"PelvarWheel", Model::Pelvar, Make<CVPelvarWheelDevice>,
     [](CVDevice& d) { return std::make_unique<CWheelSimThread>(d); }},
    {"FerollaStick", Model::Ferolla, Make<CVFerollaJoystickDevice>,
     [](CVDevice& d) { return std::make_unique<CJoystickSimThread>(d); }},
    {"KarvonaStick", Model::Karvona, Make<CVKarvonaJoystickDevice>,
     [](CVDevice& d) { return std::make_unique<CKarvonaSimThread>(d); }},
    {"ZorvelPad", Model::Zorvel, Make<CVZorvelRumbleDevice>,
     [](CVDevice& d) { return std::make_unique<CZorvelRumbleSimThread>(d, RumbleLayout::A); }},
};

class LastPassTest : public ::testing::TestWithParam<LastPassCase> {};

TEST_P(LastPassTest, AThreadStoppedBeforeItsFirstPassLeavesNoRequestInFlight) {
    const LastPassCase& c = GetParam();
    PluggedDevice plug(DriverHost::DeviceOf(c.model, kJoystick));
    ASSERT_EQ(plug.Result(), FFDRV_VIRTUAL_OK);
    std::unique_ptr<CVDevice> device = c.makeDevice();
    ASSERT_EQ(device->Open(kJoystick), S_OK);
    // The device's own thread goes; its HID handle stays open.
    ASSERT_EQ(device->Close(), S_OK);
    ASSERT_EQ(FfdrvVirtualPendingIo(kJoystick), 0);

    std::unique_ptr<CSimThread> thread = c.makeThread(*device);
    EXPECT_FALSE(thread->RunOnce(/*stopping=*/true));
    EXPECT_EQ(FfdrvVirtualPendingIo(kJoystick), 0) << "a read outlives the thread's last pass";
    thread.reset();
    device.reset();
}

TEST_P(LastPassTest, ALastPassAfterRunningPassesCancelsTheReadItHadOut) {
    const LastPassCase& c = GetParam();
    PluggedDevice plug(DriverHost::DeviceOf(c.model, kJoystick));
    ASSERT_EQ(plug.Result(), FFDRV_VIRTUAL_OK);
    std::unique_ptr<CVDevice> device = c.makeDevice();
    ASSERT_EQ(device->Open(kJoystick), S_OK);
    ASSERT_EQ(device->Close(), S_OK);

    std::unique_ptr<CSimThread> thread = c.makeThread(*device);
    ASSERT_TRUE(thread->RunOnce(/*stopping=*/false));
    EXPECT_EQ(FfdrvVirtualPendingIo(kJoystick), 1) << "a running thread keeps one read out";
    EXPECT_FALSE(thread->RunOnce(/*stopping=*/true));
    EXPECT_EQ(FfdrvVirtualPendingIo(kJoystick), 0);
    thread.reset();
    device.reset();
}

INSTANTIATE_TEST_SUITE_P(Families, LastPassTest, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
