#include "force_feedback/legacy/input/input.h"

#include <cstring>

#include "force_feedback/legacy/module_count.h"
#include "force_feedback/legacy/settings/oem_fixup.h"
#include "platform/muldiv.h"

namespace hid = platform::hid;

namespace {
constexpr DWORD kOffsetX = 0;
constexpr DWORD kOffsetY = 4;
constexpr DWORD kScaledFullRange = 65535;
// Defaults until DirectInput reports a calibration: 16-bit scaled, 8-bit raw.
constexpr DWORD kScaledDefault[3] = {0, 0x8000, 0xFFFF};
constexpr DWORD kRawDefault[3] = {0, 0x80, 0xFF};
constexpr std::uint16_t kLinkCollectionTop = 0;
constexpr std::uint16_t kButtonsInMask = 32;

class ModuleLockScope {
public:
    ModuleLockScope() { ModuleLockEnter(); }
    ~ModuleLockScope() { ModuleLockLeave(); }
    ModuleLockScope(const ModuleLockScope&) = delete;
    ModuleLockScope& operator=(const ModuleLockScope&) = delete;
};

std::uint32_t LowBits(std::uint16_t bitSize) {
    return bitSize >= 32 ? 0xFFFFFFFFu : (std::uint32_t{1} << bitSize) - 1;
}
}  // namespace

CInput::CInput(void* instance) : m_instance(instance) { FixJoystickOemFlags(SupportedProductList()); }

CInput::~CInput() { Close(); }

HRESULT CInput::Open(DWORD joystickId) {
    Close();
    m_joystickId = static_cast<std::uint16_t>(joystickId);
    ModuleLockScope lock;
    if (HRESULT hr = OpenDirectInput(); FAILED(hr)) return hr;
    if (HRESULT hr = hid::Unacquire(m_device); FAILED(hr)) return hr;
    if (HRESULT hr = hid::SetJoystickDataFormat(m_device); FAILED(hr)) return hr;
    OpenHidPath();
    std::memcpy(m_calibration, kScaledDefault, sizeof kScaledDefault);
    std::memcpy(m_calibration + 3, kScaledDefault, sizeof kScaledDefault);
    std::memcpy(m_rawCalibration, kRawDefault, sizeof kRawDefault);
    std::memcpy(m_rawCalibration + 3, kRawDefault, sizeof kRawDefault);
    ReadCalibration(m_calibration, kOffsetX, true);
    ReadCalibration(m_calibration + 3, kOffsetY, true);
    ReadCalibration(m_rawCalibration, kOffsetX, false);
    ReadCalibration(m_rawCalibration + 3, kOffsetY, false);
    return S_OK;
}

// The DirectInput object and the matching controller; the caller holds the
// module lock.
HRESULT CInput::OpenDirectInput() {
    if (m_directInput == nullptr) {
        if (HRESULT hr = hid::CreateDirectInput(m_instance, &m_directInput); FAILED(hr)) {
            m_directInput = nullptr;
            return hr;
        }
    }
    if (m_device != nullptr) return S_OK;
    const HRESULT hr = hid::EnumGameControllers(m_directInput, hid::kEnumForceFeedbackAll, &CInput::OnController, this);
    if (FAILED(hr)) return hr;
    return m_device != nullptr ? S_OK : E_FAIL;
}

bool CInput::OnController(const GUID& instance, void* self) {
    return !static_cast<CInput*>(self)->TryController(instance);
}

// True when `instance` is the controller being opened; it is then kept.
bool CInput::TryController(const GUID& instance) {
    hid::Controller controller = nullptr;
    if (FAILED(hid::CreateDevice(m_directInput, instance, &controller))) return false;
    DWORD id = 0;
    const bool match = SUCCEEDED(hid::GetJoystickId(controller, &id)) && id == m_joystickId &&
                       SUCCEEDED(hid::GetGuidAndPath(controller, &m_guidAndPath)) &&
                       hid::GetContainerId(m_guidAndPath.path, &m_containerId);
    if (!match) {
        hid::ReleaseController(controller);
        return false;
    }
    m_device = controller;
    return true;
}

void CInput::OpenHidPath() {
    m_hidHandle = hid::OpenOverlapped(m_guidAndPath.path);
    if (m_hidHandle == hid::InvalidFile()) return;
    hid::GetAttributes(m_hidHandle, &m_attributes);
    if (m_preparsed != nullptr) return;
    if (!hid::GetPreparsedData(m_hidHandle, &m_preparsed)) {
        m_preparsed = nullptr;
        return;
    }
    GetCapabilities();
    m_usageListLength = hid::MaxInputUsageListLength(m_preparsed);
    m_usageList.assign(m_usageListLength, hid::UsageAndPage{});
}

// DirectInput's calibration of one axis into `target` (minimum, centre,
// maximum); the scaled set is then brought to 0..65535 over the axis's HID
// logical range. Values that cannot be read stay as they are.
void CInput::ReadCalibration(DWORD* target, DWORD offset, bool scaled) {
    LONG values[3] = {};
    if (SUCCEEDED(hid::GetCalibration(m_device, offset, values))) {
        for (int i = 0; i < 3; ++i) target[i] = static_cast<DWORD>(values[i]);
    }
    if (!scaled || m_preparsed == nullptr) return;
    hid::ValueCaps caps{};
    std::uint16_t count = 1;
    const hid::NtStatus status =
        hid::GetSpecificInputValueCaps(m_preparsed, hid::kUsagePageGenericDesktop, kLinkCollectionTop,
                                       offset == kOffsetX ? hid::kUsageX : hid::kUsageY, &caps, &count);
    if (status != hid::kHidpStatusSuccess && status != hid::kHidpStatusBufferTooSmall) return;
    const LONG top = static_cast<LONG>(static_cast<std::uint32_t>(caps.logicalMax) & LowBits(caps.bitSize));
    LONG range = top - caps.logicalMin;
    if (range == 0) range = 1;
    for (int i = 0; i < 3; ++i)
        target[i] = static_cast<DWORD>(platform::MulDiv(static_cast<LONG>(target[i]), kScaledFullRange, range));
}

HRESULT CInput::Close() {
    if (m_hidHandle != hid::InvalidFile()) {
        hid::CloseFile(m_hidHandle);
        m_hidHandle = hid::InvalidFile();
        hid::FreePreparsedData(m_preparsed);
        m_preparsed = nullptr;
    }
    m_usageList.clear();
    m_usageListLength = 0;
    if (m_device != nullptr) {
        hid::Unacquire(m_device);
        hid::ReleaseController(m_device);
        m_device = nullptr;
    }
    if (m_directInput != nullptr) {
        hid::ReleaseDirectInput(m_directInput);
        m_directInput = nullptr;
    }
    m_joystickId = kNoJoystick;
    return S_OK;
}

bool CInput::GetCapabilities() {
    if (m_preparsed == nullptr) return false;
    return hid::GetCaps(m_preparsed, &m_caps) == hid::kHidpStatusSuccess;
}

ULONG CInput::GetAxisValue(int axis, const std::uint8_t* report, ULONG length) const {
    if (m_hidHandle == hid::InvalidFile() || m_preparsed == nullptr || m_usageList.empty()) return 0;
    const ULONG usable = length < m_caps.inputReportByteLength ? length : m_caps.inputReportByteLength;
    ULONG value = 0;
    const hid::NtStatus status =
        hid::GetInputUsageValue(m_preparsed, hid::kUsagePageGenericDesktop, kLinkCollectionTop,
                                axis == 0 ? hid::kUsageX : hid::kUsageY, &value, report, usable);
    return status == hid::kHidpStatusSuccess ? value : 0;
}

DWORD CInput::GetButtons(const std::uint8_t* report, ULONG length) {
    if (m_hidHandle == hid::InvalidFile() || m_preparsed == nullptr || m_usageList.empty()) return 0;
    const ULONG usable = length < m_caps.inputReportByteLength ? length : m_caps.inputReportByteLength;
    ULONG count = m_usageListLength;
    if (hid::GetInputUsagesEx(m_preparsed, kLinkCollectionTop, m_usageList.data(), &count, report, usable) !=
        hid::kHidpStatusSuccess)
        return 0;
    DWORD mask = 0;
    for (ULONG i = 0; i < count && i < m_usageListLength; ++i) {
        const hid::UsageAndPage& u = m_usageList[i];
        // Usage 0 on the button page means "no button"; it has no bit.
        if (u.usagePage == hid::kUsagePageButton && u.usage >= 1 && u.usage <= kButtonsInMask)
            mask |= DWORD{1} << (u.usage - 1);
    }
    return mask;
}

bool CInput::ContainerMatches(const wchar_t* interfacePath, GUID* container) const {
    if (interfacePath == nullptr || container == nullptr) return false;
    if (!hid::GetContainerId(interfacePath, container)) return false;
    return *container == m_containerId;
}

void CInput::GetCalibration(DWORD out[6]) const { std::memcpy(out, m_calibration, sizeof m_calibration); }
void CInput::GetRawCalibration(DWORD out[6]) const { std::memcpy(out, m_rawCalibration, sizeof m_rawCalibration); }
