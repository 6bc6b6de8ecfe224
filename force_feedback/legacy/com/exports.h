// The four functions the module exports, with their COM calling convention.
#pragma once

#include "com_abi.h"

// Visible from the shared object on the portable build; the DLL's exports
// come from its .def file.
#if defined(__GNUC__) && !defined(_WIN32)
#define FFDRV_EXPORT_API __attribute__((visibility("default")))
#else
#define FFDRV_EXPORT_API
#endif

extern "C" {
HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv);
HRESULT STDMETHODCALLTYPE DllCanUnloadNow();
HRESULT STDMETHODCALLTYPE DllRegisterServer();
HRESULT STDMETHODCALLTYPE DllUnregisterServer();
}
