#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cwchar>
#include <string>

#include "platform/debug.h"
#include "platform/module.h"

namespace platform {
namespace {
std::atomic<void*> g_module{nullptr};
}

void* ModuleHandle() { return g_module.load(); }
void SetModuleHandle(void* handle) { g_module.store(handle); }

std::uint32_t ModuleFileName(wchar_t* buffer, std::uint32_t capacity) {
    if (capacity == 0) return 0;
    Dl_info info{};
    // Any address inside this library names the library file, whether it was
    // dlopen-ed or linked into a test binary.
    std::string path;
    if (dladdr(reinterpret_cast<void*>(&ModuleFileName), &info) != 0 && info.dli_fname != nullptr) {
        char* resolved = realpath(info.dli_fname, nullptr);
        path = resolved ? resolved : info.dli_fname;
        std::free(resolved);
    }
    std::uint32_t n = 0;
    for (unsigned char ch : path) {
        if (n + 1 >= capacity) break;
        buffer[n++] = static_cast<wchar_t>(ch);
    }
    buffer[n] = L'\0';
    return n;
}

std::uint32_t CurrentProcessId() { return static_cast<std::uint32_t>(getpid()); }
std::uint32_t CurrentThreadId() { return static_cast<std::uint32_t>(syscall(SYS_gettid)); }
void DisableThreadNotifications(void*) {}

void DebugOutput(const wchar_t* text) {
    static const bool enabled = std::getenv("FFDRV_DEBUG") != nullptr;
    if (enabled) std::fwprintf(stderr, L"%ls", text);
}

}  // namespace platform
