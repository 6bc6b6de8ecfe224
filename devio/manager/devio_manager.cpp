#include "devio/manager/devio_manager.h"

#include <algorithm>

#include "devio/rap/rap_packet.h"

namespace devio {

CDevio::CDevio(std::shared_ptr<IHidBus> bus) : m_bus(std::move(bus)) {}

CDevio::~CDevio() {
    if (m_bus) m_bus->stop();
}

std::shared_ptr<CDevio> CDevio::instance(std::uint16_t vendor_id) {
    static const std::shared_ptr<CDevio> manager = std::make_shared<CDevio>(make_default_hid_bus(vendor_id));
    return manager;
}

bool CDevio::configure(std::uint32_t software_id, std::uint32_t options) {
    if (software_id == 0 || software_id > rap::kMaxSoftwareId) return false;
    {
        std::lock_guard lock(m_mutex);
        m_software_id = static_cast<std::uint8_t>(software_id);
    }
    if (options & kOptionEnumerateNow) start_bus();
    return true;
}

void CDevio::start_bus() const {
    if (m_started.load(std::memory_order_acquire)) return;
    std::lock_guard lock(m_start_mutex);
    if (m_started.load(std::memory_order_relaxed) || !m_bus) return;
    // The listener side only changes this object's list, never its bus.
    m_started.store(m_bus->start(const_cast<CDevio*>(this)), std::memory_order_release);
}

void CDevio::stop_bus() {
    std::lock_guard lock(m_start_mutex);
    if (!m_started.load(std::memory_order_relaxed)) return;
    m_bus->stop();
    m_started.store(false, std::memory_order_release);
    std::vector<std::shared_ptr<CRapDevice>> gone;
    {
        std::lock_guard devices_lock(m_mutex);
        gone.swap(m_devices);
    }
    for (const auto& device : gone) {
        device->mark_removed();
        std::shared_ptr<IDevice> as_device = device;
        m_arrival_removal.publish([as_device](auto& h) { h.onDeviceRemoval(as_device); });
    }
}

std::vector<std::shared_ptr<IDevice>> CDevio::presentDevices() const {
    start_bus();
    std::lock_guard lock(m_mutex);
    return {m_devices.begin(), m_devices.end()};
}

void CDevio::on_arrival(const std::shared_ptr<IRapConnection>& connection) {
    std::shared_ptr<CRapDevice> device;
    {
        std::lock_guard lock(m_mutex);
        device = CRapDevice::create(connection, m_software_id);
        m_devices.push_back(device);
    }
    std::shared_ptr<IDevice> as_device = device;
    m_arrival_removal.publish([as_device](auto& h) { h.onDeviceArrival(as_device); });
}

void CDevio::on_removal(const std::shared_ptr<IRapConnection>& connection) {
    std::shared_ptr<CRapDevice> device;
    {
        std::lock_guard lock(m_mutex);
        auto it = std::find_if(m_devices.begin(), m_devices.end(),
                               [&](const auto& d) { return d->connection() == connection; });
        if (it == m_devices.end()) return;
        device = *it;
        m_devices.erase(it);
    }
    device->mark_removed();
    std::shared_ptr<IDevice> as_device = device;
    m_arrival_removal.publish([as_device](auto& h) { h.onDeviceRemoval(as_device); });
}

}  // namespace devio
