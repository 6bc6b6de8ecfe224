#include "force_feedback/legacy/bridge/process_bridge.h"

#include <atomic>
#include <new>

#include "force_feedback/legacy/bridge/devio_thread.h"
#include "force_feedback/legacy/module_count.h"

namespace {
std::atomic<DevioThread*> g_bridge{nullptr};

void DestroyBridgeThread() {
    if (DevioThread* bridge = g_bridge.exchange(nullptr)) delete bridge;
}
}  // namespace

DevioThread* BridgeThread() { return g_bridge.load(); }

void EnsureBridgeThread() {
    SetModuleReleaseHook(&DestroyBridgeThread);
    // Not locked: two first callers may each create one and the last store
    // wins, as DirectInput's own loader never races here in practice.
    if (g_bridge.load() == nullptr) g_bridge.store(new (std::nothrow) DevioThread());
    if (DevioThread* bridge = g_bridge.load(); bridge != nullptr && !bridge->IsRunning()) bridge->Start();
}
