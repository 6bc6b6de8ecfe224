// Helpers shared by the settings tests: unique device IDs (so that test
// processes running side by side never share a block or a registry key), a
// raw view of a settings block for checking bytes at their record offsets,
// direct registry access under a device's key, and the debug trace lines
// written while a test runs.
#pragma once

#include <cstdint>
#include <cstring>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "force_feedback/legacy/settings/registry_entry.h"
#include "platform/debug.h"
#include "platform/registry.h"
#include "platform/shared_memory.h"

namespace settings_test {

inline std::wstring Hex4(std::uint32_t value) {
    static const wchar_t kDigits[] = L"0123456789ABCDEF";
    std::wstring out;
    for (int shift = 12; shift >= 0; shift -= 4) out.push_back(kDigits[(value >> shift) & 0xF]);
    return out;
}

inline std::wstring IdSuffix(std::uint32_t deviceId) {
    return L"VID_" + Hex4(deviceId >> 16) + L"&PID_" + Hex4(deviceId & 0xFFFF);
}

inline std::wstring BlockName(std::uint32_t deviceId) { return L"SvJoyFrcData_" + IdSuffix(deviceId); }

inline const wchar_t* kSettingsParent = L"Software\\Corvanta\\Gearbench\\DriverSettings";

inline std::wstring KeyPath(std::uint32_t deviceId) {
    return std::wstring(kSettingsParent) + L"\\" + IdSuffix(deviceId);
}

// A device ID word no real device and no other test process uses.
inline std::uint32_t UniqueDeviceId() {
    static std::mt19937 generator{std::random_device{}()};
    // Vendor IDs 0x1000..0x7FFF: never the maker's.
    return ((0x1000 + generator() % 0x7000) << 16) | (generator() & 0xFFFF);
}

// A second holder of a device's block, reading and writing it bytewise.
class RawBlock {
public:
    explicit RawBlock(std::uint32_t deviceId, std::uint32_t size = 644) {
        m_mapping = platform::shm::Create(BlockName(deviceId).c_str(), size, &m_existed);
        m_view = static_cast<unsigned char*>(platform::shm::Map(m_mapping, &m_size));
    }
    ~RawBlock() {
        platform::shm::Unmap(m_view);
        platform::shm::Close(m_mapping);
    }
    RawBlock(const RawBlock&) = delete;
    RawBlock& operator=(const RawBlock&) = delete;

    bool Existed() const { return m_existed; }
    bool Mapped() const { return m_view != nullptr; }
    std::size_t Size() const { return m_size; }
    std::uint32_t U32(std::size_t offset) const {
        return m_view[offset] | m_view[offset + 1] << 8 | m_view[offset + 2] << 16 |
               static_cast<std::uint32_t>(m_view[offset + 3]) << 24;
    }
    std::int32_t I32(std::size_t offset) const { return static_cast<std::int32_t>(U32(offset)); }
    unsigned char U8(std::size_t offset) const { return m_view[offset]; }
    void SetU8(std::size_t offset, unsigned char value) { m_view[offset] = value; }
    void SetU32(std::size_t offset, std::uint32_t value) {
        for (int i = 0; i < 4; ++i) m_view[offset + i] = static_cast<unsigned char>(value >> (8 * i));
    }

private:
    platform::shm::Mapping m_mapping = nullptr;
    unsigned char* m_view = nullptr;
    std::size_t m_size = 0;
    bool m_existed = false;
};

// Registry values under one device's settings key.
class DeviceKey {
public:
    explicit DeviceKey(std::uint32_t deviceId) : m_path(KeyPath(deviceId)) {}
    ~DeviceKey() { Delete(); }

    void Delete() {
        CRegistryEntry parent;
        if (parent.Open(platform::reg::CurrentUser(), kSettingsParent, platform::reg::kKeyAllAccess))
            parent.DeleteTree(m_path.substr(m_path.find_last_of(L'\\') + 1).c_str());
    }
    bool Set(const wchar_t* name, std::uint32_t type, const void* data, std::uint32_t size) {
        CRegistryEntry key;
        return key.Create(platform::reg::CurrentUser(), m_path.c_str(), platform::reg::kKeyWrite) &&
               key.SetValue(name, type, data, size);
    }
    bool SetDword(const wchar_t* name, std::uint32_t value) {
        return Set(name, platform::reg::kDword, &value, sizeof value);
    }
    // UTF-16 text, with its terminator.
    bool SetText(const wchar_t* name, const std::wstring& text) {
        std::u16string utf16(text.begin(), text.end());
        return Set(name, platform::reg::kSz, utf16.c_str(), static_cast<std::uint32_t>((utf16.size() + 1) * 2));
    }
    // False when the value is missing or not a 4-byte REG_DWORD.
    bool GetDword(const wchar_t* name, std::uint32_t* value) {
        CRegistryEntry key;
        std::uint32_t type = 0;
        std::uint32_t size = 0;
        return key.Open(platform::reg::CurrentUser(), m_path.c_str(), platform::reg::kKeyRead) &&
               key.Query(name, value, sizeof *value, &type, &size) && type == platform::reg::kDword &&
               size == sizeof *value;
    }
    bool Exists() {
        CRegistryEntry key;
        return key.Open(platform::reg::CurrentUser(), m_path.c_str(), platform::reg::kKeyRead);
    }

private:
    std::wstring m_path;
};

// Collects the debug trace for its lifetime (one at a time per process).
class TraceLines {
public:
    TraceLines() {
        Clear();
        platform::SetTraceHook(&Hook);
    }
    ~TraceLines() { platform::SetTraceHook(nullptr); }
    TraceLines(const TraceLines&) = delete;
    TraceLines& operator=(const TraceLines&) = delete;

    std::vector<std::wstring> Lines() const {
        std::lock_guard lock(Mutex());
        return Store();
    }
    // Lines that contain `text`.
    std::size_t Count(const std::wstring& text) const {
        std::size_t count = 0;
        for (const auto& line : Lines()) count += line.find(text) != std::wstring::npos;
        return count;
    }
    void Clear() {
        std::lock_guard lock(Mutex());
        Store().clear();
    }

private:
    static void Hook(const wchar_t*, const wchar_t* message) {
        std::lock_guard lock(Mutex());
        Store().emplace_back(message);
    }
    static std::mutex& Mutex() {
        static std::mutex mutex;
        return mutex;
    }
    static std::vector<std::wstring>& Store() {
        static std::vector<std::wstring> lines;
        return lines;
    }
};

}  // namespace settings_test
