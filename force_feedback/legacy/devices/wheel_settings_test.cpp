// Settings index rules of the wheel-like and rumble families.
#include "force_feedback/legacy/devices/wheel_settings.h"

#include <gtest/gtest.h>

#include <string>

#include "force_feedback/legacy/devices/rumble_settings.h"

namespace {

struct IndexCase {
    const char* name;
    bool rumble;
    DWORD index;
    DWORD value;
    HRESULT expected;
};

class SettingIndexTest : public ::testing::TestWithParam<IndexCase> {};

TEST_P(SettingIndexTest, AcceptsOrRefuses) {
    const IndexCase& c = GetParam();
    const SettingRule* rule = c.rumble ? FindRumbleSetting(c.index) : FindWheelSetting(c.index);
    EXPECT_EQ(c.expected, CheckSettingValue(rule, c.value));
}

INSTANTIATE_TEST_SUITE_P(
    Families, SettingIndexTest,
    ::testing::Values(IndexCase{"WheelStrengthAtLimit", false, 0, 15000, S_OK},
                      IndexCase{"WheelStrengthAboveLimit", false, 2, 15001, E_INVALIDARG},
                      IndexCase{"WheelCenteringAtLimit", false, 3, 15000, S_OK},
                      IndexCase{"WheelCenteringAboveLimit", false, 3, 15001, E_INVALIDARG},
                      IndexCase{"WheelForceEnabledAnyValue", false, 4, 0xFFFFFFFF, S_OK},
                      IndexCase{"WheelIndexFive", false, 5, 0, E_INVALIDARG},
                      IndexCase{"WheelPersistentCentering", false, 6, 12345678, S_OK},
                      IndexCase{"WheelIndexSeven", false, 7, 0, E_INVALIDARG},
                      IndexCase{"WheelRumbleIndex", false, 256, 0, E_INVALIDARG},
                      IndexCase{"RumbleStrengthAboveLimit", true, 1, 15001, E_INVALIDARG},
                      IndexCase{"RumbleIndexThree", true, 3, 0, E_INVALIDARG},
                      IndexCase{"RumbleIndexFive", true, 5, 0, E_INVALIDARG},
                      IndexCase{"RumbleThresholdAnyValue", true, 257, 99999, S_OK},
                      IndexCase{"RumbleFlipToY", true, 261, 1, S_OK},
                      IndexCase{"RumbleIndex255", true, 255, 0, E_INVALIDARG},
                      IndexCase{"RumbleIndex262", true, 262, 0, E_INVALIDARG},
                      IndexCase{"RumbleNegativeIndex", true, static_cast<DWORD>(-1), 0, E_INVALIDARG}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SettingDefaultsTest, AnswersOfADeviceWithoutSettings) {
    EXPECT_EQ(10000u, FindWheelSetting(3)->defaultWithoutSettings);
    EXPECT_EQ(0u, FindWheelSetting(4)->defaultWithoutSettings);
    EXPECT_EQ(1u, FindWheelSetting(6)->defaultWithoutSettings);
    EXPECT_EQ(6320u, FindRumbleSetting(257)->defaultWithoutSettings);
    EXPECT_EQ(0u, FindRumbleSetting(256)->defaultWithoutSettings);
}

}  // namespace
