// CLSID text form as StringFromCLSID gives it: "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}",
// upper-case hexadecimal.
#pragma once

#include <string>

#include "com_abi.h"

namespace platform {

// win32: StringFromCLSID + CoTaskMemFree. Fails only when the system does.
HRESULT ClsidToString(const GUID& clsid, std::wstring* out);

// The formatting the system uses, available on both backends.
std::wstring FormatGuid(const GUID& guid);

}  // namespace platform
