// One maker per device family; the catalog picks the family of the model and
// the family builds the model's own device class.
#pragma once

#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/product_config.h"

// Null when the model is not of the family or the allocation fails.
CVDevice* NewWheelDevice(Model model);
CVDevice* NewJoystickDevice(Model model);
CVDevice* NewRumbleDevice(Model model);
