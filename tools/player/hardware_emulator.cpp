#include "tools/player/hardware_emulator.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace ffplay {
namespace {

// Legacy command bytes, as the command sets define them (offsets from report byte 1).
constexpr std::uint8_t kWheelForce = 0x11;
constexpr std::uint8_t kWheelForceOff = 0x13;
constexpr std::uint8_t kWheelCenteringOnHiRes = 0x14;
constexpr std::uint8_t kJoystickForce = 0x51;
constexpr std::uint8_t kJoystickForceOff = 0x53;
constexpr std::uint8_t kForceSubcommand = 0x08;
constexpr std::uint8_t kCenteringParams = 0xFE;
constexpr std::uint8_t kCenteringHiRes = 0x0D;
constexpr std::uint8_t kCenteringLowRes = 0x03;
constexpr std::uint8_t kCenteringOnLowRes = 0xF4;
constexpr std::uint8_t kCenteringOff = 0xF5;
constexpr std::uint8_t kStop = 0xF3;
constexpr std::uint8_t kMode = 0x09;
constexpr std::uint8_t kIndicator = 0xF8;
constexpr std::uint8_t kIndicatorSubcommand = 0x12;
// Native condition commands: byte 0 target bits | action, byte 1 type.
constexpr std::uint8_t kConditionActionMask = 0x1F;
constexpr std::uint8_t kConditionPlay = 0x01;
constexpr std::uint8_t kConditionStop = 0x03;
constexpr std::uint8_t kSpringHiRes = 0x0B;
constexpr std::uint8_t kDamperHiRes = 0x0C;
constexpr std::uint8_t kSpringLowRes = 0x01;
constexpr std::uint8_t kDamperLowRes = 0x02;
constexpr std::int32_t kStepsHiRes = 15;
constexpr std::int32_t kStepsLowRes = 7;
constexpr int kWheelEdgeLowBits = 3;
constexpr int kWheelEdgeToPosition = 5;
constexpr int kJoystickEdgeToPosition = 8;
// Rumble layouts.
constexpr std::uint8_t kRumbleAMotors = 0x51;
constexpr std::uint8_t kRumbleAStart0 = 0xFA;
constexpr std::uint8_t kRumbleAStart1 = 0xFE;
constexpr std::uint8_t kRumbleBMotors = 0x42;
// Karvona-style release feature report.
constexpr std::uint8_t kReleaseReportId = 0x04;
constexpr std::uint8_t kReleaseValue = 0x04;
constexpr std::uint8_t kKarvonaCentringMode = 0x00;  // the stick's own spring
constexpr std::uint8_t kKarvonaSpringMode = 0x01;
constexpr std::uint8_t kKarvonaDamperMode = 0x02;
constexpr double kKarvonaCoefficientMax = 50;
constexpr double kKarvonaSaturationMax = 0x7F;
constexpr double kWordMax = 0x7FFF;
constexpr double kForceMax = 127;
constexpr double kByteMax = 255;
constexpr double kPositionScale = 65535;
constexpr std::uint8_t kCentre = 0x80;


std::string Format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char* fmt, ...) {
    char buffer[256];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(buffer, sizeof buffer, fmt, args);
    va_end(args);
    return buffer;
}

bool IsWheel(EmulatedFamily f) { return f == EmulatedFamily::kHiResWheel || f == EmulatedFamily::kLowResWheel; }
bool IsHiRes(EmulatedFamily f) { return f == EmulatedFamily::kHiResWheel || f == EmulatedFamily::kHiResJoystick; }

std::int16_t Word(const std::vector<std::uint8_t>& r, int offset) {
    return static_cast<std::int16_t>(r[offset] | (r[offset + 1] << 8));
}

double Clamp(double v, double lo, double hi) { return std::min(std::max(v, lo), hi); }

// The stop every family's thread writes when it ends puts 0xF3 at byte 1,
// which here is the low byte of the X force word. No force reaches that
// word (the scale steps by 258 from 0), so a report of 0xF3 and zeros is the stop.
bool IsKarvonaStop(const std::vector<std::uint8_t>& r) {
    if (r[kKarvonaForceXOffset] != kStop) return false;
    for (size_t i = kKarvonaForceXOffset + 1; i < r.size(); ++i)
        if (r[i] != 0) return false;
    return true;
}

const char* KarvonaModeName(std::uint8_t mode) {
    if (mode == kKarvonaCentringMode) return "centring spring";
    if (mode == kKarvonaSpringMode) return "spring";
    if (mode == kKarvonaDamperMode) return "damper";
    return "unknown mode";
}

}  // namespace

EmulatedFamily FamilyOf(Model model) {
    const ModelRow& row = Product(model);
    switch (row.family) {
        case DeviceFamily::HiResWheel: return EmulatedFamily::kHiResWheel;
        case DeviceFamily::LowResWheel: return EmulatedFamily::kLowResWheel;
        case DeviceFamily::HiResJoystick: return EmulatedFamily::kHiResJoystick;
        case DeviceFamily::LowResJoystick: return EmulatedFamily::kLowResJoystick;
        case DeviceFamily::KarvonaStyleJoystick: return EmulatedFamily::kKarvona;
        case DeviceFamily::Rumble: break;
    }
    return row.layout == ReportLayout::RumbleB ? EmulatedFamily::kRumbleB : EmulatedFamily::kRumbleA;
}

const char* FamilyName(EmulatedFamily family) {
    switch (family) {
        case EmulatedFamily::kHiResWheel: return "high-resolution wheel";
        case EmulatedFamily::kLowResWheel: return "low-resolution wheel";
        case EmulatedFamily::kHiResJoystick: return "high-resolution joystick";
        case EmulatedFamily::kLowResJoystick: return "low-resolution joystick";
        case EmulatedFamily::kKarvona: return "Karvona-style joystick";
        case EmulatedFamily::kRumbleA: return "rumble pad (layout A)";
        case EmulatedFamily::kRumbleB: return "rumble pad (layout B)";
    }
    return "?";
}

CHardwareEmulator::CHardwareEmulator(EmulatedFamily family, PhysicsParams physics)
    : m_family(family), m_physics(physics) {}

int CHardwareEmulator::AxisCount() const {
    if (IsRumble()) return 0;
    return IsWheel(m_family) ? 1 : 2;
}

void CHardwareEmulator::Displace(int axis, double position, double velocity) {
    m_axes[axis].position = position;
    m_axes[axis].velocity = velocity;
}

std::int32_t CHardwareEmulator::RawAxis(int axis) const {
    return static_cast<std::int32_t>(std::lround((m_axes[axis].position + 1.0) / 2.0 * kRawMax));
}

std::string CHardwareEmulator::DecodeOutput(const std::vector<std::uint8_t>& report) {
    if (report.size() < 2) return "empty report";
    if (m_family == EmulatedFamily::kKarvona) return DecodeKarvona(report);
    if (IsRumble()) return DecodeRumble(report);
    return DecodeCommand(report.data() + 1, report.size() - 1);
}

std::string CHardwareEmulator::DecodeFeature(const std::vector<std::uint8_t>& report) {
    if (report.size() >= 2 && report[0] == kReleaseReportId && report[1] == kReleaseValue) {
        m_karvona = {};
        m_command = {};
        return "release: the stick returns to its own centering";
    }
    return "unknown feature report";
}

int CHardwareEmulator::SlotOf(std::uint8_t targetBits) const {
    const std::uint8_t bits = targetBits & ~kConditionActionMask;
    if (IsWheel(m_family)) {
        if (bits == 0x20) return 0;
        if (bits == 0x40) return 1;
        if (bits == 0x80) return 2;
        return -1;
    }
    if (bits == 0x20) return 0;
    if (bits == 0x80) return 1;
    return -1;
}

std::string CHardwareEmulator::DecodeCommand(const std::uint8_t* c, size_t n) {
    const bool joystick = !IsWheel(m_family);
    if (n >= 4 && c[0] == (joystick ? kJoystickForce : kWheelForce) && c[1] == kForceSubcommand)
        return DecodeForce(c, joystick);
    if (c[0] == (joystick ? kJoystickForceOff : kWheelForceOff)) {
        m_command = {};
        return "force off";
    }
    if (n >= 7 && c[0] == kCenteringParams) return DecodeCentering(c);
    const bool centeringOnHiRes = IsWheel(m_family) && IsHiRes(m_family);
    if (c[0] == (centeringOnHiRes ? kWheelCenteringOnHiRes : kCenteringOnLowRes)) {
        m_centeringOn = true;
        return "centering spring on";
    }
    if (c[0] == kCenteringOff) {
        m_centeringOn = false;
        return "centering spring off";
    }
    if (c[0] == kStop) {
        m_stopped = true;
        m_command = {};
        for (NativeCondition& s : m_slots) s.active = false;
        return "stop: all forces off";
    }
    if (n >= 2 && c[0] == kMode) {
        m_mode = c[1];
        return Format("mode %s (0x%02X)", c[1] == 0x03 ? "open" : c[1] == 0x01 ? "close" : "?", c[1]);
    }
    if (n >= 3 && c[0] == kIndicator && c[1] == kIndicatorSubcommand) {
        m_lights = c[2];
        std::string lights;
        for (int i = 0; i < 5; ++i) lights += (c[2] >> i) & 1 ? '*' : '.';
        return Format("indicator lights [%s]", lights.c_str());
    }
    if (n >= 7 && SlotOf(c[0]) >= 0) return DecodeCondition(c);
    return Format("unknown command 0x%02X", c[0]);
}

std::string CHardwareEmulator::DecodeForce(const std::uint8_t* c, bool joystick) {
    m_stopped = false;
    m_command[0] = c[2] - kCentre;
    // The second force byte is mirrored on the wire.
    m_command[1] = joystick ? kCentre - c[3] : 0;
    if (!joystick) return Format("force x=%+d (second channel 0x%02X)", m_command[0], c[3]);
    return Format("force x=%+d y=%+d", m_command[0], m_command[1]);
}

std::string CHardwareEmulator::DecodeCentering(const std::uint8_t* c) {
    const bool hiRes = c[1] == kCenteringHiRes;
    if (!hiRes && c[1] != kCenteringLowRes) return Format("unknown centering command 0x%02X", c[1]);
    m_centeringK = c[2];
    m_centeringS = c[4];
    return Format("centering parameters (%s) k=%u/%u s=%u", hiRes ? "high resolution" : "low resolution", c[2], c[3],
                  c[4]);
}

std::string CHardwareEmulator::DecodeCondition(const std::uint8_t* c) {
    const int slot = SlotOf(c[0]);
    const char* where = IsWheel(m_family) ? "slot" : "axis";
    NativeCondition& s = m_slots[slot];
    const std::uint8_t action = c[0] & kConditionActionMask;
    if (action == kConditionStop) {
        s.active = false;
        return Format("condition %s %d stopped", where, slot);
    }
    if (action != kConditionPlay) return Format("unknown condition action 0x%02X", c[0]);
    const bool hiRes = IsHiRes(m_family);
    const std::uint8_t springType = hiRes ? kSpringHiRes : kSpringLowRes;
    const std::uint8_t damperType = hiRes ? kDamperHiRes : kDamperLowRes;
    if (c[1] != springType && c[1] != damperType) return Format("unknown condition type 0x%02X", c[1]);
    s.active = true;
    s.damper = c[1] == damperType;
    s.steps = hiRes ? kStepsHiRes : kStepsLowRes;
    if (s.damper) {
        s.negative = c[3] ? -c[2] : c[2];
        s.positive = c[5] ? -c[4] : c[4];
        s.clip = static_cast<std::int32_t>(kByteMax);
        return Format("damper %s %d k+=%d k-=%d (of %d)", where, slot, s.positive, s.negative, s.steps);
    }
    s.positive = (c[5] >> 4) & 1 ? -(c[4] >> 4) : (c[4] >> 4);
    s.negative = c[5] & 1 ? -(c[4] & 0x0F) : (c[4] & 0x0F);
    s.clip = c[6];
    if (IsWheel(m_family)) {
        s.lower = ((c[2] << kWheelEdgeLowBits) | ((c[5] >> 1) & 7)) << kWheelEdgeToPosition;
        s.upper = ((c[3] << kWheelEdgeLowBits) | ((c[5] >> 5) & 7)) << kWheelEdgeToPosition;
    } else {
        s.lower = c[2] << kJoystickEdgeToPosition;
        s.upper = c[3] << kJoystickEdgeToPosition;
    }
    return Format("spring %s %d edges %d..%d k+=%d k-=%d (of %d) clip=%d", where, slot, s.lower, s.upper, s.positive,
                  s.negative, s.steps, s.clip);
}

std::string CHardwareEmulator::DecodeKarvona(const std::vector<std::uint8_t>& r) {
    if (IsKarvonaStop(r)) {
        m_stopped = true;
        m_command = {};
        m_karvona = {};
        return "stop: all forces off";
    }
    if (r.size() < kKarvonaBlockYOffset + 4) return "short Karvona report";
    m_stopped = false;
    // The driver negates X on the wire and sends Y as it is.
    m_command[0] = static_cast<int>(std::lround(-Word(r, kKarvonaForceXOffset) * kForceMax / kWordMax));
    m_command[1] = static_cast<int>(std::lround(Word(r, kKarvonaForceYOffset) * kForceMax / kWordMax));
    std::string text = Format("force x=%+d y=%+d", m_command[0], m_command[1]);
    const int offsets[2] = {kKarvonaBlockXOffset, kKarvonaBlockYOffset};
    for (int axis = 0; axis < 2; ++axis) {
        const std::uint8_t* b = r.data() + offsets[axis];
        m_karvona[axis] = {b[0], b[1], b[2], b[3]};
        if (b[1] == 0) continue;
        text += Format("; %c %s k=%u sat=%u db=%u", axis ? 'Y' : 'X', KarvonaModeName(b[0]), b[1], b[2], b[3]);
    }
    return text;
}

std::string CHardwareEmulator::DecodeRumble(const std::vector<std::uint8_t>& r) {
    if (m_family == EmulatedFamily::kRumbleA) {
        if (r[1] == kRumbleAMotors && r.size() >= 6) {
            m_motors = {r[3], r[5]};
            return Format("motors A=%u B=%u", r[3], r[5]);
        }
        if (r.size() >= 3 && r[1] == kRumbleAStart0 && r[2] == kRumbleAStart1) return "start";
        if (r[1] == kStop) {
            m_motors = {};
            return "stop: motors off";
        }
        return Format("unknown command 0x%02X", r[1]);
    }
    // Layout B: byte 0 carries the report ID on the wire, so only byte 1 is looked at.
    if (r[1] == kRumbleBMotors && r.size() >= 5) {
        m_motors = {r[3], r[4]};
        return m_motors[0] == 0 && m_motors[1] == 0 ? std::string("motors off") : Format("motors A=%u B=%u", r[3], r[4]);
    }
    return Format("unknown command 0x%02X", r[1]);
}

double CHardwareEmulator::ConditionForce(const NativeCondition& c, const AxisState& a) const {
    if (c.damper) {
        const double k = (a.velocity >= 0 ? c.positive : c.negative) / static_cast<double>(c.steps);
        return Clamp(-k * m_physics.damperGain * a.velocity, -1, 1);
    }
    const double u = (a.position + 1.0) / 2.0 * kPositionScale;
    const double half = kPositionScale / 2;
    const double limit = c.clip / kByteMax;
    if (u > c.upper) return Clamp(-c.positive / double(c.steps) * m_physics.springGain * (u - c.upper) / half, -limit, limit);
    if (u < c.lower) return Clamp(c.negative / double(c.steps) * m_physics.springGain * (c.lower - u) / half, -limit, limit);
    return 0;
}

double CHardwareEmulator::KarvonaForce(const KarvonaBlock& b, const AxisState& a) const {
    const double k = b.coefficient / kKarvonaCoefficientMax;
    const double limit = b.saturation / kKarvonaSaturationMax;
    if (b.mode == kKarvonaDamperMode) return Clamp(-k * m_physics.damperGain * a.velocity, -limit, limit);
    if (b.mode != kKarvonaSpringMode && b.mode != kKarvonaCentringMode) return 0;
    const double dead = b.deadBand / kByteMax;
    if (std::fabs(a.position) <= dead) return 0;
    const double beyond = a.position > 0 ? a.position - dead : a.position + dead;
    return Clamp(-k * m_physics.springGain * beyond, -limit, limit);
}

double CHardwareEmulator::AxisForce(int axis) const {
    const AxisState& a = m_axes[axis];
    // The driver's force values name the side the force comes from, as
    // DirectInput's directions do: its host spring sends a positive force
    // for a wheel turned to the right, so a positive command pushes left.
    double f = -m_command[axis] / kForceMax;
    if (m_family == EmulatedFamily::kKarvona) return f + KarvonaForce(m_karvona[axis], a);
    if (m_centeringOn) {
        const double limit = m_centeringS / kByteMax;
        f += Clamp(-m_centeringK / kByteMax * m_physics.centeringGain * a.position, -limit, limit);
    }
    for (size_t i = 0; i < m_slots.size(); ++i) {
        const bool onAxis = IsWheel(m_family) || static_cast<int>(i) == axis;
        if (m_slots[i].active && onAxis) f += ConditionForce(m_slots[i], a);
    }
    return f;
}

void CHardwareEmulator::Step(double seconds) {
    for (int axis = 0; axis < AxisCount(); ++axis) {
        AxisState& a = m_axes[axis];
        a.force = Clamp(AxisForce(axis), -1, 1);  // the motor's torque limit
        a.velocity += (a.force - m_physics.friction * a.velocity) / m_physics.inertia * seconds;
        a.position += a.velocity * seconds;
        if (std::fabs(a.position) >= 1.0) {  // end stop
            a.position = a.position > 0 ? 1.0 : -1.0;
            a.velocity = 0;
        }
    }
}

}  // namespace ffplay
