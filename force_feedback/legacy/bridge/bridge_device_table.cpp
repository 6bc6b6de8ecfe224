#include "force_feedback/legacy/bridge/bridge_device_table.h"

#include <algorithm>
#include <cwctype>

namespace {
constexpr unsigned kLastSlot = 255;

bool SameIgnoringCase(const std::wstring& a, const std::wstring& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](wchar_t x, wchar_t y) {
               return std::towupper(static_cast<wint_t>(x)) == std::towupper(static_cast<wint_t>(y));
           });
}
}  // namespace

bool BridgeDeviceEntry::Matches(const devio::IDevice& device) const {
    return !m_key.empty() && SameIgnoringCase(m_key, device.container_id());
}

void BridgeDeviceEntry::onModeChanged(std::uint8_t mode, std::array<std::uint8_t, 2> value) {
    std::lock_guard lock(m_mutex);
    m_bytes.assign(1, mode);
    if (!m_value) m_value = std::make_unique<std::uint8_t[]>(2);
    m_value[0] = value[0];
    m_value[1] = value[1];
}

std::uint8_t CBridgeDeviceTable::RegisterKey(const std::wstring& key) {
    for (unsigned slot = 1; slot <= kLastSlot; ++slot) {
        if (EntryBySlot(static_cast<std::uint8_t>(slot))) continue;
        m_entries.push_back(std::make_shared<BridgeDeviceEntry>(static_cast<std::uint8_t>(slot), key));
        return static_cast<std::uint8_t>(slot);
    }
    return kNoSlot;
}

std::uint8_t CBridgeDeviceTable::RemoveKey(const std::wstring& key) {
    std::uint8_t removed = kNoSlot;
    std::erase_if(m_entries, [&](const std::shared_ptr<BridgeDeviceEntry>& e) {
        if (e->Key() != key) return false;
        if (removed == kNoSlot) removed = e->Slot();
        return true;
    });
    return removed;
}

std::shared_ptr<BridgeDeviceEntry> CBridgeDeviceTable::EntryBySlot(std::uint8_t slot) const {
    for (const auto& e : m_entries)
        if (e->Slot() == slot) return e;
    return nullptr;
}

std::shared_ptr<BridgeDeviceEntry> CBridgeDeviceTable::EntryByDevice(const devio::IDevice& device) const {
    for (const auto& e : m_entries)
        if (e->Matches(device)) return e;
    return nullptr;
}

bool CBridgeDeviceTable::SetConnectionListener(std::uint8_t slot, IBridgeConnectionListener* listener) {
    auto entry = EntryBySlot(slot);
    if (!entry) return false;
    std::lock_guard lock(entry->m_mutex);
    entry->m_listener = listener;
    return true;
}

CBridgeDeviceTable& BridgeDeviceTable() {
    static CBridgeDeviceTable table;
    return table;
}
