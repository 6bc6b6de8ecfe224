#include "devio/manager/feature.h"

#include "devio/core/errors.h"

namespace devio {

IFeature::~IFeature() = default;

void IFeature::on_notification(std::uint8_t, std::span<const std::uint8_t>) {}

void FeatureBase::call(std::uint8_t function, std::span<const std::uint8_t> params,
                       IFeatureChannel::finish_fn finish) {
    auto channel = m_channel.lock();
    if (!channel) {
        finish(make_failed<IFeatureChannel::response>(make_devio_exception(static_cast<std::uint32_t>(errc::DeviceRemoved))));
        return;
    }
    channel->call(m_index, function, params, std::move(finish));
}

future<void> FeatureBase::request_void(std::uint8_t function, std::span<const std::uint8_t> params) {
    auto p = std::make_shared<promise<void>>();
    future<void> result = p->get_future();
    call(function, params, [p](future<IFeatureChannel::response> answer) {
        try {
            answer.get();
            p->set_value();
        } catch (...) {
            p->set_exception(std::current_exception());
        }
    });
    return result;
}

void require_answer_size(const std::vector<std::uint8_t>& answer, std::size_t n) {
    if (answer.size() < n)
        throw_devio_exception(static_cast<std::uint32_t>(errc::CommandResponseTooShort), {},
                              static_cast<std::uint32_t>(answer.size()));
}

// Defined beside the registrations of the built-in features. A static
// library drops object files that nothing refers to, and their registrations
// with them (the Windows linker does, for one); reading these keeps every
// built-in feature's file in any program that uses the factory.
extern const int kFeatureDiscoveryLinked;
extern const int kFeature807ALinked;

feature_factory& feature_factory::instance() {
    static feature_factory factory;
    static volatile int linked = kFeatureDiscoveryLinked + kFeature807ALinked;
    (void)linked;
    return factory;
}

void feature_factory::add(std::uint16_t feature_id, creator make) {
    std::lock_guard lock(m_mutex);
    m_creators[feature_id] = std::move(make);
}

std::shared_ptr<IFeature> feature_factory::create(std::uint16_t feature_id, std::weak_ptr<IFeatureChannel> channel,
                                                  std::uint8_t index, std::uint8_t version) const {
    creator make;
    {
        std::lock_guard lock(m_mutex);
        auto it = m_creators.find(feature_id);
        if (it == m_creators.end()) return nullptr;
        make = it->second;
    }
    return make(std::move(channel), index, version);
}

bool feature_factory::knows(std::uint16_t feature_id) const {
    std::lock_guard lock(m_mutex);
    return m_creators.count(feature_id) != 0;
}

}  // namespace devio
