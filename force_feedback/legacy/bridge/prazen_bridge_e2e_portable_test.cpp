// The Prazen wheel's library path end to end: the built library loaded by
// path, a Prazen driver made through its class factory, a virtual HID wheel
// and a virtual RAP wheel with the same container ID plugged in through the
// library's exports. Escape 2 must reach the RAP wheel's RPM indicator as a
// feature command (selector, float bit patterns), escape 3 must hand back the
// two bytes the RAP wheel answers to the value query, in the order it sends
// them; and the bridge behind both must follow the module's object count.
// The wheel's simulation runs on the virtual clock; the bridge thread is no
// part of it, so the waits on the RAP wheel keep a real-time hang guard.
#include <gtest/gtest.h>

#include <bit>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "devio/Source/Virtual/virtual_rap_api.h"
#include "devio/manager/rap_functions.h"
#include "force_feedback/legacy/model_table.h"
#include "force_feedback/legacy/testing/driver_host.h"

namespace {

constexpr std::uint32_t kJoystick = 6;
constexpr int kPrazenClass = 16;
constexpr std::uint32_t kGuardMs = 5000;  // only guards against hangs
constexpr std::uint8_t kValue[2] = {0x12, 0x34};
constexpr DWORD kEscapeVersion = 1;

class PrazenBridgeEndToEnd : public DriverHostTest<> {
protected:
    template <typename Fn>
    Fn Export(const char* name) {
        return reinterpret_cast<Fn>(m_module.Symbol(name));
    }

    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(StartVirtualClock());
        m_rapPlug = Export<decltype(&FfdrvVirtualRapPlug)>("FfdrvVirtualRapPlug");
        m_rapUnplug = Export<decltype(&FfdrvVirtualRapUnplug)>("FfdrvVirtualRapUnplug");
        m_rapCount = Export<decltype(&FfdrvVirtualRapCount)>("FfdrvVirtualRapCount");
        m_rapWait = Export<decltype(&FfdrvVirtualRapWait)>("FfdrvVirtualRapWait");
        m_rapCommand = Export<decltype(&FfdrvVirtualRapGetCommand)>("FfdrvVirtualRapGetCommand");
        m_busActive = Export<decltype(&FfdrvVirtualRapBusActive)>("FfdrvVirtualRapBusActive");
        ASSERT_TRUE(m_rapPlug && m_rapUnplug && m_rapCount && m_rapWait && m_rapCommand && m_busActive);
        m_hid = DeviceOf(Model::Prazen, kJoystick);
        Plug(m_hid);
    }

    void TearDown() override {
        if (m_driver) m_driver->Release();
        m_driver = nullptr;
        if (m_rapHandle) m_rapUnplug(m_rapHandle);
    }

    void PlugRapWheel() {
        FfdrvVirtualRapDevice rap{};
        rap.size = sizeof rap;
        std::memcpy(rap.containerId, m_hid.containerId, sizeof rap.containerId);
        rap.productId = m_hid.productId;
        rap.featureCount = 2;
        rap.features[0] = devio::rapfn::kFeatureSet;
        rap.features[1] = devio::rapfn::kFeatureRpmIndicator;
        rap.value[0] = kValue[0];
        rap.value[1] = kValue[1];
        rap.ready = 1;
        ASSERT_EQ(m_rapPlug(&rap, &m_rapHandle), FFDRV_VIRTUAL_OK);
    }

    void OpenWheel() {
        ASSERT_NO_FATAL_FAILURE(MakeDriver(kPrazenClass));
        ASSERT_NO_FATAL_FAILURE(Open());
        Advance(3 * kPassMs);
    }

    void ReleaseDriver() {
        ASSERT_EQ(m_driver->Release(), 0u);
        m_driver = nullptr;
    }

    HRESULT SendFloats(BYTE selector, const std::vector<float>& floats) {
        std::vector<BYTE> in(12 + 4 * floats.size(), 0);
        const DWORD header[2] = {static_cast<DWORD>(in.size()), kEscapeVersion};
        std::memcpy(in.data(), header, sizeof header);
        in[8] = selector;
        in[9] = static_cast<BYTE>(floats.size());
        if (!floats.empty()) std::memcpy(in.data() + 12, floats.data(), 4 * floats.size());
        DIEFFESCAPE esc{sizeof esc, 2, in.data(), static_cast<DWORD>(in.size()), nullptr, 0};
        return m_driver->Escape(kJoystick, 0, &esc);
    }

    HRESULT ReadBytes(BYTE out[2]) {
        const DWORD in[2] = {8, kEscapeVersion};
        DIEFFESCAPE esc{sizeof esc, 3, const_cast<DWORD*>(in), sizeof in, out, 2};
        return m_driver->Escape(kJoystick, 0, &esc);
    }

    // The bridge asks a newly bound wheel for its value right after it has
    // the wheel's feature, so a command sent once that query is in is not
    // dropped; and the value reaches the table before the command reaches the
    // wheel, since both go through the bridge thread in order.
    void WaitForBinding(std::uint32_t bindings) {
        ASSERT_EQ(m_rapWait(m_rapHandle, FFDRV_VIRTUAL_RAP_VALUE_QUERIES, bindings, kGuardMs), FFDRV_VIRTUAL_OK);
    }

    // Escape 2 reaches the RAP wheel as command number `index`.
    void ExpectCommandReachesWheel(std::uint32_t index) {
        const std::vector<float> floats = {1.5f, -2.0f, 6500.25f};
        ASSERT_EQ(SendFloats(/*selector=*/0x2A, floats), S_OK);
        ASSERT_EQ(m_rapWait(m_rapHandle, FFDRV_VIRTUAL_RAP_COMMANDS, index + 1, kGuardMs), FFDRV_VIRTUAL_OK);
        std::uint8_t command = 0;
        std::uint32_t values[8] = {};
        ASSERT_EQ(m_rapCommand(m_rapHandle, index, &command, values, 8), 3);
        EXPECT_EQ(command, 0x2A);
        for (std::size_t i = 0; i < floats.size(); ++i) {
            SCOPED_TRACE(i);
            EXPECT_EQ(values[i], std::bit_cast<std::uint32_t>(floats[i]));
        }
    }

    void ExpectValueRead() {
        BYTE out[2] = {0xEE, 0xEE};
        ASSERT_EQ(ReadBytes(out), S_OK);
        EXPECT_EQ(out[0], kValue[0]);
        EXPECT_EQ(out[1], kValue[1]);
    }

    FfdrvVirtualDevice m_hid{};
    std::uint32_t m_rapHandle = 0;
    decltype(&FfdrvVirtualRapPlug) m_rapPlug = nullptr;
    decltype(&FfdrvVirtualRapUnplug) m_rapUnplug = nullptr;
    decltype(&FfdrvVirtualRapCount) m_rapCount = nullptr;
    decltype(&FfdrvVirtualRapWait) m_rapWait = nullptr;
    decltype(&FfdrvVirtualRapGetCommand) m_rapCommand = nullptr;
    decltype(&FfdrvVirtualRapBusActive) m_busActive = nullptr;
};

TEST_F(PrazenBridgeEndToEnd, RapWheelArrivingLaterIsBoundAndReached) {
    OpenWheel();
    BYTE out[2] = {0xEE, 0xEE};
    EXPECT_EQ(ReadBytes(out), S_FALSE);  // nothing bound yet
    EXPECT_EQ(out[0], 0xEE);
    PlugRapWheel();
    WaitForBinding(1);
    ExpectCommandReachesWheel(0);
    ExpectValueRead();
}

// A wheel present first is reached by both escapes. Its removal arrives on
// the bridge thread; the escape answers from the table, so it is polled
// until the bridge has let go (the guard only stops a hang).
TEST_F(PrazenBridgeEndToEnd, RapWheelLeavingIsUnboundAndBoundAgainWhenItReturns) {
    PlugRapWheel();
    OpenWheel();
    WaitForBinding(1);
    ExpectCommandReachesWheel(0);
    ExpectValueRead();
    ASSERT_EQ(m_rapUnplug(m_rapHandle), FFDRV_VIRTUAL_OK);
    m_rapHandle = 0;
    BYTE out[2] = {0xEE, 0xEE};
    const auto guard = std::chrono::steady_clock::now() + std::chrono::milliseconds(kGuardMs);
    HRESULT hr = S_OK;
    while ((hr = ReadBytes(out)) == S_OK && std::chrono::steady_clock::now() < guard) std::this_thread::yield();
    EXPECT_EQ(hr, S_FALSE) << "the wheel that left is still bound";
    // A send to a wheel that is gone is taken and goes nowhere.
    EXPECT_EQ(SendFloats(/*selector=*/0x2A, {1.0f}), S_OK);

    PlugRapWheel();
    WaitForBinding(1);
    ExpectCommandReachesWheel(0);
    ExpectValueRead();
}

TEST_F(PrazenBridgeEndToEnd, RapWheelOfAnotherContainerIsLeftAlone) {
    m_hid.containerId[15] ^= 0xFF;
    PlugRapWheel();
    const std::uint32_t stranger = m_rapHandle;
    m_hid.containerId[15] ^= 0xFF;
    OpenWheel();
    PlugRapWheel();
    // Only the wheel of the same container is bound and reached; by then the
    // bridge has long handled the open, when the stranger was already there.
    WaitForBinding(1);
    ExpectCommandReachesWheel(0);
    EXPECT_EQ(m_rapCount(stranger, FFDRV_VIRTUAL_RAP_VALUE_QUERIES), 0);
    EXPECT_EQ(m_rapCount(stranger, FFDRV_VIRTUAL_RAP_READINESS_QUERIES), 0);
    EXPECT_EQ(m_rapUnplug(stranger), FFDRV_VIRTUAL_OK);
}

TEST_F(PrazenBridgeEndToEnd, BridgeFollowsTheModuleCountAndIsMadeAgain) {
    PlugRapWheel();
    EXPECT_EQ(m_busActive(), 0);  // no class object yet, so no bridge
    OpenWheel();
    EXPECT_EQ(m_busActive(), 1);
    WaitForBinding(1);
    ExpectCommandReachesWheel(0);

    ReleaseDriver();
    EXPECT_EQ(m_module.canUnloadNow(), S_OK);
    EXPECT_EQ(m_busActive(), 0);  // the bridge thread has ended

    OpenWheel();
    EXPECT_EQ(m_busActive(), 1);
    WaitForBinding(2);  // the new bridge binds the wheel afresh
    ExpectCommandReachesWheel(1);
    ExpectValueRead();
}

}  // namespace
