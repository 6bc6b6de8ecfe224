// Child processes, for tools and tests that need a second real process (the
// shared settings block is shared between processes, not just threads).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// Runs the program at `path` with `args` and waits for it. Returns its exit
// code, or -1 when it could not be started or did not finish within
// `timeoutMs` (it is then killed).
int RunProcess(const std::string& path, const std::vector<std::string>& args, std::uint32_t timeoutMs);

// The directory of the running executable, ending in a path separator.
std::string ExecutableDirectory();

}  // namespace platform
