// COM class registration under HKEY_LOCAL_MACHINE\SOFTWARE\Classes\CLSID.
#pragma once

#include "com_abi.h"

// Writes one class's keys: friendly name, InProcServer32 = this module's full
// path, ThreadingModel = "Both". Only a failed CLSID conversion is a failure;
// key and value writes are not checked (without write access the keys are
// silently missing).
bool RegisterClassEntry(const GUID& clsid, const wchar_t* friendlyName);
// Removes one class's key tree; a missing tree is success.
bool UnregisterClassEntry(const GUID& clsid);
