// report.html for a ten-minute recording: how long ffplay takes to play it
// and make the page (with its attribution replays), and how long headless
// Chromium takes to open the page (the page's own clock, from navigation to
// charts drawn) and to redraw every chart on a zoom or pan. The recording is
// made up here: a driving session with a damper, a cornering force updated
// twenty times a second, rumble strips and crashes.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include <unistd.h>

#include "tools/player/clipping.h"
#include "tools/player/report_html.h"

namespace {

namespace fs = std::filesystem;

constexpr int kMinutes = 10;
constexpr int kUpdateEveryMs = 50;

std::string TenMinutes() {
    std::ostringstream s;
    s << "device Dastrin\ngain 10000\n"
         "download weight damper axes=x condition=0,6000,6000,10000,10000,0 start\n"
         "download corner constant magnitude=0 direction=9000 start\n"
         "download strip square magnitude=3000 period=80 direction=9000\n";
    for (int t = 0; t < kMinutes * 60000; t += kUpdateEveryMs) {
        const long m = std::lround(5000 * std::sin(t / 3000.0) + 2000 * std::sin(t / 700.0));
        s << "update corner magnitude=" << m << "\n";
        if (t % 15000 == 5000) s << "start strip\n";
        if (t % 15000 == 6000) s << "stop strip\n";
        if (t % 20000 == 12000)
            s << "download crash constant magnitude=-9000 direction=9000 duration=300 envelope=10000,0,0,250 start\n";
        if (t % 20000 == 13000) s << "destroy crash\n";
        s << "wait " << kUpdateEveryMs << "\n";
    }
    return s.str();
}

fs::path Dir() { return fs::temp_directory_path() / "ffplay-bench-report"; }
fs::path Page() { return Dir() / "report.html"; }

std::string FindChromium() {
    for (const char* path : {"/usr/bin/chromium", "/usr/bin/chromium-browser", "/usr/bin/google-chrome"})
        if (access(path, X_OK) == 0) return path;
    return "";
}

void BM_TenMinuteReportMake(benchmark::State& state) {
    const ffplay::ParseResult parsed = ffplay::ParseScenario(TenMinutes(), "ten_minutes.ffs");
    if (!parsed.Ok()) return state.SkipWithError(parsed.errors[0].Format().c_str());
    ffplay::PlayOptions options;
    options.modulePath = FFDRV_MODULE_PATH;
    std::string page;
    int replays = 0;
    for (auto _ : state) {
        const ffplay::PlayResult r = ffplay::Play(parsed.scenario, options);
        if (!r.fatal.empty() || r.failedCalls != 0) return state.SkipWithError("the recording did not play");
        const ffplay::Analysis a = ffplay::Analyse(parsed.scenario, r, options);
        replays = a.replays;
        page = ffplay::ReportHtml(parsed.scenario, r, a, "ten minutes on Dastrin");
    }
    fs::create_directories(Dir());
    std::ofstream(Page(), std::ios::binary) << page;
    state.counters["replays"] = replays;
    state.counters["page_MB"] = page.size() / 1e6;
}
BENCHMARK(BM_TenMinuteReportMake)->Unit(benchmark::kSecond)->Iterations(1);

double Attribute(const std::string& dom, const char* name) {
    std::smatch m;
    if (!std::regex_search(dom, m, std::regex(std::string(name) + "=\"([0-9.]+)\""))) return -1;
    return std::stod(m[1]);
}

// Opens the page as a person would, from a file: path without network; the
// page's #bench run zooms and pans a dozen times and times its redraws.
void BM_TenMinuteReportOpen(benchmark::State& state) {
    const std::string chromium = FindChromium();
    if (chromium.empty()) return state.SkipWithError("Chromium is not installed (apt-get install chromium)");
    if (!fs::exists(Page())) return state.SkipWithError("run BM_TenMinuteReportMake first");
    const fs::path dom = Dir() / "dom.html";
    double ready = 0, script = 0, view = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const std::string command =
            "\"" + chromium +
            "\" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking "
            "--disable-component-update --disable-sync --host-resolver-rules=\"MAP * ~NOTFOUND\" --user-data-dir=\"" +
            (Dir() / "profile").string() + "\" --window-size=1400,1000 --dump-dom \"file://" + Page().string() +
            "#bench\" > \"" + dom.string() + "\" 2> /dev/null";
        if (std::system(command.c_str()) != 0) return state.SkipWithError("Chromium failed");
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        std::ifstream in(dom);
        std::stringstream text;
        text << in.rdbuf();
        if (text.str().find("data-state=\"ready\"") == std::string::npos) return state.SkipWithError("the page did not get ready");
        ready += Attribute(text.str(), "data-load-ms");
        script += Attribute(text.str(), "data-script-ms");
        view += Attribute(text.str(), "data-view-change-ms");
    }
    const double n = static_cast<double>(state.iterations());
    state.counters["ready_ms"] = ready / n;          // navigation start to every chart drawn
    state.counters["script_ms"] = script / n;        // the page's own script, of that
    state.counters["zoom_pan_ms"] = view / n;        // one zoom or pan, every chart redrawn
}
BENCHMARK(BM_TenMinuteReportOpen)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(5);

}  // namespace
