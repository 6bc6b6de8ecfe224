// A device's pending requests over a connection that answers when the test
// says so: answers out of sending order, two requests with one header, a
// failed write among waiting requests, and removal.
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "devio/core/errors.h"
#include "devio/manager/device.h"

namespace devio {
namespace {

using bytes = std::vector<std::uint8_t>;
constexpr std::uint8_t kSoftwareId = 6;
constexpr std::uint8_t kFunction = 2;
constexpr std::uint8_t kFunctionByte = (kFunction << 4) | kSoftwareId;

class held_connection final : public IRapConnection {
public:
    std::wstring container_id() const override { return L"{held}"; }
    std::uint16_t product_id() const override { return 0x0A2B; }
    bool write(std::span<const std::uint8_t> report) override {
        writes.emplace_back(report.begin(), report.end());
        return report.size() <= 2 || report[2] != refused_feature;
    }
    void set_report_sink(report_sink sink) override { m_sink = std::move(sink); }

    void deliver(const bytes& report) { m_sink(report); }

    std::vector<bytes> writes;
    std::uint8_t refused_feature = 0;  // writes to this feature index fail

private:
    report_sink m_sink;
};

// What one call's finish received: the answer's parameters or the failure.
struct outcome {
    std::optional<bytes> params;
    std::uint32_t error = 0;
};

class RapDeviceTest : public ::testing::Test {
protected:
    // Calls kFunction of the feature at index with one parameter byte; the
    // outcome lands in m_outcomes[tag].
    void Call(std::uint8_t feature_index, std::uint8_t param, const std::string& tag) {
        const bytes params{param};
        m_device->call(feature_index, kFunction, params, [this, tag](future<IFeatureChannel::response> f) {
            outcome& o = m_outcomes[tag];
            try {
                o.params = f.get();
            } catch (const DevioException& e) {
                o.error = e.code();
            }
        });
    }
    static bytes Answer(std::uint8_t feature_index, std::uint8_t value) {
        return {0x11, 0xFF, feature_index, kFunctionByte, value};
    }

    std::shared_ptr<held_connection> m_connection = std::make_shared<held_connection>();
    std::shared_ptr<CRapDevice> m_device = CRapDevice::create(m_connection, kSoftwareId);
    std::map<std::string, outcome> m_outcomes;
};

TEST_F(RapDeviceTest, AnswersOutOfSendingOrderReachTheirOwnRequests) {
    Call(1, 0xA1, "first");
    Call(2, 0xA2, "second");
    Call(3, 0xA3, "third");
    ASSERT_EQ(m_connection->writes.size(), 3u);
    EXPECT_TRUE(m_outcomes.empty());

    m_connection->deliver(Answer(3, 0x33));
    m_connection->deliver(Answer(1, 0x11));
    m_connection->deliver(Answer(2, 0x22));
    EXPECT_EQ(m_outcomes["first"].params, bytes{0x11});
    EXPECT_EQ(m_outcomes["second"].params, bytes{0x22});
    EXPECT_EQ(m_outcomes["third"].params, bytes{0x33});

    // Each request is answered once; a repeat finds nobody waiting.
    m_connection->deliver(Answer(2, 0x99));
    EXPECT_EQ(m_outcomes["second"].params, bytes{0x22});
}

TEST_F(RapDeviceTest, RequestsWithOneHeaderAreAnsweredInSendingOrder) {
    Call(4, 0x01, "older");
    Call(4, 0x02, "newer");
    m_connection->deliver(Answer(4, 0x10));
    EXPECT_EQ(m_outcomes["older"].params, bytes{0x10});
    EXPECT_FALSE(m_outcomes.count("newer"));
    m_connection->deliver({0x11, 0xFF, 0xFF, 4, kFunctionByte, 0x08});  // RAP 2.0 busy
    EXPECT_EQ(m_outcomes["newer"].error, static_cast<std::uint32_t>(errc::Rap20Busy));
}

TEST_F(RapDeviceTest, AFailedWriteFailsOnlyItsOwnRequest) {
    Call(1, 0xA1, "before");
    m_connection->refused_feature = 2;
    Call(2, 0xA2, "refused");
    Call(3, 0xA3, "after");
    EXPECT_EQ(m_outcomes["refused"].error, static_cast<std::uint32_t>(errc::WriteError));

    // The refused request no longer waits: its answer is ignored, and the
    // requests on either side of it still get theirs.
    m_connection->deliver(Answer(2, 0x22));
    m_connection->deliver(Answer(3, 0x33));
    m_connection->deliver(Answer(1, 0x11));
    EXPECT_FALSE(m_outcomes["refused"].params.has_value());
    EXPECT_EQ(m_outcomes["before"].params, bytes{0x11});
    EXPECT_EQ(m_outcomes["after"].params, bytes{0x33});
}

TEST_F(RapDeviceTest, RemovalFailsEveryWaitingRequestAndLaterAnswersAreIgnored) {
    Call(1, 0xA1, "a");
    Call(2, 0xA2, "b");
    m_device->mark_removed();
    const auto removed = static_cast<std::uint32_t>(errc::DeviceRemoved);
    EXPECT_EQ(m_outcomes["a"].error, removed);
    EXPECT_EQ(m_outcomes["b"].error, removed);
    m_connection->deliver(Answer(1, 0x11));
    EXPECT_FALSE(m_outcomes["a"].params.has_value());

    Call(3, 0xA3, "late");
    EXPECT_EQ(m_outcomes["late"].error, removed);
    EXPECT_EQ(m_connection->writes.size(), 2u);
}

}  // namespace
}  // namespace devio
