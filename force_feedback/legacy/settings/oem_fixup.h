// Makes sure the platform's joystick OEM record of every supported product
// carries the force-feedback flag, under both HKLM and HKCU. Run once by the
// input object when it is built; registry failures are ignored.
#pragma once

#include <string>
#include <vector>

// "VID_XXXX&PID_XXXX" for each entry of the fix-up list, in its order.
std::vector<std::wstring> SupportedProductList();

void FixJoystickOemFlags(const std::vector<std::wstring>& products);
