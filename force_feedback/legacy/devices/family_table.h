// Per-model family table: which device family, protocol resolution and
// report layout each model uses, and the few behaviours that set one model
// apart from its family. The device classes, their simulation threads and
// the effect choice read it instead of testing for models in code.
#pragma once

#include <array>
#include <cstdint>

#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/product_config.h"

enum class DeviceFamily : std::uint8_t {
    HiResWheel,
    LowResWheel,
    HiResJoystick,
    LowResJoystick,
    KarvonaStyleJoystick,
    Rumble,
};

// Which centering-parameter selector the family speaks; rumble pads have none.
enum class Resolution : std::uint8_t { High, Low, None };

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

struct FamilyRow {
    Model model;
    DeviceFamily family;
    Resolution resolution;
    ReportLayout layout;
    bool modeReports;       // mode-open at Open, mode-close at Close
    bool simulatedDampers;  // damper, inertia and friction run on the host
    bool bridge;            // commands also travel through the devio bridge
    InputStatusRule statusRule;
};

namespace family_detail {
using DF = DeviceFamily;
using R = Resolution;
using L = ReportLayout;
using S = InputStatusRule;
}  // namespace family_detail

// Indexed by Model, in the same order as kProducts.
constexpr std::array<FamilyRow, kModelCount> kFamilyTable = [] {
    using namespace family_detail;
    return std::array<FamilyRow, kModelCount>{{
        // model            family                   resolution  layout            mode   simDamp bridge status
        {Model::Quintar, DF::HiResWheel, R::High, L::WheelForce, true, false, false, S::None},
        {Model::Pelvar, DF::HiResWheel, R::High, L::WheelForce, false, false, false, S::None},
        {Model::Dastrin, DF::LowResWheel, R::Low, L::WheelForce, false, true, false, S::None},
        {Model::Drovik, DF::HiResWheel, R::High, L::WheelForce, true, true, false, S::None},
        {Model::Ravik, DF::LowResWheel, R::Low, L::WheelForce, true, true, false, S::None},
        {Model::Corrin, DF::HiResWheel, R::High, L::WheelForce, false, false, false, S::CorrinBits},
        {Model::Wendlow, DF::HiResWheel, R::High, L::WheelForce, false, false, false, S::None},
        {Model::Prazen, DF::HiResWheel, R::High, L::WheelForce, false, false, true, S::AlwaysOne},
        {Model::Ferolla, DF::HiResJoystick, R::High, L::JoystickForce, false, false, false, S::None},
        {Model::Oskra, DF::LowResJoystick, R::Low, L::JoystickForce, false, false, false, S::None},
        {Model::Tavrin, DF::HiResJoystick, R::High, L::JoystickForce, false, false, false, S::None},
        {Model::Karvona, DF::KarvonaStyleJoystick, R::None, L::KarvonaWords, false, false, false, S::None},
        {Model::Zorvel, DF::Rumble, R::None, L::RumbleA, false, true, false, S::None},
        {Model::Brennick, DF::Rumble, R::None, L::RumbleA, false, true, false, S::None},
        {Model::Tollund, DF::Rumble, R::None, L::RumbleA, false, true, false, S::None},
        {Model::Vesk, DF::Rumble, R::None, L::RumbleB, false, true, false, S::None},
        {Model::Lumisk, DF::Rumble, R::None, L::RumbleB, false, true, false, S::None},
    }};
}();

constexpr bool FamilyTableFollowsModelOrder() {
    for (std::size_t i = 0; i < kFamilyTable.size(); ++i) {
        if (static_cast<std::size_t>(kFamilyTable[i].model) != i) return false;
        if (kProducts[i].model != kFamilyTable[i].model) return false;
    }
    return true;
}
static_assert(FamilyTableFollowsModelOrder(), "kFamilyTable rows must follow the Model enum");

constexpr const FamilyRow& FamilyOf(Model m) { return kFamilyTable[static_cast<std::size_t>(m)]; }

constexpr const char* CodenameOf(Model m) { return Product(m).codename; }

// The row of the model with this product ID, or null for a foreign device.
// The wheels pick their damper class from the product ID that the HID
// attributes report, not from the class they were created as.
constexpr const FamilyRow* FamilyByProductId(std::uint16_t productId) {
    for (const ProductInfo& p : kProducts) {
        if (p.productId == productId) return &FamilyOf(p.model);
    }
    return nullptr;
}

// The effect classes a device of this row creates, with the row's own product
// plugged in (a wheel follows the product it finds, see CVWheelDevice).
constexpr EffectFamily EffectFamilyOf(const FamilyRow& row) {
    switch (row.family) {
        case DeviceFamily::HiResWheel:
            return row.simulatedDampers ? EffectFamily::kHiResWheelSimulatedDampers : EffectFamily::kHiResWheel;
        case DeviceFamily::LowResWheel: return EffectFamily::kLowResWheel;
        case DeviceFamily::HiResJoystick: return EffectFamily::kHiResJoystick;
        case DeviceFamily::LowResJoystick: return EffectFamily::kLowResJoystick;
        case DeviceFamily::KarvonaStyleJoystick: return EffectFamily::kKarvonaStyleJoystick;
        case DeviceFamily::Rumble: return EffectFamily::kRumble;
    }
    return EffectFamily::kRumble;
}

constexpr bool IsWheel(const FamilyRow& row) {
    return row.family == DeviceFamily::HiResWheel || row.family == DeviceFamily::LowResWheel;
}
