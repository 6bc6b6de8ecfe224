#include <cstdint>

#include "platform/module.h"

namespace {
constexpr std::uint32_t kProcessAttach = 1;
}  // namespace

extern "C" int FfdrvModuleEntry(void* handle, std::uint32_t reason) {
    if (reason == kProcessAttach) {
        platform::SetModuleHandle(handle);
        platform::DisableThreadNotifications(handle);
    }
    // The module lock is a static object: it exists from load to unload, so
    // attach and detach have nothing more to create or delete.
    return 1;
}
