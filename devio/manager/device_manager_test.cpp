// The device manager over virtual RAP wheels: discovery of differing feature
// tables, the RPM indicator's requests as the wheel receives them, RAP error
// answers reaching asynchronous callers as DevioExceptions, and the
// arrival/removal event.
#include "devio/manager/devio_manager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "devio/Source/Virtual/virtual_rap_bus.h"
#include "devio/core/test_runloop.h"
#include "devio/manager/feature_807a_rpm_indicator.h"
#include "devio/manager/rap_functions.h"

namespace devio {
namespace {

constexpr std::uint16_t kProductId = 0x0A2B;
constexpr std::uint32_t kSoftwareId = 6;
// RAP 2.0 error bytes as the wheel sends them.
constexpr std::uint8_t kRapBusy = 8;
constexpr std::uint8_t kRapInvalidArgument = 2;

class DeviceManagerTest : public ::testing::Test {
protected:
    std::shared_ptr<VirtualRapWheel> Plug(const std::wstring& container, std::vector<std::uint16_t> features) {
        auto wheel = std::make_shared<VirtualRapWheel>(container, kProductId, std::move(features));
        m_bus->plug(wheel);
        return wheel;
    }
    std::shared_ptr<IDevice> OnlyDevice() {
        auto devices = m_manager->presentDevices();
        EXPECT_EQ(devices.size(), 1u);
        return devices.empty() ? nullptr : devices.front();
    }
    std::shared_ptr<IFeature807ARpmIndicator> Rpm(const std::shared_ptr<IDevice>& device) {
        return std::dynamic_pointer_cast<IFeature807ARpmIndicator>(
            device->getFeature(rapfn::kFeatureRpmIndicator).get());
    }

    std::shared_ptr<VirtualRapBus> m_bus = std::make_shared<VirtualRapBus>();
    std::shared_ptr<CDevio> m_manager = std::make_shared<CDevio>(m_bus);
};

struct FeatureTableCase {
    const char* name;
    std::vector<std::uint16_t> features;
};

class FeatureDiscovery : public DeviceManagerTest, public ::testing::WithParamInterface<FeatureTableCase> {};

TEST_P(FeatureDiscovery, ListsTheDevicesOwnTableAndFindsTheIndicatorOnlyWhereItIs) {
    ASSERT_TRUE(m_manager->configure(kSoftwareId, CDevio::kOptionEnumerateNow));
    Plug(L"{A}", GetParam().features);
    auto device = OnlyDevice();
    ASSERT_NE(device, nullptr);

    std::vector<std::uint16_t> expected{rapfn::kFeatureRoot};
    expected.insert(expected.end(), GetParam().features.begin(), GetParam().features.end());
    EXPECT_EQ(device->getFeatureIds().get(), expected);

    const auto& f = GetParam().features;
    const auto at = std::find(f.begin(), f.end(), rapfn::kFeatureRpmIndicator);
    auto found = device->getFeature(rapfn::kFeatureRpmIndicator);
    if (at == f.end()) {
        EXPECT_THROW(found.get(), DevioExceptionFeatureNotPresent);
    } else {
        auto feature = found.get();
        EXPECT_EQ(feature->feature_index(), at - f.begin() + 1);
        EXPECT_NE(std::dynamic_pointer_cast<IFeature807ARpmIndicator>(feature), nullptr);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Tables, FeatureDiscovery,
    ::testing::Values(FeatureTableCase{"IndicatorSecond", {rapfn::kFeatureSet, rapfn::kFeatureRpmIndicator}},
                      FeatureTableCase{"IndicatorAfterOthers", {0x8123, rapfn::kFeatureSet, 0x8131, rapfn::kFeatureRpmIndicator}},
                      FeatureTableCase{"NoIndicator", {rapfn::kFeatureSet, 0x8123, 0x8138}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(DeviceManagerTest, ADeviceWithoutFeatureSetSaysSo) {
    Plug(L"{A}", {rapfn::kFeatureRpmIndicator});
    EXPECT_THROW(OnlyDevice()->getFeatureIds().get(), DevioExceptionNoFeatureSetFeature);
}

TEST_F(DeviceManagerTest, AFeatureIsMadeOncePerDevice) {
    Plug(L"{A}", {rapfn::kFeatureRpmIndicator});
    auto device = OnlyDevice();
    EXPECT_EQ(device->getFeature(rapfn::kFeatureRpmIndicator).get(),
              device->getFeature(rapfn::kFeatureRpmIndicator).get());
}

TEST_F(DeviceManagerTest, CommandValuesReachTheWheelInOrderAcrossPackets) {
    auto wheel = Plug(L"{A}", {rapfn::kFeatureRpmIndicator});
    auto rpm = Rpm(OnlyDevice());
    const std::vector<std::uint32_t> values{10, 20, 30, 40, 50, 60, 70};
    // Only the first five of the seven are to be passed.
    rpm->sendCommand(0x21, 5, values).get();
    rpm->sendCommand(0x22, 0, {}).get();
    const auto commands = wheel->commands();
    ASSERT_EQ(commands.size(), 2u);
    EXPECT_EQ(commands[0].command, 0x21);
    EXPECT_EQ(commands[0].values, (std::vector<std::uint32_t>{10, 20, 30, 40, 50}));
    EXPECT_EQ(commands[1].command, 0x22);
    EXPECT_TRUE(commands[1].values.empty());
}

TEST_F(DeviceManagerTest, QueriesReadTheWheelsAnswers) {
    auto wheel = Plug(L"{A}", {rapfn::kFeatureRpmIndicator});
    wheel->set_value16({0x12, 0x34});
    wheel->set_state_flag(3);
    wheel->set_ready(false);
    auto rpm = Rpm(OnlyDevice());
    EXPECT_EQ(rpm->getValue16().get(), (std::array<std::uint8_t, 2>{0x12, 0x34}));
    EXPECT_EQ(rpm->getStateFlag().get(), 3);
    EXPECT_FALSE(rpm->getReadiness(4, 5).get());
    EXPECT_EQ(wheel->readiness_queries(), (std::vector<std::pair<std::uint8_t, std::uint8_t>>{{4, 5}}));
    rpm->setTriple(-7, 0x7FFFFFFF, 1).get();
    EXPECT_EQ(wheel->triples(), (std::vector<std::array<std::int32_t, 3>>{{-7, 0x7FFFFFFF, 1}}));
}

TEST_F(DeviceManagerTest, RapErrorAnswersBecomeExceptionsInContinuations) {
    auto wheel = Plug(L"{A}", {rapfn::kFeatureRpmIndicator});
    wheel->fail_function(rapfn::kFeatureRpmIndicator, rapfn::kRpmGetStateFlag, kRapBusy);
    wheel->fail_function(rapfn::kFeatureRpmIndicator, rapfn::kRpmSelect, kRapInvalidArgument);
    auto rpm = Rpm(OnlyDevice());
    testing::manual_runloop loop;
    std::uint32_t flag_code = 0, select_code = 0;
    auto a = rpm->getStateFlag().then(loop.get_executor(), [&](future<std::uint8_t> f) {
        try {
            f.get();
        } catch (const DevioException& e) {
            flag_code = e.code();
        }
    });
    auto b = rpm->select(1, 0).then(loop.get_executor(), [&](future<void> f) {
        try {
            f.get();
        } catch (const DevioException& e) {
            select_code = e.code();
        }
    });
    EXPECT_EQ(loop.drain(), 2);
    a.get();
    b.get();
    EXPECT_EQ(flag_code, static_cast<std::uint32_t>(errc::Rap20Busy));
    EXPECT_EQ(select_code, static_cast<std::uint32_t>(errc::Rap20InvalidArgument));
}

TEST_F(DeviceManagerTest, ADeviceThatLeftFailsItsRequests) {
    auto wheel = Plug(L"{A}", {rapfn::kFeatureRpmIndicator});
    auto device = OnlyDevice();
    auto rpm = Rpm(device);
    m_bus->unplug(wheel);
    EXPECT_FALSE(device->is_present());
    EXPECT_TRUE(m_manager->presentDevices().empty());
    EXPECT_THROW(rpm->getStateFlag().get(), DevioExceptionDeviceRemoved);
}

struct ModeRecorder : IFeature807AListener {
    void onModeChanged(std::uint8_t m, std::array<std::uint8_t, 2> v) override {
        mode = m;
        value = v;
    }
    std::uint8_t mode = 0;
    std::array<std::uint8_t, 2> value{};
};

TEST_F(DeviceManagerTest, ModeChangesReachTheListener) {
    auto wheel = Plug(L"{A}", {rapfn::kFeatureSet, rapfn::kFeatureRpmIndicator});
    auto rpm = Rpm(OnlyDevice());
    auto recorder = std::make_shared<ModeRecorder>();
    rpm->setListener(recorder);
    wheel->notify_mode_change(5, {0xAB, 0xCD});
    EXPECT_EQ(recorder->mode, 5);
    EXPECT_EQ(recorder->value, (std::array<std::uint8_t, 2>{0xAB, 0xCD}));
}

struct EventRecorder : Subscriber<IDeviceManager::ArrivalRemoval> {
    void onDeviceArrival(const std::shared_ptr<IDevice>& d) override { log.push_back(L"+" + d->container_id()); }
    void onDeviceRemoval(const std::shared_ptr<IDevice>& d) override { log.push_back(L"-" + d->container_id()); }
    std::vector<std::wstring> log;
};

TEST_F(DeviceManagerTest, ArrivalAndRemovalRunOnTheSubscribersExecutor) {
    ASSERT_TRUE(m_manager->configure(kSoftwareId, CDevio::kOptionEnumerateNow));
    testing::manual_runloop loop;
    EventRecorder recorder;
    recorder.subscribe(m_manager->arrivalRemoval(), loop.get_executor());
    auto first = Plug(L"{A}", {});
    Plug(L"{B}", {});
    m_bus->unplug(first);
    EXPECT_TRUE(recorder.log.empty());  // nothing runs before the loop does
    loop.drain();
    EXPECT_EQ(recorder.log, (std::vector<std::wstring>{L"+{A}", L"+{B}", L"-{A}"}));
    recorder.unsubscribe();
    Plug(L"{C}", {});
    loop.drain();
    EXPECT_EQ(recorder.log.size(), 3u);
}

TEST_F(DeviceManagerTest, ConfigureRefusesSoftwareIdsOutsideTheNibble) {
    EXPECT_FALSE(m_manager->configure(0, 0));
    EXPECT_FALSE(m_manager->configure(16, 0));
    EXPECT_TRUE(m_manager->configure(15, 0));
}

}  // namespace
}  // namespace devio
