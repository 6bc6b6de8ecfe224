#include <new>

#include "force_feedback/legacy/devices/family_factories.h"
#include "force_feedback/legacy/devices/rumble_device.h"

namespace {

template <typename Device>
CVDevice* Make() {
    return new (std::nothrow) Device();
}

struct RumbleMaker {
    Model model;
    CVDevice* (*make)();
};

constexpr RumbleMaker kRumbleMakers[] = {
    {Model::Zorvel, &Make<CVZorvelRumbleDevice>}, {Model::Brennick, &Make<CVBrennickRumbleDevice>},
    {Model::Tollund, &Make<CVTollundRumbleDevice>}, {Model::Vesk, &Make<CVVeskRumbleDevice>},
    {Model::Lumisk, &Make<CVLumiskRumbleDevice>},
};

}  // namespace

CVDevice* NewRumbleDevice(Model model) {
    for (const RumbleMaker& maker : kRumbleMakers) {
        if (maker.model == model) return maker.make();
    }
    return nullptr;
}
