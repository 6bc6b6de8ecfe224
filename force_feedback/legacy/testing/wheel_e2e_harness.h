// The end-to-end wheel harness shared by the wheel suites: the built library
// loaded by path, the driver made through its class factory, a virtual wheel
// of a model plugged in through the library's exports, and the reports that
// reach the wheel recorded on the virtual clock.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/driver/joy_force_api.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/model_table.h"
#include "force_feedback/legacy/testing/driver_module.h"
#include "force_feedback/legacy/testing/virtual_api.h"
#include "force_feedback/legacy/testing/virtual_clock.h"

namespace wheel_e2e {

inline constexpr DWORD kDirectInputVersion = 0x0800;
inline constexpr std::uint32_t kPassMs = 8;
inline constexpr unsigned kReportLength = 65;
inline constexpr std::uint32_t kJoystick = 3;

using Bytes = std::vector<BYTE>;

// A full output report: report ID 0, then the command.
inline Bytes Report(std::initializer_list<BYTE> command) {
    Bytes r(kReportLength, 0);
    std::copy(command.begin(), command.end(), r.begin() + 1);
    return r;
}

struct Recorded {
    std::uint32_t timeMs;
    Bytes bytes;
};

// Owns one driver on one virtual wheel at kJoystick for the life of a test.
class WheelHarness : public ::testing::Test {
protected:
    // Plugs a virtual wheel with the model's product ID, makes the driver of
    // the class-table row and opens it; three passes settle the opening.
    void OpenWheel(int classIndex, Model model) {
        ASSERT_TRUE(m_module.Loaded()) << m_module.Error();
        ASSERT_TRUE(m_api.Complete());
        ASSERT_EQ(m_api.useVirtual(90000), FFDRV_VIRTUAL_OK);
        FfdrvVirtualDevice wheel = VirtualWheel(kJoystick);
        wheel.productId = Product(model).productId;
        ASSERT_EQ(m_api.plug(&wheel), FFDRV_VIRTUAL_OK);
        m_driver = m_module.CreateDriver(classIndex);
        ASSERT_NE(m_driver, nullptr);
        ASSERT_EQ(m_driver->DeviceID(kDirectInputVersion, kJoystick, TRUE, 0, nullptr), S_OK);
        Advance(3 * kPassMs);
    }

    void TearDown() override {
        if (m_driver) m_driver->Release();
        if (m_api.Complete()) {
            m_api.unplug(kJoystick);
            m_api.useReal();
        }
    }

    void Advance(std::uint32_t ms) { ASSERT_EQ(m_api.advance(ms), FFDRV_VIRTUAL_OK); }
    void Close() { ASSERT_EQ(m_driver->DeviceID(kDirectInputVersion, kJoystick, FALSE, 0, nullptr), S_OK); }
    void SetInput(std::int32_t x, std::uint64_t buttons = 0) {
        ASSERT_EQ(m_api.setInput(kJoystick, x, 512, buttons), FFDRV_VIRTUAL_OK);
    }

    std::vector<Recorded> Reports() {
        std::vector<Recorded> out;
        for (std::int32_t i = 0; i < m_api.count(kJoystick); ++i) {
            Recorded r{};
            Bytes bytes(kReportLength + 8, 0);
            const std::int32_t n = m_api.report(kJoystick, static_cast<std::uint32_t>(i), nullptr, &r.timeMs,
                                                bytes.data(), static_cast<std::uint32_t>(bytes.size()));
            bytes.resize(static_cast<std::size_t>(std::max(n, 0)));
            r.bytes = std::move(bytes);
            out.push_back(std::move(r));
        }
        return out;
    }

    // The reports from `from` on must be exactly `expected`, in order.
    void ExpectReports(std::size_t from, const std::vector<Bytes>& expected) {
        const auto reports = Reports();
        ASSERT_EQ(reports.size(), from + expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            SCOPED_TRACE(i);
            EXPECT_EQ(reports[from + i].bytes, expected[i]);
        }
    }

    DWORD Download(EffectBlock& block, DWORD type, DWORD flags = kAllParams) {
        DWORD handle = 0;
        EXPECT_EQ(m_driver->DownloadEffect(kJoystick, type, &handle, block.Get(), flags), S_OK);
        return handle;
    }

    // The legacy settings interface as a settings tool makes it.
    ISVJoyForceAPI* MakeJoyForceApi() {
        IClassFactory* factory = nullptr;
        EXPECT_EQ(m_module.getClassObject(CLSID_SVJoyForceAPI, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
                  S_OK);
        if (factory == nullptr) return nullptr;
        ISVJoyForceAPI* api = nullptr;
        factory->CreateInstance(nullptr, IID_ISVJoyForceAPI, reinterpret_cast<void**>(&api));
        factory->Release();
        return api;
    }

    DriverModule m_module;
    IDirectInputEffectDriver* m_driver = nullptr;
    VirtualApi m_api{m_module};
};

}  // namespace wheel_e2e
