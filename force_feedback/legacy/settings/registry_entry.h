// Owner of one open registry key. Used for class registration and by the
// settings code; closes its key when destroyed.
#pragma once

#include <cstdint>

#include "platform/registry.h"

class CRegistryEntry {
public:
    static constexpr std::uint32_t kQueryBufferSize = 2048;

    CRegistryEntry() = default;
    virtual ~CRegistryEntry();
    CRegistryEntry(const CRegistryEntry&) = delete;
    CRegistryEntry& operator=(const CRegistryEntry&) = delete;

    // Each returns true on success.
    bool Create(platform::reg::Key root, const wchar_t* subkey, std::uint32_t access,
                std::uint32_t* disposition = nullptr);
    bool Open(platform::reg::Key root, const wchar_t* subkey, std::uint32_t access);
    // True when nothing was open.
    bool Close();
    // A missing subtree counts as deleted.
    bool DeleteTree(const wchar_t* subkey);
    // Reads through a 2048-byte buffer; fails when the value is larger than
    // `capacity`. `type` and `size` may be null.
    bool Query(const wchar_t* name, void* buffer, std::uint32_t capacity, std::uint32_t* type = nullptr,
               std::uint32_t* size = nullptr);
    // The registry's result of the last Create, Open or Query (kMoreData for
    // a value larger than Query's capacity): tells a key or value that is
    // not there (kFileNotFound) from one that could not be read.
    platform::reg::Status LastStatus() const { return m_status; }
    // REG_SZ whose stored size is the length times two, without the
    // terminating null: intentional, keep.
    bool SetString(const wchar_t* name, const wchar_t* text);
    bool SetValue(const wchar_t* name, std::uint32_t type, const void* data, std::uint32_t size);

    platform::reg::Key Handle() const { return m_key; }

private:
    platform::reg::Key m_key = nullptr;
    platform::reg::Status m_status = platform::reg::kSuccess;
};
