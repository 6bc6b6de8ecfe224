#include "force_feedback/legacy/com/class_table.h"

std::wstring FriendlyName(int classIndex) {
    const std::wstring maker = kMakerName;
    if (classIndex == kJoyForceApiIndex) return maker + L" Skyvane Force API DLL";
    if (classIndex == kLegacyWheelIndex) return maker + L" Legacy FF DLL";
    const ModelRow& row = Product(kClassTable[classIndex].device);
    const std::wstring prefix = row.makerTwiceInFriendlyName ? maker + L" " + maker : maker;
    return prefix + L" " + row.marketingName + L" FF DLL";
}
