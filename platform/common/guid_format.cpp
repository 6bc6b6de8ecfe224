#include <cwchar>

#include "platform/guid.h"

namespace platform {

std::wstring FormatGuid(const GUID& g) {
    wchar_t text[40];
    std::swprintf(text, 40, L"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", static_cast<unsigned>(g.Data1),
                  g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5],
                  g.Data4[6], g.Data4[7]);
    return text;
}

}  // namespace platform
