// The centering spring of the wheels and the wheel-like joysticks: the
// spring coefficient k and saturation s for a user strength, and the
// commands that ApplyCenteringSettings queues for them. Pure: the device
// reads the settings and the state word and hands the values in.
#pragma once

#include "com_abi.h"
#include "force_feedback/legacy/devices/family_table.h"
#include "force_feedback/legacy/sim/wheel_reports.h"

namespace centering {

inline constexpr BYTE kCmdParameters = 0xFE;
inline constexpr BYTE kHiResSelector = 0x0D;
inline constexpr BYTE kLowResSelector = 0x03;
inline constexpr BYTE kCmdOnHiResWheel = 0x14;
inline constexpr BYTE kCmdOnLowRes = 0xF4;  // also the high-resolution joysticks
inline constexpr BYTE kCmdOff = 0xF5;
inline constexpr unsigned kParametersLength = 7;

// The strength at which the spring takes its default values, and the span
// above it that reaches the maxima (10000 -> default, 15000 -> maximum).
inline constexpr DWORD kDefaultStrength = 10000;
inline constexpr LONG kUpperSpan = 5000;

}  // namespace centering

// The six centering bytes of the settings: coefficient and saturation ranges.
struct CenteringBytes {
    BYTE coefficientMin;
    BYTE coefficientDefault;
    BYTE coefficientMax;
    BYTE saturationMin;
    BYTE saturationDefault;
    BYTE saturationMax;
};

struct CenteringLevel {
    LONG k;
    LONG s;
};

// One of three values (minimum, default, maximum) scaled by strength.
LONG CenteringValue(DWORD strength, LONG minimum, LONG deflt, LONG maximum);

CenteringLevel ComputeCentering(DWORD strength, const CenteringBytes& bytes);

// What one device class sends: its parameter selector, its centering-on
// command, and whether its protocol swaps coefficients 5 and 6.
struct CenteringProtocol {
    BYTE selector;
    BYTE onCommand;
    bool swapFiveSix;
};

inline constexpr CenteringProtocol kHiResWheelCentering{centering::kHiResSelector, centering::kCmdOnHiResWheel, false};
inline constexpr CenteringProtocol kLowResWheelCentering{centering::kLowResSelector, centering::kCmdOnLowRes, true};
inline constexpr CenteringProtocol kHiResJoystickCentering{centering::kHiResSelector, centering::kCmdOnLowRes, false};
inline constexpr CenteringProtocol kLowResJoystickCentering{centering::kLowResSelector, centering::kCmdOnLowRes, true};

// The protocol of a wheel or wheel-like joystick family; null for the
// Karvona style and rumble pads, which have no centering command.
const CenteringProtocol* CenteringProtocolOf(DeviceFamily family);

// Everything ApplyCenteringSettings does once it has a thread: queue
// `parameters` then `switchCommand`, and store `appliedValue` as the
// settings' applied centering value (flags 0, 1).
struct CenteringPlan {
    CommandBuffer parameters;     // 7 meaningful bytes, then zeros
    CommandBuffer switchCommand;  // centering on or off
    DWORD appliedValue;
};

// actuatorsOff: the device state word has DIGFFS_ACTUATORSOFF.
// centeringEnabled: the settings' centering flag, read at the call.
CenteringPlan PlanCentering(const CenteringProtocol& protocol, DWORD strength, const CenteringBytes& bytes,
                            bool actuatorsOff, bool centeringEnabled);
