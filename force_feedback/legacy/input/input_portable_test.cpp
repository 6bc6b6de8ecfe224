// CInput against virtual devices: discovery by joystick ID, identification,
// calibration scaling and input report parsing.
#include "force_feedback/legacy/input/input.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <vector>

#include "force_feedback/legacy/testing/virtual_clock.h"

namespace {
constexpr std::uint32_t kWheelId = 2;
constexpr std::uint32_t kOtherId = 5;

// An input report in the virtual devices' documented layout.
std::array<std::uint8_t, 9> InputReport(std::uint16_t x, std::uint16_t y, std::uint32_t buttons) {
    return {0,
            static_cast<std::uint8_t>(x),
            static_cast<std::uint8_t>(x >> 8),
            static_cast<std::uint8_t>(y),
            static_cast<std::uint8_t>(y >> 8),
            static_cast<std::uint8_t>(buttons),
            static_cast<std::uint8_t>(buttons >> 8),
            static_cast<std::uint8_t>(buttons >> 16),
            static_cast<std::uint8_t>(buttons >> 24)};
}

std::vector<DWORD> Six(const DWORD* values) { return {values, values + 6}; }

class InputTest : public ::testing::Test {
protected:
    FfdrvVirtualDevice m_wheel = VirtualWheel(kWheelId);
    PluggedDevice m_other{VirtualWheel(kOtherId)};
    CInput m_input{nullptr};
};

TEST_F(InputTest, OpensTheControllerCarryingTheJoystickId) {
    m_wheel.productId = 0xA105;
    PluggedDevice wheel(m_wheel);
    ASSERT_EQ(m_input.Open(kWheelId), S_OK);
    EXPECT_EQ(m_input.GetJoystickId(), kWheelId);
    EXPECT_EQ(m_input.GetVendorProductId(), 0xC7A5A105u);
    EXPECT_EQ(m_input.GetVendorId(), 0xC7A5);
    EXPECT_EQ(m_input.GetProductId(), 0xA105);
    EXPECT_EQ(std::memcmp(&m_input.GetContainerId(), m_wheel.containerId, sizeof(GUID)), 0);
    EXPECT_NE(m_input.GetHidHandle(), platform::hid::InvalidFile());
    EXPECT_EQ(m_input.GetInputReportLength(), 9);
    EXPECT_EQ(m_input.GetOutputReportLength(), 65);
}

TEST_F(InputTest, IdThatNoControllerCarriesGivesEFailAndStaysClosed) {
    EXPECT_EQ(m_input.Open(7), E_FAIL);
    EXPECT_EQ(m_input.GetHidHandle(), platform::hid::InvalidFile());
    const auto report = InputReport(100, 200, 1);
    EXPECT_EQ(m_input.GetAxisValue(0, report.data(), 9), 0u);
    EXPECT_EQ(m_input.GetButtons(report.data(), 9), 0u);
}

TEST_F(InputTest, CloseResetsTheJoystickIdAndReleasesTheHidPath) {
    PluggedDevice wheel(m_wheel);
    ASSERT_EQ(m_input.Open(kWheelId), S_OK);
    EXPECT_EQ(m_input.Close(), S_OK);
    EXPECT_EQ(m_input.GetJoystickId(), CInput::kNoJoystick);
    EXPECT_EQ(m_input.GetHidHandle(), platform::hid::InvalidFile());
    // A second open after close finds the device again.
    EXPECT_EQ(m_input.Open(kWheelId), S_OK);
}

TEST_F(InputTest, ScaledCalibrationFollowsTheAxisLogicalRangeWithMulDivRounding) {
    PluggedDevice wheel(m_wheel);  // X and Y: 0..1023, calibration 0 / 512 / 1023
    ASSERT_EQ(m_input.Open(kWheelId), S_OK);
    DWORD scaled[6], raw[6];
    m_input.GetCalibration(scaled);
    m_input.GetRawCalibration(raw);
    // 512 * 65535 / 1023 = 32799.53, which MulDiv rounds to 32800.
    const DWORD expectScaled[6] = {0, 32800, 65535, 0, 32800, 65535};
    const DWORD expectRaw[6] = {0, 512, 1023, 0, 512, 1023};
    EXPECT_EQ(Six(scaled), Six(expectScaled));
    EXPECT_EQ(Six(raw), Six(expectRaw));
}

TEST_F(InputTest, RangeUsesOnlyTheLowBitSizeBitsOfTheLogicalMaximum) {
    // Logical maximum 0x1FF with 8-bit values: the range is 0xFF - 0x0F = 240.
    m_wheel.axes[0] = {8, 0x0F, 0x1FF};
    m_wheel.calibration[0] = 24;
    m_wheel.calibration[1] = 120;
    m_wheel.calibration[2] = 240;
    // Y: minimum equal to the masked maximum, so the range counts as 1.
    m_wheel.axes[1] = {4, 3, 0x13};
    m_wheel.calibration[3] = 0;
    m_wheel.calibration[4] = 1;
    m_wheel.calibration[5] = 2;
    PluggedDevice wheel(m_wheel);
    ASSERT_EQ(m_input.Open(kWheelId), S_OK);
    DWORD scaled[6];
    m_input.GetCalibration(scaled);
    const DWORD expected[6] = {6554, 32768, 65535, 0, 65535, 131070};
    EXPECT_EQ(Six(scaled), Six(expected));
}

TEST_F(InputTest, MissingCalibrationKeepsTheDefaults) {
    m_wheel.hasCalibration = 0;
    m_wheel.axes[0] = {16, 0, 0xFFFF};
    m_wheel.axes[1] = {16, 0, 0xFFFF};
    PluggedDevice wheel(m_wheel);
    ASSERT_EQ(m_input.Open(kWheelId), S_OK);
    DWORD scaled[6], raw[6];
    m_input.GetCalibration(scaled);
    m_input.GetRawCalibration(raw);
    // Scaling 0 / 0x8000 / 0xFFFF over a 0..65535 range leaves them as they are.
    const DWORD expectScaled[6] = {0, 0x8000, 0xFFFF, 0, 0x8000, 0xFFFF};
    const DWORD expectRaw[6] = {0, 0x80, 0xFF, 0, 0x80, 0xFF};
    EXPECT_EQ(Six(scaled), Six(expectScaled));
    EXPECT_EQ(Six(raw), Six(expectRaw));
}

TEST_F(InputTest, AxisValuesComeFromTheReportAndNeedTheWholeField) {
    PluggedDevice wheel(m_wheel);
    ASSERT_EQ(m_input.Open(kWheelId), S_OK);
    const auto report = InputReport(0x3A5, 0x012, 0);
    EXPECT_EQ(m_input.GetAxisValue(0, report.data(), 9), 0x3A5u);
    EXPECT_EQ(m_input.GetAxisValue(1, report.data(), 9), 0x012u);
    EXPECT_EQ(m_input.GetAxisValue(7, report.data(), 9), 0x012u);  // any non-zero axis is Y
    // A report cut before Y's bytes yields 0 for Y only.
    EXPECT_EQ(m_input.GetAxisValue(0, report.data(), 3), 0x3A5u);
    EXPECT_EQ(m_input.GetAxisValue(1, report.data(), 3), 0u);
}

TEST_F(InputTest, ButtonsMapToBitsAndOnlyButtonPageUsagesUpToThirtyTwoCount) {
    m_wheel.buttonCount = 34;
    m_wheel.inputReportLength = 10;
    m_wheel.extraUsagePage = 0x01;  // a generic-desktop usage that is always on
    m_wheel.extraUsage = 0x39;
    PluggedDevice wheel(m_wheel);
    ASSERT_EQ(m_input.Open(kWheelId), S_OK);
    std::array<std::uint8_t, 10> report{};
    report[5] = 0x05;  // buttons 1 and 3
    report[8] = 0x80;  // button 32
    report[9] = 0x03;  // buttons 33 and 34: beyond the mask
    EXPECT_EQ(m_input.GetButtons(report.data(), 10), 0x80000005u);
    // Offering more bytes than the input report is no different.
    std::array<std::uint8_t, 16> longer{};
    std::copy(report.begin(), report.end(), longer.begin());
    EXPECT_EQ(m_input.GetButtons(longer.data(), 16), 0x80000005u);
}

TEST_F(InputTest, ContainerMatchesOnlyTheDevicesOwnContainer) {
    PluggedDevice wheel(m_wheel);
    ASSERT_EQ(m_input.Open(kWheelId), S_OK);
    GUID read{};
    EXPECT_TRUE(m_input.ContainerMatches(m_input.GetHidPath(), &read));
    EXPECT_EQ(std::memcmp(&read, m_wheel.containerId, sizeof read), 0);

    CInput other(nullptr);
    ASSERT_EQ(other.Open(kOtherId), S_OK);
    EXPECT_FALSE(m_input.ContainerMatches(other.GetHidPath(), &read));
    EXPECT_FALSE(m_input.ContainerMatches(L"\\\\?\\hid#nothing", &read));
}

TEST_F(InputTest, OpeningAnotherIdClosesTheFirst) {
    PluggedDevice wheel(m_wheel);
    ASSERT_EQ(m_input.Open(kWheelId), S_OK);
    ASSERT_EQ(m_input.Open(kOtherId), S_OK);
    EXPECT_EQ(m_input.GetJoystickId(), kOtherId);
    GUID read{};
    EXPECT_FALSE(m_input.ContainerMatches(L"\\\\?\\hid#nothing", &read));
}

}  // namespace
