// Files built into ffplay so that report.html needs nothing at its side:
// the pinned uPlot (tools/player/report/vendor/uplot, with its licence) and
// the page's own script and styles (tools/player/report/). The build
// generates their definitions from the files.
#pragma once

#include <string_view>

namespace ffplay::assets {

std::string_view UplotJs();
std::string_view UplotCss();
std::string_view UplotLicense();
std::string_view ReportJs();
std::string_view ReportCss();

}  // namespace ffplay::assets
