// The process-wide table of wheels that wait for, or are bound to, a device
// of the device library. A wheel virtual device registers its key (its
// device's container ID) and gets a slot; the bridge thread binds the entry
// to the library device whose container ID matches, and the wheel reads the
// binding's two-byte value through the table.
//
// Locks: the table lock guards the list of entries; each entry's lock guards
// its binding. Order when nested: table, then entry. The bridge thread's
// queue lock is never held while the table lock is taken.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "devio/manager/device.h"
#include "devio/manager/feature_807a_rpm_indicator.h"

// Told when an entry is bound to (connected) or unbound from a device; called
// on the bridge thread with no bridge lock held.
class IBridgeConnectionListener {
public:
    virtual ~IBridgeConnectionListener() = default;
    virtual void OnBridgeConnection(std::uint8_t slot, bool connected) = 0;
};

// One registered wheel. Its listener part receives the RPM indicator's mode
// changes: the mode goes into the byte list (the mode to select again
// before a float triple), the value replaces the two-byte value.
class BridgeDeviceEntry final : public devio::IFeature807AListener {
public:
    BridgeDeviceEntry(std::uint8_t slot, std::wstring key) : m_slot(slot), m_key(std::move(key)) {}

    std::uint8_t Slot() const { return m_slot; }
    const std::wstring& Key() const { return m_key; }
    // Whether the library device belongs to this entry's wheel: the container
    // IDs agree, letter case aside.
    bool Matches(const devio::IDevice& device) const;

    void onModeChanged(std::uint8_t mode, std::array<std::uint8_t, 2> value) override;

    std::mutex m_mutex;  // the entry lock
    std::shared_ptr<devio::IDevice> m_device;
    std::shared_ptr<devio::IFeature807ARpmIndicator> m_feature;
    std::unique_ptr<std::uint8_t[]> m_value;  // two bytes once the feature answered
    std::vector<std::uint8_t> m_bytes;
    IBridgeConnectionListener* m_listener = nullptr;

private:
    const std::uint8_t m_slot;
    const std::wstring m_key;
};

class CBridgeDeviceTable {
public:
    static constexpr std::uint8_t kNoSlot = 0;

    // Every operation below expects the caller to hold Lock().
    std::mutex& Lock() { return m_mutex; }

    // A new entry for key in the lowest free slot (1..255); kNoSlot when all
    // are taken. A key may be registered more than once.
    std::uint8_t RegisterKey(const std::wstring& key);
    // Removes every entry with key; the slot of the first removed, kNoSlot
    // when none had it.
    std::uint8_t RemoveKey(const std::wstring& key);
    std::shared_ptr<BridgeDeviceEntry> EntryBySlot(std::uint8_t slot) const;
    std::shared_ptr<BridgeDeviceEntry> EntryByDevice(const devio::IDevice& device) const;
    // Sets the listener told of the entry's binding; false without such slot.
    bool SetConnectionListener(std::uint8_t slot, IBridgeConnectionListener* listener);

private:
    std::mutex m_mutex;
    std::vector<std::shared_ptr<BridgeDeviceEntry>> m_entries;
};

// The process's one table.
CBridgeDeviceTable& BridgeDeviceTable();
