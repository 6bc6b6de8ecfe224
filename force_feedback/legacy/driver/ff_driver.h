// The IDirectInputEffectDriver object DirectInput holds for a force-feedback
// device. Thin by design: it keeps one virtual device per external joystick
// ID, answers GetVersions itself and forwards everything else to the device
// of that ID. Called from any DirectInput thread; the slot table is not
// locked because DirectInput serialises calls for one ID.
#pragma once

#include <atomic>
#include <memory>

#include "com_abi.h"
#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/driver/call_recorder.h"
#include "force_feedback/legacy/model_table.h"

class CFFDrv : public IDirectInputEffectDriver {
public:
    static constexpr DWORD kSlotCount = 16;

    CFFDrv();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // Base: S_OK and nothing else. Model drivers open their device here.
    HRESULT STDMETHODCALLTYPE DeviceID(DWORD dwDirectInputVersion, DWORD dwExternalID, DWORD fBegin,
                                       DWORD dwInternalID, LPVOID lpReserved) override;
    // E_INVALIDARG when dwSize < 16; otherwise fills the record (dwSize
    // becomes 16 even when the caller's was larger).
    HRESULT STDMETHODCALLTYPE GetVersions(LPDIDRIVERVERSIONS pvers) override;

    // Forwarded to the device of dwID; E_INVALIDARG when there is none.
    HRESULT STDMETHODCALLTYPE Escape(DWORD dwID, DWORD dwEffect, LPDIEFFESCAPE pesc) override;
    HRESULT STDMETHODCALLTYPE SetGain(DWORD dwID, DWORD dwGain) override;
    HRESULT STDMETHODCALLTYPE SendForceFeedbackCommand(DWORD dwID, DWORD dwCommand) override;
    HRESULT STDMETHODCALLTYPE GetForceFeedbackState(DWORD dwID, LPDIDEVICESTATE pds) override;
    HRESULT STDMETHODCALLTYPE DownloadEffect(DWORD dwID, DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff,
                                             DWORD dwFlags) override;
    HRESULT STDMETHODCALLTYPE DestroyEffect(DWORD dwID, DWORD dwEffect) override;
    HRESULT STDMETHODCALLTYPE StartEffect(DWORD dwID, DWORD dwEffect, DWORD dwMode, DWORD dwCount) override;
    HRESULT STDMETHODCALLTYPE StopEffect(DWORD dwID, DWORD dwEffect) override;
    HRESULT STDMETHODCALLTYPE GetEffectStatus(DWORD dwID, DWORD dwEffect, LPDWORD pdwStatus) override;

    // Closes and deletes every open device, lowest ID first.
    virtual ~CFFDrv();
    // Called once by the class factory before the first QueryInterface.
    virtual HRESULT Initialize();

protected:
    // The device for a forwarded call, or null (empty slot or ID out of range).
    CVDevice* DeviceAt(DWORD id) const;

    std::atomic<ULONG> m_refCount{0};
    CVDevice* m_devices[kSlotCount] = {};
    // One per open device while recording is on (README: "Recording what a
    // game sends"); empty otherwise, and then a call costs one null test.
    std::unique_ptr<CCallRecorder> m_recorders[kSlotCount];
};

// A model driver: DeviceID creates the device class of its model.
class CFFDrvModel : public CFFDrv {
public:
    explicit CFFDrvModel(Model deviceModel) : m_deviceModel(deviceModel) {}

    // Begin replaces any device in the slot (deleting the old one without
    // closing it, unlike end: intentional, keep) and opens the new one;
    // the open result is not reported. IDs of 16 and above and an end call on
    // an empty slot have no path in DirectInput and return E_INVALIDARG; a
    // device that cannot be allocated returns E_OUTOFMEMORY.
    HRESULT STDMETHODCALLTYPE DeviceID(DWORD dwDirectInputVersion, DWORD dwExternalID, DWORD fBegin,
                                       DWORD dwInternalID, LPVOID lpReserved) override;

    Model DeviceModel() const { return m_deviceModel; }

private:
    const Model m_deviceModel;
};

// The driver of a model's own class: its DeviceID makes the model's device.
template <Model M>
class CFFDrvSV final : public CFFDrvModel {
public:
    CFFDrvSV() : CFFDrvModel(M) {}
};

// The legacy-wheel class makes the same device class as the Prazen's own
// driver: intentional, keep.
class CFFDrvLegacyWheel final : public CFFDrvModel {
public:
    CFFDrvLegacyWheel() : CFFDrvModel(Model::Prazen) {}
};

// The drivers' names; the factories make CFFDrvSV<model> from the model
// table whether or not a name is given here.
using CFFDrvSVNimbal = CFFDrvSV<Model::Oskra>;  // the Nimbal driver runs the Oskra device: intentional
using CFFDrvSVDastrin = CFFDrvSV<Model::Dastrin>;
using CFFDrvSVTollund = CFFDrvSV<Model::Tollund>;
using CFFDrvSVTavrin = CFFDrvSV<Model::Tavrin>;
using CFFDrvSVDrovik = CFFDrvSV<Model::Drovik>;
using CFFDrvSVLumisk = CFFDrvSV<Model::Lumisk>;
using CFFDrvSVQuintar = CFFDrvSV<Model::Quintar>;
using CFFDrvSVRavik = CFFDrvSV<Model::Ravik>;
using CFFDrvSVZorvel = CFFDrvSV<Model::Zorvel>;
using CFFDrvSVVesk = CFFDrvSV<Model::Vesk>;
using CFFDrvSVBrennick = CFFDrvSV<Model::Brennick>;
using CFFDrvSVPelvar = CFFDrvSV<Model::Pelvar>;
using CFFDrvSVFerolla = CFFDrvSV<Model::Ferolla>;
using CFFDrvSVCorrin = CFFDrvSV<Model::Corrin>;
using CFFDrvSVWendlow = CFFDrvSV<Model::Wendlow>;
using CFFDrvSVPrazen = CFFDrvSV<Model::Prazen>;
using CFFDrvSVKarvona = CFFDrvSV<Model::Karvona>;
