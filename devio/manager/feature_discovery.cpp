#include "devio/manager/feature_discovery.h"

#include "devio/manager/rap_functions.h"

namespace devio {

extern const int kFeatureDiscoveryLinked = 1;

namespace {
const feature_registration<Feature0000Root> kRootRegistration(rapfn::kFeatureRoot);
const feature_registration<Feature0001FeatureSet> kSetRegistration(rapfn::kFeatureSet);

constexpr std::size_t kGetFeatureAnswerSize = 3;
constexpr std::size_t kGetFeatureIdAnswerSize = 4;

std::function<feature_info(const std::vector<std::uint8_t>&)> read_get_feature(std::uint16_t feature_id) {
    return [feature_id](const std::vector<std::uint8_t>& a) {
        require_answer_size(a, kGetFeatureAnswerSize);
        return feature_info{feature_id, a[0], a[1], a[2]};
    };
}

std::function<feature_info(const std::vector<std::uint8_t>&)> read_feature_id(std::uint8_t index) {
    return [index](const std::vector<std::uint8_t>& a) {
        require_answer_size(a, kGetFeatureIdAnswerSize);
        return feature_info{static_cast<std::uint16_t>((a[0] << 8) | a[1]), index, a[2], a[3]};
    };
}

std::uint8_t read_count(const std::vector<std::uint8_t>& a) {
    require_answer_size(a, 1);
    return a[0];
}
}  // namespace

Feature0000Root::Feature0000Root(std::weak_ptr<IFeatureChannel> channel, std::uint8_t index, std::uint8_t version)
    : FeatureBase(std::move(channel), rapfn::kFeatureRoot, index, version) {}

future<feature_info> Feature0000Root::getFeature(std::uint16_t feature_id) {
    const std::uint8_t params[] = {static_cast<std::uint8_t>(feature_id >> 8), static_cast<std::uint8_t>(feature_id)};
    return request<feature_info>(rapfn::kRootGetFeature, params, read_get_feature(feature_id));
}

void Feature0000Root::getFeature(std::uint16_t feature_id, std::function<void(future<feature_info>)> done) {
    const std::uint8_t params[] = {static_cast<std::uint8_t>(feature_id >> 8), static_cast<std::uint8_t>(feature_id)};
    request<feature_info>(rapfn::kRootGetFeature, params, read_get_feature(feature_id), std::move(done));
}

Feature0001FeatureSet::Feature0001FeatureSet(std::weak_ptr<IFeatureChannel> channel, std::uint8_t index,
                                             std::uint8_t version)
    : FeatureBase(std::move(channel), rapfn::kFeatureSet, index, version) {}

future<std::uint8_t> Feature0001FeatureSet::getCount() {
    return request<std::uint8_t>(rapfn::kSetGetCount, {}, read_count);
}

void Feature0001FeatureSet::getCount(std::function<void(future<std::uint8_t>)> done) {
    request<std::uint8_t>(rapfn::kSetGetCount, {}, read_count, std::move(done));
}

future<feature_info> Feature0001FeatureSet::getFeatureId(std::uint8_t index) {
    const std::uint8_t params[] = {index};
    return request<feature_info>(rapfn::kSetGetFeatureId, params, read_feature_id(index));
}

void Feature0001FeatureSet::getFeatureId(std::uint8_t index, std::function<void(future<feature_info>)> done) {
    const std::uint8_t params[] = {index};
    request<feature_info>(rapfn::kSetGetFeatureId, params, read_feature_id(index), std::move(done));
}

}  // namespace devio
