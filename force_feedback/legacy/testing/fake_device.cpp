#include "force_feedback/legacy/testing/fake_device.h"

#include <new>

namespace {
int g_serial = 0;

std::string Args(std::initializer_list<unsigned long long> values) {
    std::string out;
    for (auto v : values) {
        if (!out.empty()) out += ',';
        out += std::to_string(v);
    }
    return out;
}

unsigned long long P(const void* p) { return reinterpret_cast<unsigned long long>(p); }

CVDevice* MakeFake(Model model) {
    if (FakeLog().failAllocation) return nullptr;
    FakeLog().created.push_back(model);
    return new FakeDevice(model);
}
}  // namespace

FakeDeviceLog& FakeLog() {
    static FakeDeviceLog log;
    return log;
}

FakeDevice::FakeDevice(Model) : m_serial(++g_serial) { ++FakeLog().live; }
FakeDevice::~FakeDevice() {
    --FakeLog().live;
    FakeLog().calls.push_back("delete#" + std::to_string(m_serial));
}

HRESULT FakeDevice::Record(const std::string& call) {
    FakeLog().calls.push_back(call + "#" + std::to_string(m_serial));
    return FakeLog().result;
}

HRESULT FakeDevice::DownloadEffect(DWORD id, LPDWORD out, LPCDIEFFECT eff, DWORD flags) {
    return Record("download(" + Args({id, P(out), P(eff), flags}) + ")");
}
HRESULT FakeDevice::DestroyEffect(DWORD e) { return Record("destroy(" + Args({e}) + ")"); }
HRESULT FakeDevice::GetEffectStatus(DWORD e, LPDWORD s) { return Record("status(" + Args({e, P(s)}) + ")"); }
HRESULT FakeDevice::StartEffect(DWORD e, DWORD m, DWORD c) { return Record("start(" + Args({e, m, c}) + ")"); }
HRESULT FakeDevice::StopEffect(DWORD e) { return Record("stop(" + Args({e}) + ")"); }
HRESULT FakeDevice::Escape(DWORD e, LPDIEFFESCAPE esc) { return Record("escape(" + Args({e, P(esc)}) + ")"); }
HRESULT FakeDevice::GetForceFeedbackState(LPDIDEVICESTATE s) { return Record("state(" + Args({P(s)}) + ")"); }
HRESULT FakeDevice::SendForceFeedbackCommand(DWORD c) { return Record("command(" + Args({c}) + ")"); }
HRESULT FakeDevice::SetGain(DWORD g) { return Record("gain(" + Args({g}) + ")"); }
HRESULT FakeDevice::SetSetting(SVJOYFORCEPARAM* p) { return Record("setparam(" + Args({p->dwIndex}) + ")"); }
HRESULT FakeDevice::GetSetting(SVJOYFORCEPARAM* p) { return Record("getparam(" + Args({p->dwIndex}) + ")"); }
HRESULT FakeDevice::Open(DWORD id) { return Record("open(" + Args({id}) + ")"); }
HRESULT FakeDevice::Close() { return Record("close()"); }

ScopedFakeDevices::ScopedFakeDevices() : m_previous(SetDeviceMakerForTesting(&MakeFake)) {
    FakeLog() = {};
    g_serial = 0;
}
ScopedFakeDevices::~ScopedFakeDevices() { SetDeviceMakerForTesting(m_previous); }
