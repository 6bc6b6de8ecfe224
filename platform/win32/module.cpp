#include <windows.h>

#include <atomic>

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
    HMODULE module = static_cast<HMODULE>(g_module.load());
    if (module == nullptr) {
        // Linked into a test executable rather than loaded as the DLL: name
        // whichever module holds this code.
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           reinterpret_cast<LPCWSTR>(&ModuleFileName), &module);
    }
    const DWORD n = GetModuleFileNameW(module, buffer, capacity);
    buffer[n < capacity ? n : capacity - 1] = L'\0';
    return n < capacity ? n : capacity - 1;
}

std::uint32_t CurrentProcessId() { return GetCurrentProcessId(); }
std::uint32_t CurrentThreadId() { return GetCurrentThreadId(); }
void DisableThreadNotifications(void* handle) { DisableThreadLibraryCalls(static_cast<HMODULE>(handle)); }

void DebugOutput(const wchar_t* text) { OutputDebugStringW(text); }

}  // namespace platform
