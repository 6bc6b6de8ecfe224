// A stand-in for the hardware behind the driver: it reads every output and
// feature report the way a device of the model's family would, keeps the
// state such a device keeps (running force, centering spring, native
// condition slots, motors, lights) and moves a simple wheel or stick under
// those forces, so that a player can feed the position back as input.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "force_feedback/legacy/model_table.h"

namespace ffplay {

enum class EmulatedFamily { kHiResWheel, kLowResWheel, kHiResJoystick, kLowResJoystick, kKarvona, kRumbleA, kRumbleB };

EmulatedFamily FamilyOf(Model model);
const char* FamilyName(EmulatedFamily family);

// Where the Karvona-style periodic report keeps its words and axis blocks.
inline constexpr int kKarvonaForceXOffset = 1;
inline constexpr int kKarvonaForceYOffset = 31;
inline constexpr int kKarvonaBlockXOffset = 3;
inline constexpr int kKarvonaBlockYOffset = 33;
inline constexpr int kKarvonaReportSize = 64;

// A condition the device plays by itself, in the device's own units.
struct NativeCondition {
    bool active = false;
    bool damper = false;
    std::int32_t lower = 0;  // spring edges on the 0..65535 position scale
    std::int32_t upper = 0;
    std::int32_t positive = 0;  // signed coefficient steps
    std::int32_t negative = 0;
    std::int32_t steps = 15;    // full-scale coefficient
    std::int32_t clip = 255;    // 0..255 of full force
};

// Karvona-style axis block: mode, coefficient 0..50, saturation 0..0x7F, dead band 0..0xFF.
struct KarvonaBlock {
    std::uint8_t mode = 0;
    std::uint8_t coefficient = 0;
    std::uint8_t saturation = 0;
    std::uint8_t deadBand = 0;
};

struct PhysicsParams {
    double inertia = 0.05;    // full force accelerates by 1/inertia travel per s^2
    double friction = 0.4;    // viscous, force per travel per s
    double centeringGain = 4.0;  // full centering coefficient: force per travel
    double springGain = 2.0;     // full condition coefficient: full force at half travel
    double damperGain = 0.5;     // full damper coefficient: full force at 2 travel/s
};

struct AxisState {
    double position = 0;  // -1 (full left/up) .. 1
    double velocity = 0;  // travel per second
    double force = 0;     // last total force, -1..1, positive pushes toward +1
};

// Role: decodes reports and integrates the model. Owner: the player (one per
// played device). Calling thread: the player's thread only; no lock.
class CHardwareEmulator {
public:
    explicit CHardwareEmulator(EmulatedFamily family, PhysicsParams physics = {});

    // Applies a report (byte 0 is the report ID) and returns what it means.
    std::string DecodeOutput(const std::vector<std::uint8_t>& report);
    std::string DecodeFeature(const std::vector<std::uint8_t>& report);
    void Step(double seconds);

    EmulatedFamily Family() const { return m_family; }
    bool IsRumble() const { return m_family == EmulatedFamily::kRumbleA || m_family == EmulatedFamily::kRumbleB; }
    int AxisCount() const;
    const AxisState& Axis(int axis) const { return m_axes[axis]; }
    void Displace(int axis, double position, double velocity);
    // Commanded force of the running force command, -127..127 per axis, in
    // the driver's sign: positive pushes toward -1.
    int CommandForce(int axis) const { return m_command[axis]; }
    int Motor(int motor) const { return m_motors[motor]; }
    bool CenteringOn() const { return m_centeringOn; }
    int CenteringCoefficient() const { return m_centeringK; }
    int CenteringSaturation() const { return m_centeringS; }
    const NativeCondition& Slot(int slot) const { return m_slots[slot]; }
    const KarvonaBlock& KarvonaAxis(int axis) const { return m_karvona[axis]; }
    int Lights() const { return m_lights; }
    bool Stopped() const { return m_stopped; }
    int Mode() const { return m_mode; }
    // Raw HID input values for a 0..kRawMax axis.
    std::int32_t RawAxis(int axis) const;
    static constexpr std::int32_t kRawMax = 1023;

private:
    std::string DecodeCommand(const std::uint8_t* c, size_t n);
    std::string DecodeCondition(const std::uint8_t* c);
    std::string DecodeForce(const std::uint8_t* c, bool joystick);
    std::string DecodeCentering(const std::uint8_t* c);
    std::string DecodeKarvona(const std::vector<std::uint8_t>& r);
    std::string DecodeRumble(const std::vector<std::uint8_t>& r);
    int SlotOf(std::uint8_t targetBits) const;
    double AxisForce(int axis) const;
    double ConditionForce(const NativeCondition& c, const AxisState& a) const;
    double KarvonaForce(const KarvonaBlock& b, const AxisState& a) const;

    EmulatedFamily m_family;
    PhysicsParams m_physics;
    std::array<AxisState, 2> m_axes{};
    std::array<int, 2> m_command{};
    std::array<int, 2> m_motors{};
    std::array<NativeCondition, 3> m_slots{};
    std::array<KarvonaBlock, 2> m_karvona{};
    bool m_centeringOn = false;
    int m_centeringK = 0;
    int m_centeringS = 0;
    int m_lights = 0;
    int m_mode = 0;
    bool m_stopped = false;
};

}  // namespace ffplay
