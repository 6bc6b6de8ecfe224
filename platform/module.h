// The loaded module (DLL or shared object) and process identity.
#pragma once

#include <cstdint>

namespace platform {

// Handle of the module that holds the driver, as given to the entry routine.
void* ModuleHandle();
void SetModuleHandle(void* handle);

// GetModuleFileNameW for the driver module: writes the full path (truncated
// to capacity - 1 characters, always terminated) and returns its length.
std::uint32_t ModuleFileName(wchar_t* buffer, std::uint32_t capacity);

std::uint32_t CurrentProcessId();
std::uint32_t CurrentThreadId();

// DisableThreadLibraryCalls on win32; nothing to do elsewhere.
void DisableThreadNotifications(void* handle);

}  // namespace platform

// Implemented by the driver module; called by the backend's load hook with
// the Win32 DllMain reasons (0 detach, 1 attach, 2/3 thread notifications).
extern "C" int FfdrvModuleEntry(void* handle, std::uint32_t reason);
