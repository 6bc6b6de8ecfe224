#include "force_feedback/legacy/devices/device_catalog.h"

#include <atomic>

#include "force_feedback/legacy/devices/family_factories.h"

namespace {
std::atomic<DeviceMaker> g_testMaker{nullptr};

CVDevice* BuiltInDevice(Model model) {
    switch (Product(model).family) {
    case Family::Wheel:
        return NewWheelDevice(model);
    case Family::Joystick:
        return NewJoystickDevice(model);
    case Family::Rumble:
        return NewRumbleDevice(model);
    }
    return nullptr;
}
}  // namespace

CVDevice* NewDevice(Model model) {
    if (DeviceMaker maker = g_testMaker.load()) return maker(model);
    return BuiltInDevice(model);
}

DeviceMaker SetDeviceMakerForTesting(DeviceMaker maker) { return g_testMaker.exchange(maker); }
