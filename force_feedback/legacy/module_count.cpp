#include "force_feedback/legacy/module_count.h"

#include <atomic>
#include <mutex>

namespace {
std::atomic<ULONG> g_objectCount{0};
std::atomic<void (*)()> g_releaseHook{nullptr};
std::recursive_mutex g_moduleLock;  // a critical section is re-entrant
}  // namespace

ULONG ModuleIncrement() { return g_objectCount.fetch_add(1) + 1; }

ULONG ModuleDecrement() {
    const ULONG before = g_objectCount.fetch_sub(1);
    if (before == 1) {
        if (void (*hook)() = g_releaseHook.load()) hook();
    }
    return before - 1;
}

ULONG ModuleObjectCount() { return g_objectCount.load(); }

void SetModuleReleaseHook(void (*hook)()) { g_releaseHook.store(hook); }

void ModuleLockEnter() { g_moduleLock.lock(); }
void ModuleLockLeave() { g_moduleLock.unlock(); }
