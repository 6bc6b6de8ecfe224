#include <atomic>
#include <cwchar>

#include "platform/debug.h"
#include "platform/module.h"

namespace platform {
namespace {
std::atomic<std::uint32_t> g_prefixFlags{0};
std::atomic<TraceHook> g_hook{nullptr};

void FormatPrefix(wchar_t* out, std::size_t capacity) {
    const std::uint32_t flags = g_prefixFlags.load();
    const bool process = (flags & kTracePrefixProcess) != 0;
    const bool thread = (flags & kTracePrefixThread) != 0;
    if (process && thread) {
        std::swprintf(out, capacity, L"P%d.T%d:", static_cast<int>(CurrentProcessId()),
                      static_cast<int>(CurrentThreadId()));
    } else if (process) {
        std::swprintf(out, capacity, L"P%d:", static_cast<int>(CurrentProcessId()));
    } else if (thread) {
        std::swprintf(out, capacity, L"T%d:", static_cast<int>(CurrentThreadId()));
    } else {
        out[0] = L'\0';
    }
}
}  // namespace

void SetTracePrefixFlags(std::uint32_t flags) { g_prefixFlags.store(flags); }
void SetTraceHook(TraceHook hook) { g_hook.store(hook); }

void DebugTraceV(const wchar_t* format, std::va_list args) {
    wchar_t message[kTraceMaxChars + 1];
    // vswprintf reports truncation as failure and leaves the buffer
    // unspecified on some runtimes; a truncated trace is still worth having.
    if (std::vswprintf(message, kTraceMaxChars + 1, format, args) < 0) message[kTraceMaxChars] = L'\0';
    wchar_t prefix[48];
    FormatPrefix(prefix, sizeof prefix / sizeof prefix[0]);
    if (TraceHook hook = g_hook.load()) hook(prefix, message);
    if (prefix[0] != L'\0') DebugOutput(prefix);
    DebugOutput(message);
}

void DebugTrace(const wchar_t* format, ...) {
    std::va_list args;
    va_start(args, format);
    DebugTraceV(format, args);
    va_end(args);
}

}  // namespace platform
