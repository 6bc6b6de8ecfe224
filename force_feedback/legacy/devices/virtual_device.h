// A virtual device: the object behind one open joystick ID. The driver object
// owns it and forwards DirectInput's calls to it; the device does its own
// locking and all validation.
#pragma once

#include "com_abi.h"

// Record exchanged with the legacy settings interface.
struct SVJOYFORCEPARAM {
    DWORD dwIndex;
    DWORD dwSave;
    DWORD dwValue;
};

class CVDevice {
public:
    virtual ~CVDevice() = default;
    virtual HRESULT DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) = 0;
    virtual HRESULT DestroyEffect(DWORD dwEffect) = 0;
    virtual HRESULT GetEffectStatus(DWORD dwEffect, LPDWORD pdwStatus) = 0;
    virtual HRESULT StartEffect(DWORD dwEffect, DWORD dwMode, DWORD dwCount) = 0;
    virtual HRESULT StopEffect(DWORD dwEffect) = 0;
    virtual HRESULT Escape(DWORD dwEffect, LPDIEFFESCAPE pesc) = 0;
    virtual HRESULT GetForceFeedbackState(LPDIDEVICESTATE pds) = 0;
    virtual HRESULT SendForceFeedbackCommand(DWORD dwCommand) = 0;
    virtual HRESULT SetGain(DWORD dwGain) = 0;
    // Settings access for the legacy settings interface; devices without a
    // settings record to offer refuse it.
    virtual HRESULT SetSetting(SVJOYFORCEPARAM*) { return E_NOTIMPL; }
    virtual HRESULT GetSetting(SVJOYFORCEPARAM*) { return E_NOTIMPL; }
    virtual HRESULT Open(DWORD joystickId) = 0;
    virtual HRESULT Close() = 0;
};
