#include "platform/recording_io.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace platform {

std::string EnvironmentVariable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::string ProcessName() {
    char path[4096];
    const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    if (n <= 0) return "process";
    path[n] = '\0';
    std::string name = path;
    if (const auto slash = name.rfind('/'); slash != std::string::npos) name.erase(0, slash + 1);
    if (const auto dot = name.rfind('.'); dot != std::string::npos && dot > 0) name.erase(dot);
    return name.empty() ? "process" : name;
}

WallClock LocalWallClock() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec};
}

namespace {
int Fd(void* handle) { return static_cast<int>(reinterpret_cast<std::intptr_t>(handle)) - 1; }
void* Handle(int fd) { return reinterpret_cast<void*>(static_cast<std::intptr_t>(fd) + 1); }
}  // namespace

OutputFile::~OutputFile() { Close(); }

bool OutputFile::Create(const std::string& path, std::string* why) {
    Close();
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    m_collided = fd < 0 && errno == EEXIST;
    if (fd < 0) {
        *why = std::strerror(errno);
        return false;
    }
    m_handle = Handle(fd);
    return true;
}

bool OutputFile::Write(const char* data, std::size_t size, std::string* why) {
    if (m_handle == nullptr) {
        *why = "the file is not open";
        return false;
    }
    while (size > 0) {
        const ssize_t n = write(Fd(m_handle), data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            // With SIGXFSZ ignored, a file-size limit shows up here as EFBIG.
            *why = n < 0 ? std::strerror(errno) : "nothing was written";
            return false;
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

void OutputFile::Close() {
    if (m_handle == nullptr) return;
    close(Fd(m_handle));
    m_handle = nullptr;
}

std::string JoinPath(const std::string& dir, const std::string& name) {
    if (dir.empty() || dir.back() == '/') return dir + name;
    return dir + "/" + name;
}

}  // namespace platform
