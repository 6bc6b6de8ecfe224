#include "force_feedback/legacy/bridge/wheel_bridge.h"

#include <bit>
#include <new>

#include "force_feedback/legacy/bridge/bridge_device_table.h"
#include "force_feedback/legacy/bridge/devio_thread.h"

std::uint8_t BridgeOpenWheel(DevioThread* bridge, const std::wstring& key, IBridgeConnectionListener* listener) {
    if (!bridge) return CBridgeDeviceTable::kNoSlot;
    std::uint8_t slot = CBridgeDeviceTable::kNoSlot;
    {
        CBridgeDeviceTable& table = BridgeDeviceTable();
        std::lock_guard lock(table.Lock());
        slot = table.RegisterKey(key);
        if (slot != CBridgeDeviceTable::kNoSlot) table.SetConnectionListener(slot, listener);
    }
    if (slot != CBridgeDeviceTable::kNoSlot) bridge->Post(kAttachDevice, slot, nullptr);
    return slot;
}

bool BridgeSendFloats(DevioThread* bridge, std::uint8_t slot, std::uint8_t selector, std::uint32_t count,
                      const std::vector<float>& values) {
    if (!bridge) return false;
    auto* record = new (std::nothrow) BridgeFeatureCommand;
    if (!record) return false;
    record->command = selector;
    // The record carries the low byte of the count (intentional, keep).
    record->count = static_cast<std::uint8_t>(count);
    try {
        record->values.reserve(values.size());
        for (float v : values) record->values.push_back(std::bit_cast<std::uint32_t>(v));
    } catch (const std::bad_alloc&) {
        delete record;
        return false;
    }
    bridge->Post(kSendFeatureCommand, slot, record);
    return true;
}

bool BridgeReadBytes(std::uint8_t slot, std::uint8_t out[2]) {
    CBridgeDeviceTable& table = BridgeDeviceTable();
    std::lock_guard tableLock(table.Lock());
    auto entry = table.EntryBySlot(slot);
    if (!entry) return false;
    std::lock_guard entryLock(entry->m_mutex);
    if (!entry->m_device || !entry->m_value) return false;
    out[0] = entry->m_value[0];
    out[1] = entry->m_value[1];
    return true;
}

void BridgeWheelGone(DevioThread* bridge, const std::wstring& key) {
    std::uint8_t slot = CBridgeDeviceTable::kNoSlot;
    {
        CBridgeDeviceTable& table = BridgeDeviceTable();
        std::lock_guard lock(table.Lock());
        slot = table.RemoveKey(key);
    }
    if (bridge) bridge->Post(kDeviceGone, slot, nullptr);
}
