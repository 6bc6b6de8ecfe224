// A CVDevice test double: records every call the driver forwards, with its
// arguments, into a log shared by all fakes, and answers with a chosen
// HRESULT. Installed through the device catalog's test hook.
#pragma once

#include <string>
#include <vector>

#include "force_feedback/legacy/devices/device_catalog.h"

struct FakeDeviceLog {
    std::vector<std::string> calls;
    int live = 0;
    HRESULT result = S_OK;
    bool failAllocation = false;
    std::vector<Model> created;
};

FakeDeviceLog& FakeLog();

class FakeDevice final : public CVDevice {
public:
    explicit FakeDevice(Model model);
    ~FakeDevice() override;

    HRESULT DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags) override;
    HRESULT DestroyEffect(DWORD dwEffect) override;
    HRESULT GetEffectStatus(DWORD dwEffect, LPDWORD pdwStatus) override;
    HRESULT StartEffect(DWORD dwEffect, DWORD dwMode, DWORD dwCount) override;
    HRESULT StopEffect(DWORD dwEffect) override;
    HRESULT Escape(DWORD dwEffect, LPDIEFFESCAPE pesc) override;
    HRESULT GetForceFeedbackState(LPDIDEVICESTATE pds) override;
    HRESULT SendForceFeedbackCommand(DWORD dwCommand) override;
    HRESULT SetGain(DWORD dwGain) override;
    HRESULT SetSetting(SVJOYFORCEPARAM* param) override;
    HRESULT GetSetting(SVJOYFORCEPARAM* param) override;
    HRESULT Open(DWORD joystickId) override;
    HRESULT Close() override;

    int Serial() const { return m_serial; }

private:
    HRESULT Record(const std::string& call);
    int m_serial;
};

// Installs FakeDevice as the device catalog for the scope of a test and
// clears the log.
class ScopedFakeDevices {
public:
    ScopedFakeDevices();
    ~ScopedFakeDevices();

private:
    DeviceMaker m_previous;
};
