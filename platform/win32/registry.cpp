#include <shlwapi.h>
#include <windows.h>

#include "platform/registry.h"

namespace platform::reg {
namespace {
HKEY H(Key key) { return reinterpret_cast<HKEY>(key); }
}  // namespace

Key CurrentUser() { return reinterpret_cast<Key>(HKEY_CURRENT_USER); }
Key LocalMachine() { return reinterpret_cast<Key>(HKEY_LOCAL_MACHINE); }

Status CreateKey(Key root, const wchar_t* subkey, std::uint32_t access, Key* out, std::uint32_t* disposition) {
    HKEY result = nullptr;
    DWORD disp = 0;
    const LONG status =
        RegCreateKeyExW(H(root), subkey, 0, nullptr, 0, access, nullptr, &result, disposition ? &disp : nullptr);
    *out = reinterpret_cast<Key>(status == ERROR_SUCCESS ? result : nullptr);
    if (status == ERROR_SUCCESS && disposition) *disposition = disp;
    return status;
}

Status OpenKey(Key root, const wchar_t* subkey, std::uint32_t access, Key* out) {
    HKEY result = nullptr;
    const LONG status = RegOpenKeyExW(H(root), subkey, 0, access, &result);
    *out = reinterpret_cast<Key>(status == ERROR_SUCCESS ? result : nullptr);
    return status;
}

Status QueryValue(Key key, const wchar_t* name, std::uint32_t* type, void* data, std::uint32_t* size) {
    DWORD t = 0;
    DWORD s = size ? *size : 0;
    const LONG status =
        RegQueryValueExW(H(key), name, nullptr, type ? &t : nullptr, static_cast<BYTE*>(data), size ? &s : nullptr);
    if (type) *type = t;
    if (size) *size = s;
    return status;
}

Status SetValue(Key key, const wchar_t* name, std::uint32_t type, const void* data, std::uint32_t size) {
    return RegSetValueExW(H(key), name, 0, type, static_cast<const BYTE*>(data), size);
}

Status DeleteValue(Key key, const wchar_t* name) { return RegDeleteValueW(H(key), name); }

Status CountEntries(Key key, std::uint32_t* subkeys, std::uint32_t* values) {
    DWORD keys = 0;
    DWORD vals = 0;
    const LONG status = RegQueryInfoKeyW(H(key), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &vals, nullptr,
                                         nullptr, nullptr, nullptr);
    if (status == ERROR_SUCCESS) {
        if (subkeys) *subkeys = keys;
        if (values) *values = vals;
    }
    return status;
}

Status DeleteTree(Key key, const wchar_t* subkey) { return static_cast<Status>(SHDeleteKeyW(H(key), subkey)); }

Status CloseKey(Key key) { return RegCloseKey(H(key)); }

}  // namespace platform::reg
