// The seam between the device manager and the buses that carry RAP reports:
// the Win32 HID bus (devio/Source/Windows), and the virtual RAP devices of
// the portable build and of tests (devio/Source/Virtual).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace devio {

// One open device interface that carries RAP reports. Owned jointly by its
// bus and the device object built over it; write is called from any thread,
// the sink from the bus's reading thread (or, for virtual devices, from
// inside write).
class IRapConnection {
public:
    using report_sink = std::function<void(std::span<const std::uint8_t>)>;
    virtual ~IRapConnection() = default;

    // The device's container ID in registry form ("{...}"), the key that ties
    // it to the DirectInput device of the same hardware.
    virtual std::wstring container_id() const = 0;
    virtual std::uint16_t product_id() const = 0;
    // Sends one report; false when the write failed.
    virtual bool write(std::span<const std::uint8_t> report) = 0;
    // Where incoming reports go. Set once, before the first write.
    virtual void set_report_sink(report_sink sink) = 0;
};

class IHidBusListener {
public:
    virtual ~IHidBusListener() = default;
    virtual void on_arrival(const std::shared_ptr<IRapConnection>& connection) = 0;
    virtual void on_removal(const std::shared_ptr<IRapConnection>& connection) = 0;
};

// A source of connections. start reports every connection already present
// through on_arrival before it returns, later ones from the bus's thread;
// after stop returns no callback runs.
class IHidBus {
public:
    virtual ~IHidBus() = default;
    virtual bool start(IHidBusListener* listener) = 0;
    virtual void stop() = 0;
};

// The bus of the build: the HID class driver on Windows, the process's
// virtual RAP bus elsewhere. The library serves one maker, whose vendor ID
// its user passes in.
std::shared_ptr<IHidBus> make_default_hid_bus(std::uint16_t vendor_id);

}  // namespace devio
