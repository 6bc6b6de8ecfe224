// Which device class each model's row makes. Each family's header names the
// classes of its models; the catalog makes them from the model table, so a
// row whose model has no device class does not build.
#pragma once

#include "force_feedback/legacy/model_table.h"

template <Model M>
struct ModelDevice;  // no definition: see FFDRV_MODEL_DEVICE

#define FFDRV_MODEL_DEVICE(Codename, Class) \
    template <>                             \
    struct ModelDevice<Model::Codename> {   \
        using type = Class;                 \
    }
