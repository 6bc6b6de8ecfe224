// The simulation thread of an open device on the real clock, against a
// virtual wheel: the CPU it costs with no effect playing (target under 1 % of
// one core) and the latency from StartEffect to the first report carrying the
// force (target under two 8 ms passes).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>
#include <thread>
#include <vector>

#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/sim/sim_thread.h"
#include "platform/virtual_hid_api.h"

namespace {

constexpr std::uint32_t kJoystick = 2;
constexpr double kPassMs = 8.0;
constexpr BYTE kForceCommand = 0x11;

// The smallest family: writes x whenever it changes.
class BenchThread : public CSimThread {
public:
    using CSimThread::CSimThread;
    ~BenchThread() override { End(); }

protected:
    void ReportStep(LONG x, LONG) override {
        if (x == m_last) return;
        std::vector<BYTE> report(OutputReportLength(), 0);
        report[1] = kForceCommand;
        report[2] = static_cast<BYTE>(x);
        WriteReport(report.data(), OutputReportLength());
        m_last = x;
    }

private:
    LONG m_last = 0;
};

class BenchDevice : public CVDevice {
public:
    ~BenchDevice() override { Close(); }
    HRESULT DownloadEffect(DWORD type, LPDWORD handle, LPCDIEFFECT effect, DWORD flags) override {
        return DownloadEffectFrame(EffectFamily::kLowResWheel, type, handle, effect, flags);
    }
    HRESULT Open(DWORD id) override {
        const HRESULT hr = CVDevice::Open(id);
        if (FAILED(hr)) return hr;
        m_thread = std::make_unique<BenchThread>(*this);
        return m_thread->Begin() == 0 ? S_OK : E_FAIL;
    }
    HRESULT Close() override {
        m_thread.reset();
        return S_OK;
    }

protected:
    void AttachEffect(CEffect* effect) override { effect->SetSimThread(m_thread.get()); }

private:
    std::unique_ptr<BenchThread> m_thread;
};

struct PluggedWheel {
    PluggedWheel() {
        FfdrvVirtualDevice d{};
        d.size = sizeof d;
        d.joystickId = kJoystick;
        d.vendorId = 0xC7A5;
        d.productId = 0xA103;
        d.inputReportLength = 9;
        d.outputReportLength = 65;
        d.featureReportLength = 65;
        d.hasCalibration = 1;
        const std::int32_t calibration[6] = {0, 512, 1023, 0, 512, 1023};
        std::copy(std::begin(calibration), std::end(calibration), d.calibration);
        d.axes[0] = d.axes[1] = {10, 0, 1023};
        d.buttonCount = 12;
        FfdrvVirtualPlug(&d);
    }
    ~PluggedWheel() { FfdrvVirtualUnplug(kJoystick); }
};

void BM_IdleDeviceCpu(benchmark::State& state) {
    PluggedWheel wheel;
    BenchDevice device;
    if (FAILED(device.Open(kJoystick))) {
        state.SkipWithError("open failed");
        return;
    }
    double cpuSeconds = 0, wallSeconds = 0;
    for (auto _ : state) {
        const std::clock_t cpu0 = std::clock();
        const auto wall0 = std::chrono::steady_clock::now();
        std::this_thread::sleep_for(std::chrono::seconds(1));  // this thread is idle: the rest is the device
        cpuSeconds += static_cast<double>(std::clock() - cpu0) / CLOCKS_PER_SEC;
        wallSeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - wall0).count();
    }
    state.counters["cpu_percent_of_core"] = 100.0 * cpuSeconds / wallSeconds;
    state.counters["reports"] = FfdrvVirtualReportCount(kJoystick);
}
BENCHMARK(BM_IdleDeviceCpu)->Iterations(5)->Unit(benchmark::kMillisecond)->UseRealTime();

DIEFFECT ConstantX(DICONSTANTFORCE& force, DWORD& axis, LONG& direction) {
    DIEFFECT e{};
    e.dwSize = sizeof e;
    e.dwFlags = DIEFF_OBJECTIDS | DIEFF_CARTESIAN;
    e.dwDuration = kInfinite;
    e.dwGain = 10000;
    e.dwTriggerButton = kInfinite;
    e.cAxes = 1;
    e.rgdwAxes = &axis;
    e.rglDirection = &direction;
    e.cbTypeSpecificParams = sizeof force;
    e.lpvTypeSpecificParams = &force;
    return e;
}

// Waits for the device to record report number `count`; the wait itself is
// what is measured, so it polls finely.
bool WaitForReports(std::int32_t count) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (FfdrvVirtualReportCount(kJoystick) < count) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    return true;
}

void BM_StartToFirstForceReport(benchmark::State& state) {
    PluggedWheel wheel;
    BenchDevice device;
    if (FAILED(device.Open(kJoystick))) {
        state.SkipWithError("open failed");
        return;
    }
    DICONSTANTFORCE force{10000};
    DWORD axis = 0;
    LONG direction = 1;
    const DIEFFECT effect = ConstantX(force, axis, direction);
    DWORD handle = 0;
    device.DownloadEffect(0, &handle, &effect, DIEP_ALLPARAMS);
    std::vector<double> latencies;
    for (auto _ : state) {
        const std::int32_t before = FfdrvVirtualReportCount(kJoystick);
        const auto t0 = std::chrono::steady_clock::now();
        device.StartEffect(handle, 0, 1);
        if (!WaitForReports(before + 1)) {
            state.SkipWithError("no force report");
            return;
        }
        const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
        state.SetIterationTime(ms / 1000.0);
        latencies.push_back(ms);
        device.StopEffect(handle);
        WaitForReports(before + 2);  // the zero-force report
        // Start at a random point of the next pass, as an application does.
        std::this_thread::sleep_for(std::chrono::microseconds(1000 + 997 * (latencies.size() % 7)));
    }
    std::sort(latencies.begin(), latencies.end());
    state.counters["median_passes"] = latencies[latencies.size() / 2] / kPassMs;
    state.counters["max_passes"] = latencies.back() / kPassMs;
}
BENCHMARK(BM_StartToFirstForceReport)->Iterations(100)->Unit(benchmark::kMillisecond)->UseManualTime();

}  // namespace
