// What a scenario or recording holds, without playing it (ffplay --summary).
#pragma once

#include <string>

#include "tools/player/scenario.h"

namespace ffplay {

// Device, duration, effects downloaded by type, driver calls by kind, and
// the calls recorded as rejected (an expected failure result).
std::string RecordingSummary(const Scenario& scenario);

}  // namespace ffplay
