#include "tools/setup/reg_file.h"

#include <cstdio>

#include "platform/registry.h"

namespace setup {
namespace {

constexpr const wchar_t* kHeader = L"Windows Registry Editor Version 5.00";
constexpr const wchar_t* kMachine = L"HKEY_LOCAL_MACHINE\\";
constexpr const wchar_t* kNewline = L"\r\n";

std::wstring Quoted(const std::wstring& text) {
    std::wstring out = L"\"";
    for (wchar_t ch : text) {
        if (ch == L'\\' || ch == L'"') out.push_back(L'\\');
        out.push_back(ch);
    }
    return out + L"\"";
}

std::wstring Hex(const std::vector<std::uint8_t>& bytes) {
    std::wstring out = L"hex:";
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        wchar_t pair[4];
        std::swprintf(pair, 4, L"%02x", static_cast<unsigned>(bytes[i]));
        if (i != 0) out += L",";
        out += pair;
    }
    return out;
}

void PutUtf16(std::string& out, char32_t ch) {
    auto unit = [&out](char16_t u) {
        out.push_back(static_cast<char>(u & 0xFF));
        out.push_back(static_cast<char>(u >> 8));
    };
    if (ch < 0x10000) {
        unit(static_cast<char16_t>(ch));
        return;
    }
    ch -= 0x10000;
    unit(static_cast<char16_t>(0xD800 + (ch >> 10)));
    unit(static_cast<char16_t>(0xDC00 + (ch & 0x3FF)));
}

}  // namespace

std::wstring RegFileText(const std::vector<OemRecord>& records) {
    const std::wstring base = std::wstring(kMachine) + kOemRoot + L"\\";
    std::wstring text = std::wstring(kHeader) + kNewline;
    for (const OemRecord& record : records) {
        text += kNewline;
        text += L"[-" + base + ForceFeedbackPath(record) + L"]" + kNewline;
        for (const RegKey& key : RecordKeys(record)) {
            text += kNewline;
            text += L"[" + base + key.path + L"]" + kNewline;
            for (const RegValue& value : key.values) {
                text += value.name.empty() ? L"@" : Quoted(value.name);
                text += L"=";
                text += value.type == platform::reg::kSz ? Quoted(value.text) : Hex(value.bytes);
                text += kNewline;
            }
        }
    }
    return text;
}

std::string RegFileBytes(const std::vector<OemRecord>& records) {
    std::string bytes = "\xFF\xFE";
    // wchar_t is UTF-16 on Windows and UTF-32 elsewhere; surrogate pairs pass
    // through as they are on Windows.
    for (wchar_t ch : RegFileText(records)) PutUtf16(bytes, static_cast<char32_t>(ch));
    return bytes;
}

}  // namespace setup
