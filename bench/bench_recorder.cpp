// What recording costs a DirectInput call: the same calls through the effect
// driver object with and without a recorder on the device, each call timed on
// its own; the counters give the median and the 99th percentile in ns.
// The writer gets a pause between batches (untimed) so that the queue never
// fills: a full queue would make the recorded calls cheaper, not dearer.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <vector>

#include "force_feedback/legacy/driver/call_recorder.h"
#include "force_feedback/legacy/driver/ff_driver.h"

namespace {

constexpr int kBatch = 1000;
constexpr auto kDrainPause = std::chrono::milliseconds(30);

enum class Call { kSetGain, kStatus, kDownload };

void Percentiles(benchmark::State& state, std::vector<double>* ns) {
    if (ns->empty()) return;
    std::sort(ns->begin(), ns->end());
    state.counters["median_ns"] = (*ns)[ns->size() / 2];
    state.counters["p99_ns"] = (*ns)[ns->size() * 99 / 100];
}

void Run(benchmark::State& state, Call call, bool recorded) {
    const std::filesystem::path dir = std::filesystem::temp_directory_path() / "ffdrv-bench-recorder";
    std::filesystem::create_directories(dir);
    if (recorded) ::setenv("FFDRV_RECORD_DIR", dir.c_str(), 1);
    else ::unsetenv("FFDRV_RECORD_DIR");
    auto* driver = new CFFDrvSVDastrin();
    driver->DeviceID(0x0800, 0, TRUE, 0, nullptr);
    ::unsetenv("FFDRV_RECORD_DIR");

    LONG direction[2] = {9000, 0};
    DWORD axes[2] = {0x102, 0x202};
    DICONSTANTFORCE constant{5000};
    DIEFFECT effect{sizeof(DIEFFECT), DIEFF_OBJECTIDS | DIEFF_POLAR, 1000000, 0, 10000, DIEB_NOTRIGGER, 0,
                    2, axes, direction, nullptr, sizeof constant, &constant, 0};
    std::vector<double> ns;
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) {
            DWORD handle = 0, status = 0;
            const auto start = std::chrono::steady_clock::now();
            switch (call) {
                case Call::kSetGain: driver->SetGain(0, 5000 + (i & 1)); break;
                case Call::kStatus: driver->GetEffectStatus(0, 1, &status); break;
                case Call::kDownload: driver->DownloadEffect(0, 0, &handle, &effect, DIEP_ALLPARAMS); break;
            }
            const auto end = std::chrono::steady_clock::now();
            ns.push_back(std::chrono::duration<double, std::nano>(end - start).count());
            if (call == Call::kDownload && handle) driver->DestroyEffect(0, handle);
        }
        state.PauseTiming();
        std::this_thread::sleep_for(kDrainPause);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
    Percentiles(state, &ns);
    driver->DeviceID(0x0800, 0, FALSE, 0, nullptr);
    driver->Release();
    std::filesystem::remove_all(dir);
}

// What the simulation thread pays for each input report it reads while its
// device records: the recorder's copy of a 9-byte wheel report.
void BM_InputReport_Recorded(benchmark::State& state) {
    const std::filesystem::path dir = std::filesystem::temp_directory_path() / "ffdrv-bench-recorder-input";
    std::filesystem::create_directories(dir);
    auto recorder = CCallRecorder::Begin(dir.string(), Model::Dastrin, 0);
    BYTE report[9] = {0x00, 0x00, 0x02, 0x00, 0x02, 0x01, 0x00, 0x00, 0x00};
    std::vector<double> ns;
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) {
            report[1] = static_cast<BYTE>(i);
            const auto start = std::chrono::steady_clock::now();
            recorder->InputReport(report, sizeof report);
            const auto end = std::chrono::steady_clock::now();
            ns.push_back(std::chrono::duration<double, std::nano>(end - start).count());
        }
        state.PauseTiming();
        std::this_thread::sleep_for(kDrainPause);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
    Percentiles(state, &ns);
    recorder.reset();
    std::filesystem::remove_all(dir);
}
BENCHMARK(BM_InputReport_Recorded)->Iterations(50);

void BM_SetGain_Unrecorded(benchmark::State& s) { Run(s, Call::kSetGain, false); }
void BM_SetGain_Recorded(benchmark::State& s) { Run(s, Call::kSetGain, true); }
void BM_GetEffectStatus_Unrecorded(benchmark::State& s) { Run(s, Call::kStatus, false); }
void BM_GetEffectStatus_Recorded(benchmark::State& s) { Run(s, Call::kStatus, true); }
void BM_DownloadEffect_Unrecorded(benchmark::State& s) { Run(s, Call::kDownload, false); }
void BM_DownloadEffect_Recorded(benchmark::State& s) { Run(s, Call::kDownload, true); }
BENCHMARK(BM_SetGain_Unrecorded)->Iterations(50);
BENCHMARK(BM_SetGain_Recorded)->Iterations(50);
BENCHMARK(BM_GetEffectStatus_Unrecorded)->Iterations(50);
BENCHMARK(BM_GetEffectStatus_Recorded)->Iterations(50);
BENCHMARK(BM_DownloadEffect_Unrecorded)->Iterations(50);
BENCHMARK(BM_DownloadEffect_Recorded)->Iterations(50);

}  // namespace
