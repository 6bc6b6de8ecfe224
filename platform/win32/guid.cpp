#include <objbase.h>

#include "platform/guid.h"

namespace platform {
HRESULT ClsidToString(const GUID& clsid, std::wstring* out) {
    LPOLESTR text = nullptr;
    const HRESULT hr = StringFromCLSID(clsid, &text);
    if (FAILED(hr)) return hr;
    *out = text;
    CoTaskMemFree(text);
    return S_OK;
}
}  // namespace platform
