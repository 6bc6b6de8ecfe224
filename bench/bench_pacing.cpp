// Real-clock pacing of the report writer on the portable backend: the
// interval between consecutive report writes to a virtual device (target:
// median 8 ms +- 0.2, 99th percentile under 10 ms).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <array>
#include <vector>

#include "force_feedback/legacy/sim/paced_writer.h"
#include "platform/virtual_hid_api.h"

namespace {
constexpr std::uint32_t kJoystick = 1;
constexpr unsigned kLength = 65;

const wchar_t* FirstDevicePath(platform::hid::GuidAndPath* gp) {
    platform::hid::DirectInput input = nullptr;
    platform::hid::CreateDirectInput(nullptr, &input);
    GUID found{};
    platform::hid::EnumGameControllers(
        input, platform::hid::kEnumForceFeedbackAll,
        [](const GUID& g, void* out) {
            *static_cast<GUID*>(out) = g;
            return false;
        },
        &found);
    platform::hid::Controller controller = nullptr;
    if (SUCCEEDED(platform::hid::CreateDevice(input, found, &controller))) {
        platform::hid::GetGuidAndPath(controller, gp);
        platform::hid::ReleaseController(controller);
    }
    platform::hid::ReleaseDirectInput(input);
    return gp->path;
}

void BM_PacedWriteInterval(benchmark::State& state) {
    FfdrvVirtualDevice d{};
    d.size = sizeof d;
    d.joystickId = kJoystick;
    d.inputReportLength = 9;
    d.outputReportLength = kLength;
    d.axes[0] = d.axes[1] = {10, 0, 1023};
    FfdrvVirtualPlug(&d);
    platform::hid::GuidAndPath gp{};
    platform::hid::File file = platform::hid::OpenOverlapped(FirstDevicePath(&gp));
    std::array<std::uint8_t, kLength> report{};
    std::uint8_t force = 0;
    std::vector<std::chrono::steady_clock::time_point> starts;
    starts.reserve(state.max_iterations);
    for (auto _ : state) {
        starts.push_back(std::chrono::steady_clock::now());
        report[1] = 0x11;
        report[3] = ++force;  // a force that changes on every pass
        benchmark::DoNotOptimize(WritePacedReport(file, 0, report.data(), kLength));
    }
    platform::hid::CloseFile(file);
    state.counters["reports"] = FfdrvVirtualReportCount(kJoystick);
    FfdrvVirtualUnplug(kJoystick);
    // The device records whole milliseconds; the intervals come from the
    // monotonic clock at the start of each write instead.
    std::vector<double> intervals;
    for (std::size_t i = 1; i < starts.size(); ++i)
        intervals.push_back(std::chrono::duration<double, std::milli>(starts[i] - starts[i - 1]).count());
    if (intervals.empty()) return;
    std::sort(intervals.begin(), intervals.end());
    state.counters["median_ms"] = intervals[intervals.size() / 2];
    state.counters["p99_ms"] = intervals[std::min(intervals.size() - 1, intervals.size() * 99 / 100)];
    state.counters["max_ms"] = intervals.back();
}
BENCHMARK(BM_PacedWriteInterval)->Iterations(1000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
