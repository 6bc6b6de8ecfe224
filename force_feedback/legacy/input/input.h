// CInput: the link between one DirectInput external joystick ID and the HID
// device behind it. Finds the game controller through DirectInput, learns its
// HID path and device container, opens the path for overlapped I/O, reads the
// HID capabilities and the axis calibration, and parses input reports.
//
// Owned by its CVDevice. Open and Close run under the device mutex (Open also
// takes the module lock, since DirectInput creation and enumeration are
// process-wide); the accessors are called under the device mutex or from the
// device's simulation thread, which is the only caller of GetButtons.
#pragma once

#include <cstdint>
#include <vector>

#include "com_abi.h"
#include "platform/hid.h"

class CInput {
public:
    static constexpr std::uint16_t kNoJoystick = 32767;

    // Runs the joystick OEM flag fix-up and leaves the object closed.
    explicit CInput(void* instance);
    ~CInput();
    CInput(const CInput&) = delete;
    CInput& operator=(const CInput&) = delete;

    // Closes, then opens the controller carrying `joystickId`. DirectInput
    // failures come back unchanged; no such controller gives E_FAIL. A HID
    // path that cannot be opened is not a failure: the device then has no
    // HID access and every HID accessor answers 0 or false.
    HRESULT Open(DWORD joystickId);
    // Always S_OK.
    HRESULT Close();

    std::uint16_t GetJoystickId() const { return m_joystickId; }
    // Vendor ID times 65536 plus product ID.
    DWORD GetVendorProductId() const { return DWORD{m_attributes.vendorId} << 16 | m_attributes.productId; }
    std::uint16_t GetVendorId() const { return m_attributes.vendorId; }
    std::uint16_t GetProductId() const { return m_attributes.productId; }
    const GUID& GetContainerId() const { return m_containerId; }
    platform::hid::File GetHidHandle() const { return m_hidHandle; }
    const wchar_t* GetHidPath() const { return m_guidAndPath.path; }

    // HidP_GetCaps into the capabilities; true on success.
    bool GetCapabilities();
    std::uint16_t GetInputReportLength() const { return m_caps.inputReportByteLength; }
    std::uint16_t GetOutputReportLength() const { return m_caps.outputReportByteLength; }

    // X (axis 0) or Y (any other axis) of an input report; 0 on any failure.
    ULONG GetAxisValue(int axis, const std::uint8_t* report, ULONG length) const;
    // Buttons 1..32 pressed in an input report as bits 0..31; 0 on failure.
    DWORD GetButtons(const std::uint8_t* report, ULONG length);

    // Reads the container ID of the device behind `interfacePath` into
    // `*container`; true when it was read and is this device's container.
    bool ContainerMatches(const wchar_t* interfacePath, GUID* container) const;

    // X minimum, centre, maximum, then Y: scaled to 0..65535, or as read.
    void GetCalibration(DWORD out[6]) const;
    void GetRawCalibration(DWORD out[6]) const;

private:
    static bool OnController(const GUID& instance, void* self);
    bool TryController(const GUID& instance);
    HRESULT OpenDirectInput();
    void OpenHidPath();
    void ReadCalibration(DWORD* target, DWORD offset, bool scaled);

    platform::hid::File m_hidHandle = platform::hid::InvalidFile();
    void* m_instance;
    std::uint16_t m_joystickId = kNoJoystick;
    platform::hid::DirectInput m_directInput = nullptr;
    platform::hid::Controller m_device = nullptr;
    platform::hid::GuidAndPath m_guidAndPath{};
    DWORD m_calibration[6] = {};
    DWORD m_rawCalibration[6] = {};
    platform::hid::Preparsed m_preparsed = nullptr;
    platform::hid::Attributes m_attributes{};
    platform::hid::Caps m_caps{};
    GUID m_containerId{};
    ULONG m_usageListLength = 0;
    std::vector<platform::hid::UsageAndPage> m_usageList;
};
