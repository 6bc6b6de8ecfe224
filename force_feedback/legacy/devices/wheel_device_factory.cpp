#include "force_feedback/legacy/devices/family_factories.h"

#include <new>

#include "force_feedback/legacy/devices/wheel_device.h"

// The legacy-wheel driver and the settings interface also come here for the
// Prazen wheel: they create the same class.
CVDevice* NewWheelDevice(Model model) {
    switch (model) {
        case Model::Quintar: return new (std::nothrow) CVQuintarWheelDevice();
        case Model::Pelvar: return new (std::nothrow) CVPelvarWheelDevice();
        case Model::Wendlow: return new (std::nothrow) CVWendlowWheelDevice();
        case Model::Corrin: return new (std::nothrow) CVCorrinWheelDevice();
        case Model::Drovik: return new (std::nothrow) CVDrovikWheelDevice();
        case Model::Prazen: return new (std::nothrow) CVPrazenWheelDevice();
        case Model::Dastrin: return new (std::nothrow) CVDastrinWheelDevice();
        case Model::Ravik: return new (std::nothrow) CVRavikWheelDevice();
        default: return nullptr;
    }
}
