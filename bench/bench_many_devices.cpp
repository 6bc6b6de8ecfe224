// What many open devices cost on the real clock, driven the way DirectInput
// drives the module: loaded by path, one driver per device from the model's
// class factory, DeviceID to open, effects downloaded and started through
// IDirectInputEffectDriver, against virtual devices.
//
// For 1, 4 and 16 devices, idle (nothing downloaded) and playing (64 periodic
// effects on every device, a force that changes on every pass), it gives:
//   cpu_pct       CPU of the whole process in % of one core (getrusage)
//   vcsw_per_s    voluntary context switches a second (ru_nvcsw)
//   ivcsw_per_s   involuntary ones (ru_nivcsw)
//   med_ms, p99_ms, max_ms   output report intervals: the worst device's
//                 median, the worst device's 99th percentile, the longest gap
//   min_rep_per_s the fewest output reports any device wrote per second
// Goals: 16 idle devices under 5 % of a core and 2,500 switches a second; 16
// playing devices with every device at median 8 ms and p99 under 12 ms on an
// otherwise idle two-core machine; CPU about linear in the device count.
// FFDRV_BENCH_PER_DEVICE=1 prints every device's intervals to stderr;
// FFDRV_MODULE=path measures another build of the module.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "com_abi.h"
#include "force_feedback/legacy/com/class_table.h"
#include "platform/virtual_hid_api.h"
#include "tools/module_host/driver_module.h"
#include "tools/player/scenario.h"

namespace {

constexpr DWORD kDirectInputVersion = 0x0800;
constexpr int kEffectsPerDevice = 64;
constexpr auto kSettle = std::chrono::milliseconds(500);
constexpr auto kWindow = std::chrono::seconds(3);
// Effect type indices.
constexpr DWORD kSquare = 2;
constexpr DWORD kSine = 3;
constexpr DWORD kTriangle = 4;
constexpr DWORD kSawUp = 5;
constexpr DWORD kSawDown = 6;

// Wheels, joysticks and pads of both rumble layouts in turn; the models that
// need the process's bridge thread or a special feature report are left out
// so every device costs the same kind of work.
constexpr Model kMix[] = {Model::Dastrin, Model::Ferolla, Model::Zorvel, Model::Wendlow,
                          Model::Tavrin,  Model::Vesk,    Model::Pelvar, Model::Oskra};

const char* FamilyLetter(Model m) {
    switch (FamilyKind(Product(m).family)) {
        case Family::Wheel: return "wheel";
        case Family::Joystick: return "stick";
        case Family::Rumble: return "pad";
    }
    return "?";
}

// Loaded once and kept, as DirectInput keeps a driver module loaded; FFDRV_MODULE
// picks another build of the module, to compare.
DriverModule& Module() {
    static DriverModule* module = [] {
        // Settings go to a private store and shared blocks of their own, not
        // the user's nor those of a test running beside the benchmark.
        char dir[] = "/tmp/ffdrv-bench-XXXXXX";
        if (mkdtemp(dir) != nullptr) {
            setenv("FFDRV_REGISTRY_ROOT", dir, 1);
            setenv("FFDRV_SHM_NAMESPACE", dir + 5, 1);
            std::atexit([] {
                std::error_code ignored;
                std::filesystem::remove_all(std::getenv("FFDRV_REGISTRY_ROOT"), ignored);
            });
        }
        return new DriverModule;
    }();
    return *module;
}

FfdrvVirtualDevice DeviceOf(Model model, DWORD joystickId) {
    FfdrvVirtualDevice d = PlausibleDevice(joystickId, /*containerSeed=*/0x90);
    d.productId = Product(model).productId;
    return d;
}

// A full-scale sawtooth whose 64 steps are shorter than a pass, so the force
// changes on every pass (a report every pass on every family), and 63 faint
// periodic effects of many periods and waveforms that cost their computation
// but round to no force.
bool DownloadAndStart(IDirectInputEffectDriver* driver, DWORD id) {
    constexpr DWORD kWaveforms[] = {kSine, kSquare, kTriangle, kSawDown};
    for (int i = 0; i < kEffectsPerDevice; ++i) {
        DWORD axes[2] = {ffplay::AxisObject(0), ffplay::AxisObject(1)};
        LONG directions[2] = {static_cast<LONG>((9000 + 1300 * i) % 36000), 0};
        const bool lead = i == 0;
        DIPERIODIC periodic{lead ? 10000u : 10u, 0, 0, (lead ? 256u : 150u + 37u * i) * 1000u};
        DIEFFECT e{};
        e.dwSize = sizeof e;
        e.dwFlags = DIEFF_OBJECTIDS | DIEFF_POLAR;
        e.dwDuration = INFINITE;
        e.dwGain = 10000;
        e.dwTriggerButton = DIEB_NOTRIGGER;
        e.cAxes = 2;
        e.rgdwAxes = axes;
        e.rglDirection = directions;
        e.cbTypeSpecificParams = sizeof periodic;
        e.lpvTypeSpecificParams = &periodic;
        DWORD handle = 0;
        const DWORD type = lead ? kSawUp : kWaveforms[i % std::size(kWaveforms)];
        if (FAILED(driver->DownloadEffect(id, type, &handle, &e, DIEP_ALLPARAMS))) return false;
        if (FAILED(driver->StartEffect(id, handle, 0, 1))) return false;
    }
    return true;
}

struct DeviceIntervals {
    double median = 0, p99 = 0, max = 0;
    double reportsPerSecond = 0;
};

double Percentile(const std::vector<std::uint32_t>& sorted, double p) {
    if (sorted.empty()) return 0;
    const auto at = static_cast<std::size_t>(p * static_cast<double>(sorted.size() - 1) + 0.5);
    return sorted[std::min(at, sorted.size() - 1)];
}

class Fleet {
public:
    Fleet(int count, bool playing) {
        DriverModule& m = Module();
        m.useReal();
        for (int i = 0; i < count; ++i) {
            const Model model = kMix[i % std::size(kMix)];
            const auto id = static_cast<DWORD>(i);
            const FfdrvVirtualDevice config = DeviceOf(model, id);
            if (m.plug(&config) != FFDRV_VIRTUAL_OK) { Fail("plug failed"); return; }
            m_ids.push_back(id);
            m_models.push_back(model);
            IClassFactory* factory = nullptr;
            if (FAILED(m.getClassObject(kClassTable[DriverClassOf(model)].clsid, IID_IClassFactory,
                                        reinterpret_cast<void**>(&factory))))
                { Fail("DllGetClassObject failed"); return; }
            IDirectInputEffectDriver* driver = nullptr;
            factory->CreateInstance(nullptr, IID_IDirectInputEffectDriver, reinterpret_cast<void**>(&driver));
            factory->Release();
            if (driver == nullptr) { Fail("CreateInstance failed"); return; }
            m_drivers.push_back(driver);
            if (FAILED(driver->DeviceID(kDirectInputVersion, id, TRUE, 0, nullptr))) { Fail("DeviceID failed"); return; }
            m_opened.push_back(id);
            if (playing && !DownloadAndStart(driver, id)) { Fail("download or start failed"); return; }
        }
    }

    ~Fleet() {
        DriverModule& m = Module();
        for (std::size_t i = 0; i < m_opened.size(); ++i)
            m_drivers[i]->DeviceID(kDirectInputVersion, m_opened[i], FALSE, 0, nullptr);
        for (IDirectInputEffectDriver* d : m_drivers) d->Release();
        for (DWORD id : m_ids) m.unplug(id);
    }

    const std::string& Error() const { return m_error; }
    std::size_t Size() const { return m_ids.size(); }
    Model ModelAt(std::size_t i) const { return m_models[i]; }

    void ClearReports() {
        for (DWORD id : m_ids) Module().clearReports(id);
    }

    // Output report intervals of device i, from the times the device recorded.
    DeviceIntervals Intervals(std::size_t i, double seconds) const {
        DriverModule& m = Module();
        const DWORD id = m_ids[i];
        const std::int32_t count = m.reportCount(id);
        std::vector<std::uint32_t> times;
        for (std::int32_t r = 0; r < count; ++r) {
            std::uint32_t kind = 0, timeMs = 0;
            if (m.getReport(id, static_cast<std::uint32_t>(r), &kind, &timeMs, nullptr, 0) < 0) break;
            if (kind == FFDRV_VIRTUAL_REPORT_OUTPUT) times.push_back(timeMs);
        }
        DeviceIntervals out;
        out.reportsPerSecond = static_cast<double>(times.size()) / seconds;
        std::vector<std::uint32_t> gaps;
        for (std::size_t k = 1; k < times.size(); ++k) gaps.push_back(times[k] - times[k - 1]);
        std::sort(gaps.begin(), gaps.end());
        out.median = Percentile(gaps, 0.5);
        out.p99 = Percentile(gaps, 0.99);
        out.max = gaps.empty() ? 0 : gaps.back();
        return out;
    }

private:
    void Fail(const char* what) { m_error = what; }

    std::vector<DWORD> m_ids;
    std::vector<Model> m_models;
    std::vector<IDirectInputEffectDriver*> m_drivers;
    std::vector<DWORD> m_opened;
    std::string m_error;
};

struct Usage {
    double cpuSeconds;
    long voluntary, involuntary;
    std::chrono::steady_clock::time_point wall;
};

Usage Now() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    const auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6; };
    return {seconds(u.ru_utime) + seconds(u.ru_stime), u.ru_nvcsw, u.ru_nivcsw, std::chrono::steady_clock::now()};
}

void BM_ManyDevices(benchmark::State& state) {
    if (!Module().Loaded() || !Module().HasVirtualDevices()) {
        const std::string why = Module().Loaded() ? "the module has no virtual devices" : Module().Error();
        state.SkipWithError(("cannot load the module: " + why).c_str());
        return;
    }
    const int count = static_cast<int>(state.range(0));
    const bool playing = state.range(1) != 0;
    Fleet fleet(count, playing);
    if (!fleet.Error().empty()) {
        state.SkipWithError(fleet.Error().c_str());
        return;
    }
    std::this_thread::sleep_for(kSettle);
    double cpu = 0, wall = 0, vcsw = 0, ivcsw = 0;
    double worstMedian = 0, worstP99 = 0, longest = 0, fewestReports = 1e9;
    for (auto _ : state) {
        fleet.ClearReports();
        const Usage before = Now();
        std::this_thread::sleep_for(kWindow);  // this thread rests: what is spent is the devices'
        const Usage after = Now();
        const double seconds = std::chrono::duration<double>(after.wall - before.wall).count();
        cpu += after.cpuSeconds - before.cpuSeconds;
        vcsw += static_cast<double>(after.voluntary - before.voluntary);
        ivcsw += static_cast<double>(after.involuntary - before.involuntary);
        wall += seconds;
        if (!playing) continue;
        for (std::size_t i = 0; i < fleet.Size(); ++i) {
            const DeviceIntervals d = fleet.Intervals(i, seconds);
            worstMedian = std::max(worstMedian, d.median);
            worstP99 = std::max(worstP99, d.p99);
            longest = std::max(longest, d.max);
            fewestReports = std::min(fewestReports, d.reportsPerSecond);
            if (std::getenv("FFDRV_BENCH_PER_DEVICE") != nullptr)
                std::fprintf(stderr, "  device %2zu %-8s %-5s  %6.1f reports/s  median %2.0f  p99 %2.0f  max %3.0f ms\n",
                             i, Product(fleet.ModelAt(i)).codename, FamilyLetter(fleet.ModelAt(i)),
                             d.reportsPerSecond, d.median, d.p99, d.max);
        }
    }
    state.counters["devices"] = count;
    state.counters["cpu_pct"] = 100.0 * cpu / wall;
    state.counters["cpu_pct_per_dev"] = 100.0 * cpu / wall / count;
    state.counters["vcsw_per_s"] = vcsw / wall;
    state.counters["ivcsw_per_s"] = ivcsw / wall;
    if (playing) {
        state.counters["med_ms"] = worstMedian;
        state.counters["p99_ms"] = worstP99;
        state.counters["max_ms"] = longest;
        state.counters["min_rep_per_s"] = fewestReports;
    }
}
BENCHMARK(BM_ManyDevices)
    ->ArgNames({"devices", "playing"})
    ->ArgsProduct({{1, 4, 16}, {0, 1}})
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
