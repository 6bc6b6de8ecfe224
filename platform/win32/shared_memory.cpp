#include <windows.h>

#include <string>

#include "platform/shared_memory.h"

namespace platform::shm {
namespace {

// A section and the named mutex that orders its openers: held around every
// open, and by a creator that asked for a hold until it has set the new
// section up.
struct Record {
    HANDLE section;
    HANDLE setup;  // null when the mutex could not be made: openers then go unordered
    bool held;
};

Record* AsRecord(Mapping mapping) {
    return mapping == nullptr || mapping == InvalidMapping() ? nullptr : reinterpret_cast<Record*>(mapping);
}

// Section and mutex share one namespace, so the mutex takes a suffix.
HANDLE TakeSetupMutex(const wchar_t* name) {
    if (name == nullptr) return nullptr;
    const std::wstring mutexName = std::wstring(name) + L".Setup";
    HANDLE mutex = CreateMutexW(nullptr, FALSE, mutexName.c_str());
    if (mutex == nullptr) return nullptr;
    // An abandoned mutex is ours as well: its creator died while setting up,
    // and the section went with it.
    const DWORD waited = WaitForSingleObject(mutex, INFINITE);
    if (waited != WAIT_OBJECT_0 && waited != WAIT_ABANDONED) {
        CloseHandle(mutex);
        return nullptr;
    }
    return mutex;
}

void DropSetupMutex(HANDLE mutex, bool owned) {
    if (mutex == nullptr) return;
    if (owned) ReleaseMutex(mutex);
    CloseHandle(mutex);
}

}  // namespace

std::size_t ViewGranularity() {
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwPageSize;
}

Mapping Create(const wchar_t* name, std::uint32_t size, bool* alreadyExisted, bool holdNew) {
    if (alreadyExisted) *alreadyExisted = false;
    if (TakeInjectedFault(Fault::kCreate)) return nullptr;
    HANDLE setup = TakeSetupMutex(name);
    // Backed by the page file: the section lives only as long as a handle.
    HANDLE section = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name);
    const bool existed = section != nullptr && GetLastError() == ERROR_ALREADY_EXISTS;
    if (section == nullptr) {
        DropSetupMutex(setup, true);
        return nullptr;
    }
    if (alreadyExisted) *alreadyExisted = existed;
    const bool held = holdNew && !existed && setup != nullptr;
    if (!held) {
        DropSetupMutex(setup, true);
        setup = nullptr;
    }
    return reinterpret_cast<Mapping>(new Record{section, setup, held});
}

void Publish(Mapping mapping) {
    Record* record = AsRecord(mapping);
    if (record == nullptr || !record->held) return;
    record->held = false;
    DropSetupMutex(record->setup, true);
    record->setup = nullptr;
}

void* Map(Mapping mapping, std::size_t* viewSize) {
    if (viewSize) *viewSize = 0;
    if (TakeInjectedFault(Fault::kMap)) return nullptr;
    Record* record = AsRecord(mapping);
    if (record == nullptr) return nullptr;
    void* view = MapViewOfFile(record->section, FILE_MAP_ALL_ACCESS, 0, 0, 0);
    if (view == nullptr) return nullptr;
    // A section opened by name keeps its creator's size; the view is whole
    // pages of it, which is what may be touched.
    MEMORY_BASIC_INFORMATION info{};
    if (viewSize && VirtualQuery(view, &info, sizeof info) == sizeof info) *viewSize = info.RegionSize;
    return view;
}

void Unmap(void* view) {
    if (view) UnmapViewOfFile(view);
}

void Close(Mapping mapping) {
    Record* record = AsRecord(mapping);
    if (record == nullptr) return;
    DropSetupMutex(record->setup, record->held);
    CloseHandle(record->section);
    delete record;
}

}  // namespace platform::shm
