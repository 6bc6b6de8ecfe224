// The process's live-object count that DllCanUnloadNow reports, and the module
// lock. A leaf at the bottom of the driver: every layer that makes COM objects
// or opens DirectInput uses it, and it knows nothing above itself.
#pragma once

#include "com_abi.h"

// Atomic add of one; returns the new count.
ULONG ModuleIncrement();
// Atomic subtract of one; the decrement that reaches zero runs the release
// hook. Returns the new count.
ULONG ModuleDecrement();
ULONG ModuleObjectCount();

// Run by the decrement that takes the count to zero, on that caller's thread.
// The bridge sets it so that its thread object dies with the last COM object.
void SetModuleReleaseHook(void (*hook)());

// The critical section made at process attach (guards DirectInput opening).
void ModuleLockEnter();
void ModuleLockLeave();
