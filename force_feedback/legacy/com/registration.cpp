#include "force_feedback/legacy/com/registration.h"

#include <string>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/com/exports.h"
#include "force_feedback/legacy/settings/registry_entry.h"
#include "platform/guid.h"
#include "platform/module.h"

namespace reg = platform::reg;

namespace {
constexpr const wchar_t* kClsidRoot = L"SOFTWARE\\Classes\\CLSID\\";
constexpr std::uint32_t kModulePathChars = 520;
constexpr std::size_t kKeyPathChars = 260;
}  // namespace

bool RegisterClassEntry(const GUID& clsid, const wchar_t* friendlyName) {
    std::wstring clsidText;
    if (FAILED(platform::ClsidToString(clsid, &clsidText))) return false;
    wchar_t modulePath[kModulePathChars];
    platform::ModuleFileName(modulePath, kModulePathChars);
    const std::wstring keyPath = (kClsidRoot + clsidText).substr(0, kKeyPathChars - 1);

    CRegistryEntry classKey;
    classKey.Create(reg::LocalMachine(), keyPath.c_str(), reg::kKeyAllAccess);
    classKey.SetString(nullptr, friendlyName);
    CRegistryEntry serverKey;
    serverKey.Create(classKey.Handle(), L"InProcServer32", reg::kKeyAllAccess);
    serverKey.SetString(nullptr, modulePath);
    serverKey.SetString(L"ThreadingModel", L"Both");
    return true;
}

bool UnregisterClassEntry(const GUID& clsid) {
    std::wstring clsidText;
    if (FAILED(platform::ClsidToString(clsid, &clsidText))) return false;
    CRegistryEntry root;
    if (root.Open(reg::LocalMachine(), kClsidRoot, reg::kKeyAllAccess)) root.DeleteTree(clsidText.c_str());
    return true;
}

extern "C" FFDRV_EXPORT_API HRESULT STDMETHODCALLTYPE DllRegisterServer() {
    for (int index = 0; index < kClassCount; ++index) {
        if (!RegisterClassEntry(kClassTable[index].clsid, FriendlyName(index).c_str())) return S_FALSE;
    }
    return S_OK;
}

extern "C" FFDRV_EXPORT_API HRESULT STDMETHODCALLTYPE DllUnregisterServer() {
    for (int index = 0; index < kClassCount; ++index) {
        if (!UnregisterClassEntry(kClassTable[index].clsid)) return S_FALSE;
    }
    return S_OK;
}
