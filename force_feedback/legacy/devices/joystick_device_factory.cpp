#include <new>

#include "force_feedback/legacy/devices/family_factories.h"
#include "force_feedback/legacy/devices/joystick_device.h"
#include "force_feedback/legacy/devices/karvona_device.h"

namespace {

template <typename T>
CVDevice* Make() {
    return new (std::nothrow) T();
}

struct JoystickModelRow {
    Model model;
    CVDevice* (*make)();
};

// The Nimbal driver opens the Oskra device: its class-table row names Oskra.
constexpr JoystickModelRow kJoystickModels[] = {
    {Model::Ferolla, Make<CVFerollaJoystickDevice>},
    {Model::Oskra, Make<CVOskraJoystickDevice>},
    {Model::Tavrin, Make<CVTavrinJoystickDevice>},
    {Model::Karvona, Make<CVKarvonaJoystickDevice>},
};

}  // namespace

CVDevice* NewJoystickDevice(Model model) {
    for (const JoystickModelRow& row : kJoystickModels) {
        if (row.model == model) return row.make();
    }
    return nullptr;
}
