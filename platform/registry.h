// Registry access. Result codes, value types, sizes and the predefined root
// keys are those of the Win32 registry, so that callers written against the
// Win32 behaviour run unchanged on either backend.
//
// win32: the Reg*/SHDeleteKeyW calls. portable: a registry stored in files
// under $FFDRV_REGISTRY_ROOT (default: $XDG_STATE_HOME/ffdrv-registry, else
// ~/.local/state/ffdrv-registry), so values persist across processes. Key
// and value names are case-insensitive as on Windows; access masks are
// accepted but not enforced.
#pragma once

#include <cstdint>

namespace platform::reg {

struct KeyOpaque;
using Key = KeyOpaque*;
using Status = long;

// Predefined roots carry the Win32 handle values.
Key CurrentUser();
Key LocalMachine();

constexpr Status kSuccess = 0;
constexpr Status kFileNotFound = 2;
constexpr Status kAccessDenied = 5;
constexpr Status kInvalidHandle = 6;
constexpr Status kInvalidParameter = 87;
constexpr Status kMoreData = 234;
// The store holds something where a key or value should be that cannot be
// one (portable: a value that is not a readable file with a whole type, a
// key that is a file), or reading it failed.
constexpr Status kRegistryCorrupt = 1015;
constexpr Status kRegistryIoFailed = 1016;

constexpr std::uint32_t kNone = 0;
constexpr std::uint32_t kSz = 1;
constexpr std::uint32_t kBinary = 3;
constexpr std::uint32_t kDword = 4;

constexpr std::uint32_t kKeyQueryValue = 0x0001;
constexpr std::uint32_t kKeySetValue = 0x0002;
constexpr std::uint32_t kKeyRead = 0x20019;
constexpr std::uint32_t kKeyWrite = 0x20006;
constexpr std::uint32_t kKeyAllAccess = 0xF003F;
// Registry view of a 64-bit system (or'ed into the access mask): the 64-bit
// or the 32-bit software branch, whatever the caller's own bitness. The
// portable backend has one view and ignores them.
constexpr std::uint32_t kKeyWow64View64 = 0x0100;
constexpr std::uint32_t kKeyWow64View32 = 0x0200;

constexpr std::uint32_t kCreatedNewKey = 1;
constexpr std::uint32_t kOpenedExistingKey = 2;

// RegCreateKeyExW (no class, options 0). `disposition` may be null.
Status CreateKey(Key root, const wchar_t* subkey, std::uint32_t access, Key* out, std::uint32_t* disposition);
// RegOpenKeyExW. kFileNotFound when the key does not exist; kAccessDenied
// or kRegistryCorrupt when it cannot be opened for another reason.
Status OpenKey(Key root, const wchar_t* subkey, std::uint32_t access, Key* out);
// RegQueryValueExW: null `data` asks for the size only; a buffer smaller
// than the value gives kMoreData with the needed size in *size. `name`
// null or empty is the default value. kFileNotFound when the value does not
// exist; kAccessDenied, kRegistryCorrupt or kRegistryIoFailed when it exists
// but cannot be read.
Status QueryValue(Key key, const wchar_t* name, std::uint32_t* type, void* data, std::uint32_t* size);
// RegSetValueExW: stores exactly `size` bytes of `data`.
Status SetValue(Key key, const wchar_t* name, std::uint32_t type, const void* data, std::uint32_t size);
// RegDeleteValueW. kFileNotFound when there is no such value.
Status DeleteValue(Key key, const wchar_t* name);
// RegQueryInfoKeyW: how many subkeys and values the key holds (either
// pointer may be null).
Status CountEntries(Key key, std::uint32_t* subkeys, std::uint32_t* values);
// SHDeleteKeyW: deletes `subkey` of `key` with everything below it.
Status DeleteTree(Key key, const wchar_t* subkey);
// RegCloseKey. Closing a predefined root is a no-op success.
Status CloseKey(Key key);

}  // namespace platform::reg
