// A block is zero-filled when its first holder makes it, and that holder
// then writes the defaults. A second holder that opens the block in
// between must not come away with the zeros: a device reading ForceEnabled 0
// from them answers downloads with success and no effect (and no handle),
// and one reading OverallStrength 0 plays nothing.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "force_feedback/legacy/settings/model_global_data.h"
#include "force_feedback/legacy/settings/settings_test_support.h"

namespace {

using settings_test::UniqueDeviceId;

// How long the creator holds its defaults back for a second opener to come
// in; a bound on the wait, not a measurement.
constexpr auto kCreatorHold = std::chrono::milliseconds(300);

class Latch {
public:
    void Open() {
        std::lock_guard lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }
    bool WaitFor(std::chrono::milliseconds limit) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, limit, [this] { return m_open; });
    }
    void Wait() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_open; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_open = false;
};

// A first holder whose defaults take their time: it announces that it is
// setting them and then waits for the second opener (or the bound).
class SlowDefaults final : public CGlobalData {
public:
    SlowDefaults(Latch& entered, Latch& joinerDone) : m_entered(entered), m_joinerDone(joinerDone) {}
    void SetDefaults() override {
        m_entered.Open();
        m_joinerDone.WaitFor(kCreatorHold);
        CGlobalData::SetDefaults();
    }

private:
    Latch& m_entered;
    Latch& m_joinerDone;
};

TEST(GlobalDataCreationTest, ASecondOpenerWaitsForTheCreatorsDefaults) {
    const DWORD id = UniqueDeviceId();
    settings_test::DeviceKey key(id);
    Latch entered, joinerDone;
    SlowDefaults creator(entered, joinerDone);
    std::thread first([&] { creator.Initialize(id); });
    entered.Wait();

    auto second = CreateModelGlobalData(Model::Prazen);
    second->Initialize(id);
    // What the second opener finds when its open returns; the creator's
    // defaults would reach the shared block anyway a moment later.
    const bool mapped = second->HasBlock();
    const DWORD forceEnabled = second->GetForceEnabled();
    const DWORD overallStrength = second->GetOverallStrength();
    const DWORD combinedGain = second->GetCombinedGain();
    const LONG curve64 = second->CurveLookup(64);
    joinerDone.Open();
    first.join();

    ASSERT_TRUE(mapped);
    EXPECT_EQ(forceEnabled, 1u);
    EXPECT_EQ(overallStrength, 10000u);
    EXPECT_EQ(combinedGain, 10000u);
    EXPECT_EQ(curve64, 64);
}

// The hold ends with the creator's defaults, not with its life: a later
// opener gets in while the creator still holds the block.
TEST(GlobalDataCreationTest, OpenersGetInOnceTheCreatorIsSetUp) {
    const DWORD id = UniqueDeviceId();
    settings_test::DeviceKey key(id);
    auto creator = CreateModelGlobalData(Model::Dastrin);
    creator->Initialize(id);
    creator->SetOverallStrength(12000, 0, 1);

    auto later = CreateModelGlobalData(Model::Dastrin);
    later->Initialize(id);
    EXPECT_EQ(later->GetOverallStrength(), 12000u);
}

}  // namespace
