// The shared end-to-end harness of the joystick suites: the built driver
// library loaded by path, its virtual-device and clock exports, a driver
// session on one virtual stick, and the comparison of recorded reports.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/testing/driver_module.h"
#include "force_feedback/legacy/testing/virtual_api.h"
#include "force_feedback/legacy/testing/virtual_clock.h"

namespace stick_e2e {

inline constexpr DWORD kJoystick = 7;
inline constexpr DWORD kDirectInputVersion = 0x0800;
inline constexpr std::uint32_t kPassMs = 8;
inline constexpr std::uint32_t kOutput = FFDRV_VIRTUAL_REPORT_OUTPUT;
inline constexpr std::uint32_t kFeature = FFDRV_VIRTUAL_REPORT_FEATURE;
inline constexpr std::uint16_t kKarvonaFeatureLength = 2;

struct Recorded {
    std::uint32_t kind;
    std::uint32_t timeMs;
    std::vector<BYTE> bytes;
};

// The library's own virtual-device and clock exports.
class LibraryHarness {
public:
    bool Ready() const { return m_module.Loaded() && m_api.Complete(); }
    DriverModule& Module() { return m_module; }
    int32_t Plug(const FfdrvVirtualDevice& d) { return m_api.plug(&d); }
    void Unplug(DWORD id) { m_api.unplug(id); }
    int32_t UseVirtualClock(std::uint32_t start) { return m_api.useVirtual(start); }
    void UseRealClock() { m_api.useReal(); }
    int32_t Advance(std::uint32_t ms) { return m_api.advance(ms); }
    std::uint32_t Now() { return m_api.now(); }
    void Clear(DWORD id) { m_api.clear(id); }
    int32_t SetInput(DWORD id, int32_t x, int32_t y, std::uint64_t buttons) { return m_api.setInput(id, x, y, buttons); }
    std::vector<Recorded> Reports(DWORD id) {
        std::vector<Recorded> out;
        const int32_t count = m_api.count(id);
        for (int32_t i = 0; i < count; ++i) {
            Recorded r{};
            const int32_t length = m_api.report(id, static_cast<std::uint32_t>(i), &r.kind, &r.timeMs, nullptr, 0);
            r.bytes.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
            m_api.report(id, static_cast<std::uint32_t>(i), nullptr, nullptr, r.bytes.data(),
                  static_cast<std::uint32_t>(r.bytes.size()));
            out.push_back(std::move(r));
        }
        return out;
    }

private:
    DriverModule m_module;
    VirtualApi m_api{m_module};
};

// A suite whose tests share one loaded library (loading it per test would
// only repeat the same work).
template <class Base = ::testing::Test>
class LibrarySuite : public Base {
protected:
    static void SetUpTestSuite() { s_lib = new LibraryHarness(); }
    static void TearDownTestSuite() {
        delete s_lib;
        s_lib = nullptr;
    }
    void SetUp() override { ASSERT_TRUE(s_lib->Ready()) << s_lib->Module().Error(); }

    inline static LibraryHarness* s_lib = nullptr;
};

inline FfdrvVirtualDevice StickOf(Model model, std::uint16_t outputLength) {
    FfdrvVirtualDevice d = VirtualWheel(kJoystick);
    d.vendorId = kVendorId;
    d.productId = Product(model).productId;
    d.outputReportLength = outputLength;
    // The Karvona stick's only feature report is its two-byte release.
    if (model == Model::Karvona) d.featureReportLength = kKarvonaFeatureLength;
    return d;
}

// An output report: report ID, the command, zeros to the report length.
inline std::vector<BYTE> Output(std::size_t length, BYTE reportId, std::initializer_list<BYTE> command) {
    std::vector<BYTE> r(length, 0);
    r[0] = reportId;
    std::copy(command.begin(), command.end(), r.begin() + 1);
    return r;
}

// Runs a driver session on one stick: opened, used, closed.
class StickSession {
public:
    StickSession(LibraryHarness& lib, int classIndex, Model model, std::uint16_t outputLength) : m_lib(lib) {
        EXPECT_EQ(m_lib.UseVirtualClock(40000), FFDRV_VIRTUAL_OK);
        m_plugged = m_lib.Plug(StickOf(model, outputLength)) == FFDRV_VIRTUAL_OK;
        m_driver = m_lib.Module().CreateDriver(classIndex);
    }
    ~StickSession() {
        if (m_driver) m_driver->Release();
        if (m_plugged) m_lib.Unplug(kJoystick);
        m_lib.UseRealClock();
    }
    bool Ready() const { return m_plugged && m_driver != nullptr; }
    IDirectInputEffectDriver* operator->() { return m_driver; }
    void Advance(std::uint32_t ms) { ASSERT_EQ(m_lib.Advance(ms), FFDRV_VIRTUAL_OK); }
    // A constant force along one axis, started at once.
    DWORD PlayConstant(DWORD axis, LONG magnitude, DWORD durationMs) {
        EffectBlock block;
        block.Params(DICONSTANTFORCE{magnitude}).Cartesian({axis}, {1}).DurationMs(durationMs);
        DWORD handle = 0;
        EXPECT_EQ(m_driver->DownloadEffect(kJoystick, kEffectConstant, &handle, block.Get(), kAllParams | DIEP_START),
                  S_OK);
        return handle;
    }

private:
    LibraryHarness& m_lib;
    bool m_plugged = false;
    IDirectInputEffectDriver* m_driver = nullptr;
};

inline void ExpectReports(const std::vector<Recorded>& got, const std::vector<std::pair<std::uint32_t, std::vector<BYTE>>>& want) {
    std::string dump;
    for (const Recorded& r : got) {
        dump += (r.kind == kFeature ? "F" : "O") + std::to_string(r.timeMs) + ":";
        for (std::size_t i = 0; i < std::min<std::size_t>(r.bytes.size(), 40); ++i) dump += " " + std::to_string(r.bytes[i]);
        dump += "\n";
    }
    ASSERT_EQ(got.size(), want.size()) << dump;
    for (std::size_t i = 0; i < got.size(); ++i) {
        SCOPED_TRACE("report " + std::to_string(i));
        EXPECT_EQ(got[i].kind, want[i].first);
        EXPECT_EQ(got[i].bytes, want[i].second);
    }
}

}  // namespace stick_e2e
