// The record a simulation pass hands to every effect it advances.
#pragma once

#include <cstdint>

// Built by the simulation thread once per pass; effects only read it. Only the
// first field carries information, the rest of a pass's record stays zero.
struct SimTick {
    // Milliseconds since the previous pass, from the system millisecond clock.
    std::uint32_t tickLengthMs = 0;
};
