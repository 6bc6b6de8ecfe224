// report.html in a real browser: headless Chromium opens the page from a
// file: path with no network, runs its scripts without a console message
// or error, and shows the same numbers as the player printed; a
// screenshot of the page is left in the build tree. Skipped, loudly, where
// Chromium is not installed.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

int Shell(const std::string& command) {
    const int raw = std::system(command.c_str());
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

std::string FindChromium() {
    if (const char* path = std::getenv("FFPLAY_CHROMIUM")) return path;
    for (const char* path : {"/usr/bin/chromium", "/usr/bin/chromium-browser", "/usr/bin/google-chrome"})
        if (access(path, X_OK) == 0) return path;
    return "";
}

// Where the page's test leaves what a person may want to look at.
fs::path OutputDir(const std::string& name) {
    const fs::path dir = fs::path(FFPLAY_TEST_OUTPUT_DIR) / name;
    fs::remove_all(dir);
    fs::create_directories(dir);
    return dir;
}

class ReportInBrowserTest : public testing::Test {
protected:
    void SetUp() override {
        m_chromium = FindChromium();
        if (m_chromium.empty()) {
            std::fprintf(stderr,
                         "\n*** SKIPPED: report.html in a browser: Chromium is not installed "
                         "(apt-get install chromium) ***\n\n");
            GTEST_SKIP() << "Chromium is not installed";
        }
        // A network namespace of its own leaves the browser no network at
        // all; where one cannot be made, every host name fails to resolve.
        m_offline = Shell("unshare -n true > /dev/null 2>&1") == 0 ? "unshare -n " : "";
    }

    // Runs headless Chromium on a file: URL; returns its exit status.
    int Browse(const fs::path& page, const fs::path& profile, const std::string& action, const fs::path& out,
               const fs::path& log, const std::string& hash = "") {
        const std::string command =
            m_offline + "\"" + m_chromium +
            "\" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking "
            "--disable-component-update --disable-sync --disable-extensions --host-resolver-rules=\"MAP * ~NOTFOUND\" "
            "--user-data-dir=\"" + profile.string() + "\" --enable-logging=stderr --v=0 --virtual-time-budget=10000 " +
            action + " \"file://" + fs::absolute(page).string() + hash + "\" > \"" + out.string() + "\" 2> \"" +
            log.string() + "\"";
        return Shell(command);
    }

    std::string m_chromium;
    std::string m_offline;
};

// The page's numbers: data-key="..." data-value="..." (data-at="...").
std::map<std::string, std::string> PageNumbers(const std::string& dom) {
    std::map<std::string, std::string> values;
    const std::regex cell("data-key=\"([^\"]*)\" data-value=\"([^\"]*)\"(?: data-at=\"([^\"]*)\")?");
    for (std::sregex_iterator it(dom.begin(), dom.end(), cell), end; it != end; ++it) {
        values[(*it)[1]] = (*it)[2];
        if ((*it)[3].matched) values[std::string((*it)[1]) + "@"] = (*it)[3];
    }
    return values;
}

// The same numbers as the player printed them.
std::map<std::string, std::string> PrintedNumbers(const std::string& out) {
    std::map<std::string, std::string> values;
    std::smatch m;
    const std::regex calls(R"((\d+) driver calls, (\d+) failed unexpectedly, (\d+) rejected as expected; (\d+) reports written)");
    if (std::regex_search(out, m, calls)) {
        values["calls"] = m[1], values["failed-calls"] = m[2], values["expected-rejections"] = m[3];
        values["reports-written"] = m[4];
    }
    const std::regex kind(R"(\n  (\d+) x ([^\n]*?) *\n)");
    for (auto it = out.cbegin(); std::regex_search(it, out.cend(), m, kind); it = m[0].second - 1)
        values["kind-" + std::string(m[2])] = m[1];
    const std::regex clipping(
        R"(Clipping: (\d+) of (\d+) (force|motor) reports at the ends of the range \(([\d.]+) %\); clipped (\d+) ms of (\d+) ms, longest stretch (\d+) ms(?: at (\d+) ms)?)");
    if (std::regex_search(out, m, clipping)) {
        values["clip-clipped-reports"] = m[1], values["clip-reports"] = m[2], values["clip-share"] = m[4];
        values["clip-ms"] = m[5], values["run-ms"] = m[6], values["clip-longest-ms"] = m[7];
        if (m[8].matched) values["clip-longest-ms@"] = m[8];
    }
    const std::regex channel(R"(\n  (x|y|motor A|motor B) clipped (\d+) ms, longest (\d+) ms(?: at (\d+) ms)?)");
    for (auto it = out.cbegin(); std::regex_search(it, out.cend(), m, channel); it = m[0].second) {
        values["clip-channel-" + std::string(m[1])] = m[2];
        values["clip-channel-longest-" + std::string(m[1])] = m[3];
        if (m[4].matched) values["clip-channel-longest-" + std::string(m[1]) + "@"] = m[4];
    }
    const std::regex caused(R"(Clipping caused per effect \(replayed with it muted\):([^\n]*))");
    if (std::regex_search(out, m, caused)) {
        const std::string list = m[1];
        const std::regex effect(R"( (\S+) (-?\d+) ms)");
        for (auto it = list.cbegin(); std::regex_search(it, list.cend(), m, effect); it = m[0].second)
            values["effect-caused-" + std::string(m[1])] = m[2];
    }
    return values;
}

TEST_F(ReportInBrowserTest, OpensOfflineRunsCleanlyAndShowsThePrintedNumbers) {
    const fs::path dir = OutputDir("report-browser");
    const std::string example = std::string(FFPLAY_EXAMPLES_DIR) + "/driving_moment.ffs";
    ASSERT_EQ(Shell(std::string("\"") + FFPLAY_EXE + "\" --quiet --module \"" + FFDRV_MODULE_PATH + "\" --out \"" +
                  (dir / "play").string() + "\" \"" + example + "\" > \"" + (dir / "ffplay.txt").string() + "\""),
              0);
    const std::string printed = ReadFile(dir / "ffplay.txt");
    const fs::path page = dir / "play" / "report.html";
    ASSERT_TRUE(fs::exists(page)) << printed;
    EXPECT_NE(printed.find("Report " + page.string()), std::string::npos) << printed;

    ASSERT_EQ(Browse(page, dir / "profile", "--dump-dom", dir / "dom.html", dir / "chromium.log"), 0)
        << ReadFile(dir / "chromium.log");
    const std::string dom = ReadFile(dir / "dom.html");
    const std::string log = ReadFile(dir / "chromium.log");
    EXPECT_NE(dom.find("data-state=\"ready\""), std::string::npos) << "the page's script did not finish";
    EXPECT_EQ(dom.find("data-errors="), std::string::npos) << "the page caught errors";
    EXPECT_NE(dom.find("<ul id=\"errors\" hidden=\"\"></ul>"), std::string::npos);
    // The browser's own pages may log; the report page never does.
    EXPECT_FALSE(std::regex_search(log, std::regex(":CONSOLE[^\n]*source: file://"))) << "console output:\n" << log;
    EXPECT_NE(dom.find("data-charts=\"8\""), std::string::npos) << "force, device, 4 lanes, own and rest, position";

    const std::map<std::string, std::string> expected = PrintedNumbers(printed);
    const std::map<std::string, std::string> shown = PageNumbers(dom);
    // Calls, kinds, clipping, channels and four effects: all of it.
    EXPECT_GE(expected.size(), 20u) << printed;
    for (const auto& [key, value] : expected) {
        SCOPED_TRACE(key);
        const auto it = shown.find(key);
        ASSERT_NE(it, shown.end()) << "not on the page";
        EXPECT_EQ(it->second, value);
    }
    EXPECT_EQ(expected.at("effect-caused-crash"), expected.at("clip-ms")) << "the crash and the corner clip together";

    // Hovering the clipped report tells its meaning and the calls it
    // answered; the wheel zooms in around the pointer.
    ASSERT_EQ(Browse(page, dir / "profile", "--dump-dom", dir / "selftest.html", dir / "selftest.log", "#selftest"), 0);
    const std::string selftest = ReadFile(dir / "selftest.html");
    EXPECT_EQ(selftest.find("data-errors="), std::string::npos) << "the page caught errors";
    std::smatch m;
    ASSERT_TRUE(std::regex_search(selftest, m, std::regex("data-hover-text=\"([^\"]*)\""))) << "no hover";
    const std::string hover = m[1];
    EXPECT_NE(hover.find("OUT 00 11 08 01 80"), std::string::npos) << hover;
    EXPECT_NE(hover.find("= force x=-127"), std::string::npos) << hover;
    EXPECT_NE(hover.find("after download crash, start crash"), std::string::npos) << hover;
    ASSERT_TRUE(std::regex_search(selftest, m, std::regex("data-view=\"(\\d+)-(\\d+)\""))) << "no zoom";
    const int from = std::stoi(m[1]), to = std::stoi(m[2]);
    EXPECT_LT(to - from, 4000) << "the wheel zoomed in";
    EXPECT_LE(from, 3304);
    EXPECT_GE(to, 3304) << "around the pointer";

    const fs::path shot = dir / "report.png";
    ASSERT_EQ(Browse(page, dir / "profile", "--window-size=1400,2600 --screenshot=\"" + shot.string() + "\"",
                     dir / "screenshot.txt", dir / "screenshot.log"),
              0)
        << ReadFile(dir / "screenshot.log");
    const std::string png = ReadFile(shot);
    ASSERT_GT(png.size(), 20000u);
    EXPECT_EQ(png.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
    std::printf("screenshot of report.html: %s\n", shot.string().c_str());
}

// Pages of other families, and of a play without effects, run as cleanly.
class ReportPageFamilyTest : public ReportInBrowserTest, public testing::WithParamInterface<const char*> {};

TEST_P(ReportPageFamilyTest, RunsCleanlyOffline) {
    const fs::path dir = OutputDir(std::string("report-browser-") + GetParam());
    ASSERT_EQ(Shell(std::string("\"") + FFPLAY_EXE + "\" --quiet --module \"" + FFDRV_MODULE_PATH + "\" --out \"" +
                    (dir / "play").string() + "\" \"" + FFPLAY_EXAMPLES_DIR + "/" + GetParam() + ".ffs\" > /dev/null"),
              0);
    ASSERT_EQ(Browse(dir / "play" / "report.html", dir / "profile", "--dump-dom", dir / "dom.html", dir / "chromium.log",
                     "#selftest"),
              0);
    const std::string dom = ReadFile(dir / "dom.html");
    EXPECT_NE(dom.find("data-state=\"ready\""), std::string::npos);
    EXPECT_EQ(dom.find("data-errors="), std::string::npos) << "the page caught errors";
    EXPECT_FALSE(std::regex_search(ReadFile(dir / "chromium.log"), std::regex(":CONSOLE[^\n]*source: file://")));
    EXPECT_NE(dom.find("data-hover-text=\""), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Examples, ReportPageFamilyTest,
                         testing::Values("rumble_layout_b", "joystick", "karvona", "settings_and_escapes"));

// The page's guard is real: a page that reaches for the network is refused
// and says so, so the clean run above means no fetch was even tried.
TEST_F(ReportInBrowserTest, APageThatReachesForTheNetworkShowsTheRefusal) {
    const fs::path dir = OutputDir("report-browser-fetch");
    ASSERT_EQ(Shell(std::string("\"") + FFPLAY_EXE + "\" --quiet --no-attribution --module \"" + FFDRV_MODULE_PATH +
                  "\" --out \"" + (dir / "play").string() + "\" \"" + FFPLAY_EXAMPLES_DIR + "/spring.ffs\" > /dev/null"),
              0);
    std::string html = ReadFile(dir / "play" / "report.html");
    const size_t body = html.find("<body");
    ASSERT_NE(body, std::string::npos);
    html.insert(html.find('>', body) + 1, "<img src=\"https://ffplay.invalid/pixel.png\" alt=\"\">");
    std::ofstream(dir / "fetching.html", std::ios::binary) << html;
    ASSERT_EQ(Browse(dir / "fetching.html", dir / "profile", "--dump-dom", dir / "dom.html", dir / "chromium.log"), 0);
    const std::string dom = ReadFile(dir / "dom.html");
    EXPECT_NE(dom.find("data-errors=\"1\""), std::string::npos) << dom.substr(0, 2000);
    EXPECT_NE(dom.find("refused to load https://ffplay.invalid/pixel.png"), std::string::npos);
    EXPECT_NE(dom.find("data-state=\"ready\""), std::string::npos);
}

}  // namespace
