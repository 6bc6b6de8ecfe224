// The process's one bridge thread object, whose life follows the module
// object count: made by the first DllGetClassObject that makes a factory,
// destroyed by the release of the last COM object or server lock.
#pragma once

class DevioThread;

// Null before the first factory and after the count falls to zero.
DevioThread* BridgeThread();
// Steps 6 and 7 of DllGetClassObject: create the bridge when missing, start
// it when not running.
void EnsureBridgeThread();
