// The model table: every per-model fact of the driver in one place, one row
// per product model in class-table order (row i is COM class index i + 1).
// Class objects, drivers, settings classes, device makers, registration, the
// OEM fix-up and the player's emulator all read their model data from here.
//
// A leaf: it includes nothing of the driver, so every layer from settings/
// up (and the tools) can read it.
//
// Adding a model: one enumerator in Model and one row at the same position
// in kModels (the next CLSID; the legacy wheel stays the last class), then
// one line in its family's header naming its device class (FFDRV_WHEEL_MODEL
// and the like). The names of its driver, factory and settings classes are
// one alias each beside their templates; nothing needs them to work.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "force_feedback/legacy/product_config.h"

// In class-table order, so a model's value is its row in kModels.
enum class Model : std::uint8_t {
    Oskra, Dastrin, Tollund, Tavrin, Drovik, Lumisk, Quintar, Ravik, Zorvel,
    Vesk, Brennick, Pelvar, Ferolla, Corrin, Wendlow, Prazen, Karvona,
};

enum class Family : std::uint8_t { Wheel, Joystick, Rumble };

// The device family a model's device class belongs to. Resolution is part of
// the family: it decides the centering command and the native condition
// classes.
enum class DeviceFamily : std::uint8_t {
    HiResWheel,
    LowResWheel,
    HiResJoystick,
    LowResJoystick,
    KarvonaStyleJoystick,
    Rumble,
};

// How the simulation thread turns the summed force into an output report.
enum class ReportLayout : std::uint8_t {
    WheelForce,     // 0x11 0x08 / 0x13, x alone decides whether to send
    JoystickForce,  // 0x51 0x08 / 0x53, x and y
    KarvonaWords,   // 64-byte report of 16-bit force words and axis blocks
    RumbleA,        // 0x51 motor report from byte 1
    RumbleB,        // 0x03 0x42 motor report from byte 0
};

// What an input report does to the device's status value.
enum class InputStatusRule : std::uint8_t {
    None,
    CorrinBits,  // bit 7 of byte 3 clear -> 1, then bit 0 of byte 11 clear -> -1
    AlwaysOne,   // every report sets 1
};

// Which set of model values the settings defaults store on top of the base.
enum class SettingsPattern : std::uint8_t {
    kRumble,  // pads: strengths and the rumble switches saved too
    kForce,   // wheels and joysticks: strengths, centring, knee and CS range
};

// A CLSID as plain numbers, so this header needs no platform type; the COM
// layer turns it into a GUID.
struct ClassGuid {
    std::uint32_t data1;
    std::uint16_t data2, data3;
    std::uint8_t data4[8];
};

// The six centring-spring range bytes, in settings-record order.
struct CenteringRange {
    std::uint8_t minK, defaultK, maxK;
    std::uint8_t minClip, defaultClip, maxClip;
};

struct ModelDefaults {
    SettingsPattern pattern;
    std::uint32_t curveKnee;
    CenteringRange cs;
    std::uint8_t reportId;
    std::uint8_t byteRangeLower;
    std::uint8_t byteRangeUpper;
    bool percentageFirst;  // stores the percentage setting before the rest
};

struct ModelRow {
    Model model;
    const char* codename;
    ClassGuid clsid;
    const char* factoryName;         // the class object's name, for listings and test names
    const wchar_t* marketingName;    // codename and family only
    bool makerTwiceInFriendlyName;   // the registered name repeats the maker: intentional, keep
    std::uint16_t productId;
    DeviceFamily family;
    ReportLayout layout;
    InputStatusRule statusRule;
    bool modeReports;       // mode-open at Open, mode-close at Close
    bool simulatedDampers;  // damper, inertia and friction run on the host
    ModelDefaults defaults;
    std::uint16_t oemFixupSlots;  // bit i: the model's product ID is entry i of the OEM fix-up list
};

// The model CLSIDs share one GUID whose first field counts up from 920B2600.
constexpr ClassGuid ModelClassGuid(std::uint32_t n) {
    return {0x920B2600u + n, 0xBE85, 0x4D30, {0x87, 0x97, 0x8B, 0xA0, 0xA2, 0x3A, 0x5D, 0x53}};
}

constexpr int kOemFixupEntries = 12;

namespace model_table_detail {

constexpr std::uint32_t kFullScale = 10000;
constexpr CenteringRange kBaseCS = {0, 4, 7, 0, 100, 150};

constexpr ModelDefaults Force(std::uint32_t knee, CenteringRange cs, std::uint8_t reportId = 0,
                              std::uint8_t lower = 0, std::uint8_t upper = 255, bool percentageFirst = false) {
    return {SettingsPattern::kForce, knee, cs, reportId, lower, upper, percentageFirst};
}

constexpr ModelDefaults Pad(std::uint8_t reportId = 0) {
    return {SettingsPattern::kRumble, kFullScale, kBaseCS, reportId, 0, 255, false};
}

constexpr std::uint16_t Oem(int entry) { return static_cast<std::uint16_t>(1u << entry); }

}  // namespace model_table_detail

// The Oskra row is the Nimbal class: its driver runs the Oskra device under
// the Nimbal name (intentional, keep). Wendlow stands twice in the OEM fix-up
// list, seventh and eleventh (intentional, keep).
constexpr auto kModels = [] {
    // Block-scope names, so nothing an includer declares can collide.
    using model_table_detail::Force;
    using model_table_detail::Oem;
    using model_table_detail::Pad;
    using M = Model;
    using DF = DeviceFamily;
    using L = ReportLayout;
    using S = InputStatusRule;
    return std::to_array<ModelRow>({
        {M::Oskra, "Oskra", ModelClassGuid(0x00), "CCFSVNimbalForce", L"Nimbal Joystick", false, 0xA202,
         DF::LowResJoystick, L::JoystickForce, S::None, false, false,
         Force(9000, {0, 4, 5, 0, 100, 101}, 0, 0, 255, /*percentageFirst=*/true), Oem(9)},
        {M::Dastrin, "Dastrin", ModelClassGuid(0x01), "CCFSVDastrin", L"Dastrin Racing Wheel", false, 0xA103,
         DF::LowResWheel, L::WheelForce, S::None, false, true, Force(9000, {0, 3, 7, 0, 90, 120}), Oem(2)},
        {M::Tollund, "Tollund", ModelClassGuid(0x02), "CCFSVTollund", L"Tollund Gamepad", false, 0xA303,
         DF::Rumble, L::RumbleA, S::None, false, true, Pad(), 0},
        {M::Tavrin, "Tavrin", ModelClassGuid(0x03), "CCFSVTavrin", L"Tavrin Joystick", false, 0xA203,
         DF::HiResJoystick, L::JoystickForce, S::None, false, false, Force(10000, {0, 11, 15, 0, 217, 255}), 0},
        {M::Drovik, "Drovik", ModelClassGuid(0x04), "CCFSVDrovik", L"Drovik Racing Wheel", false, 0xA104,
         DF::HiResWheel, L::WheelForce, S::None, true, true, Force(9500, {0, 11, 15, 0, 204, 255}), Oem(3)},
        {M::Lumisk, "Lumisk", ModelClassGuid(0x05), "CCFSVLumisk", L"Lumisk Gamepad", false, 0xA305,
         DF::Rumble, L::RumbleB, S::None, false, true, Pad(/*reportId=*/3), 0},
        {M::Quintar, "Quintar", ModelClassGuid(0x06), "CCFSVQuintar", L"Quintar Racing Wheel", false, 0xA101,
         DF::HiResWheel, L::WheelForce, S::None, true, false, Force(9500, {0, 12, 15, 0, 128, 255}), Oem(0)},
        {M::Ravik, "Ravik", ModelClassGuid(0x07), "CCFSVRavik", L"Ravik Racing Wheel", false, 0xA105,
         DF::LowResWheel, L::WheelForce, S::None, true, true,
         Force(9000, {0, 3, 7, 0, 90, 120}, /*reportId=*/0, /*lower=*/8, /*upper=*/246), Oem(4)},
        {M::Zorvel, "Zorvel", ModelClassGuid(0x08), "CCFSVZorvel", L"Zorvel Gamepad", false, 0xA301,
         DF::Rumble, L::RumbleA, S::None, false, true, Pad(), 0},
        {M::Vesk, "Vesk", ModelClassGuid(0x09), "CCFSVVesk", L"Vesk Gamepad", false, 0xA304,
         DF::Rumble, L::RumbleB, S::None, false, true, Pad(/*reportId=*/3), 0},
        {M::Brennick, "Brennick", ModelClassGuid(0x0A), "CCFSVBrennick", L"Brennick Gamepad", false, 0xA302,
         DF::Rumble, L::RumbleA, S::None, false, true, Pad(), 0},
        {M::Pelvar, "Pelvar", ModelClassGuid(0x0B), "CCFSVPelvar", L"Pelvar Racing Wheel", false, 0xA102,
         DF::HiResWheel, L::WheelForce, S::None, false, false, Force(9500, {0, 12, 15, 0, 128, 255}), Oem(1)},
        {M::Ferolla, "Ferolla", ModelClassGuid(0x0C), "CCFSVFerolla", L"Ferolla Joystick", false, 0xA201,
         DF::HiResJoystick, L::JoystickForce, S::None, false, false, Force(9000, {0, 10, 15, 0, 100, 255}), Oem(8)},
        {M::Corrin, "Corrin", ModelClassGuid(0x0D), "CCFSVCorrin", L"Corrin Racing Wheel", false, 0xA106,
         DF::HiResWheel, L::WheelForce, S::CorrinBits, false, false, Force(10000, {0, 6, 15, 0, 180, 255}), Oem(5)},
        {M::Wendlow, "Wendlow", ModelClassGuid(0x0E), "CCFSVWendlow", L"Wendlow Racing Wheel", false, 0xA107,
         DF::HiResWheel, L::WheelForce, S::None, false, false, Force(10000, {0, 6, 15, 0, 180, 255}),
         static_cast<std::uint16_t>(Oem(6) | Oem(10))},
        {M::Prazen, "Prazen", ModelClassGuid(0x0F), "CCFSVPrazen", L"Prazen Racing Wheel", false, 0xA108,
         DF::HiResWheel, L::WheelForce, S::AlwaysOne, false, false, Force(10000, {0, 6, 15, 0, 180, 255}), Oem(7)},
        {M::Karvona, "Karvona", ModelClassGuid(0x10), "CCFSVKarvona", L"Karvona Joystick", true, 0xA204,
         DF::KarvonaStyleJoystick, L::KarvonaWords, S::None, false, false,
         Force(10000, {0, 6, 15, 0, 180, 255}, /*reportId=*/2), Oem(11)},
    });
}();

constexpr int kModelCount = static_cast<int>(kModels.size());

constexpr const ModelRow& Product(Model m) { return kModels[static_cast<std::size_t>(m)]; }
constexpr const char* CodenameOf(Model m) { return Product(m).codename; }

// The COM class index of the model's own driver class.
constexpr int DriverClassOf(Model m) { return static_cast<int>(m) + 1; }

constexpr Family FamilyKind(DeviceFamily family) {
    switch (family) {
        case DeviceFamily::HiResWheel:
        case DeviceFamily::LowResWheel: return Family::Wheel;
        case DeviceFamily::HiResJoystick:
        case DeviceFamily::LowResJoystick:
        case DeviceFamily::KarvonaStyleJoystick: return Family::Joystick;
        case DeviceFamily::Rumble: return Family::Rumble;
    }
    return Family::Rumble;
}

// The row of the model with this product ID, or null for a foreign device.
constexpr const ModelRow* ModelByProductId(std::uint16_t productId) {
    for (const ModelRow& row : kModels) {
        if (row.productId == productId) return &row;
    }
    return nullptr;
}

// The model of entry `entry` of the OEM fix-up list.
constexpr Model OemFixupModel(int entry) {
    for (const ModelRow& row : kModels) {
        if (row.oemFixupSlots & (1u << entry)) return row.model;
    }
    return kModels[0].model;
}

// Mistakes a new row could make, caught when it is compiled.
namespace model_table_detail {

constexpr bool RowsFollowModelOrder() {
    for (std::size_t i = 0; i < kModels.size(); ++i) {
        if (static_cast<std::size_t>(kModels[i].model) != i) return false;
    }
    return true;
}

constexpr bool Unique(std::uint32_t (*key)(const ModelRow&)) {
    for (std::size_t i = 0; i < kModels.size(); ++i) {
        for (std::size_t j = i + 1; j < kModels.size(); ++j) {
            if (key(kModels[i]) == key(kModels[j])) return false;
        }
    }
    return true;
}

constexpr bool OemListIsComplete() {
    for (int entry = 0; entry < kOemFixupEntries; ++entry) {
        int owners = 0;
        for (const ModelRow& row : kModels) owners += (row.oemFixupSlots >> entry) & 1u;
        if (owners != 1) return false;
    }
    for (const ModelRow& row : kModels) {
        if (row.oemFixupSlots >> kOemFixupEntries) return false;
    }
    return true;
}

}  // namespace model_table_detail

static_assert(model_table_detail::RowsFollowModelOrder(), "kModels rows must follow the Model enum");
static_assert(model_table_detail::Unique([](const ModelRow& r) -> std::uint32_t { return r.productId; }),
              "two models share a product ID");
static_assert(model_table_detail::Unique([](const ModelRow& r) { return r.clsid.data1; }),
              "two models share a CLSID");
static_assert(model_table_detail::OemListIsComplete(),
              "each OEM fix-up entry needs exactly one model");
