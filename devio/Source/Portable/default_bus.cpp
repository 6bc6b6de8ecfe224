#include "devio/Source/Virtual/virtual_rap_bus.h"

namespace devio {

// Without a HID class driver to ask, the portable build's devices are the
// virtual ones plugged into the process's bus, all of the one maker.
std::shared_ptr<IHidBus> make_default_hid_bus(std::uint16_t /*vendor_id*/) { return VirtualRapBus::process_bus(); }

}  // namespace devio
