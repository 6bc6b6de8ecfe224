// Process-wide module state: the live-object count that DllCanUnloadNow
// reports, the module lock, and the one bridge thread object whose life
// follows the count.
#pragma once

#include "com_abi.h"

class DevioThread;

// Atomic add of one; returns the new count.
ULONG ModuleIncrement();
// Atomic subtract of one; the decrement that reaches zero destroys the bridge
// thread object. Returns the new count.
ULONG ModuleDecrement();
ULONG ModuleObjectCount();

// The critical section made at process attach (guards DirectInput opening).
void ModuleLockEnter();
void ModuleLockLeave();

// The bridge thread object: created by the first DllGetClassObject that
// makes a factory, null after the count falls to zero.
DevioThread* BridgeThread();
// Steps 6 and 7 of DllGetClassObject: create the bridge when missing, start
// it when not running.
void EnsureBridgeThread();
