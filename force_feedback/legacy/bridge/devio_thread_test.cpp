// The bridge thread against virtual RAP wheels: its queue's merge rules and
// counts, stopping, and the wheel's side (open, escapes 2 and 3, gone) from
// a stand-in caller through the bridge to the wheel and back. The tests run
// on the virtual clock and measure no time: the bridge thread waits only on
// its events, so every wait below is for an event, with a timeout that only
// guards against a hang.
#include "force_feedback/legacy/bridge/devio_thread.h"

#include <gtest/gtest.h>

#include <bit>
#include <chrono>
#include <condition_variable>
#include <cwctype>
#include <future>
#include <string>

#include "devio/Source/Virtual/virtual_rap_bus.h"
#include "devio/manager/rap_functions.h"
#include "force_feedback/legacy/bridge/bridge_device_table.h"
#include "force_feedback/legacy/bridge/wheel_bridge.h"
#include "force_feedback/legacy/testing/virtual_clock.h"

namespace {

using devio::VirtualRapWheel;
constexpr std::uint32_t kGuardMs = 5000;  // only guards against hangs
constexpr std::uint16_t kProductId = 0x0A2B;
constexpr std::uint8_t kRapInvalidArgument = 2;
// A continuation chain of the bridge is at most this many jobs deep.
constexpr int kChainDepth = 4;

class ConnectionWaiter : public IBridgeConnectionListener {
public:
    void OnBridgeConnection(std::uint8_t, bool connected) override {
        std::lock_guard lock(m_mutex);
        m_events.push_back(connected);
        m_cv.notify_all();
    }
    // The connection events once there are at least n (fewer on time-out).
    std::vector<bool> WaitFor(std::size_t n) {
        std::unique_lock lock(m_mutex);
        m_cv.wait_for(lock, std::chrono::milliseconds(kGuardMs), [&] { return m_events.size() >= n; });
        return m_events;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    std::vector<bool> m_events;
};

class BridgeTest : public ::testing::Test {
protected:
    void TearDown() override {
        for (const auto& key : m_keys) BridgeWheelGone(m_thread.get(), key);
    }
    std::wstring NewKey() {
        static int counter = 0;
        return L"{B41D6E00-0000-4000-8000-" + std::to_wstring(100000000000 + ++counter) + L"}";
    }
    std::shared_ptr<VirtualRapWheel> Plug(const std::wstring& key) {
        auto wheel = std::make_shared<VirtualRapWheel>(
            key, kProductId, std::vector<std::uint16_t>{devio::rapfn::kFeatureSet, devio::rapfn::kFeatureRpmIndicator});
        wheel->set_value16({0x12, 0x34});
        m_bus->plug(wheel);
        return wheel;
    }
    std::uint8_t Open(const std::wstring& key) {
        m_keys.push_back(key);
        return BridgeOpenWheel(m_thread.get(), key, &m_waiter);
    }
    // Runs a job on the bridge thread and waits for it: every library job
    // scheduled before it has run by then.
    void Barrier() {
        auto done = std::make_shared<std::promise<void>>();
        auto f = done->get_future();
        m_thread->LibraryExecutor().schedule([done] { done->set_value(); });
        ASSERT_EQ(f.wait_for(std::chrono::milliseconds(kGuardMs)), std::future_status::ready);
    }
    void Settle() {
        for (int i = 0; i < kChainDepth; ++i) Barrier();
    }
    std::uint8_t OpenBound(const std::wstring& key) {
        const std::uint8_t slot = Open(key);
        EXPECT_EQ(m_waiter.WaitFor(1), std::vector<bool>{true});
        return slot;
    }

    VirtualClockScope m_clock;
    std::shared_ptr<devio::VirtualRapBus> m_bus = std::make_shared<devio::VirtualRapBus>();
    std::shared_ptr<devio::CDevio> m_manager = std::make_shared<devio::CDevio>(m_bus);
    ConnectionWaiter m_waiter;
    std::unique_ptr<DevioThread> m_thread = std::make_unique<DevioThread>(m_manager);
    std::vector<std::wstring> m_keys;
};

struct MergeCase {
    const char* name;
    std::vector<BridgeCommand> posts;
    std::size_t queued;
};

class BridgeQueueMerging : public BridgeTest, public ::testing::WithParamInterface<MergeCase> {};

TEST_P(BridgeQueueMerging, KeepsOneCommandPerMergeKeyAndCountsOnlyAppends) {
    for (const auto& c : GetParam().posts) m_thread->Post(c.code, c.argument, c.payload);
    EXPECT_EQ(m_thread->QueuedCount(), GetParam().queued);
    EXPECT_EQ(m_thread->PostedCount(), GetParam().queued);
    EXPECT_EQ(m_thread->TakenCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, BridgeQueueMerging,
    ::testing::Values(MergeCase{"LibraryJobsWhateverTheirNumber", {{kRunLibraryJob, 1}, {kRunLibraryJob, 2}, {kRunLibraryJob, 3}}, 1},
                      MergeCase{"AttachForOneSlot", {{kAttachDevice, 5}, {kAttachDevice, 5}}, 1},
                      MergeCase{"AttachForTwoSlots", {{kAttachDevice, 5}, {kAttachDevice, 6}}, 2},
                      MergeCase{"GoneForOneSlot", {{kDeviceGone, 5}, {kDeviceGone, 5}}, 1},
                      MergeCase{"AttachAndGoneForOneSlot", {{kAttachDevice, 5}, {kDeviceGone, 5}}, 2},
                      MergeCase{"UnknownCodesNever", {{7, 5}, {7, 5}}, 2}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(BridgeTest, PayloadCommandsMergeOnlyWithTheirOwnPayload) {
    auto* first = new BridgeFeatureCommand;
    m_thread->Post(kSendFeatureCommand, 9, first);
    m_thread->Post(kSendFeatureCommand, 9, new BridgeFeatureCommand);
    m_thread->Post(kSendFeatureCommand, 9, first);
    m_thread->Post(kSendFloatTriple, 9, new float[3]{});
    EXPECT_EQ(m_thread->QueuedCount(), 3u);
    // Slot 9 has no entry: the thread drops all three and frees each payload
    // once (the sanitizer builds catch a double free or a leak).
    ASSERT_TRUE(m_thread->Start());
    Barrier();
    EXPECT_EQ(m_thread->QueuedCount(), 0u);
    EXPECT_EQ(m_thread->TakenCount(), m_thread->PostedCount());
}

TEST_F(BridgeTest, PayloadsStillQueuedAtDestructionAreLeftToTheProcess) {
    auto* record = new BridgeFeatureCommand{7, 2, {0x11, 0x22}};
    m_thread->Post(kSendFeatureCommand, 9, record);
    m_thread.reset();
    // Had the destruction freed the record, these reads and the delete would
    // touch freed memory (the sanitizer builds report it).
    EXPECT_EQ(record->command, 7);
    EXPECT_EQ(record->values, (std::vector<std::uint32_t>{0x11, 0x22}));
    delete record;
}

TEST_F(BridgeTest, MergedLibraryJobsAllRunInOrder) {
    std::vector<int> ran;
    for (int i = 1; i <= 3; ++i) m_thread->LibraryExecutor().schedule([&ran, i] { ran.push_back(i); });
    EXPECT_EQ(m_thread->QueuedCount(), 1u);
    ASSERT_TRUE(m_thread->Start());
    Barrier();
    EXPECT_EQ(ran, (std::vector<int>{1, 2, 3}));
}

TEST_F(BridgeTest, StopWithoutThreadDoesNothing) {
    m_thread->Stop();
    EXPECT_FALSE(m_thread->IsRunning());
}

// The thread stops the bus as it ends; a thread that missed the stop would
// still be waiting when Stop gives up on it, with the bus still listening.
TEST_F(BridgeTest, StopEndsAWaitingThreadAndStartMakesANewOne) {
    ASSERT_TRUE(m_thread->Start());
    Barrier();  // the thread is now blocked in its wait
    EXPECT_TRUE(m_bus->listening());
    m_thread->Stop();
    EXPECT_FALSE(m_bus->listening());
    EXPECT_FALSE(m_thread->IsRunning());
    ASSERT_TRUE(m_thread->Start());
    EXPECT_TRUE(m_thread->IsRunning());
    Barrier();
}

class BoundBridgeTest : public BridgeTest {
protected:
    void SetUp() override { ASSERT_TRUE(m_thread->Start()); }
};

TEST_F(BoundBridgeTest, AWheelPresentFirstIsBoundOnOpenWhateverTheKeysCase) {
    const std::wstring key = NewKey();
    Plug(key);
    std::wstring lower = key;
    for (auto& c : lower) c = static_cast<wchar_t>(std::towlower(c));
    const std::uint8_t slot = OpenBound(lower);
    std::uint8_t bytes[2] = {};
    ASSERT_TRUE(BridgeReadBytes(slot, bytes));
    EXPECT_EQ(bytes[0], 0x12);
    EXPECT_EQ(bytes[1], 0x34);
}

TEST_F(BoundBridgeTest, RemovalUnbindsAndAReturningWheelIsBoundAgain) {
    const std::wstring key = NewKey();
    auto wheel = Plug(key);
    const std::uint8_t slot = OpenBound(key);
    m_bus->unplug(wheel);
    EXPECT_EQ(m_waiter.WaitFor(2), (std::vector<bool>{true, false}));
    std::uint8_t bytes[2] = {};
    EXPECT_FALSE(BridgeReadBytes(slot, bytes));
    EXPECT_TRUE(BridgeSendFloats(m_thread.get(), slot, 1, 1, {2.0f}));
    Settle();
    EXPECT_TRUE(wheel->commands().empty());
    auto again = Plug(key);
    EXPECT_EQ(m_waiter.WaitFor(3), (std::vector<bool>{true, false, true}));
}

TEST_F(BoundBridgeTest, DeviceGoneIsTakenWithoutEffect) {
    const std::wstring key = NewKey();
    auto wheel = Plug(key);
    const std::uint8_t slot = OpenBound(key);
    Settle();
    const std::uint32_t taken = m_thread->TakenCount();
    m_thread->Post(kDeviceGone, slot, nullptr);
    Barrier();
    EXPECT_EQ(m_thread->TakenCount(), taken + 2);  // the gone and the barrier's job
    std::uint8_t bytes[2] = {};
    EXPECT_TRUE(BridgeReadBytes(slot, bytes));
    EXPECT_TRUE(wheel->commands().empty());
    EXPECT_EQ(m_waiter.WaitFor(1).size(), 1u);
}

TEST_F(BoundBridgeTest, FeatureCommandWithCountZeroPassesAnEmptyList) {
    const std::wstring key = NewKey();
    auto wheel = Plug(key);
    const std::uint8_t slot = OpenBound(key);
    ASSERT_TRUE(BridgeSendFloats(m_thread.get(), slot, 0x33, 0, {1.5f}));
    ASSERT_TRUE(wheel->wait_until([&] { return wheel->commands().size() == 1; }, kGuardMs));
    EXPECT_EQ(wheel->commands()[0].command, 0x33);
    EXPECT_TRUE(wheel->commands()[0].values.empty());
    EXPECT_EQ(wheel->readiness_queries().back(), (std::pair<std::uint8_t, std::uint8_t>{0, 0}));
}

TEST_F(BoundBridgeTest, FeatureCommandPassesTheFirstLowByteCountValues) {
    const std::wstring key = NewKey();
    auto wheel = Plug(key);
    const std::uint8_t slot = OpenBound(key);
    ASSERT_TRUE(BridgeSendFloats(m_thread.get(), slot, 0x34, 0x102, {1.0f, 2.0f, 3.0f}));
    ASSERT_TRUE(wheel->wait_until([&] { return wheel->commands().size() == 1; }, kGuardMs));
    EXPECT_EQ(wheel->commands()[0].values,
              (std::vector<std::uint32_t>{std::bit_cast<std::uint32_t>(1.0f), std::bit_cast<std::uint32_t>(2.0f)}));
}

TEST_F(BoundBridgeTest, AWheelThatIsNotReadyDropsTheCommand) {
    const std::wstring key = NewKey();
    auto wheel = Plug(key);
    const std::uint8_t slot = OpenBound(key);
    wheel->set_ready(false);
    ASSERT_TRUE(BridgeSendFloats(m_thread.get(), slot, 0x40, 0, {}));
    Settle();
    wheel->set_ready(true);
    ASSERT_TRUE(BridgeSendFloats(m_thread.get(), slot, 0x41, 0, {}));
    ASSERT_TRUE(wheel->wait_until([&] { return !wheel->commands().empty(); }, kGuardMs));
    Settle();
    ASSERT_EQ(wheel->commands().size(), 1u);
    EXPECT_EQ(wheel->commands()[0].command, 0x41);
}

TEST_F(BoundBridgeTest, ModeChangesRefreshTheValueTheWheelReads) {
    const std::wstring key = NewKey();
    auto wheel = Plug(key);
    const std::uint8_t slot = OpenBound(key);
    wheel->notify_mode_change(2, {0x55, 0x66});
    std::uint8_t bytes[2] = {};
    ASSERT_TRUE(BridgeReadBytes(slot, bytes));
    EXPECT_EQ(bytes[0], 0x55);
    EXPECT_EQ(bytes[1], 0x66);
}

struct TripleCase {
    const char* name;
    std::uint8_t flag;
    std::uint8_t announced_mode;  // 0: none announced
    bool selection_fails;
    bool selects;
    bool writes;
};

class FloatTriple : public BoundBridgeTest, public ::testing::WithParamInterface<TripleCase> {};

TEST_P(FloatTriple, GoesOutAsF1F2F0TruncatedAfterAnyNeededSelection) {
    const TripleCase& c = GetParam();
    const std::wstring key = NewKey();
    auto wheel = Plug(key);
    const std::uint8_t slot = OpenBound(key);
    wheel->set_state_flag(c.flag);
    if (c.announced_mode) wheel->notify_mode_change(c.announced_mode, {0, 0});
    if (c.selection_fails)
        wheel->fail_function(devio::rapfn::kFeatureRpmIndicator, devio::rapfn::kRpmSelect, kRapInvalidArgument);
    m_thread->Post(kSendFloatTriple, slot, new float[3]{1.9f, -2.7f, 300.99f});
    Settle();
    using Selection = std::vector<std::pair<std::uint8_t, std::uint8_t>>;
    EXPECT_EQ(wheel->selections(), (c.selects ? Selection{{c.announced_mode, 0}} : Selection{}));
    using Triples = std::vector<std::array<std::int32_t, 3>>;
    EXPECT_EQ(wheel->triples(), (c.writes ? Triples{{-2, 300, 1}} : Triples{}));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FloatTriple,
    ::testing::Values(TripleCase{"FlagSet", 1, 4, false, false, true},
                      TripleCase{"FlagClearNoMode", 0, 0, false, false, true},
                      TripleCase{"FlagClearModeSelectedFirst", 0, 4, false, true, true},
                      TripleCase{"FailedSelectionEndsIt", 0, 4, true, false, false}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(BoundBridgeTest, AFailedStateQueryWritesNothing) {
    const std::wstring key = NewKey();
    auto wheel = Plug(key);
    const std::uint8_t slot = OpenBound(key);
    wheel->fail_function(devio::rapfn::kFeatureRpmIndicator, devio::rapfn::kRpmGetStateFlag, kRapInvalidArgument);
    m_thread->Post(kSendFloatTriple, slot, new float[3]{1.0f, 2.0f, 3.0f});
    Settle();
    EXPECT_TRUE(wheel->triples().empty());
}

TEST_F(BoundBridgeTest, ReadBytesForAnUnknownSlotFails) {
    std::uint8_t bytes[2] = {0xEE, 0xEE};
    EXPECT_FALSE(BridgeReadBytes(250, bytes));
    EXPECT_EQ(bytes[0], 0xEE);
}

TEST(BridgeDeviceTable, SlotsAreReusedAndRemovalTakesEveryEntryOfTheKey) {
    CBridgeDeviceTable table;
    std::lock_guard lock(table.Lock());
    EXPECT_EQ(table.RegisterKey(L"a"), 1);
    EXPECT_EQ(table.RegisterKey(L"b"), 2);
    EXPECT_EQ(table.RegisterKey(L"a"), 3);
    EXPECT_EQ(table.RemoveKey(L"a"), 1);
    EXPECT_EQ(table.EntryBySlot(3), nullptr);
    EXPECT_EQ(table.RemoveKey(L"a"), CBridgeDeviceTable::kNoSlot);
    EXPECT_EQ(table.RegisterKey(L"c"), 1);
    for (int i = 0; i < 253; ++i) table.RegisterKey(L"x");
    EXPECT_EQ(table.RegisterKey(L"full"), CBridgeDeviceTable::kNoSlot);
}

}  // namespace
