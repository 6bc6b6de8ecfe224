#include "devio/Source/Virtual/virtual_rap_bus.h"

#include <algorithm>
#include <chrono>

#include "devio/manager/rap_functions.h"
#include "devio/rap/rap_packet.h"

namespace devio {

namespace {
constexpr std::size_t kLongReportSize = 20;
constexpr std::uint8_t kFeatureTypeNone = 0;
constexpr std::uint8_t kFeatureVersion = 1;
constexpr std::uint8_t kProtocolMajor = 4;
constexpr std::uint8_t kProtocolMinor = 2;
// RAP 2.0 error bytes the wheel answers with on its own.
constexpr std::uint8_t kErrInvalidArgument = 2;
constexpr std::uint8_t kErrInvalidFeatureIndex = 6;
constexpr std::uint8_t kErrInvalidFunctionId = 7;
constexpr std::size_t kCommandHeader = 3;

std::vector<std::uint8_t> error_answer(std::span<const std::uint8_t> request, std::uint8_t error) {
    std::vector<std::uint8_t> out(kLongReportSize, 0);
    out[rap::kOffsetReportId] = rap::kReportIdLong;
    out[rap::kOffsetDeviceIndex] = request[rap::kOffsetDeviceIndex];
    out[rap::kOffsetFeatureIndex] = rap::kRap20ErrorMarker;
    out[rap::kOffsetErrorFeatureIndex] = request[rap::kOffsetFeatureIndex];
    out[rap::kOffsetErrorFunction] = request[rap::kOffsetFunction];
    out[rap::kOffsetErrorCode] = error;
    return out;
}

// A one-byte marker in front of the results, so that respond() can tell a
// RAP error from a result list.
constexpr std::uint8_t kAnswerOk = 0;
constexpr std::uint8_t kAnswerError = 1;
std::vector<std::uint8_t> ok(std::initializer_list<std::uint8_t> results) {
    std::vector<std::uint8_t> out;
    out.reserve(results.size() + 1);
    out.push_back(kAnswerOk);
    for (std::uint8_t r : results) out.push_back(r);
    return out;
}
std::vector<std::uint8_t> fail(std::uint8_t error) { return {kAnswerError, error}; }

std::int32_t read_i32(std::span<const std::uint8_t> p, std::size_t at) {
    return static_cast<std::int32_t>(rapfn::get_u32(p.data() + at));
}
}  // namespace

VirtualRapWheel::VirtualRapWheel(std::wstring container_id, std::uint16_t product_id,
                                 std::vector<std::uint16_t> features)
    : m_container_id(std::move(container_id)), m_product_id(product_id), m_features(std::move(features)) {}

void VirtualRapWheel::set_report_sink(report_sink sink) {
    std::lock_guard lock(m_mutex);
    m_sink = std::move(sink);
}

bool VirtualRapWheel::write(std::span<const std::uint8_t> report) {
    if (report.size() < rap::kHeaderSize) return false;
    report_sink sink;
    answer reply;
    {
        std::lock_guard lock(m_mutex);
        reply = respond(report);
        sink = m_sink;
    }
    if (sink) sink(reply);
    {
        std::lock_guard lock(m_wait_mutex);
        ++m_writes;
    }
    m_written.notify_all();
    return true;
}

bool VirtualRapWheel::wait_until(const std::function<bool()>& check, std::uint32_t timeout_ms) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    for (;;) {
        std::uint64_t seen = 0;
        {
            std::lock_guard lock(m_wait_mutex);
            seen = m_writes;
        }
        if (check()) return true;
        std::unique_lock lock(m_wait_mutex);
        if (!m_written.wait_until(lock, deadline, [&] { return m_writes != seen; })) return check();
    }
}

VirtualRapWheel::answer VirtualRapWheel::respond(std::span<const std::uint8_t> request) {
    const std::uint8_t index = request[rap::kOffsetFeatureIndex];
    const std::uint8_t function = request[rap::kOffsetFunction] >> rap::kFunctionShift;
    const auto params = request.subspan(rap::kOffsetParams);
    if (index > m_features.size()) return error_answer(request, kErrInvalidFeatureIndex);
    const std::uint16_t id = index == 0 ? rapfn::kFeatureRoot : m_features[index - 1];
    if (auto it = m_failures.find({id, function}); it != m_failures.end()) return error_answer(request, it->second);
    answer result;
    if (id == rapfn::kFeatureRoot)
        result = respond_root(function, params);
    else if (id == rapfn::kFeatureSet)
        result = respond_feature_set(function, params);
    else if (id == rapfn::kFeatureRpmIndicator)
        result = respond_rpm(function, params);
    else
        result = fail(kErrInvalidFunctionId);
    if (result[0] == kAnswerError) return error_answer(request, result[1]);
    answer out(kLongReportSize, 0);
    out[rap::kOffsetReportId] = rap::kReportIdLong;
    std::copy(request.begin() + rap::kOffsetDeviceIndex, request.begin() + rap::kHeaderSize,
              out.begin() + rap::kOffsetDeviceIndex);
    std::copy(result.begin() + 1, result.end(), out.begin() + rap::kOffsetParams);
    return out;
}

VirtualRapWheel::answer VirtualRapWheel::respond_root(std::uint8_t function, std::span<const std::uint8_t> params) {
    if (function == rapfn::kRootGetProtocol) return ok({kProtocolMajor, kProtocolMinor});
    if (function != rapfn::kRootGetFeature) return fail(kErrInvalidFunctionId);
    if (params.size() < 2) return fail(kErrInvalidArgument);
    const auto wanted = static_cast<std::uint16_t>((params[0] << 8) | params[1]);
    if (wanted == rapfn::kFeatureRoot) return ok({0, kFeatureTypeNone, kFeatureVersion});
    auto it = std::find(m_features.begin(), m_features.end(), wanted);
    if (it == m_features.end()) return ok({0, 0, 0});
    return ok({static_cast<std::uint8_t>(it - m_features.begin() + 1), kFeatureTypeNone, kFeatureVersion});
}

VirtualRapWheel::answer VirtualRapWheel::respond_feature_set(std::uint8_t function,
                                                             std::span<const std::uint8_t> params) {
    if (function == rapfn::kSetGetCount) return ok({static_cast<std::uint8_t>(m_features.size())});
    if (function != rapfn::kSetGetFeatureId) return fail(kErrInvalidFunctionId);
    if (params.empty() || params[0] == 0 || params[0] > m_features.size()) return fail(kErrInvalidArgument);
    const std::uint16_t id = m_features[params[0] - 1];
    return ok({static_cast<std::uint8_t>(id >> 8), static_cast<std::uint8_t>(id), kFeatureTypeNone, kFeatureVersion});
}

VirtualRapWheel::answer VirtualRapWheel::respond_rpm(std::uint8_t function, std::span<const std::uint8_t> params) {
    switch (function) {
        case rapfn::kRpmGetReadiness:
            if (params.size() < 2) return fail(kErrInvalidArgument);
            m_readiness_queries.emplace_back(params[0], params[1]);
            return ok({static_cast<std::uint8_t>(m_ready ? 1 : 0)});
        case rapfn::kRpmSendCommand:
            if (params.size() < kCommandHeader) return fail(kErrInvalidArgument);
            take_command_packet(params);
            return ok({});
        case rapfn::kRpmGetValue16:
            ++m_value_queries;
            return ok({m_value16[0], m_value16[1]});
        case rapfn::kRpmGetStateFlag: return ok({m_state_flag});
        case rapfn::kRpmSelect:
            if (params.size() < 2) return fail(kErrInvalidArgument);
            m_selections.emplace_back(params[0], params[1]);
            return ok({});
        case rapfn::kRpmSetTriple:
            if (params.size() < 12) return fail(kErrInvalidArgument);
            m_triples.push_back({read_i32(params, 0), read_i32(params, 4), read_i32(params, 8)});
            return ok({});
        default: return fail(kErrInvalidFunctionId);
    }
}

// Packets of one command arrive in order; the command is complete once its
// last value (or, for an empty list, its only packet) is in.
void VirtualRapWheel::take_command_packet(std::span<const std::uint8_t> params) {
    const std::uint8_t count = params[1];
    const std::uint8_t first = params[2];
    if (first == 0) m_partial = command_record{params[0], {}};
    for (std::size_t at = kCommandHeader; at + 4 <= params.size() && m_partial.values.size() < count; at += 4)
        m_partial.values.push_back(rapfn::get_u32(params.data() + at));
    if (m_partial.values.size() >= count) m_commands.push_back(m_partial);
}

void VirtualRapWheel::set_ready(bool ready) {
    std::lock_guard lock(m_mutex);
    m_ready = ready;
}

void VirtualRapWheel::set_value16(std::array<std::uint8_t, 2> value) {
    std::lock_guard lock(m_mutex);
    m_value16 = value;
}

void VirtualRapWheel::set_state_flag(std::uint8_t flag) {
    std::lock_guard lock(m_mutex);
    m_state_flag = flag;
}

void VirtualRapWheel::fail_function(std::uint16_t feature_id, std::uint8_t function, std::uint8_t rap_error) {
    std::lock_guard lock(m_mutex);
    m_failures[{feature_id, function}] = rap_error;
}

void VirtualRapWheel::notify_mode_change(std::uint8_t mode, std::array<std::uint8_t, 2> value) {
    report_sink sink;
    std::uint8_t index = 0;
    {
        std::lock_guard lock(m_mutex);
        auto it = std::find(m_features.begin(), m_features.end(), rapfn::kFeatureRpmIndicator);
        if (it == m_features.end()) return;
        index = static_cast<std::uint8_t>(it - m_features.begin() + 1);
        m_value16 = value;
        sink = m_sink;
    }
    answer out(kLongReportSize, 0);
    out[rap::kOffsetReportId] = rap::kReportIdLong;
    out[rap::kOffsetDeviceIndex] = rap::kDeviceIndexSelf;
    out[rap::kOffsetFeatureIndex] = index;
    out[rap::kOffsetFunction] = rapfn::kRpmEventModeChanged << rap::kFunctionShift;
    out[rap::kOffsetParams] = mode;
    out[rap::kOffsetParams + 1] = value[0];
    out[rap::kOffsetParams + 2] = value[1];
    if (sink) sink(out);
}

std::vector<VirtualRapWheel::command_record> VirtualRapWheel::commands() const {
    std::lock_guard lock(m_mutex);
    return m_commands;
}

std::vector<std::array<std::int32_t, 3>> VirtualRapWheel::triples() const {
    std::lock_guard lock(m_mutex);
    return m_triples;
}

std::vector<std::pair<std::uint8_t, std::uint8_t>> VirtualRapWheel::selections() const {
    std::lock_guard lock(m_mutex);
    return m_selections;
}

std::vector<std::pair<std::uint8_t, std::uint8_t>> VirtualRapWheel::readiness_queries() const {
    std::lock_guard lock(m_mutex);
    return m_readiness_queries;
}

std::size_t VirtualRapWheel::value_queries() const {
    std::lock_guard lock(m_mutex);
    return m_value_queries;
}

std::shared_ptr<VirtualRapBus> VirtualRapBus::process_bus() {
    static const auto bus = std::make_shared<VirtualRapBus>();
    return bus;
}

bool VirtualRapBus::start(IHidBusListener* listener) {
    std::lock_guard lock(m_mutex);
    m_listener = listener;
    for (const auto& device : m_devices) m_listener->on_arrival(device);
    return true;
}

void VirtualRapBus::stop() {
    std::lock_guard lock(m_mutex);
    m_listener = nullptr;
}

bool VirtualRapBus::listening() {
    std::lock_guard lock(m_mutex);
    return m_listener != nullptr;
}

void VirtualRapBus::plug(const std::shared_ptr<VirtualRapWheel>& device) {
    std::lock_guard lock(m_mutex);
    m_devices.push_back(device);
    if (m_listener) m_listener->on_arrival(device);
}

void VirtualRapBus::unplug(const std::shared_ptr<VirtualRapWheel>& device) {
    std::lock_guard lock(m_mutex);
    auto it = std::find(m_devices.begin(), m_devices.end(), device);
    if (it == m_devices.end()) return;
    m_devices.erase(it);
    if (m_listener) m_listener->on_removal(device);
}

}  // namespace devio
