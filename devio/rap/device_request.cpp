#include "devio/rap/device_request.h"

namespace devio {

DeviceRequest::DeviceRequest(std::vector<std::uint8_t> request, std::uint8_t protocol_kind)
    : m_request(std::move(request)), m_protocol_kind(protocol_kind) {}

bool DeviceRequest::check_result() const noexcept {
    set_last_error(m_error.code, m_error.message, m_error.value);
    if (m_error.code != 0) return false;
    const auto status = rap::check_response(m_response, m_protocol_kind);
    if (status.code == 0) return true;
    set_last_error(status.code, nullptr, status.value);
    return false;
}

void DeviceRequest::complete(std::span<const std::uint8_t> report) {
    m_response.assign(report.begin(), report.end());
    settle();
}

void DeviceRequest::fail(std::uint32_t code, const char* message, std::uint32_t value) {
    set_error(code, message, value);
    settle();
}

void DeviceRequest::settle() {
    if (check_result()) {
        m_promise.set_value(m_response);
        return;
    }
    const last_error& failure = get_last_error();
    m_promise.set_exception(make_devio_exception(failure.code, failure.message ? failure.message : "", failure.value));
}

std::shared_ptr<DeviceRequest> make_feature_request(const std::weak_ptr<const IDeviceAddress>& device,
                                                    std::uint8_t feature_index, std::uint8_t function,
                                                    std::span<const std::uint8_t> params, std::uint8_t protocol_kind) {
    constexpr auto kFailure = static_cast<std::uint32_t>(errc::Failure);
    auto target = device.lock();
    if (!target) {
        set_last_error(static_cast<std::uint32_t>(errc::DeviceRemoved));
        return nullptr;
    }
    if (function > rap::kMaxFunction) {
        set_last_error(kFailure, "function number out of range", function);
        return nullptr;
    }
    const std::uint8_t software_id = target->software_id();
    if (software_id > rap::kMaxSoftwareId) {
        set_last_error(kFailure, "software ID out of range", software_id);
        return nullptr;
    }
    std::vector<std::uint8_t> packet = {rap::kReportIdShort, rap::kDeviceIndexSelf, feature_index,
                                        static_cast<std::uint8_t>((function << rap::kFunctionShift) | software_id)};
    packet.insert(packet.end(), params.begin(), params.end());
    if (packet.size() > rap::kShortPacketMaxSize) packet[rap::kOffsetReportId] = rap::kReportIdLong;
    return std::make_shared<DeviceRequest>(std::move(packet), protocol_kind);
}

}  // namespace devio
