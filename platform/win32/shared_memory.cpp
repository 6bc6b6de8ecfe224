#include <windows.h>

#include "platform/shared_memory.h"

namespace platform::shm {

std::size_t ViewGranularity() {
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwPageSize;
}

Mapping Create(const wchar_t* name, std::uint32_t size, bool* alreadyExisted) {
    if (alreadyExisted) *alreadyExisted = false;
    if (TakeInjectedFault(Fault::kCreate)) return nullptr;
    // Backed by the page file: the section lives only as long as a handle.
    HANDLE handle = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name);
    if (handle != nullptr && alreadyExisted) *alreadyExisted = GetLastError() == ERROR_ALREADY_EXISTS;
    return reinterpret_cast<Mapping>(handle);
}

void* Map(Mapping mapping, std::size_t* viewSize) {
    if (viewSize) *viewSize = 0;
    if (TakeInjectedFault(Fault::kMap)) return nullptr;
    if (mapping == nullptr || mapping == InvalidMapping()) return nullptr;
    void* view = MapViewOfFile(reinterpret_cast<HANDLE>(mapping), FILE_MAP_ALL_ACCESS, 0, 0, 0);
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
    if (mapping && mapping != InvalidMapping()) CloseHandle(reinterpret_cast<HANDLE>(mapping));
}

}  // namespace platform::shm
