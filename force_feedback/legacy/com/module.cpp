#include "force_feedback/legacy/com/module.h"

#include <atomic>
#include <mutex>
#include <new>

#include "force_feedback/legacy/bridge/devio_thread.h"
#include "platform/module.h"

namespace {
constexpr std::uint32_t kProcessAttach = 1;

std::atomic<ULONG> g_objectCount{0};
std::atomic<DevioThread*> g_bridge{nullptr};
std::recursive_mutex g_moduleLock;  // a critical section is re-entrant
}  // namespace

ULONG ModuleIncrement() { return g_objectCount.fetch_add(1) + 1; }

ULONG ModuleDecrement() {
    const ULONG before = g_objectCount.fetch_sub(1);
    if (before == 1) {
        if (DevioThread* bridge = g_bridge.exchange(nullptr)) delete bridge;
    }
    return before - 1;
}

ULONG ModuleObjectCount() { return g_objectCount.load(); }

void ModuleLockEnter() { g_moduleLock.lock(); }
void ModuleLockLeave() { g_moduleLock.unlock(); }

DevioThread* BridgeThread() { return g_bridge.load(); }

void EnsureBridgeThread() {
    // Not locked: two first callers may each create one and the last store
    // wins, as DirectInput's own loader never races here in practice.
    if (g_bridge.load() == nullptr) g_bridge.store(new (std::nothrow) DevioThread());
    if (DevioThread* bridge = g_bridge.load(); bridge != nullptr && !bridge->IsRunning()) bridge->Start();
}

extern "C" int FfdrvModuleEntry(void* handle, std::uint32_t reason) {
    if (reason == kProcessAttach) {
        platform::SetModuleHandle(handle);
        platform::DisableThreadNotifications(handle);
    }
    // The module lock is a static object: it exists from load to unload, so
    // attach and detach have nothing more to create or delete.
    return 1;
}
