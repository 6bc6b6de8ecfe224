// The RPM indicator feature (0x807A) of the maker's wheels: the feature the
// driver's bridge thread drives. Function numbers and payloads are listed in
// devio/manager/rap_functions.h.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "devio/manager/feature.h"

namespace devio {

// Told of the wheel's mode changes; called on the thread that reads the
// device's reports.
class IFeature807AListener {
public:
    virtual ~IFeature807AListener() = default;
    virtual void onModeChanged(std::uint8_t mode, std::array<std::uint8_t, 2> value) = 0;
};

class IFeature807ARpmIndicator : public IFeature {
public:
    ~IFeature807ARpmIndicator() override;
    // Whether the wheel takes commands now.
    virtual future<bool> getReadiness(std::uint8_t a, std::uint8_t b) = 0;
    // Passes command and the first count values (count may be 0).
    virtual future<void> sendCommand(std::uint8_t command, std::uint8_t count, std::vector<std::uint32_t> values) = 0;
    virtual future<std::array<std::uint8_t, 2>> getValue16() = 0;
    virtual future<std::uint8_t> getStateFlag() = 0;
    virtual future<void> select(std::uint8_t byte, std::uint8_t argument) = 0;
    virtual future<void> setTriple(std::int32_t a, std::int32_t b, std::int32_t c) = 0;
    // Replaces the listener; held weakly.
    virtual void setListener(std::weak_ptr<IFeature807AListener> listener) = 0;
};

class Feature807ARpmIndicator final : public IFeature807ARpmIndicator,
                                      public std::enable_shared_from_this<Feature807ARpmIndicator> {
public:
    Feature807ARpmIndicator(std::weak_ptr<IFeatureChannel> channel, std::uint8_t index, std::uint8_t version);

    std::uint16_t feature_id() const override { return m_base.feature_id(); }
    std::uint8_t feature_index() const override { return m_base.feature_index(); }
    std::uint8_t version() const override { return m_base.version(); }
    void on_notification(std::uint8_t function, std::span<const std::uint8_t> params) override;

    future<bool> getReadiness(std::uint8_t a, std::uint8_t b) override;
    future<void> sendCommand(std::uint8_t command, std::uint8_t count, std::vector<std::uint32_t> values) override;
    future<std::array<std::uint8_t, 2>> getValue16() override;
    future<std::uint8_t> getStateFlag() override;
    future<void> select(std::uint8_t byte, std::uint8_t argument) override;
    future<void> setTriple(std::int32_t a, std::int32_t b, std::int32_t c) override;
    void setListener(std::weak_ptr<IFeature807AListener> listener) override;

private:
    // FeatureBase's helpers, reached by composition since the interface
    // already derives from IFeature.
    struct Base : FeatureBase {
        using FeatureBase::FeatureBase;
        using FeatureBase::call;
        using FeatureBase::request;
        using FeatureBase::request_void;
    };
    struct command_state;
    void send_chunk(const std::shared_ptr<command_state>& state);

    Base m_base;
    std::mutex m_mutex;  // guards the listener
    std::weak_ptr<IFeature807AListener> m_listener;
};

}  // namespace devio
