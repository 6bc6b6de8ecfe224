#include <windows.h>

#include "platform/module.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    return FfdrvModuleEntry(instance, reason) ? TRUE : FALSE;
}
