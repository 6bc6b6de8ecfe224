#include "devio/Source/Virtual/virtual_rap_bus.h"

namespace devio {

// Without a HID class driver to ask, the portable build's devices are the
// virtual ones plugged into the process's bus.
std::shared_ptr<IHidBus> make_default_hid_bus() { return VirtualRapBus::process_bus(); }

}  // namespace devio
