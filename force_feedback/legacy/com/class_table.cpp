#include "force_feedback/legacy/com/class_table.h"

std::wstring FriendlyName(int classIndex) {
    const std::wstring maker = kMakerName;
    switch (classIndex) {
    case kJoyForceApiIndex:
        return maker + L" Skyvane Force API DLL";
    case kLegacyWheelIndex:
        return maker + L" Legacy FF DLL";
    case kKarvonaIndex:
        return maker + L" " + maker + L" " + kMarketingNames[classIndex] + L" FF DLL";
    default:
        return maker + L" " + kMarketingNames[classIndex] + L" FF DLL";
    }
}
