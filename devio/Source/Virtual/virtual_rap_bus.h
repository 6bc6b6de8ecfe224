// Virtual RAP devices and the bus they plug into: wheels that answer requests
// as the maker's hardware does, each with its own feature table, and that can
// arrive and leave while the library runs. The portable build's default bus
// is the process's VirtualRapBus; tests also build private ones.
//
// A device answers on the writing thread, from inside write, after releasing
// its own lock. The bus's lock is held while it calls its listener, so
// arrivals and removals reach the listener in order.
#pragma once

#include <array>
#include <condition_variable>
#include <functional>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "devio/manager/hid_bus.h"

namespace devio {

class VirtualRapWheel final : public IRapConnection {
public:
    struct command_record {
        std::uint8_t command = 0;
        std::vector<std::uint32_t> values;
    };

    // features: the IDs at indices 1, 2, ... (the root sits at 0).
    VirtualRapWheel(std::wstring container_id, std::uint16_t product_id, std::vector<std::uint16_t> features);

    std::wstring container_id() const override { return m_container_id; }
    std::uint16_t product_id() const override { return m_product_id; }
    bool write(std::span<const std::uint8_t> report) override;
    void set_report_sink(report_sink sink) override;

    // Behaviour of the RPM indicator feature.
    void set_ready(bool ready);
    void set_value16(std::array<std::uint8_t, 2> value);
    void set_state_flag(std::uint8_t flag);
    // Makes feature_id's function answer with the RAP 2.0 error byte.
    void fail_function(std::uint16_t feature_id, std::uint8_t function, std::uint8_t rap_error);
    // Sends the mode-change notification.
    void notify_mode_change(std::uint8_t mode, std::array<std::uint8_t, 2> value);

    // What the wheel received.
    std::vector<command_record> commands() const;
    std::vector<std::array<std::int32_t, 3>> triples() const;
    std::vector<std::pair<std::uint8_t, std::uint8_t>> selections() const;
    std::vector<std::pair<std::uint8_t, std::uint8_t>> readiness_queries() const;
    std::size_t value_queries() const;
    // Waits until check() holds, re-testing after every report the wheel
    // takes; false after timeout_ms, which only guards against hangs.
    bool wait_until(const std::function<bool()>& check, std::uint32_t timeout_ms);

private:
    using answer = std::vector<std::uint8_t>;
    answer respond(std::span<const std::uint8_t> request);
    answer respond_root(std::uint8_t function, std::span<const std::uint8_t> params);
    answer respond_feature_set(std::uint8_t function, std::span<const std::uint8_t> params);
    answer respond_rpm(std::uint8_t function, std::span<const std::uint8_t> params);
    void take_command_packet(std::span<const std::uint8_t> params);

    const std::wstring m_container_id;
    const std::uint16_t m_product_id;
    const std::vector<std::uint16_t> m_features;
    mutable std::mutex m_mutex;
    std::mutex m_wait_mutex;
    std::condition_variable m_written;
    std::uint64_t m_writes = 0;  // guarded by m_wait_mutex
    report_sink m_sink;
    bool m_ready = true;
    std::array<std::uint8_t, 2> m_value16{};
    std::uint8_t m_state_flag = 0;
    std::map<std::pair<std::uint16_t, std::uint8_t>, std::uint8_t> m_failures;
    command_record m_partial;
    std::vector<command_record> m_commands;
    std::vector<std::array<std::int32_t, 3>> m_triples;
    std::vector<std::pair<std::uint8_t, std::uint8_t>> m_selections;
    std::vector<std::pair<std::uint8_t, std::uint8_t>> m_readiness_queries;
    std::size_t m_value_queries = 0;
};

class VirtualRapBus final : public IHidBus {
public:
    // The portable build's default bus.
    static std::shared_ptr<VirtualRapBus> process_bus();

    bool start(IHidBusListener* listener) override;
    void stop() override;

    void plug(const std::shared_ptr<VirtualRapWheel>& device);
    void unplug(const std::shared_ptr<VirtualRapWheel>& device);
    // True between start and stop: a device manager hears of the devices.
    bool listening();

private:
    std::mutex m_mutex;
    IHidBusListener* m_listener = nullptr;
    std::vector<std::shared_ptr<VirtualRapWheel>> m_devices;
};

}  // namespace devio
