#include "force_feedback/legacy/settings/registry_entry.h"

#include <cstring>
#include <cwchar>
#include <string>

namespace reg = platform::reg;

CRegistryEntry::~CRegistryEntry() { Close(); }

bool CRegistryEntry::Create(reg::Key root, const wchar_t* subkey, std::uint32_t access, std::uint32_t* disposition) {
    Close();
    m_status = reg::CreateKey(root, subkey, access, &m_key, disposition);
    return m_status == reg::kSuccess;
}

bool CRegistryEntry::Open(reg::Key root, const wchar_t* subkey, std::uint32_t access) {
    Close();
    m_status = reg::OpenKey(root, subkey, access, &m_key);
    return m_status == reg::kSuccess;
}

bool CRegistryEntry::Close() {
    if (m_key == nullptr) return true;
    const bool ok = reg::CloseKey(m_key) == reg::kSuccess;
    m_key = nullptr;
    return ok;
}

bool CRegistryEntry::DeleteTree(const wchar_t* subkey) {
    const reg::Status status = reg::DeleteTree(m_key, subkey);
    return status == reg::kSuccess || status == reg::kFileNotFound;
}

bool CRegistryEntry::Query(const wchar_t* name, void* buffer, std::uint32_t capacity, std::uint32_t* type,
                           std::uint32_t* size) {
    unsigned char local[kQueryBufferSize];
    std::uint32_t length = sizeof local;
    std::uint32_t valueType = 0;
    m_status = reg::QueryValue(m_key, name, &valueType, local, &length);
    if (m_status == reg::kSuccess && length > capacity) m_status = reg::kMoreData;
    if (m_status != reg::kSuccess) return false;
    std::memcpy(buffer, local, length);
    if (type) *type = valueType;
    if (size) *size = length;
    return true;
}

bool CRegistryEntry::SetString(const wchar_t* name, const wchar_t* text) {
    // Windows stores two bytes per character; the terminator is left out.
    const auto bytes = static_cast<std::uint32_t>(std::wcslen(text) * 2);
    if constexpr (sizeof(wchar_t) == 2) return SetValue(name, reg::kSz, text, bytes);
    std::u16string utf16;
    for (const wchar_t* p = text; *p; ++p) utf16.push_back(static_cast<char16_t>(*p));
    return SetValue(name, reg::kSz, utf16.data(), bytes);
}

bool CRegistryEntry::SetValue(const wchar_t* name, std::uint32_t type, const void* data, std::uint32_t size) {
    return reg::SetValue(m_key, name, type, data, size) == reg::kSuccess;
}
