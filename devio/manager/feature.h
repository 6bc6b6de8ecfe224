// Features: the units of function a RAP device offers, each found at an index
// that the root feature (0x0000) names, and built by the feature factory from
// the feature ID.
//
// A feature object is shared by whoever asked for it; it holds its device
// weakly, so a feature outliving its device fails its calls with
// DeviceRemoved. Operations may be called from any thread; they return
// futures settled on the thread that reads the device's reports.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "devio/core/future.h"

namespace devio {

// What a feature needs from its device: requests and notifications.
class IFeatureChannel {
public:
    using response = std::vector<std::uint8_t>;
    using finish_fn = std::function<void(future<response>)>;
    virtual ~IFeatureChannel() = default;

    // Sends function of the feature at index with params; finish receives the
    // answer's future (ready: the parameters from byte 4, or the
    // DevioException of the failure) on the reporting thread.
    virtual void call(std::uint8_t feature_index, std::uint8_t function, std::span<const std::uint8_t> params,
                      finish_fn finish) = 0;
};

class IFeature {
public:
    virtual ~IFeature();
    virtual std::uint16_t feature_id() const = 0;
    virtual std::uint8_t feature_index() const = 0;
    virtual std::uint8_t version() const = 0;
    // A report without a software ID (a notification) for this feature's
    // index; features without notifications ignore it.
    virtual void on_notification(std::uint8_t function, std::span<const std::uint8_t> params);
};

// Shared plumbing of the concrete features.
class FeatureBase : public IFeature {
public:
    FeatureBase(std::weak_ptr<IFeatureChannel> channel, std::uint16_t id, std::uint8_t index, std::uint8_t version)
        : m_channel(std::move(channel)), m_id(id), m_index(index), m_version(version) {}
    std::uint16_t feature_id() const override { return m_id; }
    std::uint8_t feature_index() const override { return m_index; }
    std::uint8_t version() const override { return m_version; }

protected:
    // Calls function and turns the answer into T with convert (which may
    // throw a DevioException for an answer too short to read).
    template <class T>
    future<T> request(std::uint8_t function, std::span<const std::uint8_t> params,
                      std::function<T(const std::vector<std::uint8_t>&)> convert);
    // The same with the result handed to done on the reporting thread, for
    // callers that chain further requests without an executor.
    template <class T>
    void request(std::uint8_t function, std::span<const std::uint8_t> params,
                 std::function<T(const std::vector<std::uint8_t>&)> convert, std::function<void(future<T>)> done);
    future<void> request_void(std::uint8_t function, std::span<const std::uint8_t> params);
    // The raw form: finish gets the answer's future.
    void call(std::uint8_t function, std::span<const std::uint8_t> params, IFeatureChannel::finish_fn finish);

private:
    std::weak_ptr<IFeatureChannel> m_channel;
    std::uint16_t m_id;
    std::uint8_t m_index;
    std::uint8_t m_version;
};

// Throws CommandResponseTooShort unless the answer has at least n bytes.
void require_answer_size(const std::vector<std::uint8_t>& answer, std::size_t n);

template <class T>
void FeatureBase::request(std::uint8_t function, std::span<const std::uint8_t> params,
                          std::function<T(const std::vector<std::uint8_t>&)> convert,
                          std::function<void(future<T>)> done) {
    call(function, params, [convert = std::move(convert), done = std::move(done)](future<IFeatureChannel::response> a) {
        future<T> result;
        try {
            result = make_ready(convert(a.get()));
        } catch (...) {
            result = make_failed<T>(std::current_exception());
        }
        done(std::move(result));
    });
}

template <class T>
future<T> FeatureBase::request(std::uint8_t function, std::span<const std::uint8_t> params,
                               std::function<T(const std::vector<std::uint8_t>&)> convert) {
    auto p = std::make_shared<promise<T>>();
    future<T> result = p->get_future();
    request<T>(function, params, std::move(convert), [p](future<T> answer) {
        try {
            p->set_value(answer.get());
        } catch (...) {
            p->set_exception(std::current_exception());
        }
    });
    return result;
}

// Maps feature IDs to creators. Filled before main by one
// feature_registration per feature class; read-only afterwards, but locked
// anyway since static initialisation order across files is unknown.
class feature_factory {
public:
    using creator = std::function<std::shared_ptr<IFeature>(std::weak_ptr<IFeatureChannel>, std::uint8_t index,
                                                            std::uint8_t version)>;
    static feature_factory& instance();

    void add(std::uint16_t feature_id, creator make);
    // The feature, or null when no class is registered for the ID.
    std::shared_ptr<IFeature> create(std::uint16_t feature_id, std::weak_ptr<IFeatureChannel> channel,
                                     std::uint8_t index, std::uint8_t version) const;
    bool knows(std::uint16_t feature_id) const;

private:
    mutable std::mutex m_mutex;
    std::map<std::uint16_t, creator> m_creators;
};

// One static instance per feature class registers it with the factory.
template <class FeatureClass>
struct feature_registration {
    explicit feature_registration(std::uint16_t feature_id) {
        feature_factory::instance().add(feature_id, [](std::weak_ptr<IFeatureChannel> channel, std::uint8_t index,
                                                       std::uint8_t version) -> std::shared_ptr<IFeature> {
            return std::make_shared<FeatureClass>(std::move(channel), index, version);
        });
    }
};

}  // namespace devio
