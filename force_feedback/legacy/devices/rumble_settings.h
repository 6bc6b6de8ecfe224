// The rumble pads' settings indices: the three strengths and ForceEnabled
// as on the wheels, no centering spring (index 3), and the rumble settings
// at 256 to 261.
#pragma once

#include "force_feedback/legacy/devices/wheel_settings.h"

namespace rumble {
inline constexpr DWORD kAmplitudeThresholdDefault = 6320;
}  // namespace rumble

const SettingRule* FindRumbleSetting(DWORD index);
