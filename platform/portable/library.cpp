#include <dlfcn.h>

#include "platform/library.h"

namespace platform {

Library LoadLibraryPath(const std::string& path, std::string* error) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr && error) *error = dlerror();
    return static_cast<Library>(handle);
}

void* LibrarySymbol(Library library, const char* name) { return dlsym(library, name); }

void FreeLibraryHandle(Library library) {
    if (library) dlclose(library);
}

}  // namespace platform
