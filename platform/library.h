// Loading a module by path and finding its exports: how a host (DirectInput,
// or our tools and end-to-end tests) reaches the driver.
#pragma once

#include <string>

namespace platform {

struct LibraryOpaque;
using Library = LibraryOpaque*;

// Null on failure; *error (optional) then says why.
Library LoadLibraryPath(const std::string& path, std::string* error);
void* LibrarySymbol(Library library, const char* name);
void FreeLibraryHandle(Library library);

}  // namespace platform
