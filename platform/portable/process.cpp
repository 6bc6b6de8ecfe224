#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <climits>

#include "platform/process.h"

extern char** environ;

namespace platform {

int RunProcess(const std::string& path, const std::vector<std::string>& args, std::uint32_t timeoutMs) {
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(path.c_str()));
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawn(&pid, path.c_str(), nullptr, nullptr, argv.data(), environ) != 0) return -1;
    // Poll in short steps: waitpid has no timeout of its own.
    const timespec step{0, 2 * 1000 * 1000};
    for (std::uint64_t waitedUs = 0;; waitedUs += 2000) {
        int status = 0;
        const pid_t done = waitpid(pid, &status, WNOHANG);
        if (done == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        if (done < 0) return -1;
        if (waitedUs >= std::uint64_t{timeoutMs} * 1000) break;
        nanosleep(&step, nullptr);
    }
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return -1;
}

std::string ExecutableDirectory() {
    char buffer[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (length <= 0) return "./";
    std::string path(buffer, static_cast<std::size_t>(length));
    return path.substr(0, path.find_last_of('/') + 1);
}

}  // namespace platform
