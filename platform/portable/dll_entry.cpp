// Load and unload hooks of the shared library: the counterpart of DllMain.
#include <dlfcn.h>

#include "platform/module.h"

namespace {
constexpr std::uint32_t kProcessDetach = 0;
constexpr std::uint32_t kProcessAttach = 1;

void* OwnHandle() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&OwnHandle), &info) == 0) return nullptr;
    return info.dli_fbase;
}

__attribute__((constructor)) void OnLoad() { FfdrvModuleEntry(OwnHandle(), kProcessAttach); }
__attribute__((destructor)) void OnUnload() { FfdrvModuleEntry(OwnHandle(), kProcessDetach); }
}  // namespace
