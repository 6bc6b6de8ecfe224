#include <windows.h>

#include "platform/process.h"

namespace platform {
namespace {

std::wstring Widen(const std::string& text) {
    if (text.empty()) return {};
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring out(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), length);
    return out;
}

// Arguments are plain tokens here (numbers, names); quoting covers spaces.
std::wstring CommandLine(const std::string& path, const std::vector<std::string>& args) {
    std::wstring line = L"\"" + Widen(path) + L"\"";
    for (const std::string& arg : args) line += L" \"" + Widen(arg) + L"\"";
    return line;
}

}  // namespace

int RunProcess(const std::string& path, const std::vector<std::string>& args, std::uint32_t timeoutMs) {
    std::wstring line = CommandLine(path, args);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &info))
        return -1;
    int result = -1;
    if (WaitForSingleObject(info.hProcess, timeoutMs) == WAIT_OBJECT_0) {
        DWORD code = 0;
        if (GetExitCodeProcess(info.hProcess, &code)) result = static_cast<int>(code);
    } else {
        TerminateProcess(info.hProcess, 1);
        WaitForSingleObject(info.hProcess, INFINITE);
    }
    CloseHandle(info.hThread);
    CloseHandle(info.hProcess);
    return result;
}

std::string ExecutableDirectory() {
    wchar_t buffer[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, buffer, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return ".\\";
    std::wstring path(buffer, length);
    path = path.substr(0, path.find_last_of(L"\\/") + 1);
    const int size = WideCharToMultiByte(CP_UTF8, 0, path.data(), static_cast<int>(path.size()), nullptr, 0,
                                         nullptr, nullptr);
    std::string out(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, path.data(), static_cast<int>(path.size()), out.data(), size, nullptr, nullptr);
    return out;
}

}  // namespace platform
