// Class objects. DllGetClassObject hands these out; each lives while
// referenced and holds one module count for its life.
#pragma once

#include <atomic>

#include "com_abi.h"

class CFFDrv;

class CServerClassFactory : public IClassFactory {
public:
    CServerClassFactory();
    virtual ~CServerClassFactory();

    // IUnknown and IClassFactory only; ppv is not checked (callers are COM).
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    // Base: E_NOTIMPL.
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppv) override;
    // Adds or drops one module count; unbalanced unlocks are not detected.
    HRESULT STDMETHODCALLTYPE LockServer(BOOL fLock) override;

private:
    std::atomic<ULONG> m_refCount{0};
};

// Makes driver objects: create, initialise, then hand out the asked-for
// interface (a driver asked for an unknown interface dies at once).
class CFFServerClassFactory : public CServerClassFactory {
public:
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppv) override;
    // A new driver with a count of one, or null on allocation failure.
    virtual CFFDrv* CreateDriver() = 0;
};

class CCFSVJoyForceAPI final : public CServerClassFactory {
public:
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppv) override;
};

// The factory of a class-table row, with a count of one; null on allocation
// failure or an index outside the table.
CServerClassFactory* NewClassFactory(int classIndex);
