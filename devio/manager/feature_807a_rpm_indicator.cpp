#include "devio/manager/feature_807a_rpm_indicator.h"

#include <algorithm>

#include "devio/manager/rap_functions.h"

namespace devio {

extern const int kFeature807ALinked = 1;

namespace {
const feature_registration<Feature807ARpmIndicator> kRegistration(rapfn::kFeatureRpmIndicator);

constexpr std::size_t kModeChangedSize = 3;
constexpr std::size_t kSendCommandHeader = 3;  // command, count, first
}  // namespace

IFeature807ARpmIndicator::~IFeature807ARpmIndicator() = default;

struct Feature807ARpmIndicator::command_state {
    std::uint8_t command;
    std::vector<std::uint32_t> values;
    std::size_t next = 0;
    promise<void> done;
};

Feature807ARpmIndicator::Feature807ARpmIndicator(std::weak_ptr<IFeatureChannel> channel, std::uint8_t index,
                                                 std::uint8_t version)
    : m_base(std::move(channel), rapfn::kFeatureRpmIndicator, index, version) {}

future<bool> Feature807ARpmIndicator::getReadiness(std::uint8_t a, std::uint8_t b) {
    const std::uint8_t params[] = {a, b};
    return m_base.request<bool>(rapfn::kRpmGetReadiness, params, [](const std::vector<std::uint8_t>& answer) {
        require_answer_size(answer, 1);
        return answer[0] != 0;
    });
}

future<void> Feature807ARpmIndicator::sendCommand(std::uint8_t command, std::uint8_t count,
                                                  std::vector<std::uint32_t> values) {
    values.resize(std::min<std::size_t>(count, values.size()));
    auto state = std::make_shared<command_state>();
    state->command = command;
    state->values = std::move(values);
    future<void> result = state->done.get_future();
    send_chunk(state);
    return result;
}

// Each packet goes out once the one before it has been answered, so the
// wheel sees the list in order; the first failure ends the command.
void Feature807ARpmIndicator::send_chunk(const std::shared_ptr<command_state>& state) {
    const std::size_t first = state->next;
    const std::size_t n = std::min(rapfn::kRpmValuesPerPacket, state->values.size() - first);
    std::vector<std::uint8_t> params(kSendCommandHeader + 4 * n);
    params[0] = state->command;
    params[1] = static_cast<std::uint8_t>(state->values.size());
    params[2] = static_cast<std::uint8_t>(first);
    for (std::size_t i = 0; i < n; ++i) rapfn::put_u32(&params[kSendCommandHeader + 4 * i], state->values[first + i]);
    state->next = first + n;
    m_base.call(rapfn::kRpmSendCommand, params, [self = shared_from_this(), state](future<IFeatureChannel::response> a) {
        try {
            a.get();
        } catch (...) {
            state->done.set_exception(std::current_exception());
            return;
        }
        if (state->next < state->values.size())
            self->send_chunk(state);
        else
            state->done.set_value();
    });
}

future<std::array<std::uint8_t, 2>> Feature807ARpmIndicator::getValue16() {
    using value = std::array<std::uint8_t, 2>;
    return m_base.request<value>(rapfn::kRpmGetValue16, {}, [](const std::vector<std::uint8_t>& answer) {
        require_answer_size(answer, 2);
        return value{answer[0], answer[1]};
    });
}

future<std::uint8_t> Feature807ARpmIndicator::getStateFlag() {
    return m_base.request<std::uint8_t>(rapfn::kRpmGetStateFlag, {}, [](const std::vector<std::uint8_t>& answer) {
        require_answer_size(answer, 1);
        return answer[0];
    });
}

future<void> Feature807ARpmIndicator::select(std::uint8_t byte, std::uint8_t argument) {
    const std::uint8_t params[] = {byte, argument};
    return m_base.request_void(rapfn::kRpmSelect, params);
}

future<void> Feature807ARpmIndicator::setTriple(std::int32_t a, std::int32_t b, std::int32_t c) {
    std::uint8_t params[12];
    rapfn::put_u32(params, static_cast<std::uint32_t>(a));
    rapfn::put_u32(params + 4, static_cast<std::uint32_t>(b));
    rapfn::put_u32(params + 8, static_cast<std::uint32_t>(c));
    return m_base.request_void(rapfn::kRpmSetTriple, params);
}

void Feature807ARpmIndicator::setListener(std::weak_ptr<IFeature807AListener> listener) {
    std::lock_guard lock(m_mutex);
    m_listener = std::move(listener);
}

void Feature807ARpmIndicator::on_notification(std::uint8_t function, std::span<const std::uint8_t> params) {
    if (function != rapfn::kRpmEventModeChanged || params.size() < kModeChangedSize) return;
    std::shared_ptr<IFeature807AListener> listener;
    {
        std::lock_guard lock(m_mutex);
        listener = m_listener.lock();
    }
    if (listener) listener->onModeChanged(params[0], {params[1], params[2]});
}

}  // namespace devio
