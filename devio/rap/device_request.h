// One request to a device and the wait for the one incoming report that
// answers it.
//
// Owned by whoever sends it (shared with the table of pending requests);
// built on the caller's thread, completed on the thread that reads the
// device's reports. Not locked: the pending table hands a request to one
// thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "devio/core/context.h"
#include "devio/core/future.h"
#include "devio/rap/rap_packet.h"

namespace devio {

class DeviceRequest {
public:
    explicit DeviceRequest(std::vector<std::uint8_t> request, std::uint8_t protocol_kind = rap::kProtocolRap20);

    const std::vector<std::uint8_t>& request() const noexcept { return m_request; }
    const std::vector<std::uint8_t>& response() const noexcept { return m_response; }
    std::uint8_t protocol_kind() const noexcept { return m_protocol_kind; }

    // The answer must repeat the request's parameter byte at this index.
    void add_match_position(std::size_t parameter_index) { m_match_positions.push_back(parameter_index); }
    const std::vector<std::size_t>& match_positions() const noexcept { return m_match_positions; }

    bool matches(std::span<const std::uint8_t> report) const noexcept {
        return rap::report_answers(report, m_request, m_match_positions);
    }

    // Records a failure that happened without an answer (time-out, write
    // error, device gone).
    void set_error(std::uint32_t code, const char* message = nullptr, std::uint32_t value = 0) noexcept {
        m_error = last_error{code, message, value};
    }
    const last_error& error() const noexcept { return m_error; }

    // Copies the request's error into the thread's last-error record, then
    // judges the response; false when the request failed, with the record
    // naming why.
    bool check_result() const noexcept;

    // The response once the request completes, or the DevioException of
    // its failure. At most once.
    future<std::vector<std::uint8_t>> get_future() { return m_promise.get_future(); }
    // Stores the answering report and settles the future by check_result.
    void complete(std::span<const std::uint8_t> report);
    // Records the failure and settles the future with it.
    void fail(std::uint32_t code, const char* message = nullptr, std::uint32_t value = 0);

private:
    void settle();

    std::vector<std::uint8_t> m_request;
    std::vector<std::uint8_t> m_response;
    std::vector<std::size_t> m_match_positions;
    std::uint8_t m_protocol_kind;
    last_error m_error;
    promise<std::vector<std::uint8_t>> m_promise;
};

// What request building needs from a feature's device.
class IDeviceAddress {
public:
    virtual ~IDeviceAddress() = default;
    // The device's software ID (0 to 15), which its answers carry back.
    virtual std::uint8_t software_id() const = 0;
};

// Builds a feature's request for function (0 to 15) with the parameters:
// short report 0x10, or long 0x11 beyond 7 bytes, addressed to the device
// itself. Null, with the last-error record set, when the device is gone
// (DeviceRemoved) or the function or software ID does not fit its nibble
// (Failure, value = the offending number).
std::shared_ptr<DeviceRequest> make_feature_request(const std::weak_ptr<const IDeviceAddress>& device,
                                                    std::uint8_t feature_index, std::uint8_t function,
                                                    std::span<const std::uint8_t> params,
                                                    std::uint8_t protocol_kind = rap::kProtocolRap20);

}  // namespace devio
