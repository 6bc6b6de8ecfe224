// DeviceID begin followed at once by end, or by a second begin over the open
// device, many times in a row while busy threads keep both cores loaded, so
// that a new device's simulation thread often starts only after it has been
// told to stop. Every family's device must come and go whole: no request in
// flight on a freed record, no thread still calling into a device whose
// destruction has begun. Meant for the asan and tsan presets, where either
// fault is reported; in every build the driver must still work afterwards.
//
// FFDRV_CHURN_CYCLES overrides the number of cycles per case.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "force_feedback/legacy/module_count.h"
#include "force_feedback/legacy/devices/family_table.h"
#include "force_feedback/legacy/driver/ff_driver.h"
#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/testing/driver_host.h"
#include "force_feedback/legacy/testing/ordinary_priority.h"
#include "force_feedback/legacy/testing/virtual_clock.h"

namespace {

constexpr std::uint32_t kJoystick = 14;
constexpr DWORD kDirectInputVersion = 0x0800;
constexpr int kDefaultCycles = 60;
constexpr int kBusyThreads = 2;

int Cycles() {
    if (const char* env = std::getenv("FFDRV_CHURN_CYCLES"); env && *env) return std::max(1, std::atoi(env));
    return kDefaultCycles;
}

// Spins on every core it is given until destroyed.
class BusyThreads {
public:
    BusyThreads() {
        for (int i = 0; i < kBusyThreads; ++i) {
            m_threads.emplace_back([this] {
                unsigned long spins = 0;
                while (!m_stop.load(std::memory_order_relaxed)) ++spins;
                m_spins.fetch_add(spins, std::memory_order_relaxed);
            });
        }
    }
    ~BusyThreads() {
        m_stop = true;
        for (std::thread& t : m_threads) t.join();
    }

private:
    std::atomic<bool> m_stop{false};
    std::atomic<unsigned long> m_spins{0};
    std::vector<std::thread> m_threads;
};

enum class Order { BeginEnd, BeginBegin };

struct ChurnCase {
    Model model;
    Order order;
};

std::string CaseName(const ::testing::TestParamInfo<ChurnCase>& info) {
    return std::string(CodenameOf(info.param.model)) + (info.param.order == Order::BeginEnd ? "BeginEnd" : "BeginBegin");
}


// One model of each family and variant: both wheel resolutions, a wheel with
// mode reports, the bridge wheel, both stick resolutions, the Karvona stick
// and both pad layouts.
const Model kModels[] = {Model::Pelvar, Model::Quintar, Model::Dastrin, Model::Prazen, Model::Ferolla,
                         Model::Oskra,  Model::Karvona, Model::Zorvel,  Model::Vesk};

std::vector<ChurnCase> AllCases() {
    std::vector<ChurnCase> out;
    for (Model m : kModels) {
        out.push_back({m, Order::BeginEnd});
        out.push_back({m, Order::BeginBegin});
    }
    return out;
}

class DeviceChurnTest : public ::testing::TestWithParam<ChurnCase> {
protected:
    HRESULT Begin() { return m_driver->DeviceID(kDirectInputVersion, kJoystick, TRUE, 0, nullptr); }
    HRESULT End() { return m_driver->DeviceID(kDirectInputVersion, kJoystick, FALSE, 0, nullptr); }

    // The new device's thread must be able to start late, as in a game.
    OrdinaryPriorityScope m_ordinaryPriority;
    VirtualClockScope m_clock{70000};
    PluggedDevice m_plug{DriverHost::DeviceOf(GetParam().model, kJoystick)};
    CFFDrv* m_driver = nullptr;
};

TEST_P(DeviceChurnTest, DevicesComeAndGoWholeUnderLoad) {
    ASSERT_EQ(m_plug.Result(), FFDRV_VIRTUAL_OK);
    const ULONG objectsBefore = ModuleObjectCount();
    m_driver = new CFFDrvModel(GetParam().model);
    const int cycles = Cycles();
    int failed = 0;
    {
        BusyThreads load;
        for (int i = 0; i < cycles; ++i) {
            if (Begin() != S_OK) ++failed;
            if (GetParam().order == Order::BeginEnd && End() != S_OK) ++failed;
        }
    }
    EXPECT_EQ(failed, 0);

    // The device left in the slot (or a fresh one) still serves effects.
    ASSERT_EQ(Begin(), S_OK);
    EffectBlock block;
    block.Params(DICONSTANTFORCE{5000}).Cartesian({kAxisX}, {1});
    DWORD handle = 0;
    EXPECT_EQ(m_driver->DownloadEffect(kJoystick, kEffectConstant, &handle, block.Get(), kAllParams | DIEP_START),
              S_OK);
    EXPECT_EQ(handle, 1u);
    ASSERT_TRUE(platform::AdvanceVirtualClock(40));
    DWORD status = 0;
    EXPECT_EQ(m_driver->GetEffectStatus(kJoystick, handle, &status), S_OK);
    EXPECT_EQ(status, 1u);
    EXPECT_EQ(End(), S_OK);
    EXPECT_EQ(m_driver->Release(), 0u);
    // Every device of the run is gone.
    EXPECT_EQ(ModuleObjectCount(), objectsBefore);
}

INSTANTIATE_TEST_SUITE_P(Families, DeviceChurnTest, ::testing::ValuesIn(AllCases()), CaseName);

}  // namespace
