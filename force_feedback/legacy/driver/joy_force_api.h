// The legacy settings interface: a settings tool reads and changes a wheel's
// force settings without DirectInput. Each call builds a temporary wheel
// device, lets it touch one setting and drops it; the shared settings block
// carries the change to every running driver.
//
// Not meant to be shared between threads: its reference count is plain
// arithmetic, unlike every other COM object of the module (intentional, keep).
#pragma once

#include "com_abi.h"
#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/model_table.h"

inline constexpr GUID IID_ISVJoyForceAPI = {0xBFDE0403, 0x02ED, 0x40A6, {0xBC, 0x30, 0xC7, 0xAF, 0x99, 0xD2, 0xD5, 0x88}};

struct ISVJoyForceAPI : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetParameter(DWORD deviceSelector, SVJOYFORCEPARAM* param) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetParameter(DWORD deviceSelector, SVJOYFORCEPARAM* param) = 0;
};

class CSVJoyForceAPI final : public ISVJoyForceAPI {
public:
    // The two selectors a settings tool may name; both reach the wheel settings.
    static constexpr DWORD kSelectorWheel = 63;
    static constexpr DWORD kSelectorWheelAlt = 65;

    // `device` is the wheel model whose temporary device each call builds;
    // the class object passes its class row's device.
    explicit CSVJoyForceAPI(Model device);

    // E_INVALIDARG for null ppv; IUnknown and ISVJoyForceAPI only.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // E_NOTIMPL for a selector other than 63 or 65, E_OUTOFMEMORY when the
    // temporary device cannot be made, else the device's own result.
    HRESULT STDMETHODCALLTYPE SetParameter(DWORD deviceSelector, SVJOYFORCEPARAM* param) override;
    HRESULT STDMETHODCALLTYPE GetParameter(DWORD deviceSelector, SVJOYFORCEPARAM* param) override;

    virtual ~CSVJoyForceAPI();

private:
    template <typename Op>
    HRESULT WithTemporaryDevice(DWORD deviceSelector, Op op);

    ULONG m_refCount = 1;
    Model m_device;
};
