#include "force_feedback/legacy/devices/family_factories.h"

// The wheel family's device classes are not built in yet: its models cannot be
// opened, and DeviceID reports E_OUTOFMEMORY for them.
CVDevice* NewWheelDevice(Model) { return nullptr; }
