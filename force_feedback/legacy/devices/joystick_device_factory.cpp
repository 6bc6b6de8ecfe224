#include "force_feedback/legacy/devices/family_factories.h"

// The joystick family's device classes are not built in yet: its models cannot be
// opened, and DeviceID reports E_OUTOFMEMORY for them.
CVDevice* NewJoystickDevice(Model) { return nullptr; }
