// File-backed registry. Each key is a directory, each value a file holding a
// 4-byte little-endian type followed by the data. Names are case-folded and
// percent-encoded, so "VID_1234&PID_5678" and "{GUID}" are safe file names.
// Values are replaced through a rename, so a reader in another process sees
// the old value or the new one, never half of each.
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/registry.h"

namespace fs = std::filesystem;

namespace platform::reg {
namespace {

constexpr std::uintptr_t kCurrentUserValue = 0x80000001u;
constexpr std::uintptr_t kLocalMachineValue = 0x80000002u;

struct OpenKeyRecord {
    fs::path dir;
};

std::mutex g_handlesMutex;
std::set<const void*> g_handles;

fs::path RegistryRoot() {
    if (const char* env = std::getenv("FFDRV_REGISTRY_ROOT"); env && *env) return env;
    if (const char* state = std::getenv("XDG_STATE_HOME"); state && *state)
        return fs::path(state) / "ffdrv-registry";
    if (const char* home = std::getenv("HOME"); home && *home)
        return fs::path(home) / ".local" / "state" / "ffdrv-registry";
    return fs::temp_directory_path() / ("ffdrv-registry-" + std::to_string(getuid()));
}

std::string EncodeName(const wchar_t* name) {
    if (name == nullptr || *name == L'\0') return "@";
    std::string out;
    for (const wchar_t* p = name; *p; ++p) {
        std::uint32_t ch = static_cast<std::uint32_t>(*p);
        if (ch >= 'A' && ch <= 'Z') ch += 'a' - 'A';
        const bool plain = (ch >= 'a' && ch <= 'z') || (ch >= '0' && ch <= '9') || ch == '_' || ch == '-';
        if (plain) {
            out.push_back(static_cast<char>(ch));
            continue;
        }
        char buf[16];
        std::snprintf(buf, sizeof buf, ch < 0x100 ? "%%%02X" : "%%u%06X", static_cast<unsigned>(ch));
        out += buf;
    }
    return out;
}

// Resolves a handle to its directory; false for a handle that is not open.
bool Resolve(Key key, fs::path* dir) {
    const auto value = reinterpret_cast<std::uintptr_t>(key);
    if (value == kCurrentUserValue) {
        *dir = RegistryRoot() / "HKCU";
        return true;
    }
    if (value == kLocalMachineValue) {
        *dir = RegistryRoot() / "HKLM";
        return true;
    }
    std::lock_guard lock(g_handlesMutex);
    if (g_handles.count(key) == 0) return false;
    *dir = reinterpret_cast<OpenKeyRecord*>(key)->dir;
    return true;
}

fs::path SubkeyPath(const fs::path& base, const wchar_t* subkey) {
    fs::path result = base;
    if (subkey == nullptr) return result;
    std::wstring part;
    auto flush = [&] {
        if (!part.empty()) result /= EncodeName(part.c_str());
        part.clear();
    };
    for (const wchar_t* p = subkey; *p; ++p) {
        if (*p == L'\\') {
            flush();
        } else {
            part.push_back(*p);
        }
    }
    flush();
    return result;
}

Key NewHandle(const fs::path& dir) {
    auto* record = new OpenKeyRecord{dir};
    std::lock_guard lock(g_handlesMutex);
    g_handles.insert(record);
    return reinterpret_cast<Key>(record);
}

fs::path ValuePath(const fs::path& dir, const wchar_t* name) { return dir / (EncodeName(name) + ".val"); }

}  // namespace

Key CurrentUser() { return reinterpret_cast<Key>(kCurrentUserValue); }
Key LocalMachine() { return reinterpret_cast<Key>(kLocalMachineValue); }

Status CreateKey(Key root, const wchar_t* subkey, std::uint32_t, Key* out, std::uint32_t* disposition) {
    if (out == nullptr) return kInvalidParameter;
    *out = nullptr;
    fs::path base;
    if (!Resolve(root, &base)) return kInvalidHandle;
    const fs::path dir = SubkeyPath(base, subkey);
    std::error_code ec;
    const bool existed = fs::is_directory(dir, ec);
    if (!existed && !fs::create_directories(dir, ec) && !fs::is_directory(dir, ec)) return kAccessDenied;
    if (disposition) *disposition = existed ? kOpenedExistingKey : kCreatedNewKey;
    *out = NewHandle(dir);
    return kSuccess;
}

Status OpenKey(Key root, const wchar_t* subkey, std::uint32_t, Key* out) {
    if (out == nullptr) return kInvalidParameter;
    *out = nullptr;
    fs::path base;
    if (!Resolve(root, &base)) return kInvalidHandle;
    const fs::path dir = SubkeyPath(base, subkey);
    std::error_code ec;
    if (!fs::is_directory(dir, ec)) return kFileNotFound;
    *out = NewHandle(dir);
    return kSuccess;
}

Status QueryValue(Key key, const wchar_t* name, std::uint32_t* type, void* data, std::uint32_t* size) {
    fs::path dir;
    if (!Resolve(key, &dir)) return kInvalidHandle;
    if (data != nullptr && size == nullptr) return kInvalidParameter;
    std::ifstream in(ValuePath(dir, name), std::ios::binary);
    if (!in) return kFileNotFound;
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.size() < 4) return kFileNotFound;
    std::uint32_t storedType = 0;
    for (int i = 3; i >= 0; --i) storedType = (storedType << 8) | static_cast<unsigned char>(bytes[i]);
    const auto length = static_cast<std::uint32_t>(bytes.size() - 4);
    if (type) *type = storedType;
    if (data == nullptr) {
        if (size) *size = length;
        return kSuccess;
    }
    if (*size < length) {
        *size = length;
        return kMoreData;
    }
    if (length) std::memcpy(data, bytes.data() + 4, length);
    *size = length;
    return kSuccess;
}

Status SetValue(Key key, const wchar_t* name, std::uint32_t type, const void* data, std::uint32_t size) {
    fs::path dir;
    if (!Resolve(key, &dir)) return kInvalidHandle;
    if (data == nullptr && size != 0) return kInvalidParameter;
    std::error_code ec;
    if (!fs::is_directory(dir, ec)) return kFileNotFound;
    const fs::path target = ValuePath(dir, name);
    fs::path temp = target;
    temp += ".tmp" + std::to_string(getpid());
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        if (!out) return kAccessDenied;
        const char header[4] = {static_cast<char>(type), static_cast<char>(type >> 8), static_cast<char>(type >> 16),
                                static_cast<char>(type >> 24)};
        out.write(header, 4);
        if (size) out.write(static_cast<const char*>(data), size);
        if (!out) return kAccessDenied;
    }
    fs::rename(temp, target, ec);
    return ec ? kAccessDenied : kSuccess;
}

Status DeleteValue(Key key, const wchar_t* name) {
    fs::path dir;
    if (!Resolve(key, &dir)) return kInvalidHandle;
    std::error_code ec;
    if (!fs::remove(ValuePath(dir, name), ec)) return ec ? kAccessDenied : kFileNotFound;
    return kSuccess;
}

Status CountEntries(Key key, std::uint32_t* subkeys, std::uint32_t* values) {
    fs::path dir;
    if (!Resolve(key, &dir)) return kInvalidHandle;
    std::error_code ec;
    std::uint32_t keys = 0;
    std::uint32_t vals = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(dir, ec)) {
        if (entry.is_directory(ec)) {
            ++keys;
        } else if (entry.path().extension() == ".val") {
            ++vals;  // a value being replaced also shows a temporary file: not counted
        }
    }
    if (ec) return kFileNotFound;
    if (subkeys) *subkeys = keys;
    if (values) *values = vals;
    return kSuccess;
}

Status DeleteTree(Key key, const wchar_t* subkey) {
    fs::path dir;
    if (!Resolve(key, &dir)) return kInvalidHandle;
    if (subkey == nullptr || *subkey == L'\0') return kInvalidParameter;
    const fs::path target = SubkeyPath(dir, subkey);
    std::error_code ec;
    if (!fs::is_directory(target, ec)) return kFileNotFound;
    fs::remove_all(target, ec);
    return ec ? kAccessDenied : kSuccess;
}

Status CloseKey(Key key) {
    const auto value = reinterpret_cast<std::uintptr_t>(key);
    if (value == kCurrentUserValue || value == kLocalMachineValue) return kSuccess;
    std::lock_guard lock(g_handlesMutex);
    if (g_handles.erase(key) == 0) return kInvalidHandle;
    delete reinterpret_cast<OpenKeyRecord*>(key);
    return kSuccess;
}

}  // namespace platform::reg
