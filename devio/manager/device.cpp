#include "devio/manager/device.h"

#include "devio/core/errors.h"
#include "devio/manager/feature_discovery.h"
#include "devio/manager/rap_functions.h"
#include "devio/rap/rap_packet.h"

namespace devio {

namespace {
constexpr std::uint8_t kSoftwareIdMask = 0x0F;

bool is_notification(std::span<const std::uint8_t> report) {
    const std::uint8_t marker = report[rap::kOffsetFeatureIndex];
    if (marker == rap::kRap20ErrorMarker || marker == rap::kRap10ErrorMarker) return false;
    return (report[rap::kOffsetFunction] & kSoftwareIdMask) == rapfn::kNotificationSoftwareId;
}

std::exception_ptr devio_error(errc code) { return make_devio_exception(static_cast<std::uint32_t>(code)); }

// Collects the feature set's entries one request after another.
struct id_walk {
    std::shared_ptr<Feature0001FeatureSet> set;
    std::vector<std::uint16_t> ids{rapfn::kFeatureRoot};
    std::uint8_t count = 0;
    promise<std::vector<std::uint16_t>> done;

    static void next(const std::shared_ptr<id_walk>& walk, std::uint8_t index) {
        if (index > walk->count) {
            walk->done.set_value(walk->ids);
            return;
        }
        walk->set->getFeatureId(index, [walk, index](future<feature_info> f) {
            try {
                walk->ids.push_back(f.get().id);
            } catch (...) {
                walk->done.set_exception(std::current_exception());
                return;
            }
            next(walk, static_cast<std::uint8_t>(index + 1));
        });
    }
};
}  // namespace

std::shared_ptr<CRapDevice> CRapDevice::create(std::shared_ptr<IRapConnection> connection, std::uint8_t software_id) {
    std::shared_ptr<CRapDevice> device(new CRapDevice(std::move(connection), software_id));
    std::weak_ptr<CRapDevice> weak = device;
    device->m_connection->set_report_sink([weak](std::span<const std::uint8_t> report) {
        if (auto self = weak.lock()) self->on_report(report);
    });
    return device;
}

CRapDevice::CRapDevice(std::shared_ptr<IRapConnection> connection, std::uint8_t software_id)
    : m_connection(std::move(connection)), m_software_id(software_id) {}

bool CRapDevice::is_present() const {
    std::lock_guard lock(m_mutex);
    return !m_removed;
}

void CRapDevice::fail_now(finish_fn& finish, std::uint32_t code) {
    finish(make_failed<response>(make_devio_exception(code)));
}

void CRapDevice::call(std::uint8_t feature_index, std::uint8_t function, std::span<const std::uint8_t> params,
                      finish_fn finish) {
    std::weak_ptr<const IDeviceAddress> address = std::shared_ptr<const IDeviceAddress>(shared_from_this());
    auto request = make_feature_request(address, feature_index, function, params);
    if (!request) return fail_now(finish, get_last_error().code);
    std::vector<std::uint8_t> bytes = request->request();
    {
        std::lock_guard lock(m_mutex);
        if (m_removed) return fail_now(finish, static_cast<std::uint32_t>(errc::DeviceRemoved));
        m_matches.push_back(request->request(), request->match_positions());
        try {
            m_pending.push_back(pending{request, request->get_future(), std::move(finish)});
        } catch (...) {
            m_matches.erase(m_matches.size() - 1);
            throw;
        }
    }
    if (m_connection->write(bytes)) return;
    std::unique_lock lock(m_mutex);
    for (std::size_t row = 0; row < m_pending.size(); ++row) {
        if (m_pending[row].request != request) continue;
        pending failed = take_pending(row);
        lock.unlock();
        failed.request->fail(static_cast<std::uint32_t>(errc::WriteError));
        failed.finish(std::move(failed.answer));
        return;
    }
}

CRapDevice::pending CRapDevice::take_pending(std::size_t row) {
    pending taken = std::move(m_pending[row]);
    m_pending.erase(m_pending.begin() + static_cast<std::ptrdiff_t>(row));
    m_matches.erase(row);
    return taken;
}

void CRapDevice::on_report(std::span<const std::uint8_t> report) {
    if (report.size() < rap::kHeaderSize) return;
    if (is_notification(report)) return notify(report);
    pending answered;
    {
        std::lock_guard lock(m_mutex);
        const std::size_t row = m_matches.find(report);
        if (row == rap::match_table::npos) return;
        answered = take_pending(row);
    }
    answered.request->complete(report);
    future<response> params;
    try {
        std::vector<std::uint8_t> full = answered.answer.get();
        params = make_ready(std::vector<std::uint8_t>(full.begin() + rap::kOffsetParams, full.end()));
    } catch (...) {
        params = make_failed<response>(std::current_exception());
    }
    answered.finish(std::move(params));
}

void CRapDevice::notify(std::span<const std::uint8_t> report) {
    const std::uint8_t index = report[rap::kOffsetFeatureIndex];
    std::vector<std::shared_ptr<IFeature>> targets;
    {
        std::lock_guard lock(m_mutex);
        for (const auto& [id, feature] : m_features)
            if (feature->feature_index() == index) targets.push_back(feature);
    }
    const std::uint8_t function = report[rap::kOffsetFunction] >> rap::kFunctionShift;
    for (const auto& feature : targets) feature->on_notification(function, report.subspan(rap::kOffsetParams));
}

void CRapDevice::mark_removed() {
    std::vector<pending> orphans;
    {
        std::lock_guard lock(m_mutex);
        m_removed = true;
        orphans.swap(m_pending);
        m_matches.clear();
    }
    for (auto& p : orphans) {
        p.request->fail(static_cast<std::uint32_t>(errc::DeviceRemoved));
        p.finish(std::move(p.answer));
    }
}

std::shared_ptr<IFeature> CRapDevice::cached_feature(std::uint16_t feature_id) {
    std::lock_guard lock(m_mutex);
    auto it = m_features.find(feature_id);
    return it == m_features.end() ? nullptr : it->second;
}

// Two racing discoveries of one feature both end with the first object made.
std::shared_ptr<IFeature> CRapDevice::remember(std::uint16_t feature_id, std::shared_ptr<IFeature> made) {
    std::lock_guard lock(m_mutex);
    auto [it, inserted] = m_features.emplace(feature_id, std::move(made));
    return it->second;
}

future<std::shared_ptr<IFeature>> CRapDevice::getFeature(std::uint16_t feature_id) {
    if (auto known = cached_feature(feature_id)) return make_ready(std::move(known));
    std::weak_ptr<IFeatureChannel> channel = std::shared_ptr<IFeatureChannel>(shared_from_this());
    if (!feature_factory::instance().knows(feature_id))
        return make_failed<std::shared_ptr<IFeature>>(devio_error(errc::FeatureNotPresent));
    Feature0000Root root(channel, rapfn::kRootIndex, 0);
    auto p = std::make_shared<promise<std::shared_ptr<IFeature>>>();
    auto result = p->get_future();
    root.getFeature(feature_id, [self = shared_from_this(), channel, p](future<feature_info> f) {
        try {
            const feature_info info = f.get();
            if (info.index == 0 && info.id != rapfn::kFeatureRoot)
                throw_devio_exception(static_cast<std::uint32_t>(errc::FeatureNotPresent), {}, info.id);
            auto made = feature_factory::instance().create(info.id, channel, info.index, info.version);
            p->set_value(self->remember(info.id, std::move(made)));
        } catch (...) {
            p->set_exception(std::current_exception());
        }
    });
    return result;
}

future<std::vector<std::uint16_t>> CRapDevice::getFeatureIds() {
    auto walk = std::make_shared<id_walk>();
    auto result = walk->done.get_future();
    // A device without a feature set gets its own error, so callers can
    // tell it from a failed request.
    Feature0000Root root(std::shared_ptr<IFeatureChannel>(shared_from_this()), rapfn::kRootIndex, 0);
    root.getFeature(rapfn::kFeatureSet, [self = shared_from_this(), walk](future<feature_info> f) {
        try {
            const feature_info info = f.get();
            if (info.index == 0) throw_devio_exception(static_cast<std::uint32_t>(errc::NoFeatureSetFeature));
            walk->set = std::make_shared<Feature0001FeatureSet>(std::shared_ptr<IFeatureChannel>(self), info.index,
                                                                info.version);
        } catch (...) {
            walk->done.set_exception(std::current_exception());
            return;
        }
        walk->set->getCount([walk](future<std::uint8_t> count) {
            try {
                walk->count = count.get();
            } catch (...) {
                walk->done.set_exception(std::current_exception());
                return;
            }
            id_walk::next(walk, 1);
        });
    });
    return result;
}

}  // namespace devio
