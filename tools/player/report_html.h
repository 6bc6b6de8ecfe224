// report.html: one self-contained page (the charting library, its styles,
// the page's script and the play's data all inline, nothing fetched) to
// explore a play: forces, each effect's lane and play intervals, position
// or motors, every report with its meaning and causes, clipped stretches,
// and the summary tables.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/player/clipping.h"
#include "tools/player/player.h"
#include "tools/player/scenario.h"

namespace ffplay {

// When each effect played, as the calls tell it: from a start (after its
// start delay) to a stop, a destroy, a stop-all or reset, another effect's
// solo start, or the end of its duration times its repeat count. Starts by
// trigger buttons are not shown. One list per name of EffectNames().
std::vector<std::vector<Stretch>> PlayIntervals(const Scenario& scenario, const PlayResult& result);

// The page's points: one per millisecond up to this many per series, beyond
// that the lowest and highest value of each stretch of milliseconds, so that
// a ten-minute recording stays small and quick and no peak is lost.
inline constexpr std::uint32_t kMaxPagePoints = 60000;
std::uint32_t BucketMs(std::uint32_t samples);

std::string ReportHtml(const Scenario& scenario, const PlayResult& result, const Analysis& analysis,
                       const std::string& title);

}  // namespace ffplay
