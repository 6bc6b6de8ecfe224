// What the call recorder needs from the system: the environment, the name of
// the host process, the local wall-clock time and a file it can append to.
#pragma once

#include <cstddef>
#include <string>

namespace platform {

// The value of an environment variable in UTF-8; empty when it is not set.
std::string EnvironmentVariable(const char* name);

// The host executable's file name without directory and extension ("game"
// for C:\Games\game.exe); "process" when it cannot be found.
std::string ProcessName();

struct WallClock {
    int year, month, day, hour, minute, second;
};
// The local date and time, to the second.
WallClock LocalWallClock();

// A file created for writing (never an existing one: creation fails if the
// name is taken), written in order, closed once. Not thread-safe.
class OutputFile {
public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    // `why` receives the system's reason on failure.
    bool Create(const std::string& path, std::string* why);
    // All of `size` bytes or false (disk full, file too large, I/O error).
    bool Write(const char* data, std::size_t size, std::string* why);
    void Close();
    bool IsOpen() const { return m_handle != nullptr; }
    // True when Create failed only because the name is taken.
    bool LastCreateCollided() const { return m_collided; }

private:
    void* m_handle = nullptr;
    bool m_collided = false;
};

// `dir` and `name` joined with the system's separator.
std::string JoinPath(const std::string& dir, const std::string& name);

}  // namespace platform
