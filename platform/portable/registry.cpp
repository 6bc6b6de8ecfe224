// File-backed registry. Each key is a directory, each value a file holding a
// 4-byte little-endian type followed by the data. Names are case-folded and
// percent-encoded, so "VID_1234&PID_5678" and "{GUID}" are safe file names.
// Values are replaced through a rename, so a reader in another process sees
// the old value or the new one, never half of each.
//
// The files can be damaged behind the registry's back (by hand, by a full
// disk, by another program): whatever stands where a key or value should be,
// the calls answer with a Win32 result code and never throw or block.
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <mutex>
#include <set>
#include <string>

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
    std::error_code ec;
    fs::path temp = fs::temp_directory_path(ec);
    if (ec) temp = "/tmp";
    return temp / ("ffdrv-registry-" + std::to_string(getuid()));
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

constexpr std::size_t kTypeBytes = 4;

// What an errno from opening or inspecting a key or value means: absent,
// forbidden, or something in the way (a key that is a file, a link loop).
Status StatusOfErrno(int error) {
    switch (error) {
    case ENOENT:
        return kFileNotFound;
    case EACCES:
    case EPERM:
        return kAccessDenied;
    case EIO:
        return kRegistryIoFailed;
    default:
        return kRegistryCorrupt;
    }
}

// Whether `dir` is a key: kSuccess for a directory.
Status KeyStatus(const fs::path& dir) {
    struct stat info {};
    if (::stat(dir.c_str(), &info) != 0) return StatusOfErrno(errno);
    return S_ISDIR(info.st_mode) ? kSuccess : kRegistryCorrupt;
}

// One value file opened for reading, closed on scope exit. Opened without
// blocking, so that a pipe left where a value should be cannot hang the
// caller; anything but a regular file holding at least the type is damage.
class ValueFile {
public:
    explicit ValueFile(const fs::path& path) {
        m_fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
        if (m_fd < 0) {
            m_status = StatusOfErrno(errno);
            return;
        }
        struct stat info {};
        if (::fstat(m_fd, &info) != 0) {
            m_status = kRegistryIoFailed;
        } else if (!S_ISREG(info.st_mode) || info.st_size < static_cast<off_t>(kTypeBytes) ||
                   static_cast<std::uint64_t>(info.st_size) - kTypeBytes > std::numeric_limits<std::uint32_t>::max()) {
            m_status = kRegistryCorrupt;
        } else {
            m_length = static_cast<std::uint32_t>(info.st_size - static_cast<off_t>(kTypeBytes));
            unsigned char header[kTypeBytes];
            m_status = ReadAt(0, header, kTypeBytes);
            for (int i = 3; i >= 0; --i) m_type = (m_type << 8) | header[i];
        }
    }
    ~ValueFile() {
        if (m_fd >= 0) ::close(m_fd);
    }
    ValueFile(const ValueFile&) = delete;
    ValueFile& operator=(const ValueFile&) = delete;

    Status status() const { return m_status; }
    std::uint32_t type() const { return m_type; }
    std::uint32_t length() const { return m_length; }
    Status ReadData(void* data) { return ReadAt(kTypeBytes, data, m_length); }

private:
    // Exactly `size` bytes from `offset`; a file that shrank meanwhile is
    // damage like a short one.
    Status ReadAt(std::size_t offset, void* data, std::size_t size) {
        auto* out = static_cast<unsigned char*>(data);
        while (size > 0) {
            const ssize_t got = ::pread(m_fd, out, size, static_cast<off_t>(offset));
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) return kRegistryIoFailed;
            if (got == 0) return kRegistryCorrupt;
            out += got;
            offset += static_cast<std::size_t>(got);
            size -= static_cast<std::size_t>(got);
        }
        return kSuccess;
    }

    int m_fd = -1;
    Status m_status = kSuccess;
    std::uint32_t m_type = 0;
    std::uint32_t m_length = 0;
};

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
    if (const Status status = KeyStatus(dir); status != kSuccess) return status;
    *out = NewHandle(dir);
    return kSuccess;
}

Status QueryValue(Key key, const wchar_t* name, std::uint32_t* type, void* data, std::uint32_t* size) {
    fs::path dir;
    if (!Resolve(key, &dir)) return kInvalidHandle;
    if (data != nullptr && size == nullptr) return kInvalidParameter;
    ValueFile file(ValuePath(dir, name));
    if (file.status() != kSuccess) return file.status();
    const std::uint32_t length = file.length();
    if (data == nullptr) {
        if (type) *type = file.type();
        if (size) *size = length;
        return kSuccess;
    }
    if (*size < length) {
        if (type) *type = file.type();
        *size = length;
        return kMoreData;
    }
    if (const Status status = file.ReadData(data); status != kSuccess) return status;
    if (type) *type = file.type();
    *size = length;
    return kSuccess;
}

Status SetValue(Key key, const wchar_t* name, std::uint32_t type, const void* data, std::uint32_t size) {
    fs::path dir;
    if (!Resolve(key, &dir)) return kInvalidHandle;
    if (data == nullptr && size != 0) return kInvalidParameter;
    if (const Status status = KeyStatus(dir); status != kSuccess) return status;
    const fs::path target = ValuePath(dir, name);
    fs::path temp = target;
    temp += ".tmp" + std::to_string(getpid());
    std::error_code ec;
    bool written = false;
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        if (out) {
            const char header[kTypeBytes] = {static_cast<char>(type), static_cast<char>(type >> 8),
                                             static_cast<char>(type >> 16), static_cast<char>(type >> 24)};
            out.write(header, kTypeBytes);
            if (size) out.write(static_cast<const char*>(data), size);
            out.flush();
            written = static_cast<bool>(out);
        }
    }
    // A directory (or anything) in the value's place refuses the rename;
    // the half-made file must not stay behind.
    if (written) fs::rename(temp, target, ec);
    if (!written || ec) {
        fs::remove(temp, ec);
        return kAccessDenied;
    }
    return kSuccess;
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
