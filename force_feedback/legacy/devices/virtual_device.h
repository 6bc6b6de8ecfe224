// A virtual device: the object behind one open joystick ID.
//
// Role: owns the effect table (64 slots, DirectInput handles 1..64), the
// device state word, the gain, the CInput and the settings object, and carries
// out DirectInput's commands on them; families add the simulation thread and
// the report formats. Owner: the driver's slot for the joystick ID.
// Calling threads: any application thread (through CFFDrv) and the device's
// simulation thread. Lock: the device mutex guards the effect table, the
// gain and the CInput; every operation takes it itself (never recursively).
// The state word is also read outside the mutex on the implicit
// continue/actuators-on path, so it is atomic. Its simulation thread sees it
// only as a CSimThread::Port.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "com_abi.h"
#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/settings/setting_fields.h"
#include "force_feedback/legacy/sim/sim_thread.h"
#include "platform/hid.h"

class CEffect;
class CGlobalData;
class CInput;

// DIGFFS_EMPTY | DIGFFS_STOPPED | DIGFFS_ACTUATORSOFF | DIGFFS_POWERON.
inline constexpr DWORD kInitialDeviceState = 0x63;
inline constexpr DWORD kFullGain = 10000;
inline constexpr LONG kNoStatusValue = -1;

// The escape commands and their in-buffer layouts.
inline constexpr DWORD kEscapeSetValues = 0;
inline constexpr DWORD kEscapeSetStatus = 1;
inline constexpr DWORD kEscapeSendFloats = 2;
inline constexpr DWORD kEscapeReadBytes = 3;
inline constexpr DWORD kEscapeVersion = 1;
inline constexpr DWORD kEscapeSetValuesSize = 20;
inline constexpr DWORD kEscapeSetStatusSize = 12;
inline constexpr DWORD kEscapeSendFloatsMinSize = 16;
inline constexpr DWORD kEscapeReadBytesSize = 8;
inline constexpr DWORD kEscapeReadBytesOutSize = 2;
inline constexpr DWORD kEscapeSelectorOffset = 8;
inline constexpr DWORD kEscapeFloatCountOffset = 9;
inline constexpr DWORD kEscapeFloatsOffset = 12;

// Role: hears the input reports of one device as its simulation thread reads
// them (the call recorder). Owner: whoever hands it to SetInputSink, and it
// outlives that hand-over. Calling thread: the simulation thread; it must not
// block or wait. Lock: none is held.
class IInputSink {
public:
    virtual void InputReport(const BYTE* report, unsigned length) = 0;

protected:
    ~IInputSink() = default;
};

class CVDevice : public CSimThread::Port {
public:
    CVDevice();
    // The most derived class has stopped the device's activity already (see
    // EndActivity); then the CInput and every effect go under the mutex,
    // then the settings.
    virtual ~CVDevice();
    CVDevice(const CVDevice&) = delete;
    CVDevice& operator=(const CVDevice&) = delete;

    // E_NOTIMPL here; families run DownloadEffectFrame with their class.
    virtual HRESULT DownloadEffect(DWORD dwEffectId, LPDWORD pdwEffect, LPCDIEFFECT peff, DWORD dwFlags);
    // S_OK, also for an empty slot or a handle out of range.
    virtual HRESULT DestroyEffect(DWORD dwEffect);
    // S_OK with 1 (playing) or 0; E_INVALIDARG for an empty slot.
    virtual HRESULT GetEffectStatus(DWORD dwEffect, LPDWORD pdwStatus);
    // Unpauses and switches actuators on first; the effect's own result, or
    // E_INVALIDARG for an empty slot.
    virtual HRESULT StartEffect(DWORD dwEffect, DWORD dwMode, DWORD dwCount);
    virtual HRESULT StopEffect(DWORD dwEffect);
    // E_POINTER for a null escape, E_FAIL for a command above 3, S_FALSE for
    // a malformed in-buffer.
    virtual HRESULT Escape(DWORD dwEffect, LPDIEFFESCAPE pesc);
    // E_INVALIDARG when dwSize is below 12 (unless force feedback is off).
    virtual HRESULT GetForceFeedbackState(LPDIDEVICESTATE pds);
    // One DISFFC_* value; E_NOTIMPL for anything else, combinations included.
    virtual HRESULT SendForceFeedbackCommand(DWORD dwCommand);
    virtual HRESULT SetGain(DWORD dwGain);
    // Settings access for the legacy settings interface; devices without a
    // settings record to offer refuse it.
    virtual HRESULT SetSetting(SVJOYFORCEPARAM*) { return E_NOTIMPL; }
    virtual HRESULT GetSetting(SVJOYFORCEPARAM*) { return E_NOTIMPL; }
    // E_OUTOFMEMORY without a CInput, else CInput's result.
    virtual HRESULT Open(DWORD joystickId);
    virtual HRESULT Close();
    virtual bool SettingsChanged();
    virtual HRESULT RefreshSettings() { return E_NOTIMPL; }
    // First free slot, or -1.
    virtual LONG FindFreeSlot();
    virtual HRESULT UpdateDevice() { return S_OK; }
    // No bounds check: callers pass 0..63.
    CEffect* GetEffect(DWORD slot) override;
    platform::hid::File GetHidHandle() override;
    LONG MapForce(LONG force) override;
    virtual CGlobalData* GetGlobalData() { return m_settings.get(); }
    virtual void GetCalibration(DWORD out[6]);
    virtual void GetRawCalibration(DWORD out[6]);
    virtual std::uint16_t GetInputReportLength();
    virtual std::uint16_t GetOutputReportLength();
    BYTE GetReportId() override;
    virtual void GetDeviceByteRange(BYTE* lower, BYTE* upper);
    virtual DWORD GetButtons(const BYTE* report, ULONG length);
    virtual ULONG GetAxisValue(int axis, const BYTE* report, ULONG length);
    virtual HRESULT EscapeSetValues(DWORD, DWORD, DWORD) { return E_FAIL; }
    virtual LONG SetStatusValue(LONG value);
    virtual bool EscapeReadBytes(BYTE*) { return false; }
    virtual bool EscapeSendFloats(BYTE, LPDIEFFESCAPE, const std::vector<float>&) { return false; }

    // Who hears the input reports (null: nobody). Clearing returns only once
    // no report is being handed to the sink any more, so it may then go.
    void SetInputSink(IInputSink* sink);

    // The device mutex, for the simulation thread's pass.
    std::mutex& Mutex() override { return m_mutex; }
    DWORD DeviceState() const { return m_state.load(); }
    DWORD Gain() const { return m_gain; }

protected:
    // The first step of destruction, run by the destructor of every concrete
    // device class while the object is still whole: ends what runs on its own
    // (the simulation thread, and what the family does on the way out), so
    // that no thread calls into a device whose destruction has begun. A
    // device deleted without Close gets no Close semantics here: only what
    // its thread writes as it ends. Runs once; the family destructors call it
    // too, for family classes made without a model.
    void EndActivity();
    // The family's part of EndActivity.
    virtual void StopActivity() {}

    // The shared DownloadEffect of the families: `family` picks the classes.
    HRESULT DownloadEffectFrame(EffectFamily family, DWORD typeIndex, LPDWORD pdwEffect, LPCDIEFFECT peff,
                                DWORD flags);
    // Families that run effects on a thread attach each new effect to it.
    virtual void AttachEffect(CEffect*) {}
    // Per-model constructors: binds and loads the model's settings and marks
    // the device up to date with them.
    void BindSettings(std::unique_ptr<CGlobalData> settings, DWORD deviceId);
    bool ForceFeedbackEnabled() const;
    // Slot of a handle, or -1 for 0 and anything past 64.
    static LONG SlotOf(DWORD handle);
    // Stops and deletes every effect; under the mutex.
    void DeleteAllEffects();
    // Marks the device up to date with its settings' current change stamp.
    void TakeSettingsStamp();
    // Null when the CInput could not be made.
    CInput* Input() const { return m_input.get(); }
    LONG StatusValue() const { return m_statusValue; }
    // The shift-indicator level last sent (Prazen wheel); under the mutex.
    DWORD IndicatorLevel() const { return m_indicatorLevel; }
    void SetIndicatorLevel(DWORD level) { m_indicatorLevel = level; }

private:
    // CSimThread::Port, over the operations above.
    ReportLengths GetReportLengths() override;
    ByteRange GetByteRange() override;
    const CGlobalData* GetSettingsView() override { return GetGlobalData(); }
    void RefreshChangedSettings() override;
    CalibrationRecord GetCalibrationRecord(bool raw) override;
    AxisPair ReadPosition(const BYTE* report, unsigned length) override;
    DWORD ReadButtons(const BYTE* report, unsigned length) override { return GetButtons(report, length); }
    void OnInputRead(const BYTE* report, unsigned length) override;

    HRESULT EscapeLocked(LPDIEFFESCAPE pesc);
    HRESULT EscapeSendFloatsLocked(LPDIEFFESCAPE pesc);
    void UnpauseAndSwitchOn(bool switchOn);

    DWORD m_indicatorLevel = 0;
    std::unique_ptr<CInput> m_input;
    std::unique_ptr<CEffect> m_effects[kEffectSlots];
    DWORD m_gain = kFullGain;
    std::atomic<DWORD> m_state{kInitialDeviceState};
    std::atomic<IInputSink*> m_inputSink{nullptr};
    // Reports being handed to the sink right now.
    std::atomic<int> m_inputSinkBusy{0};
    std::unique_ptr<CGlobalData> m_settings;
    DWORD m_settingsStamp = 0;
    LONG m_statusValue = kNoStatusValue;
    std::mutex m_mutex;
    bool m_activityEnded = false;
};
