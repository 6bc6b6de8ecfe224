// Which device class each model's driver creates. Drivers never name device
// classes directly; they ask the catalog for their row's model.
#pragma once

#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/model_table.h"

// A new, unopened device of the model's class, or null when it cannot be
// made (allocation failure, or a model whose device class is not built in).
CVDevice* NewDevice(Model model);

// Tests replace the catalog to drive the driver with test doubles. Returns
// the previous maker; null restores the built-in catalog.
using DeviceMaker = CVDevice* (*)(Model);
DeviceMaker SetDeviceMakerForTesting(DeviceMaker maker);
