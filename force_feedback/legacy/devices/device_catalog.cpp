#include "force_feedback/legacy/devices/device_catalog.h"

#include <array>
#include <atomic>
#include <new>
#include <utility>

#include "force_feedback/legacy/devices/joystick_device.h"
#include "force_feedback/legacy/devices/karvona_device.h"
#include "force_feedback/legacy/devices/rumble_device.h"
#include "force_feedback/legacy/devices/wheel_device.h"

namespace {
std::atomic<DeviceMaker> g_testMaker{nullptr};

template <Model M>
CVDevice* Make() {
    return new (std::nothrow) typename ModelDevice<M>::type();
}

// One maker per row of the model table, in its order.
template <std::size_t... I>
constexpr std::array<CVDevice* (*)(), kModelCount> Makers(std::index_sequence<I...>) {
    return {Make<static_cast<Model>(I)>...};
}

constexpr auto kMakers = Makers(std::make_index_sequence<kModelCount>{});
}  // namespace

CVDevice* NewDevice(Model model) {
    if (DeviceMaker maker = g_testMaker.load()) return maker(model);
    const auto index = static_cast<std::size_t>(model);
    return index < kMakers.size() ? kMakers[index]() : nullptr;
}

DeviceMaker SetDeviceMakerForTesting(DeviceMaker maker) { return g_testMaker.exchange(maker); }
