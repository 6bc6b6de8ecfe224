#include "force_feedback/legacy/devices/device_catalog.h"

#include <atomic>

namespace {
std::atomic<DeviceMaker> g_testMaker{nullptr};

// The device families register here as they are built; until a family is
// present its models have no device and DeviceID reports E_OUTOFMEMORY.
CVDevice* BuiltInDevice(Model) { return nullptr; }
}  // namespace

CVDevice* NewDevice(Model model) {
    if (DeviceMaker maker = g_testMaker.load()) return maker(model);
    return BuiltInDevice(model);
}

DeviceMaker SetDeviceMakerForTesting(DeviceMaker maker) { return g_testMaker.exchange(maker); }
