// The exported .reg file: the format regedit imports, and the same records
// install writes.
#include "tools/setup/reg_file.h"

#include <gtest/gtest.h>

namespace setup {
namespace {

std::wstring Section(const std::wstring& text, const std::wstring& header) {
    const auto at = text.find(L"\r\n[" + header + L"]\r\n");
    if (at == std::wstring::npos) return L"<none>";
    const auto end = text.find(L"\r\n\r\n", at + 2);
    return text.substr(at + 2, end == std::wstring::npos ? std::wstring::npos : end - at - 2);
}

const std::wstring kOem =
    L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control\\MediaProperties\\PrivateProperties\\Joystick\\OEM\\";

TEST(RegFile, StartsWithTheEditorHeaderInUtf16WithItsMark) {
    const auto records = BuildOemRecords();
    const std::string bytes = RegFileBytes(records);
    const std::string head("\xFF\xFEW\0i\0n\0d\0o\0w\0s\0 \0", 18);
    ASSERT_GE(bytes.size(), head.size());
    EXPECT_EQ(bytes.substr(0, head.size()), head);
    EXPECT_EQ(bytes.size(), 2 + 2 * RegFileText(records).size());
    EXPECT_EQ(RegFileText(records).rfind(L"Windows Registry Editor Version 5.00\r\n\r\n", 0), 0u);
}

TEST(RegFile, EachRecordDropsItsOldForceFeedbackKeyThenWritesItWhole) {
    const std::wstring text = RegFileText(BuildOemRecords());
    const std::wstring pelvar = kOem + L"VID_C7A5&PID_A102";
    const auto drop = text.find(L"[-" + pelvar + L"\\OEMForceFeedback]\r\n");
    const auto write = text.find(L"[" + pelvar + L"\\OEMForceFeedback]\r\n");
    ASSERT_NE(drop, std::wstring::npos);
    ASSERT_NE(write, std::wstring::npos);
    EXPECT_LT(drop, write);
    EXPECT_EQ(Section(text, pelvar), L"[" + pelvar + L"]\r\n\"OEMName\"=\"Pelvar Racing Wheel\"");
    EXPECT_EQ(Section(text, pelvar + L"\\OEMForceFeedback"),
              L"[" + pelvar + L"\\OEMForceFeedback]\r\n"
              L"\"CLSID\"=\"{920B260B-BE85-4D30-8797-8BA0A23A5D53}\"\r\n"
              L"\"Attributes\"=hex:00,00,00,00,40,1f,00,00,e8,03,00,00");
    EXPECT_EQ(Section(text, pelvar + L"\\OEMForceFeedback\\Effects\\{13541C2B-8E33-11D0-9AD0-00A0C9A06E35}"),
              L"[" + pelvar + L"\\OEMForceFeedback\\Effects\\{13541C2B-8E33-11D0-9AD0-00A0C9A06E35}]\r\n"
              L"@=\"Custom Force\"\r\n"
              L"\"Attributes\"=hex:00,01,00,00,05,80,00,00,6d,03,00,00,6d,01,00,00,30,00,00,00");
    EXPECT_EQ(text.find(L"OEMData"), std::wstring::npos);
}

TEST(RegFile, QuotesAndBackslashesInTextsAreEscaped) {
    auto records = BuildOemRecords();
    records.resize(1);
    records[0].oemName = L"A \"quoted\" C:\\name";
    const std::wstring text = RegFileText(records);
    EXPECT_NE(text.find(L"\"OEMName\"=\"A \\\"quoted\\\" C:\\\\name\"\r\n"), std::wstring::npos);
}

}  // namespace
}  // namespace setup
