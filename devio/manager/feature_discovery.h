// The two features every RAP device has: the root (0x0000, always at index
// 0), which names the index of a feature ID, and the feature set (0x0001),
// which lists the device's features by index.
#pragma once

#include <cstdint>

#include "devio/manager/feature.h"

namespace devio {

struct feature_info {
    std::uint16_t id = 0;
    std::uint8_t index = 0;  // 0: the device lacks the feature (root excepted)
    std::uint8_t type = 0;
    std::uint8_t version = 0;
};

class Feature0000Root final : public FeatureBase {
public:
    Feature0000Root(std::weak_ptr<IFeatureChannel> channel, std::uint8_t index, std::uint8_t version);
    // Where feature_id lives; index 0 in the answer for an absent feature.
    future<feature_info> getFeature(std::uint16_t feature_id);
    void getFeature(std::uint16_t feature_id, std::function<void(future<feature_info>)> done);
};

class Feature0001FeatureSet final : public FeatureBase {
public:
    Feature0001FeatureSet(std::weak_ptr<IFeatureChannel> channel, std::uint8_t index, std::uint8_t version);
    // Number of features beside the root.
    future<std::uint8_t> getCount();
    void getCount(std::function<void(future<std::uint8_t>)> done);
    // The feature at index (1..count).
    future<feature_info> getFeatureId(std::uint8_t index);
    void getFeatureId(std::uint8_t index, std::function<void(future<feature_info>)> done);
};

}  // namespace devio
