// What a play leaves behind: the trace as text, the samples as CSV, and a
// plot of forces and positions against time with the report instants marked.
#pragma once

#include <string>

#include "tools/player/player.h"

namespace ffplay {

std::string TraceText(const PlayResult& result);
std::string SamplesCsv(const PlayResult& result);
// Forces and position (or motors) against round time ticks, only the traces
// the device has, effect start and stop marks, clipped stretches shaded.
std::string PlotSvg(const PlayResult& result, const std::string& title);
// Round steps for a time axis of `spanMs`: 1, 2 or 5 times a power of ten,
// about `target` of them; and a tick's label in that step's unit ("0",
// "500 ms", "1.5 s").
double TickStepMs(double spanMs, int target);
std::string TimeLabel(double ms, double stepMs);
// Text made safe inside SVG or HTML, attribute values included.
std::string EscapeMarkup(const std::string& text);
// What a decoded report is, without its values: "force x", "motors A".
std::string ReportKind(const std::string& meaning);
// A few lines for the terminal: calls, failures, reports, final state.
std::string Summary(const Scenario& scenario, const PlayResult& result);

}  // namespace ffplay
