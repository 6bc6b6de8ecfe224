// Diagnostic trace. A message is formatted printf-style into at most 1024
// characters and sent to the debugger channel (OutputDebugStringW on win32;
// stderr on the portable backend, only when FFDRV_DEBUG is set), preceded by
// "P%d.T%d:", "P%d:" or "T%d:" as the prefix flags ask. A hook, when set,
// receives prefix and message first.
#pragma once

#include <cstdarg>
#include <cstdint>

namespace platform {

constexpr std::uint32_t kTracePrefixProcess = 0x1;
constexpr std::uint32_t kTracePrefixThread = 0x2;
constexpr int kTraceMaxChars = 1024;

using TraceHook = void (*)(const wchar_t* prefix, const wchar_t* message);

void SetTracePrefixFlags(std::uint32_t flags);
void SetTraceHook(TraceHook hook);
void DebugTrace(const wchar_t* format, ...);
void DebugTraceV(const wchar_t* format, std::va_list args);

// Raw channel write; used by DebugTrace.
void DebugOutput(const wchar_t* text);

}  // namespace platform
