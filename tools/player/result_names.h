// The HRESULTs a driver call can return, by name: the trace shows them by
// name, and a scenario names the result it expects of a call it knows the
// driver rejects.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ffplay {

// "S_OK", "E_OUTOFMEMORY (0x8007000E)", or the bare hex for an unnamed code.
std::string ResultName(std::int32_t hr);
// A known name ("E_INVALIDARG") or a hex code ("0x80070057"); nothing for
// anything else.
std::optional<std::int32_t> ResultFromName(const std::string& text);

}  // namespace ffplay
