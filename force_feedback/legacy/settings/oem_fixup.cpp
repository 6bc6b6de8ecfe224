#include "force_feedback/legacy/settings/oem_fixup.h"

#include <cstdint>
#include <cstring>
#include <cwchar>

#include "force_feedback/legacy/model_table.h"
#include "force_feedback/legacy/settings/registry_entry.h"

namespace reg = platform::reg;

namespace {
constexpr const wchar_t* kOemRoot = L"System\\CurrentControlSet\\Control\\MediaProperties\\PrivateProperties\\Joystick\\OEM\\";
constexpr const wchar_t* kOemDataValue = L"OEMData";
constexpr std::uint32_t kOemDataBytes = 8;
constexpr std::uint32_t kForceFeedbackFlag = 0x40;

void FixOne(reg::Key root, const std::wstring& product) {
    CRegistryEntry key;
    if (!key.Open(root, (kOemRoot + product).c_str(), reg::kKeyAllAccess)) return;
    unsigned char data[kOemDataBytes] = {};
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    if (!key.Query(kOemDataValue, data, sizeof data, &type, &size)) return;
    std::uint32_t flags = 0;
    std::memcpy(&flags, data, size < 4 ? size : 4);  // the first word as Windows lays it out
    if (flags & kForceFeedbackFlag) return;
    flags |= kForceFeedbackFlag;
    std::memcpy(data, &flags, 4);
    key.SetValue(kOemDataValue, type, data, size);  // the type and size the read returned
}
}  // namespace

std::vector<std::wstring> SupportedProductList() {
    std::vector<std::wstring> list;
    for (int entry = 0; entry < kOemFixupEntries; ++entry) {
        const Model model = OemFixupModel(entry);
        wchar_t text[32];
        std::swprintf(text, 32, L"VID_%04X&PID_%04X", static_cast<unsigned>(kVendorId),
                      static_cast<unsigned>(Product(model).productId));
        list.push_back(text);
    }
    return list;
}

void FixJoystickOemFlags(const std::vector<std::wstring>& products) {
    const std::vector<std::wstring> copy = products;
    for (reg::Key root : {reg::LocalMachine(), reg::CurrentUser()}) {
        for (const std::wstring& product : copy) FixOne(root, product);
    }
}
