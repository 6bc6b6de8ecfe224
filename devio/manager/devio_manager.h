// The device manager: the list of present RAP devices and the event that
// tells of their arrival and removal.
//
// CDevio is process-wide (instance()); tests build their own over a bus of
// virtual devices. Its lock guards the device list; events are published
// outside it, each on the subscriber's executor.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "devio/manager/device.h"
#include "devio/manager/event.h"
#include "devio/manager/hid_bus.h"

namespace devio {

class IDeviceManager {
public:
    struct ArrivalRemoval {
        struct handler {
            virtual ~handler() = default;
            virtual void onDeviceArrival(const std::shared_ptr<IDevice>& device) = 0;
            virtual void onDeviceRemoval(const std::shared_ptr<IDevice>& device) = 0;
        };
    };

    virtual ~IDeviceManager() = default;
    // The devices present now, in arrival order.
    virtual std::vector<std::shared_ptr<IDevice>> presentDevices() const = 0;
    virtual Producer<ArrivalRemoval>& arrivalRemoval() = 0;
};

class CDevio final : public IDeviceManager, private IHidBusListener, public std::enable_shared_from_this<CDevio> {
public:
    // Option of configure: enumerate the bus at once.
    static constexpr std::uint32_t kOptionEnumerateNow = 1;

    explicit CDevio(std::shared_ptr<IHidBus> bus);
    ~CDevio() override;
    CDevio(const CDevio&) = delete;
    CDevio& operator=(const CDevio&) = delete;

    // The process's manager over the build's default bus, which recognises
    // the devices of `vendor_id`. The first call makes it; later calls get
    // the same manager whatever vendor they name.
    static std::shared_ptr<CDevio> instance(std::uint16_t vendor_id);

    // software_id (1..15) tags every request of this process so that its
    // answers are told from other programs' traffic; options with
    // kOptionEnumerateNow start the bus at once (otherwise at the first
    // presentDevices). A second call changes nothing but the software ID of
    // devices that arrive later. False for a software ID out of range.
    bool configure(std::uint32_t software_id, std::uint32_t options);

    // Stops the bus and lets every present device go (subscribers hear of
    // each removal); the next configure or presentDevices starts it again.
    // Owners call it from their own thread before they unload: the Windows
    // bus joins its notification thread, which must not happen at DLL detach.
    void stop_bus();

    std::vector<std::shared_ptr<IDevice>> presentDevices() const override;
    Producer<ArrivalRemoval>& arrivalRemoval() override { return m_arrival_removal; }

private:
    void on_arrival(const std::shared_ptr<IRapConnection>& connection) override;
    void on_removal(const std::shared_ptr<IRapConnection>& connection) override;
    void start_bus() const;

    std::shared_ptr<IHidBus> m_bus;
    mutable std::mutex m_mutex;
    // Read without the start lock once set: callers of presentDevices may
    // hold locks that the bus's own callbacks take.
    mutable std::atomic<bool> m_started{false};
    mutable std::mutex m_start_mutex;  // serialises starting the bus
    std::uint8_t m_software_id = 1;
    std::vector<std::shared_ptr<CRapDevice>> m_devices;
    Producer<ArrivalRemoval> m_arrival_removal;
};

}  // namespace devio
