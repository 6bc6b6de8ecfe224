// ffplay: plays a force-feedback scenario through the driver module, the way
// DirectInput drives it, against an emulated device; writes a trace, a CSV
// an SVG plot and report.html, an interactive page with the clipping
// figures and each effect's share, found by replaying the scenario with
// each effect muted and with each alone. Exit status: 0 played and every driver call succeeded,
// 1 bad usage, scenario errors or no module, 2 played but the driver
// rejected calls the scenario did not mark with "expect" (each is in the
// trace with its result and listed on stderr).
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "tools/player/clipping.h"
#include "tools/player/output.h"
#include "tools/player/report_html.h"
#include "tools/player/recording_summary.h"

namespace {

constexpr int kExitPlayed = 0;
constexpr int kExitError = 1;
constexpr int kExitDriverFailures = 2;

void Usage() {
    std::fprintf(stderr,
                 "usage: ffplay [--realtime] [--module PATH] [--out DIR] [--quiet] [--no-attribution] SCENARIO\n"
                 "       ffplay --summary SCENARIO   (what a scenario or recording holds; nothing is played)\n"
                 "  plays SCENARIO and writes DIR/trace.txt, DIR/samples.csv, DIR/plot.svg, DIR/report.html\n"
                 "  (DIR defaults to ffplay-out/<scenario name>); --no-attribution skips the replays\n"
                 "  that find each effect's share of the force and of the clipping\n");
}

std::string DefaultModulePath(const char* argv0) {
    const std::filesystem::path self(argv0);
    return (self.parent_path() / ".." / ".." / "force_feedback" / FFDRV_DEFAULT_MODULE).string();
}

bool WriteFile(const std::filesystem::path& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
    return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
    ffplay::PlayOptions options;
    options.modulePath = DefaultModulePath(argv[0]);
    std::string file, outDir;
    bool quiet = false, attribution = true, summary = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--realtime") options.realtime = true;
        else if (arg == "--quiet") quiet = true;
        else if (arg == "--no-attribution") attribution = false;
        else if (arg == "--summary") summary = true;
        else if ((arg == "--module" || arg == "--out") && i + 1 < argc) (arg == "--module" ? options.modulePath : outDir) = argv[++i];
        else if (!arg.empty() && arg[0] != '-' && file.empty()) file = arg;
        else return Usage(), kExitError;
    }
    if (file.empty()) return Usage(), kExitError;
    const ffplay::ParseResult parsed = ffplay::ParseScenarioFile(file);
    for (const ffplay::ScenarioError& e : parsed.errors) std::fprintf(stderr, "%s\n", e.Format().c_str());
    for (const ffplay::ScenarioError& w : parsed.warnings) std::fprintf(stderr, "%s (warning)\n", w.Format().c_str());
    if (!parsed.Ok()) {
        std::fprintf(stderr, "%zu error(s); nothing was played\n", parsed.errors.size());
        return kExitError;
    }
    if (summary) return std::fputs(ffplay::RecordingSummary(parsed.scenario).c_str(), stdout), kExitPlayed;
    const ffplay::PlayResult result = ffplay::Play(parsed.scenario, options);
    if (!result.fatal.empty()) {
        std::fprintf(stderr, "ffplay: %s\n", result.fatal.c_str());
        return kExitError;
    }
    const ffplay::Analysis analysis = ffplay::Analyse(parsed.scenario, result, options, attribution);
    const std::string stem = std::filesystem::path(file).stem().string();
    const std::string title = stem + " on " + Product(parsed.scenario.model).codename;
    const std::filesystem::path dir = outDir.empty() ? std::filesystem::path("ffplay-out") / stem : std::filesystem::path(outDir);
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    const bool written = WriteFile(dir / "trace.txt", ffplay::TraceText(result)) &&
                         WriteFile(dir / "samples.csv", ffplay::SamplesCsv(result)) &&
                         WriteFile(dir / "plot.svg", ffplay::PlotSvg(result, title)) &&
                         WriteFile(dir / "report.html", ffplay::ReportHtml(parsed.scenario, result, analysis, title));
    if (!quiet) std::fputs(ffplay::TraceText(result).c_str(), stdout);
    std::printf("\n%s%s", ffplay::Summary(parsed.scenario, result).c_str(), ffplay::ClippingText(analysis).c_str());
    if (!written) {
        std::fprintf(stderr, "ffplay: cannot write to %s\n", dir.string().c_str());
        return kExitError;
    }
    std::printf("Trace  %s\nCSV    %s\nPlot   %s\nReport %s\n", (dir / "trace.txt").string().c_str(),
                (dir / "samples.csv").string().c_str(), (dir / "plot.svg").string().c_str(),
                (dir / "report.html").string().c_str());
    for (const std::string& failure : result.unexpected) std::fprintf(stderr, "%s\n", failure.c_str());
    return result.failedCalls == 0 ? kExitPlayed : kExitDriverFailures;
}
