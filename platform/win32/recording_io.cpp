#include "platform/recording_io.h"

#include <windows.h>

#include <vector>

namespace platform {
namespace {

std::wstring Wide(const std::string& text) {
    if (text.empty()) return {};
    const int n = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring out(static_cast<size_t>(n), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), n);
    return out;
}

std::string Narrow(const wchar_t* text, int length) {
    if (length <= 0) return {};
    const int n = WideCharToMultiByte(CP_UTF8, 0, text, length, nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, length, out.data(), n, nullptr, nullptr);
    return out;
}

std::string SystemMessage(DWORD error) {
    wchar_t* buffer = nullptr;
    const DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                       FORMAT_MESSAGE_IGNORE_INSERTS,
                                   nullptr, error, 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    std::string text = n ? Narrow(buffer, static_cast<int>(n)) : "error " + std::to_string(error);
    if (buffer) LocalFree(buffer);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == '.')) text.pop_back();
    return text;
}

}  // namespace

std::string EnvironmentVariable(const char* name) {
    const std::wstring wideName = Wide(name);
    const DWORD needed = GetEnvironmentVariableW(wideName.c_str(), nullptr, 0);
    if (needed == 0) return "";
    std::vector<wchar_t> buffer(needed);
    const DWORD n = GetEnvironmentVariableW(wideName.c_str(), buffer.data(), needed);
    return Narrow(buffer.data(), static_cast<int>(n));
}

std::string ProcessName() {
    wchar_t path[MAX_PATH];
    const DWORD n = GetModuleFileNameW(nullptr, path, MAX_PATH);
    if (n == 0 || n >= MAX_PATH) return "process";
    std::string name = Narrow(path, static_cast<int>(n));
    if (const auto slash = name.find_last_of("\\/"); slash != std::string::npos) name.erase(0, slash + 1);
    if (const auto dot = name.rfind('.'); dot != std::string::npos && dot > 0) name.erase(dot);
    return name.empty() ? "process" : name;
}

WallClock LocalWallClock() {
    SYSTEMTIME t{};
    GetLocalTime(&t);
    return {t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute, t.wSecond};
}

OutputFile::~OutputFile() { Close(); }

bool OutputFile::Create(const std::string& path, std::string* why) {
    Close();
    HANDLE h = CreateFileW(Wide(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        m_collided = error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS;
        *why = SystemMessage(error);
        return false;
    }
    m_collided = false;
    m_handle = h;
    return true;
}

bool OutputFile::Write(const char* data, std::size_t size, std::string* why) {
    if (m_handle == nullptr) {
        *why = "the file is not open";
        return false;
    }
    while (size > 0) {
        DWORD written = 0;
        const DWORD chunk = size > 0x10000000 ? 0x10000000 : static_cast<DWORD>(size);
        if (!WriteFile(static_cast<HANDLE>(m_handle), data, chunk, &written, nullptr) || written == 0) {
            *why = SystemMessage(GetLastError());
            return false;
        }
        data += written;
        size -= written;
    }
    return true;
}

void OutputFile::Close() {
    if (m_handle == nullptr) return;
    CloseHandle(static_cast<HANDLE>(m_handle));
    m_handle = nullptr;
}

std::string JoinPath(const std::string& dir, const std::string& name) {
    if (dir.empty() || dir.back() == '\\' || dir.back() == '/') return dir + name;
    return dir + "\\" + name;
}

}  // namespace platform
