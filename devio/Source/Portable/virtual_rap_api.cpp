// The host API over the process's virtual RAP bus, the portable build's
// library bus. Plugged wheels are kept by handle until unplugged.
#include "devio/Source/Virtual/virtual_rap_api.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "devio/Source/Virtual/virtual_rap_bus.h"
#include "platform/guid.h"

namespace {

using devio::VirtualRapWheel;

struct Registry {
    std::mutex mutex;
    std::map<std::uint32_t, std::shared_ptr<VirtualRapWheel>> wheels;
    std::uint32_t next = 1;
};

Registry& Wheels() {
    static Registry registry;
    return registry;
}

std::shared_ptr<VirtualRapWheel> Find(std::uint32_t handle) {
    Registry& r = Wheels();
    std::lock_guard lock(r.mutex);
    auto it = r.wheels.find(handle);
    return it == r.wheels.end() ? nullptr : it->second;
}

// The registry form of a GUID given in memory order (the first three fields
// little-endian), as the HID side reports the container.
std::wstring ContainerText(const std::uint8_t g[16]) {
    GUID guid{};
    guid.Data1 = g[0] | g[1] << 8 | g[2] << 16 | static_cast<std::uint32_t>(g[3]) << 24;
    guid.Data2 = static_cast<std::uint16_t>(g[4] | g[5] << 8);
    guid.Data3 = static_cast<std::uint16_t>(g[6] | g[7] << 8);
    std::copy(g + 8, g + 16, guid.Data4);
    return platform::FormatGuid(guid);
}

std::size_t CountOf(const VirtualRapWheel& wheel, std::uint32_t what) {
    switch (what) {
        case FFDRV_VIRTUAL_RAP_COMMANDS: return wheel.commands().size();
        case FFDRV_VIRTUAL_RAP_VALUE_QUERIES: return wheel.value_queries();
        default: return wheel.readiness_queries().size();
    }
}

}  // namespace

extern "C" {

int32_t FfdrvVirtualRapPlug(const FfdrvVirtualRapDevice* device, uint32_t* handle) {
    if (device == nullptr || handle == nullptr || device->size != sizeof(FfdrvVirtualRapDevice) ||
        device->featureCount > FFDRV_VIRTUAL_RAP_MAX_FEATURES) {
        return FFDRV_VIRTUAL_E_ARGUMENT;
    }
    auto wheel = std::make_shared<VirtualRapWheel>(
        ContainerText(device->containerId), device->productId,
        std::vector<std::uint16_t>(device->features, device->features + device->featureCount));
    wheel->set_value16({device->value[0], device->value[1]});
    wheel->set_ready(device->ready != 0);
    wheel->set_state_flag(device->stateFlag);
    {
        Registry& r = Wheels();
        std::lock_guard lock(r.mutex);
        *handle = r.next++;
        r.wheels[*handle] = wheel;
    }
    // Outside the registry lock: the bus tells the library at once.
    devio::VirtualRapBus::process_bus()->plug(wheel);
    return FFDRV_VIRTUAL_OK;
}

int32_t FfdrvVirtualRapUnplug(uint32_t handle) {
    std::shared_ptr<VirtualRapWheel> wheel;
    {
        Registry& r = Wheels();
        std::lock_guard lock(r.mutex);
        auto it = r.wheels.find(handle);
        if (it == r.wheels.end()) return FFDRV_VIRTUAL_E_NO_DEVICE;
        wheel = it->second;
        r.wheels.erase(it);
    }
    devio::VirtualRapBus::process_bus()->unplug(wheel);
    return FFDRV_VIRTUAL_OK;
}

int32_t FfdrvVirtualRapCount(uint32_t handle, uint32_t what) {
    if (what > FFDRV_VIRTUAL_RAP_READINESS_QUERIES) return FFDRV_VIRTUAL_E_ARGUMENT;
    auto wheel = Find(handle);
    if (!wheel) return FFDRV_VIRTUAL_E_NO_DEVICE;
    return static_cast<int32_t>(CountOf(*wheel, what));
}

int32_t FfdrvVirtualRapWait(uint32_t handle, uint32_t what, uint32_t count, uint32_t timeoutMs) {
    if (what > FFDRV_VIRTUAL_RAP_READINESS_QUERIES) return FFDRV_VIRTUAL_E_ARGUMENT;
    auto wheel = Find(handle);
    if (!wheel) return FFDRV_VIRTUAL_E_NO_DEVICE;
    const bool seen = wheel->wait_until([&] { return CountOf(*wheel, what) >= count; }, timeoutMs);
    return seen ? FFDRV_VIRTUAL_OK : FFDRV_VIRTUAL_E_TIMEOUT;
}

int32_t FfdrvVirtualRapGetCommand(uint32_t handle, uint32_t index, uint8_t* command, uint32_t* values,
                                  uint32_t capacity) {
    if (command == nullptr || (values == nullptr && capacity != 0)) return FFDRV_VIRTUAL_E_ARGUMENT;
    auto wheel = Find(handle);
    if (!wheel) return FFDRV_VIRTUAL_E_NO_DEVICE;
    const auto commands = wheel->commands();
    if (index >= commands.size()) return FFDRV_VIRTUAL_E_RANGE;
    const auto& c = commands[index];
    *command = c.command;
    std::copy_n(c.values.begin(), std::min<std::size_t>(capacity, c.values.size()), values);
    return static_cast<int32_t>(c.values.size());
}

int32_t FfdrvVirtualRapBusActive(void) { return devio::VirtualRapBus::process_bus()->listening() ? 1 : 0; }

}  // extern "C"
