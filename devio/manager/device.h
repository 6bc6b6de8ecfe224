// Devices of the library: one object per RAP connection that the device
// manager sees, shared by the manager's list of present devices and by
// whoever holds it. Requests may be sent from any thread; answers and
// notifications arrive on the connection's reporting thread.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "devio/manager/feature.h"
#include "devio/manager/hid_bus.h"
#include "devio/rap/device_request.h"
#include "devio/rap/match_table.h"

namespace devio {

class IDevice {
public:
    virtual ~IDevice() = default;
    virtual std::wstring container_id() const = 0;
    virtual std::uint16_t product_id() const = 0;
    // False once the device has left.
    virtual bool is_present() const = 0;
    // The feature object for feature_id, asking the root where it lives;
    // FeatureNotPresent when the device lacks it or no class is registered
    // for it. Feature objects are made once per device and shared.
    virtual future<std::shared_ptr<IFeature>> getFeature(std::uint16_t feature_id) = 0;
    // The IDs of every feature the device lists in its feature set, root
    // first; NoFeatureSetFeature when the device has no feature set.
    virtual future<std::vector<std::uint16_t>> getFeatureIds() = 0;
};

// The device over one RAP connection. Its lock guards the pending requests
// and the feature cache; completions run outside it.
class CRapDevice final : public IDevice,
                         public IDeviceAddress,
                         public IFeatureChannel,
                         public std::enable_shared_from_this<CRapDevice> {
public:
    static std::shared_ptr<CRapDevice> create(std::shared_ptr<IRapConnection> connection, std::uint8_t software_id);

    std::wstring container_id() const override { return m_connection->container_id(); }
    std::uint16_t product_id() const override { return m_connection->product_id(); }
    bool is_present() const override;
    future<std::shared_ptr<IFeature>> getFeature(std::uint16_t feature_id) override;
    future<std::vector<std::uint16_t>> getFeatureIds() override;

    std::uint8_t software_id() const override { return m_software_id; }
    void call(std::uint8_t feature_index, std::uint8_t function, std::span<const std::uint8_t> params,
              finish_fn finish) override;

    const std::shared_ptr<IRapConnection>& connection() const noexcept { return m_connection; }
    // The connection is gone: pending requests fail with DeviceRemoved.
    void mark_removed();

private:
    struct pending {
        std::shared_ptr<DeviceRequest> request;
        future<response> answer;
        finish_fn finish;
    };

    CRapDevice(std::shared_ptr<IRapConnection> connection, std::uint8_t software_id);
    void on_report(std::span<const std::uint8_t> report);
    void notify(std::span<const std::uint8_t> report);
    // Removes one pending request, with its match row. Under the lock.
    pending take_pending(std::size_t row);
    void fail_now(finish_fn& finish, std::uint32_t code);
    std::shared_ptr<IFeature> cached_feature(std::uint16_t feature_id);
    std::shared_ptr<IFeature> remember(std::uint16_t feature_id, std::shared_ptr<IFeature> made);

    std::shared_ptr<IRapConnection> m_connection;
    std::uint8_t m_software_id;
    mutable std::mutex m_mutex;
    bool m_removed = false;
    // In sending order; row i of m_matches is m_pending[i]'s request.
    std::vector<pending> m_pending;
    rap::match_table m_matches;
    std::map<std::uint16_t, std::shared_ptr<IFeature>> m_features;
};

}  // namespace devio
