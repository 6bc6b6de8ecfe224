// What a play leaves behind: the trace as text, the samples as CSV, and a
// plot of forces and positions against time with the report instants marked.
#pragma once

#include <string>

#include "tools/player/player.h"

namespace ffplay {

std::string TraceText(const PlayResult& result);
std::string SamplesCsv(const PlayResult& result);
std::string PlotSvg(const PlayResult& result, const std::string& title);
// A few lines for the terminal: calls, failures, reports, final state.
std::string Summary(const Scenario& scenario, const PlayResult& result);

}  // namespace ffplay
