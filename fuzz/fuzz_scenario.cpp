// The scenario parser takes any text a person (or a broken editor) writes:
// it must answer with errors or a scenario, never crash, and a file with
// errors must leave nothing to play.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/player/scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const ffplay::ParseResult r = ffplay::ParseScenario(text, "fuzz.ffs");
    if (!r.Ok() && !r.scenario.steps.empty()) std::abort();
    for (const ffplay::ScenarioError& e : r.errors)
        if (e.message.empty()) std::abort();
    return 0;
}
