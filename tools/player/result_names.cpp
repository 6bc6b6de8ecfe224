#include "tools/player/result_names.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace ffplay {
namespace {

struct ResultRow {
    std::uint32_t hr;
    const char* name;
};
constexpr ResultRow kResults[] = {
    {0x00000000u, "S_OK"},          {0x00000001u, "S_FALSE"},           {0x80070057u, "E_INVALIDARG"},
    {0x80004001u, "E_NOTIMPL"},     {0x80004005u, "E_FAIL"},            {0x80004003u, "E_POINTER"},
    {0x80070006u, "E_HANDLE"},      {0x8007000Eu, "E_OUTOFMEMORY"},     {0x80004002u, "E_NOINTERFACE"},
    {0x80040201u, "DIERR_DEVICEFULL"}, {0x80040111u, "CLASS_E_CLASSNOTAVAILABLE"},
};
constexpr unsigned long long kMaxCode = 0xFFFFFFFFull;

}  // namespace

std::string ResultName(std::int32_t hr) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08X", static_cast<unsigned>(hr));
    for (const ResultRow& row : kResults)
        if (row.hr == static_cast<std::uint32_t>(hr))
            return hr == 0 ? std::string(row.name) : std::string(row.name) + " (" + hex + ")";
    return hex;
}

std::optional<std::int32_t> ResultFromName(const std::string& text) {
    for (const ResultRow& row : kResults)
        if (text == row.name) return static_cast<std::int32_t>(row.hr);
    if (text.size() < 3 || text.size() > 10 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X'))
        return std::nullopt;
    errno = 0;
    char* end = nullptr;
    const unsigned long long v = std::strtoull(text.c_str() + 2, &end, 16);
    if (*end != '\0' || errno != 0 || v > kMaxCode || text[2] == '-' || text[2] == '+') return std::nullopt;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(v));
}

}  // namespace ffplay
