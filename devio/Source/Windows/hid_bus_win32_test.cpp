// The Windows HID bus against the machine's real device list. Under Wine
// there is none of the maker's devices: the enumeration must run through
// SetupDi and the HID class calls and come back empty, without failing.
#include "devio/Source/Windows/hid_bus_win32.h"

#include <gtest/gtest.h>

namespace devio {
namespace {

struct RecordingListener : IHidBusListener {
    void on_arrival(const std::shared_ptr<IRapConnection>&) override { ++arrivals; }
    void on_removal(const std::shared_ptr<IRapConnection>&) override { ++removals; }
    int arrivals = 0;
    int removals = 0;
};

TEST(Win32HidBus, EnumerationFindsOnlyTheMakersInterfaces) {
    Win32HidBus bus(0xC7A5);  // the maker's vendor ID; the library is told it
    // Every path found must be one the bus also opens on start.
    const auto paths = bus.enumerate_paths();
    RecordingListener listener;
    ASSERT_TRUE(bus.start(&listener));
    EXPECT_EQ(static_cast<std::size_t>(listener.arrivals), paths.size());
    EXPECT_EQ(bus.open_count(), paths.size());
    bus.stop();
    EXPECT_EQ(bus.open_count(), 0u);
}

TEST(Win32HidBus, AVendorIdNobodyUsesFindsNothing) {
    constexpr std::uint16_t kUnusedVendorId = 0x0000;
    Win32HidBus bus(kUnusedVendorId);
    EXPECT_TRUE(bus.enumerate_paths().empty());
}

}  // namespace
}  // namespace devio
