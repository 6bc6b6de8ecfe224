#include "devio/rap/match_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "devio/rap/rap_packet.h"

namespace devio::rap {
namespace {

using bytes = std::vector<std::uint8_t>;
constexpr auto npos = match_table::npos;

struct request_row {
    bytes request;
    std::vector<std::size_t> extras;
};

// What the table must give: the first row, in sending order, that the
// report answers by the packet rule.
std::size_t first_answered(const std::vector<request_row>& rows, std::span<const std::uint8_t> report) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (report_answers(report, rows[i].request, rows[i].extras)) return i;
    }
    return npos;
}

match_table table_of(const std::vector<request_row>& rows) {
    match_table table;
    for (const auto& row : rows) table.push_back(row.request, row.extras);
    return table;
}

// ---- order among requests that the same report answers --------------------

struct OrderCase {
    const char* name;
    std::vector<request_row> rows;
    bytes report;
    std::size_t expected;
};

// Names the case in failure messages instead of dumping its bytes.
void PrintTo(const OrderCase& c, std::ostream* os) { *os << c.name; }

class MatchOrderTest : public ::testing::TestWithParam<OrderCase> {};

TEST_P(MatchOrderTest, FirstAnsweredRequestInSendingOrderWins) {
    const auto& c = GetParam();
    ASSERT_EQ(first_answered(c.rows, c.report), c.expected) << "case disagrees with the packet rule";
    EXPECT_EQ(table_of(c.rows).find(c.report), c.expected);
}

const bytes kFeature5 = {0x10, 0xFF, 0x05, 0x2A, 0x07, 0x08};
const bytes kFeature6 = {0x10, 0xFF, 0x06, 0x2A, 0x07, 0x08};
const bytes kOtherIndex = {0x10, 0x02, 0x05, 0x2A, 0x07, 0x08};
const bytes kIndexZero = {0x10, 0x00, 0x05, 0x2A, 0x07, 0x08};

INSTANTIATE_TEST_SUITE_P(
    Ties, MatchOrderTest,
    ::testing::Values(
        OrderCase{"SameHeaderTwiceTakesTheFirst", {{kFeature5, {}}, {kFeature5, {}}}, {0x11, 0xFF, 0x05, 0x2A}, 0},
        OrderCase{"ExtraPositionSkipsTheEarlierRequest",
                  {{kFeature5, {0}}, {{0x10, 0xFF, 0x05, 0x2A, 0x09}, {0}}},
                  {0x11, 0xFF, 0x05, 0x2A, 0x09},
                  1},
        OrderCase{"RequestWithoutExtrasAnswersBeforeALaterExactOne",
                  {{kFeature5, {}}, {kFeature5, {0, 1}}},
                  {0x11, 0xFF, 0x05, 0x2A, 0x07, 0x08},
                  0},
        OrderCase{"ErrorReportIgnoresExtrasAndTakesTheFirst",
                  {{kFeature6, {}}, {kFeature5, {0}}, {kFeature5, {}}},
                  {0x11, 0xFF, 0xFF, 0x05, 0x2A, 0x02},
                  1},
        OrderCase{"Rap10ErrorIndexZeroTakesTheFirstOfSelfAndZero",
                  {{kOtherIndex, {}}, {kFeature5, {}}, {kIndexZero, {}}},
                  {0x10, 0x00, 0x8F, 0x05, 0x2A, 0x02},
                  1},
        OrderCase{"Rap10ErrorIndexZeroTakesZeroWhenItCameFirst",
                  {{kIndexZero, {}}, {kFeature5, {}}},
                  {0x10, 0x00, 0x8F, 0x05, 0x2A, 0x02},
                  0},
        OrderCase{"Rap20ErrorIndexZeroAnswersOnlyIndexZero",
                  {{kFeature5, {}}, {kIndexZero, {}}},
                  {0x10, 0x00, 0xFF, 0x05, 0x2A, 0x02},
                  1},
        OrderCase{"ShortRequestNeverAnswersAnErrorReport",
                  {{{0x10, 0xFF, 0x05}, {}}, {kFeature5, {}}},
                  {0x10, 0xFF, 0x8F, 0x05, 0x00, 0x02},
                  npos},
        OrderCase{"EmptyRequestNeverAnswers", {{{}, {}}, {{0x10}, {}}}, {0x10}, 1},
        OrderCase{"NoRequests", {}, {0x11, 0xFF, 0x05, 0x2A}, npos}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- rows moving as requests come and go ----------------------------------

// Request i asks feature i + 1; the answers name the feature.
request_row feature_request(std::size_t i) {
    return {{0x10, 0xFF, static_cast<std::uint8_t>(i + 1), 0x1A, static_cast<std::uint8_t>(i)}, {0}};
}
bytes answer_to(std::size_t i) { return {0x11, 0xFF, static_cast<std::uint8_t>(i + 1), 0x1A, static_cast<std::uint8_t>(i)}; }

class MatchTableRowsTest : public ::testing::TestWithParam<std::size_t> {};

TEST_P(MatchTableRowsTest, EveryRowIsFoundAtItsPlaceAndErasingMovesLaterRowsUp) {
    const std::size_t count = GetParam();
    match_table table;
    std::vector<std::size_t> sent;  // feature numbers, in table order
    for (std::size_t i = 0; i < count; ++i) {
        const auto row = feature_request(i);
        table.push_back(row.request, row.extras);
        sent.push_back(i);
    }
    ASSERT_EQ(table.size(), count);
    for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(table.find(answer_to(i)), i);
    EXPECT_EQ(table.find(answer_to(count)), npos);

    // Take every third row out (the first, a middle one, the last, ...).
    for (std::size_t at = 0; at < sent.size(); at += 2) {
        table.erase(at);
        sent.erase(sent.begin() + static_cast<std::ptrdiff_t>(at));
    }
    ASSERT_EQ(table.size(), sent.size());
    for (std::size_t i = 0; i < count; ++i) {
        const auto it = std::find(sent.begin(), sent.end(), i);
        const std::size_t expected = it == sent.end() ? npos : static_cast<std::size_t>(it - sent.begin());
        EXPECT_EQ(table.find(answer_to(i)), expected) << "feature " << i;
    }

    // New requests go after the survivors, and a cleared table answers none.
    const auto late = feature_request(count);
    table.push_back(late.request, late.extras);
    EXPECT_EQ(table.find(answer_to(count)), sent.size());
    table.clear();
    EXPECT_TRUE(table.empty());
    for (std::size_t i = 0; i <= count; ++i) EXPECT_EQ(table.find(answer_to(i)), npos);
}

// Around the block size, where rows and padding meet.
INSTANTIATE_TEST_SUITE_P(Counts, MatchTableRowsTest, ::testing::Values(1, 7, 8, 9, 16, 17, 33));

TEST(MatchTableTest, ErasingPastTheEndChangesNothing) {
    match_table table;
    const auto row = feature_request(0);
    table.push_back(row.request, row.extras);
    table.erase(1);
    table.erase(npos);
    EXPECT_EQ(table.size(), 1u);
    EXPECT_EQ(table.find(answer_to(0)), 0u);
}

// The padding after the last row holds zero keys: an all-zero request must
// still meet all-zero reports, and the padding must answer none of them.
TEST(MatchTableTest, AllZeroRequestMatchesAllZeroReportsButPaddingDoesNot) {
    const bytes reports[] = {{0x00}, {0x00, 0x00, 0x00, 0x00}, {0x00, 0x00, 0x8F, 0x00, 0x00, 0x00},
                             {0x00, 0x00, 0xFF, 0x00, 0x00, 0x00}};
    match_table table;
    table.push_back(bytes{0x00, 0x00, 0x00, 0x00}, {});
    for (const auto& report : reports) EXPECT_EQ(table.find(report), 0u);
    table.erase(0);
    for (const auto& report : reports) EXPECT_EQ(table.find(report), npos);
}

// ---- agreement with the packet rule on many random tables -----------------

// Bytes drawn from a few values, so that headers, markers and extra
// positions collide often; lengths around the header and error sizes.
class random_packets {
public:
    explicit random_packets(std::uint32_t seed) : m_random(seed) {}

    bytes packet() {
        static constexpr std::uint8_t kValues[] = {0x00, 0x01, 0x05, 0x10, 0x2A, 0x8F, 0xFF};
        bytes out(pick(8));
        for (auto& b : out) b = kValues[pick(std::size(kValues))];
        return out;
    }
    std::vector<std::size_t> extras() {
        static constexpr std::size_t kPositions[] = {0, 1, 2, 5, std::numeric_limits<std::size_t>::max() - 3,
                                                     std::numeric_limits<std::size_t>::max()};
        std::vector<std::size_t> out(pick(3));
        for (auto& k : out) k = kPositions[pick(std::size(kPositions))];
        return out;
    }
    // A report that may answer the request: a random one, the request
    // itself cut or lengthened, or an error report naming it.
    bytes report_near(const bytes& request) {
        switch (pick(3)) {
        case 0:
            return packet();
        case 1: {
            bytes out = request;
            out.resize(pick(9), static_cast<std::uint8_t>(pick(2) ? 0x00 : 0x07));
            return out;
        }
        default: {
            auto at = [&](std::size_t i) { return i < request.size() ? request[i] : std::uint8_t{0}; };
            const std::uint8_t index = pick(2) ? at(1) : std::uint8_t{0};
            const std::uint8_t marker = pick(2) ? 0x8F : 0xFF;
            bytes out = {0x10, index, marker, at(2), at(3), 0x02};
            out.resize(4 + pick(3));
            return out;
        }
        }
    }
    std::size_t pick(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(m_random); }

private:
    std::mt19937 m_random;
};

TEST(MatchTableTest, AgreesWithThePacketRuleOnRandomTables) {
    constexpr std::uint32_t kSeed = 20240611;
    random_packets random(kSeed);
    for (int round = 0; round < 3000; ++round) {
        std::vector<request_row> rows(random.pick(20));
        for (auto& row : rows) row = {random.packet(), random.extras()};
        match_table table = table_of(rows);
        if (!rows.empty() && random.pick(2) == 0) {
            const std::size_t gone = random.pick(rows.size());
            rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(gone));
            table.erase(gone);
        }
        for (int probe = 0; probe < 10; ++probe) {
            const bytes report = rows.empty() ? random.packet() : random.report_near(rows[random.pick(rows.size())].request);
            ASSERT_EQ(table.find(report), first_answered(rows, report)) << "seed " << kSeed << " round " << round;
        }
    }
}

}  // namespace
}  // namespace devio::rap
