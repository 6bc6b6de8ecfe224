// POSIX shared memory with Win32 section lifetime. Two bytes of the object
// carry open-file-description locks (per open, not per process, so two
// holders inside one process count as two):
//   kGuardByte  - write-locked while a holder opens or closes, so that the
//                 "am I alone" test and the following reset or unlink are
//                 one step, and by a creator that asked for a hold until it
//                 has set the new block up;
//   kHolderByte - read-locked by every holder for as long as it is open.
// Locks vanish with their process, so a crashed holder never keeps a stale
// block alive for the next opener.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>

#include "platform/shared_memory.h"

namespace platform::shm {
namespace {

constexpr off_t kGuardByte = 0;
constexpr off_t kHolderByte = 1;
// An opener retries when the name was unlinked under it by a leaving last
// holder; each retry means another process made progress.
constexpr int kOpenAttempts = 64;

struct Record {
    int fd;
    std::string name;
    bool held;  // the guard is still ours: the creator is setting the block up
};

std::mutex g_viewsMutex;
std::map<void*, std::size_t> g_views;

// FFDRV_SHM_NAMESPACE, when set, is put in front of every block name, so that
// separate sessions (parallel test processes, say) do not share settings.
std::string PosixName(const wchar_t* name) {
    std::string out = "/";
    if (const char* ns = std::getenv("FFDRV_SHM_NAMESPACE"); ns && *ns) {
        for (const char* p = ns; *p; ++p) out.push_back(*p == '/' ? '_' : *p);
        out.push_back('.');
    }
    for (const wchar_t* p = name; p && *p; ++p) {
        const auto ch = static_cast<std::uint32_t>(*p);
        if (ch > 0x20 && ch < 0x7F && ch != '/' && ch != '%') {
            out.push_back(static_cast<char>(ch));
            continue;
        }
        char buf[16];
        std::snprintf(buf, sizeof buf, ch < 0x100 ? "%%%02X" : "%%u%06X", static_cast<unsigned>(ch));
        out += buf;
    }
    return out;
}

bool SetLock(int fd, off_t byte, short type, bool wait) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return fcntl(fd, wait ? F_OFD_SETLKW : F_OFD_SETLK, &lock) == 0;
}

// False when the name now refers to another object than `fd` (or to none).
bool StillNamed(int fd, const std::string& name) {
    const int current = shm_open(name.c_str(), O_RDONLY | O_CLOEXEC, 0);
    if (current < 0) return false;
    struct stat mine {}, named {};
    const bool same = fstat(fd, &mine) == 0 && fstat(current, &named) == 0 && mine.st_dev == named.st_dev &&
                      mine.st_ino == named.st_ino;
    close(current);
    return same;
}

// Under the guard: starts the object afresh when nobody else holds it, then
// joins the holders. Returns false on a system failure.
bool JoinHolders(int fd, std::uint32_t size, bool* othersHold) {
    *othersHold = !SetLock(fd, kHolderByte, F_WRLCK, false);
    if (!*othersHold && (ftruncate(fd, 0) != 0 || ftruncate(fd, size) != 0)) return false;
    return SetLock(fd, kHolderByte, F_RDLCK, false);
}

}  // namespace

std::size_t ViewGranularity() { return 1; }

Mapping Create(const wchar_t* name, std::uint32_t size, bool* alreadyExisted, bool holdNew) {
    if (alreadyExisted) *alreadyExisted = false;
    if (TakeInjectedFault(Fault::kCreate)) return nullptr;
    const std::string posixName = PosixName(name);
    for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
        const int fd = shm_open(posixName.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd < 0) return nullptr;
        if (!SetLock(fd, kGuardByte, F_WRLCK, true)) {
            close(fd);
            return nullptr;
        }
        if (!StillNamed(fd, posixName)) {
            close(fd);  // also drops the guard
            continue;
        }
        bool othersHold = false;
        const bool joined = JoinHolders(fd, size, &othersHold);
        // A creator that sets the block up keeps the guard until Publish:
        // openers wait for it here, at the top of their own Create.
        const bool held = joined && holdNew && !othersHold;
        if (!held) SetLock(fd, kGuardByte, F_UNLCK, false);
        if (!joined) {
            close(fd);
            return nullptr;
        }
        if (alreadyExisted) *alreadyExisted = othersHold;
        return reinterpret_cast<Mapping>(new Record{fd, posixName, held});
    }
    return nullptr;
}

void* Map(Mapping mapping, std::size_t* viewSize) {
    if (viewSize) *viewSize = 0;
    if (TakeInjectedFault(Fault::kMap)) return nullptr;
    if (mapping == nullptr || mapping == InvalidMapping()) return nullptr;
    const int fd = reinterpret_cast<Record*>(mapping)->fd;
    struct stat info {};
    if (fstat(fd, &info) != 0 || info.st_size <= 0) return nullptr;
    const auto length = static_cast<std::size_t>(info.st_size);
    void* view = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (view == MAP_FAILED) return nullptr;
    std::lock_guard lock(g_viewsMutex);
    g_views[view] = length;
    if (viewSize) *viewSize = length;
    return view;
}

void Unmap(void* view) {
    if (view == nullptr) return;
    std::size_t length = 0;
    {
        std::lock_guard lock(g_viewsMutex);
        const auto it = g_views.find(view);
        if (it == g_views.end()) return;
        length = it->second;
        g_views.erase(it);
    }
    munmap(view, length);
}

void Publish(Mapping mapping) {
    if (mapping == nullptr || mapping == InvalidMapping()) return;
    auto* record = reinterpret_cast<Record*>(mapping);
    if (!record->held) return;
    record->held = false;
    SetLock(record->fd, kGuardByte, F_UNLCK, false);
}

void Close(Mapping mapping) {
    if (mapping == nullptr || mapping == InvalidMapping()) return;
    auto* record = reinterpret_cast<Record*>(mapping);
    // A held guard is ours already (the lock belongs to this open), and goes
    // with the descriptor below.
    SetLock(record->fd, kGuardByte, F_WRLCK, true);
    SetLock(record->fd, kHolderByte, F_UNLCK, false);
    // Alone under the guard: nobody can join before the name is gone, and a
    // process that opened the old object meanwhile sees it unnamed and retries.
    if (SetLock(record->fd, kHolderByte, F_WRLCK, false)) shm_unlink(record->name.c_str());
    close(record->fd);
    delete record;
}

}  // namespace platform::shm
