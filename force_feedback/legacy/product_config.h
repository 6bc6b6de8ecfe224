// Product configuration: the maker's vendor ID, the product IDs and marketing
// names of every supported model, and the order of the OEM fix-up list.
// Everything that names a product reads it from here.
#pragma once

#include <array>
#include <cstdint>

enum class Model : std::uint8_t {
    Quintar, Pelvar, Dastrin, Drovik, Ravik, Corrin, Wendlow, Prazen,  // wheels
    Ferolla, Oskra, Tavrin, Karvona,                                    // force joysticks
    Zorvel, Brennick, Tollund, Vesk, Lumisk,                            // rumble pads
};
constexpr int kModelCount = 17;

enum class Family : std::uint8_t { Wheel, Joystick, Rumble };

struct ProductInfo {
    Model model;
    const char* codename;
    std::uint16_t productId;
    Family family;
};

constexpr const wchar_t* kMakerName = L"Corvanta";
constexpr std::uint16_t kVendorId = 0xC7A5;

// Indexed by Model.
constexpr std::array<ProductInfo, kModelCount> kProducts = {{
    {Model::Quintar, "Quintar", 0xA101, Family::Wheel},
    {Model::Pelvar, "Pelvar", 0xA102, Family::Wheel},
    {Model::Dastrin, "Dastrin", 0xA103, Family::Wheel},
    {Model::Drovik, "Drovik", 0xA104, Family::Wheel},
    {Model::Ravik, "Ravik", 0xA105, Family::Wheel},
    {Model::Corrin, "Corrin", 0xA106, Family::Wheel},
    {Model::Wendlow, "Wendlow", 0xA107, Family::Wheel},
    {Model::Prazen, "Prazen", 0xA108, Family::Wheel},
    {Model::Ferolla, "Ferolla", 0xA201, Family::Joystick},
    {Model::Oskra, "Oskra", 0xA202, Family::Joystick},
    {Model::Tavrin, "Tavrin", 0xA203, Family::Joystick},
    {Model::Karvona, "Karvona", 0xA204, Family::Joystick},
    {Model::Zorvel, "Zorvel", 0xA301, Family::Rumble},
    {Model::Brennick, "Brennick", 0xA302, Family::Rumble},
    {Model::Tollund, "Tollund", 0xA303, Family::Rumble},
    {Model::Vesk, "Vesk", 0xA304, Family::Rumble},
    {Model::Lumisk, "Lumisk", 0xA305, Family::Rumble},
}};

constexpr const ProductInfo& Product(Model m) { return kProducts[static_cast<std::size_t>(m)]; }

// Products whose joystick OEM record gets the force-feedback flag. Wendlow
// stands in it twice (seventh and eleventh): intentional, keep.
constexpr std::array<Model, 12> kOemFixupProducts = {
    Model::Quintar, Model::Pelvar, Model::Dastrin, Model::Drovik, Model::Ravik,  Model::Corrin,
    Model::Wendlow, Model::Prazen, Model::Ferolla, Model::Oskra,  Model::Wendlow, Model::Karvona,
};

// Marketing names that make up the registered friendly names, in class-table
// order (index 0, the settings interface, has none).
constexpr std::array<const wchar_t*, 19> kMarketingNames = {
    nullptr,
    L"Nimbal Joystick",
    L"Dastrin Racing Wheel",
    L"Tollund Gamepad",
    L"Tavrin Joystick",
    L"Drovik Racing Wheel",
    L"Lumisk Gamepad",
    L"Quintar Racing Wheel",
    L"Ravik Racing Wheel",
    L"Zorvel Gamepad",
    L"Vesk Gamepad",
    L"Brennick Gamepad",
    L"Pelvar Racing Wheel",
    L"Ferolla Joystick",
    L"Corrin Racing Wheel",
    L"Wendlow Racing Wheel",
    L"Prazen Racing Wheel",
    L"Karvona Joystick",
    nullptr,
};
