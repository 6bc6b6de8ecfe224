#include "platform/guid.h"

namespace platform {
HRESULT ClsidToString(const GUID& clsid, std::wstring* out) {
    *out = FormatGuid(clsid);
    return S_OK;
}
}  // namespace platform
