#include "force_feedback/legacy/devices/virtual_device.h"

#include <cstring>
#include <new>
#include <thread>

#include "force_feedback/legacy/module_count.h"
#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/input/input.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "platform/module.h"
#include "platform/sim_clock.h"

namespace {
constexpr DWORD kStateSize = 12;
constexpr DWORD kLoadPercent = 100;
constexpr DWORD kLoadShift = 6;  // 64 slots
constexpr DWORD kEscapeMaxCommand = 3;

DWORD ReadWord(const void* buffer, DWORD offset) {
    DWORD value = 0;
    std::memcpy(&value, static_cast<const BYTE*>(buffer) + offset, sizeof value);
    return value;
}

// Every escape in-buffer starts with its own size and version 1.
bool HeaderIs(const DIEFFESCAPE& esc, DWORD size, bool exact) {
    if (exact ? esc.cbInBuffer != size : esc.cbInBuffer < size) return false;
    const DWORD own = ReadWord(esc.lpvInBuffer, 0);
    if (exact ? own != size : own < size) return false;
    return ReadWord(esc.lpvInBuffer, 4) == kEscapeVersion;
}
}  // namespace

CVDevice::CVDevice() {
    ModuleIncrement();
    m_input.reset(new (std::nothrow) CInput(platform::ModuleHandle()));
}

CVDevice::~CVDevice() {
    {
        std::lock_guard lock(m_mutex);
        m_input.reset();
        // Deleted without a stop: the thread they would report to is gone.
        for (auto& effect : m_effects) effect.reset();
    }
    m_settings.reset();
    ModuleDecrement();
}

void CVDevice::EndActivity() {
    if (m_activityEnded) return;
    m_activityEnded = true;
    StopActivity();
}

void CVDevice::BindSettings(std::unique_ptr<CGlobalData> settings, DWORD deviceId) {
    m_settings = std::move(settings);
    if (!m_settings) return;
    m_settings->Initialize(deviceId);
    m_settings->LoadFromRegistry();
    const DWORD now = platform::BracketedSimTimeMs();
    m_settings->SetChangeStamp(now);
    m_settingsStamp = now;
}

void CVDevice::TakeSettingsStamp() {
    if (CGlobalData* s = GetGlobalData()) m_settingsStamp = s->GetChangeStamp();
}

bool CVDevice::ForceFeedbackEnabled() const { return !m_settings || m_settings->GetForceEnabled() != 0; }

LONG CVDevice::SlotOf(DWORD handle) {
    return (handle == 0 || handle > kEffectSlots) ? -1 : static_cast<LONG>(handle - 1);
}

void CVDevice::DeleteAllEffects() {
    for (auto& effect : m_effects) {
        if (effect) effect->Stop();
        effect.reset();
    }
}

void CVDevice::UnpauseAndSwitchOn(bool switchOn) {
    // Both commands take the mutex themselves, so they run before it is held.
    const DWORD state = m_state.load();
    if (state & DIGFFS_PAUSED) SendForceFeedbackCommand(DISFFC_CONTINUE);
    if (switchOn && (state & DIGFFS_ACTUATORSOFF)) SendForceFeedbackCommand(DISFFC_SETACTUATORSON);
}

HRESULT CVDevice::DownloadEffect(DWORD, LPDWORD, LPCDIEFFECT, DWORD) { return E_NOTIMPL; }

HRESULT CVDevice::DownloadEffectFrame(EffectFamily family, DWORD typeIndex, LPDWORD pdwEffect, LPCDIEFFECT peff,
                                      DWORD flags) {
    if (!ForceFeedbackEnabled()) return S_OK;
    if (flags & DIEP_NODOWNLOAD) return S_OK;
    if (pdwEffect == nullptr) return E_POINTER;
    UnpauseAndSwitchOn((flags & DIEP_START) != 0);
    std::lock_guard lock(m_mutex);
    if (*pdwEffect != 0) {
        const LONG slot = SlotOf(*pdwEffect);
        if (slot < 0 || !m_effects[slot]) return S_OK;
        return m_effects[slot]->SetParameters(flags, peff);
    }
    const LONG slot = FindFreeSlot();
    if (slot < 0) return DIERR_DEVICEFULL;
    // The handle goes back before the type is examined, so a refused type
    // still leaves the caller holding the free slot's handle; intentional, keep.
    *pdwEffect = static_cast<DWORD>(slot) + 1;
    std::unique_ptr<CEffect> effect = CreateEffect(family, typeIndex);
    if (!effect) return E_INVALIDARG;
    CEffect* raw = effect.get();
    m_effects[slot] = std::move(effect);
    // Conditions read their group's strength through the thread they are
    // attached to; forces are scaled by the simulation pass, not per effect.
    AttachEffect(raw);
    // A new download succeeds whatever the parameters said, an update
    // reports them; intentional, keep.
    raw->SetParameters(flags, peff);
    return S_OK;
}

HRESULT CVDevice::DestroyEffect(DWORD dwEffect) {
    if (!ForceFeedbackEnabled()) return S_OK;
    std::lock_guard lock(m_mutex);
    const LONG slot = SlotOf(dwEffect);
    if (slot >= 0 && m_effects[slot]) {
        m_effects[slot]->Stop();
        m_effects[slot].reset();
    }
    return S_OK;
}

HRESULT CVDevice::GetEffectStatus(DWORD dwEffect, LPDWORD pdwStatus) {
    if (!ForceFeedbackEnabled()) {
        if (pdwStatus) *pdwStatus = 0;
        return S_OK;
    }
    std::lock_guard lock(m_mutex);
    const LONG slot = SlotOf(dwEffect);
    if (slot < 0 || !m_effects[slot]) return E_INVALIDARG;
    if (pdwStatus == nullptr) return E_POINTER;
    *pdwStatus = m_effects[slot]->IsPlaying() ? 1 : 0;
    return S_OK;
}

HRESULT CVDevice::StartEffect(DWORD dwEffect, DWORD dwMode, DWORD dwCount) {
    if (!ForceFeedbackEnabled()) return S_OK;
    UnpauseAndSwitchOn(true);
    std::lock_guard lock(m_mutex);
    const LONG slot = SlotOf(dwEffect);
    if (slot < 0 || !m_effects[slot]) return E_INVALIDARG;
    return m_effects[slot]->Start(dwMode, dwCount);
}

HRESULT CVDevice::StopEffect(DWORD dwEffect) {
    if (!ForceFeedbackEnabled()) return S_OK;
    std::lock_guard lock(m_mutex);
    const LONG slot = SlotOf(dwEffect);
    if (slot < 0 || !m_effects[slot]) return E_INVALIDARG;
    return m_effects[slot]->Stop();
}

HRESULT CVDevice::GetForceFeedbackState(LPDIDEVICESTATE pds) {
    if (pds == nullptr) return E_POINTER;
    if (m_settings && !ForceFeedbackEnabled()) {
        pds->dwState = DIGFFS_ACTUATORSOFF;
        pds->dwLoad = 0;
        return S_OK;
    }
    std::lock_guard lock(m_mutex);
    if (pds->dwSize < kStateSize) return E_INVALIDARG;
    pds->dwSize = kStateSize;
    DWORD occupied = 0;
    bool playing = false;
    for (const auto& effect : m_effects) {
        if (!effect) continue;
        ++occupied;
        playing = playing || effect->IsPlaying();
    }
    DWORD state = m_state.load();
    if (playing && !(state & DIGFFS_PAUSED)) state &= ~DIGFFS_STOPPED;
    else state |= DIGFFS_STOPPED;
    if (occupied != 0) state &= ~DIGFFS_EMPTY;
    else state |= DIGFFS_EMPTY;
    pds->dwState = state;
    pds->dwLoad = (occupied * kLoadPercent) >> kLoadShift;
    return S_OK;
}

HRESULT CVDevice::SendForceFeedbackCommand(DWORD dwCommand) {
    std::lock_guard lock(m_mutex);
    switch (dwCommand) {
        case DISFFC_RESET:
            DeleteAllEffects();
            m_state.store(kInitialDeviceState);
            break;
        case DISFFC_STOPALL:
            for (auto& effect : m_effects) {
                if (effect) effect->Stop();
            }
            m_state.fetch_or(DIGFFS_STOPPED);
            break;
        case DISFFC_PAUSE: m_state.fetch_or(DIGFFS_PAUSED); break;
        case DISFFC_CONTINUE: m_state.fetch_and(~DIGFFS_PAUSED); break;
        case DISFFC_SETACTUATORSON:
            // Only a device with its model's settings may switch its
            // actuators on; the bare classes refuse silently. Intentional, keep.
            if (m_settings && ForceFeedbackEnabled()) {
                m_state.store((m_state.load() & ~DIGFFS_ACTUATORSOFF) | DIGFFS_ACTUATORSON);
            }
            break;
        case DISFFC_SETACTUATORSOFF:
            m_state.store((m_state.load() & ~DIGFFS_ACTUATORSON) | DIGFFS_ACTUATORSOFF);
            break;
        default: return E_NOTIMPL;
    }
    UpdateDevice();
    return S_OK;
}

HRESULT CVDevice::SetGain(DWORD dwGain) {
    if (!ForceFeedbackEnabled()) return S_OK;
    std::lock_guard lock(m_mutex);
    m_gain = dwGain;
    if (m_settings) m_settings->SetApplicationGain(dwGain);
    UpdateDevice();
    return S_OK;
}

HRESULT CVDevice::Escape(DWORD, LPDIEFFESCAPE pesc) {
    std::lock_guard lock(m_mutex);
    if (pesc == nullptr) return E_POINTER;
    if (pesc->dwCommand > kEscapeMaxCommand) return E_FAIL;
    return EscapeLocked(pesc);
}

HRESULT CVDevice::EscapeLocked(LPDIEFFESCAPE pesc) {
    // A malformed in-buffer answers S_FALSE rather than an error; intentional, keep.
    const bool hasIn = pesc->lpvInBuffer != nullptr;
    switch (pesc->dwCommand) {
        case kEscapeSetValues:
            if (!hasIn || !HeaderIs(*pesc, kEscapeSetValuesSize, true)) return S_FALSE;
            return EscapeSetValues(ReadWord(pesc->lpvInBuffer, 8), ReadWord(pesc->lpvInBuffer, 12),
                                   ReadWord(pesc->lpvInBuffer, 16));
        case kEscapeSetStatus:
            if (!hasIn) return E_POINTER;
            if (!HeaderIs(*pesc, kEscapeSetStatusSize, true)) return S_FALSE;
            SetStatusValue(static_cast<LONG>(ReadWord(pesc->lpvInBuffer, 8)));
            // The caller gets the address of the device's own value, not a
            // copy; in-process callers read it through the pointer. Intentional, keep.
            pesc->lpvOutBuffer = &m_statusValue;
            pesc->cbOutBuffer = sizeof m_statusValue;
            return S_OK;
        case kEscapeSendFloats: return EscapeSendFloatsLocked(pesc);
        default:
            if (!hasIn || pesc->lpvOutBuffer == nullptr) return E_POINTER;
            if (!HeaderIs(*pesc, kEscapeReadBytesSize, true)) return S_FALSE;
            if (pesc->cbOutBuffer != kEscapeReadBytesOutSize) return S_FALSE;
            return EscapeReadBytes(static_cast<BYTE*>(pesc->lpvOutBuffer)) ? S_OK : S_FALSE;
    }
}

HRESULT CVDevice::EscapeSendFloatsLocked(LPDIEFFESCAPE pesc) {
    if (pesc->lpvInBuffer == nullptr || !HeaderIs(*pesc, kEscapeSendFloatsMinSize, false)) return S_FALSE;
    const BYTE* in = static_cast<const BYTE*>(pesc->lpvInBuffer);
    const DWORD count = in[kEscapeFloatCountOffset];
    // A count that runs past the buffer is malformed, not read past.
    if (kEscapeFloatsOffset + count * sizeof(float) > pesc->cbInBuffer) return S_FALSE;
    std::vector<float> floats(count);
    if (count != 0) std::memcpy(floats.data(), in + kEscapeFloatsOffset, count * sizeof(float));
    return EscapeSendFloats(in[kEscapeSelectorOffset], pesc, floats) ? S_OK : S_FALSE;
}

HRESULT CVDevice::Open(DWORD joystickId) {
    std::lock_guard lock(m_mutex);
    if (!m_input) return E_OUTOFMEMORY;
    return m_input->Open(joystickId);
}

HRESULT CVDevice::Close() { return S_OK; }

bool CVDevice::SettingsChanged() { return m_settings && m_settings->GetChangeStamp() != m_settingsStamp; }

LONG CVDevice::FindFreeSlot() {
    for (DWORD i = 0; i < kEffectSlots; ++i) {
        if (!m_effects[i]) return static_cast<LONG>(i);
    }
    return -1;
}

CEffect* CVDevice::GetEffect(DWORD slot) { return m_effects[slot].get(); }

platform::hid::File CVDevice::GetHidHandle() {
    return m_input ? m_input->GetHidHandle() : platform::hid::InvalidFile();
}

LONG CVDevice::MapForce(LONG force) { return m_settings ? m_settings->CurveLookup(force) : force; }

void CVDevice::GetCalibration(DWORD out[6]) {
    if (m_input) m_input->GetCalibration(out);
    else std::memset(out, 0, 6 * sizeof(DWORD));
}

void CVDevice::GetRawCalibration(DWORD out[6]) {
    if (m_input) m_input->GetRawCalibration(out);
    else std::memset(out, 0, 6 * sizeof(DWORD));
}

std::uint16_t CVDevice::GetInputReportLength() { return m_input ? m_input->GetInputReportLength() : 0; }
std::uint16_t CVDevice::GetOutputReportLength() { return m_input ? m_input->GetOutputReportLength() : 0; }
BYTE CVDevice::GetReportId() { return m_settings ? m_settings->GetReportId() : 0; }

void CVDevice::GetDeviceByteRange(BYTE* lower, BYTE* upper) {
    if (m_settings) {
        m_settings->GetDeviceByteRange(lower, upper);
        return;
    }
    *lower = 0;
    *upper = 0xFF;
}

DWORD CVDevice::GetButtons(const BYTE* report, ULONG length) {
    return m_input ? m_input->GetButtons(report, length) : 0;
}

ULONG CVDevice::GetAxisValue(int axis, const BYTE* report, ULONG length) {
    return m_input ? m_input->GetAxisValue(axis, report, length) : 0;
}

CSimThread::Port::ReportLengths CVDevice::GetReportLengths() {
    return {GetInputReportLength(), GetOutputReportLength()};
}

ByteRange CVDevice::GetByteRange() {
    ByteRange range;
    GetDeviceByteRange(&range.lowest, &range.highest);
    return range;
}

void CVDevice::RefreshChangedSettings() {
    if (SettingsChanged()) RefreshSettings();
}

CalibrationRecord CVDevice::GetCalibrationRecord(bool raw) {
    DWORD values[6] = {};
    if (raw) GetRawCalibration(values);
    else GetCalibration(values);
    CalibrationRecord record{};
    for (int i = 0; i < 2; ++i) {
        record.axes[i] = {static_cast<LONG>(values[3 * i]), static_cast<LONG>(values[3 * i + 1]),
                          static_cast<LONG>(values[3 * i + 2])};
    }
    return record;
}

AxisPair CVDevice::ReadPosition(const BYTE* report, unsigned length) {
    return {static_cast<LONG>(GetAxisValue(0, report, length)), static_cast<LONG>(GetAxisValue(1, report, length))};
}

void CVDevice::SetInputSink(IInputSink* sink) {
    m_inputSink.store(sink);
    // The simulation thread holds no lock while it hands a report over and
    // never waits inside: the hand-over in flight ends on its own.
    while (sink == nullptr && m_inputSinkBusy.load() != 0) std::this_thread::yield();
}

void CVDevice::OnInputRead(const BYTE* report, unsigned length) {
    if (m_inputSink.load(std::memory_order_relaxed) == nullptr) return;  // not recording: nothing more
    m_inputSinkBusy.fetch_add(1);
    if (IInputSink* sink = m_inputSink.load()) sink->InputReport(report, length);
    m_inputSinkBusy.fetch_sub(1);
}

LONG CVDevice::SetStatusValue(LONG value) {
    m_statusValue = value;
    return value;
}
