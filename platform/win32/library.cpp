#include <windows.h>

#include "platform/library.h"

namespace platform {

Library LoadLibraryPath(const std::string& path, std::string* error) {
    HMODULE module = LoadLibraryA(path.c_str());
    if (module == nullptr && error) *error = "LoadLibrary failed with error " + std::to_string(GetLastError());
    return reinterpret_cast<Library>(module);
}

void* LibrarySymbol(Library library, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(library), name));
}

void FreeLibraryHandle(Library library) {
    if (library) FreeLibrary(reinterpret_cast<HMODULE>(library));
}

}  // namespace platform
