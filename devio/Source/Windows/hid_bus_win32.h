// The HID bus of the Windows build: finds the maker's RAP interfaces among
// the HID devices (vendor ID and a vendor-defined usage page), opens them for
// overlapped I/O, reads their reports on one thread per device, and learns of
// arrival and removal through device notifications on a message-only window
// of its own thread.
//
// Lock: the bus lock guards the listener and the list of open connections;
// listener calls are made under it so that they stay in order.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "devio/manager/hid_bus.h"

namespace devio {

class Win32RapConnection;

class Win32HidBus final : public IHidBus {
public:
    explicit Win32HidBus(std::uint16_t vendor_id);
    ~Win32HidBus() override;

    bool start(IHidBusListener* listener) override;
    void stop() override;
    // Compares the present interfaces with the open ones and reports the
    // difference. Run at start and on every device-interface change.
    void rescan();
    std::size_t open_count();

    // The device interface paths of the maker's RAP interfaces present now.
    std::vector<std::wstring> enumerate_paths() const;

private:
    void notification_loop();

    const std::uint16_t m_vendor_id;
    std::mutex m_mutex;
    IHidBusListener* m_listener = nullptr;
    std::vector<std::shared_ptr<Win32RapConnection>> m_open;
    std::thread m_window_thread;
    unsigned long m_window_thread_id = 0;  // set before start returns
};

}  // namespace devio
