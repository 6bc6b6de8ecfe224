#include "devio/rap/device_request.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace devio {
namespace {

using bytes = std::vector<std::uint8_t>;

// ---- building ----------------------------------------------------------------

class fake_device final : public IDeviceAddress {
public:
    explicit fake_device(std::uint8_t software_id) : m_software_id(software_id) {}
    std::uint8_t software_id() const override { return m_software_id; }

private:
    std::uint8_t m_software_id;
};

class RequestBuildTest : public ::testing::Test {
protected:
    std::shared_ptr<const IDeviceAddress> m_device = std::make_shared<fake_device>(/*software_id=*/0x0A);
};

TEST_F(RequestBuildTest, ThreeParametersFitTheShortReport) {
    const bytes params = {0x01, 0x02, 0x03};
    auto request = make_feature_request(m_device, /*feature_index=*/0x05, /*function=*/0x3, params);
    ASSERT_TRUE(request);
    EXPECT_EQ(request->request(), (bytes{0x10, 0xFF, 0x05, 0x3A, 0x01, 0x02, 0x03}));
}

TEST_F(RequestBuildTest, FourParametersNeedTheLongReport) {
    const bytes params = {0x01, 0x02, 0x03, 0x04};
    auto request = make_feature_request(m_device, 0x05, 0xF, params);
    ASSERT_TRUE(request);
    EXPECT_EQ(request->request(), (bytes{0x11, 0xFF, 0x05, 0xFA, 0x01, 0x02, 0x03, 0x04}));
}

TEST_F(RequestBuildTest, GoneDeviceRecordsDeviceRemoved) {
    std::weak_ptr<const IDeviceAddress> gone = m_device;
    m_device.reset();
    clear_last_error();
    EXPECT_EQ(make_feature_request(gone, 0x05, 0x1, {}), nullptr);
    EXPECT_EQ(get_last_error().code, 28u);
}

TEST_F(RequestBuildTest, FunctionOrSoftwareIdBeyondTheirNibbleAreRefused) {
    EXPECT_EQ(make_feature_request(m_device, 0x05, 0x10, {}), nullptr);
    EXPECT_EQ(get_last_error().code, 1u);
    EXPECT_EQ(get_last_error().value, 0x10u);
    std::shared_ptr<const IDeviceAddress> odd = std::make_shared<fake_device>(0x1F);
    EXPECT_EQ(make_feature_request(odd, 0x05, 0x1, {}), nullptr);
    EXPECT_EQ(get_last_error().value, 0x1Fu);
}

// ---- matching ----------------------------------------------------------------

struct MatchCase {
    const char* name;
    bytes report;
    bytes request;
    std::vector<std::size_t> extra;
    bool answers;
};

class ReportMatchTest : public ::testing::TestWithParam<MatchCase> {};

TEST_P(ReportMatchTest, FollowsTheMatchingRules) {
    const auto& c = GetParam();
    DeviceRequest request(c.request);
    for (std::size_t k : c.extra) request.add_match_position(k);
    EXPECT_EQ(request.matches(c.report), c.answers);
}

// Request used by most rows: feature 0x05, function 2, software ID 0xA.
const bytes kRequest = {0x10, 0xFF, 0x05, 0x2A, 0x07, 0x08};
constexpr std::size_t kHuge = std::numeric_limits<std::size_t>::max();

INSTANTIATE_TEST_SUITE_P(
    Rules, ReportMatchTest,
    ::testing::Values(
        MatchCase{"SameHeader", {0x11, 0xFF, 0x05, 0x2A, 0x99}, kRequest, {}, true},
        MatchCase{"OtherDeviceIndex", {0x10, 0x01, 0x05, 0x2A}, kRequest, {}, false},
        MatchCase{"OtherFeatureIndex", {0x10, 0xFF, 0x06, 0x2A}, kRequest, {}, false},
        MatchCase{"OtherFunction", {0x10, 0xFF, 0x05, 0x3A}, kRequest, {}, false},
        MatchCase{"OtherSoftwareId", {0x10, 0xFF, 0x05, 0x2B}, kRequest, {}, false},
        MatchCase{"ReportIdIgnored", {0x20, 0xFF, 0x05, 0x2A}, kRequest, {}, true},
        MatchCase{"EmptyReport", {}, kRequest, {}, false},
        MatchCase{"EmptyRequest", {0x10, 0x00, 0x00, 0x00}, {}, {}, false},
        MatchCase{"ShortReportReadsZeroBeyondItsEnd", {0x10, 0x01}, {0x10, 0x01, 0x00, 0x00}, {}, true},
        MatchCase{"ShortReportMissingNonZeroByte", {0x10, 0xFF}, kRequest, {}, false},
        MatchCase{"Rap10ErrorSameIndex", {0x10, 0xFF, 0x8F, 0x05, 0x2A, 0x02}, kRequest, {}, true},
        MatchCase{"Rap10ErrorIndexZeroAnswersSelf", {0x10, 0x00, 0x8F, 0x05, 0x2A, 0x02}, kRequest, {}, true},
        MatchCase{"Rap10ErrorIndexZeroNotForIndexTwo", {0x10, 0x00, 0x8F, 0x05, 0x2A, 0x02},
                  {0x10, 0x02, 0x05, 0x2A}, {}, false},
        MatchCase{"Rap10ErrorOtherSubId", {0x10, 0xFF, 0x8F, 0x06, 0x2A, 0x02}, kRequest, {}, false},
        MatchCase{"Rap10ErrorOtherAddress", {0x10, 0xFF, 0x8F, 0x05, 0x2B, 0x02}, kRequest, {}, false},
        MatchCase{"Rap10ErrorTooShortRequest", {0x10, 0xFF, 0x8F, 0x05, 0x2A}, {0x10, 0xFF, 0x05}, {}, false},
        MatchCase{"Rap10ErrorIgnoresExtraPositions", {0x10, 0xFF, 0x8F, 0x05, 0x2A}, kRequest, {0}, true},
        MatchCase{"Rap20ErrorSameIndex", {0x11, 0xFF, 0xFF, 0x05, 0x2A, 0x08}, kRequest, {}, true},
        MatchCase{"Rap20ErrorIndexZeroIsNotSelf", {0x11, 0x00, 0xFF, 0x05, 0x2A, 0x08}, kRequest, {}, false},
        MatchCase{"Rap20ErrorOtherFunction", {0x11, 0xFF, 0xFF, 0x05, 0x3A, 0x08}, kRequest, {}, false},
        MatchCase{"ErrorReportDoesNotFallBackToHeader", {0x11, 0xFF, 0xFF, 0x05, 0x2A, 0x08},
                  {0x10, 0xFF, 0xFF, 0x05}, {}, false},
        MatchCase{"FourByteErrorMarkerIsAPlainHeader", {0x10, 0xFF, 0x8F, 0x2A}, {0x10, 0xFF, 0x8F, 0x2A}, {},
                  true},
        MatchCase{"ExtraPositionAgrees", {0x10, 0xFF, 0x05, 0x2A, 0x07, 0x00}, kRequest, {0}, true},
        MatchCase{"ExtraPositionDiffers", {0x10, 0xFF, 0x05, 0x2A, 0x07, 0x09}, kRequest, {0, 1}, false},
        MatchCase{"ExtraPositionBeyondReport", {0x10, 0xFF, 0x05, 0x2A}, kRequest, {1}, false},
        MatchCase{"ExtraPositionBeyondBoth", {0x10, 0xFF, 0x05, 0x2A}, kRequest, {40}, true},
        MatchCase{"ExtraPositionAtSizeMax", {0x10, 0xFF, 0x05, 0x2A}, kRequest, {kHuge}, true}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- result check --------------------------------------------------------------

struct ResultCase {
    const char* name;
    bytes response;
    std::uint8_t protocol_kind;
    std::uint32_t code;   // 0: success
    std::uint32_t value;
};

class ResultCheckTest : public ::testing::TestWithParam<ResultCase> {};

TEST_P(ResultCheckTest, MapsErrorReportsToLibraryCodes) {
    const auto& c = GetParam();
    DeviceRequest request(kRequest, c.protocol_kind);
    request.complete(c.response);
    set_last_error(999, "stale", 999);
    EXPECT_EQ(request.check_result(), c.code == 0);
    EXPECT_EQ(get_last_error().code, c.code);
    EXPECT_EQ(get_last_error().value, c.value);
    EXPECT_EQ(get_last_error().message, nullptr);
}

bytes rap10_error(std::uint8_t e) { return {0x10, 0xFF, 0x8F, 0x05, 0x2A, e}; }
bytes rap20_error(std::uint8_t e) { return {0x11, 0xFF, 0xFF, 0x05, 0x2A, e}; }
constexpr std::uint8_t kRap20 = rap::kProtocolRap20;
constexpr std::uint8_t kVantor = rap::kProtocolVantorpp;

INSTANTIATE_TEST_SUITE_P(
    Tables, ResultCheckTest,
    ::testing::Values(
        ResultCase{"ShortResponseSucceeds", {0x10, 0xFF, 0x8F}, kRap20, 0, 0},
        ResultCase{"NormalResponseSucceeds", {0x11, 0xFF, 0x05, 0x2A, 0x01}, kRap20, 0, 0},
        ResultCase{"Byte2FESucceeds", {0x11, 0xFF, 0xFE, 0x2A, 0x01, 0x01}, kRap20, 0, 0},
        ResultCase{"Rap10ZeroStillFails", rap10_error(0), kRap20, 8, 0},
        ResultCase{"Rap10LastKnown", rap10_error(12), kRap20, 20, 12},
        ResultCase{"Rap10FirstUnknown", rap10_error(13), kRap20, 21, 13},
        ResultCase{"Rap10HighestByte", rap10_error(0xFF), kRap20, 21, 0xFF},
        ResultCase{"Rap10OnVantorRequest", rap10_error(3), kVantor, 11, 3},
        ResultCase{"Rap20NoErrorFails", rap20_error(0), kRap20, 44, 0},
        ResultCase{"Rap20Busy", rap20_error(8), kRap20, 52, 8},
        ResultCase{"Rap20LastKnown", rap20_error(9), kRap20, 53, 9},
        ResultCase{"Rap20FirstUnknown", rap20_error(10), kRap20, 54, 10},
        ResultCase{"Rap10KindUsesRap20Table", rap20_error(9), rap::kProtocolRap10, 53, 9},
        ResultCase{"VantorNoErrorFails", rap20_error(0), kVantor, 92, 0},
        ResultCase{"VantorLastKnown", rap20_error(12), kVantor, 104, 12},
        ResultCase{"Vantor13IsUnknown", rap20_error(13), kVantor, 106, 13},
        ResultCase{"Vantor14IsNotAuthorized", rap20_error(14), kVantor, 105, 14},
        ResultCase{"Vantor15IsUnknown", rap20_error(15), kVantor, 106, 15},
        ResultCase{"TruncatedRap10Error", {0x10, 0xFF, 0x8F, 0x05, 0x2A}, kRap20, 2, 5},
        ResultCase{"TruncatedRap20Error", {0x10, 0xFF, 0xFF, 0x05}, kVantor, 2, 4}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(RequestCompletionTest, RecordedErrorWinsOverAGoodResponse) {
    DeviceRequest request(kRequest);
    request.complete(bytes{0x10, 0xFF, 0x05, 0x2A});
    request.set_error(4, "no answer", 1);
    EXPECT_FALSE(request.check_result());
    EXPECT_EQ(get_last_error().code, 4u);
    EXPECT_STREQ(get_last_error().message, "no answer");
}

TEST(RequestCompletionTest, FutureCarriesTheResponse) {
    DeviceRequest request(kRequest);
    auto answer = request.get_future();
    request.complete(bytes{0x10, 0xFF, 0x05, 0x2A, 0x42});
    EXPECT_EQ(answer.get(), (bytes{0x10, 0xFF, 0x05, 0x2A, 0x42}));
}

TEST(RequestCompletionTest, FutureCarriesTheErrorAsItsException) {
    DeviceRequest busy(kRequest);
    auto busy_answer = busy.get_future();
    busy.complete(rap20_error(8));
    try {
        busy_answer.get();
        ADD_FAILURE() << "an error report completed the request";
    } catch (const DevioExceptionRap20Busy& e) {
        EXPECT_EQ(e.value(), 8u);
    }

    DeviceRequest silent(kRequest);
    auto silent_answer = silent.get_future();
    silent.fail(39);
    EXPECT_THROW(silent_answer.get(), DevioExceptionWriteTimeout);
}

TEST(RequestCompletionTest, UnansweredRequestBreaksItsFuture) {
    future<bytes> answer;
    {
        DeviceRequest request(kRequest);
        answer = request.get_future();
    }
    EXPECT_THROW(answer.get(), future_error);
}

}  // namespace
}  // namespace devio
