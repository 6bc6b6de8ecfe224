#include "force_feedback/legacy/sim/report_queue.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {
constexpr unsigned kLength = 8;

std::vector<std::uint8_t> Report(std::uint8_t tag) { return {0, tag, 0x11, tag, 0, 0, 0, tag}; }

TEST(ReportQueueTest, HoldsThirtyOneReportsAndRefusesTheThirtySecond) {
    CReportQueue queue(kLength);
    for (unsigned i = 0; i < 31; ++i) {
        SCOPED_TRACE(i);
        EXPECT_TRUE(queue.QueueReport(Report(static_cast<std::uint8_t>(i)).data(), kLength));
    }
    EXPECT_FALSE(queue.QueueReport(Report(0xAA).data(), kLength));
    // The refused report left the others intact, in order.
    std::vector<std::uint8_t> out(kLength);
    for (unsigned i = 0; i < 31; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(queue.DequeueReport(out.data()));
        EXPECT_EQ(out, Report(static_cast<std::uint8_t>(i)));
    }
    EXPECT_FALSE(queue.DequeueReport(out.data()));
}

TEST(ReportQueueTest, KeepsOrderAcrossManyWrapArounds) {
    CReportQueue queue(kLength);
    std::vector<std::uint8_t> out(kLength);
    for (unsigned i = 0; i < 200; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(queue.QueueReport(Report(static_cast<std::uint8_t>(i)).data(), kLength));
        ASSERT_TRUE(queue.QueueReport(Report(static_cast<std::uint8_t>(i + 100)).data(), kLength));
        ASSERT_TRUE(queue.DequeueReport(out.data()));
        EXPECT_EQ(out, Report(static_cast<std::uint8_t>(i)));
        ASSERT_TRUE(queue.DequeueReport(out.data()));
        EXPECT_EQ(out, Report(static_cast<std::uint8_t>(i + 100)));
    }
}

TEST(ReportQueueTest, ShortReportIsZeroFilledAndLongOneCutToTheOutputLength) {
    CReportQueue queue(kLength);
    const std::vector<std::uint8_t> stale(kLength, 0xFF);
    const std::uint8_t shortReport[3] = {0, 0x13, 0x42};
    std::vector<std::uint8_t> longReport(kLength + 4, 0x5A);
    std::vector<std::uint8_t> out(kLength + 4, 0xCC);
    // Dirty the first slot, then reuse it after a full turn.
    for (unsigned i = 0; i < CReportQueue::kSlots; ++i) {
        ASSERT_TRUE(queue.QueueReport(stale.data(), kLength));
        ASSERT_TRUE(queue.DequeueReport(out.data()));
    }
    ASSERT_TRUE(queue.QueueReport(shortReport, 3));
    ASSERT_TRUE(queue.QueueReport(longReport.data(), static_cast<unsigned>(longReport.size())));
    ASSERT_TRUE(queue.DequeueReport(out.data()));
    EXPECT_EQ(std::vector<std::uint8_t>(out.begin(), out.begin() + kLength),
              (std::vector<std::uint8_t>{0, 0x13, 0x42, 0, 0, 0, 0, 0}));
    out.assign(kLength + 4, 0xCC);
    ASSERT_TRUE(queue.DequeueReport(out.data()));
    EXPECT_EQ(out, (std::vector<std::uint8_t>{0x5A, 0x5A, 0x5A, 0x5A, 0x5A, 0x5A, 0x5A, 0x5A, 0xCC, 0xCC, 0xCC, 0xCC}));
}

// Under ThreadSanitizer this also proves the indices publish the buffers.
TEST(ReportQueueTest, ConsumerOnAnotherThreadSeesEveryAcceptedReportWhole) {
    CReportQueue queue(kLength);
    constexpr unsigned kReports = 20000;
    std::vector<unsigned> received;
    std::thread consumer([&] {
        std::vector<std::uint8_t> out(kLength);
        while (received.size() < kReports) {
            if (!queue.DequeueReport(out.data())) {
                std::this_thread::yield();
                continue;
            }
            const unsigned n = out[1] | out[2] << 8;
            if (out[3] != out[1] || out[4] != out[2]) ADD_FAILURE() << "torn report " << n;
            received.push_back(n);
        }
    });
    for (unsigned n = 0; n < kReports;) {
        const std::uint8_t lo = n & 0xFF, hi = n >> 8;
        const std::uint8_t report[kLength] = {0, lo, hi, lo, hi};
        if (queue.QueueReport(report, kLength))
            ++n;
        else
            std::this_thread::yield();
    }
    consumer.join();
    for (unsigned i = 0; i < kReports; ++i) {
        if (received[i] != (i & 0xFFFF)) {
            ADD_FAILURE() << "report " << i << " arrived as " << received[i];
            break;
        }
    }
}

}  // namespace
