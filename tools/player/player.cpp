#include "tools/player/player.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <thread>

#include "com_abi.h"
#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/driver/joy_force_api.h"
#include "platform/virtual_hid_api.h"
#include "tools/module_host/driver_module.h"

namespace ffplay {
namespace {

constexpr DWORD kDirectInputVersion = 0x0800;
constexpr std::uint32_t kClockStartMs = 1000;
constexpr std::uint16_t kReportLength = 65;
// The Karvona-style stick's one feature report is the 2-byte release
// (report ID and value); the HID stack refuses a SetFeature of any other length.
constexpr std::uint16_t kKarvonaFeatureReportLength = 2;
constexpr DWORD kEscapeVersion = 1;
constexpr std::uint32_t kInputEveryMs = 4;  // about the rate a real device reports at
constexpr size_t kMaxReport = 256;

FfdrvVirtualDevice DeviceOf(Model model, DWORD joystickId) {
    FfdrvVirtualDevice d = PlausibleDevice(joystickId, /*containerSeed=*/0xC0);
    d.productId = Product(model).productId;
    d.featureReportLength =
        FamilyOf(model) == EmulatedFamily::kKarvona ? kKarvonaFeatureReportLength : kReportLength;
    return d;
}

std::string Hex(const std::uint8_t* bytes, size_t n) {
    size_t used = n;
    while (used > 2 && bytes[used - 1] == 0) --used;  // trailing zeros say nothing
    std::string text;
    char b[4];
    for (size_t i = 0; i < used; ++i) {
        std::snprintf(b, sizeof b, "%02X ", bytes[i]);
        text += b;
    }
    if (used < n) text += "... ";
    return text + "(" + std::to_string(n) + " bytes)";
}

DWORD Micro(DWORD ms) { return ms == kInfiniteMs ? INFINITE : ms * 1000; }

// The type-specific block and DIEFFECT of a desc; both point into `storage`.
struct EffectBlocks {
    DIEFFECT effect{};
    DIENVELOPE envelope{};
    std::vector<DWORD> axes;
    std::vector<LONG> directions;
    std::vector<std::uint8_t> typeSpecific;
    DICUSTOMFORCE custom{};
    std::vector<LONG> samples;
    RawStorage raw;
};

template <typename T>
void PutBlock(std::vector<std::uint8_t>* out, const T& block) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&block);
    out->insert(out->end(), bytes, bytes + sizeof block);
}

void FillTypeSpecific(const EffectSpec& s, EffectBlocks* b) {
    if (s.typeIndex == 0) PutBlock(&b->typeSpecific, s.constant);
    else if (s.typeIndex == 1) PutBlock(&b->typeSpecific, s.ramp);
    else if (s.typeIndex <= 6) {
        DIPERIODIC p = s.periodic;
        p.dwPeriod = Micro(p.dwPeriod);
        PutBlock(&b->typeSpecific, p);
    } else if (s.typeIndex <= 10) {
        for (const DICONDITION& c : s.conditions) PutBlock(&b->typeSpecific, c);
    } else {
        b->samples = s.customSamples;
        b->custom = {s.customChannels, Micro(s.customPeriodMs), static_cast<DWORD>(b->samples.size()), b->samples.data()};
        PutBlock(&b->typeSpecific, b->custom);
    }
}

void BuildEffect(const EffectSpec& s, EffectBlocks* b) {
    b->axes = s.axes;
    b->directions = s.directions;
    b->directions.resize(b->axes.size(), 0);
    b->envelope = {sizeof(DIENVELOPE), s.envelope.dwAttackLevel, Micro(s.envelope.dwAttackTime),
                   s.envelope.dwFadeLevel, Micro(s.envelope.dwFadeTime)};
    FillTypeSpecific(s, b);
    DIEFFECT& e = b->effect;
    e.dwSize = sizeof(DIEFFECT);
    e.dwFlags = DIEFF_OBJECTIDS | s.directionFlag;
    e.dwDuration = Micro(s.durationMs);
    e.dwSamplePeriod = Micro(s.samplePeriodMs);
    e.dwGain = s.gain;
    e.dwTriggerButton = s.triggerButton;
    e.dwTriggerRepeatInterval = Micro(s.triggerRepeatMs);
    e.cAxes = static_cast<DWORD>(b->axes.size());
    e.rgdwAxes = b->axes.data();
    e.rglDirection = b->directions.data();
    e.lpEnvelope = s.hasEnvelope ? &b->envelope : nullptr;
    e.cbTypeSpecificParams = static_cast<DWORD>(b->typeSpecific.size());
    e.lpvTypeSpecificParams = b->typeSpecific.data();
    e.dwStartDelay = Micro(s.startDelayMs);
    ApplyRawEffect(s, &e, &b->raw);
}

// The calls the player makes on its own, named as briefly as the steps:
// "DeviceID begin".
std::string CallLabel(const std::string& what) {
    std::string label = what.substr(0, what.find('('));
    if (what.find(", begin)") != std::string::npos) label += " begin";
    if (what.find(", end)") != std::string::npos) label += " end";
    return label;
}

std::string FlagsText(DWORD flags) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(flags));
    return text;
}

// Role: one play of one scenario. Owner: Play(). Calling thread: the
// caller's; the driver's threads run inside clock advances. No lock.
class Session {
public:
    Session(const Scenario& scenario, const PlayOptions& options)
        : m_scenario(scenario), m_options(options), m_emulator(FamilyOf(scenario.model)) {}
    PlayResult Run();

private:
    bool Open();
    void Close();
    void RunStep(const Step& step);
    void EffectStep(const Step& step);
    void DownloadStep(const Step& step);
    void EscapeStep(const Step& step);
    void SettingStep(const Step& step);
    void DisplaceStep(const Step& step);
    void InputStep(const Step& step);
    void Wait(DWORD ms);
    void WaitOutHeldLock();
    void RealtimeTick();
    void DrainReports(bool includeCurrentMs = false, std::uint32_t beforeMs = ~0u);
    void EmulateMs(std::uint32_t t);
    void SendInput();
    void Call(const Step* step, const std::string& what, HRESULT hr, const std::string& extra = "");
    std::uint32_t Now() const { return m_module->now() - m_start; }
    std::uint32_t ReportCount() const {
        return m_plugged ? static_cast<std::uint32_t>(std::max(0, m_module->reportCount(m_scenario.joystickId))) : 0;
    }
    void MarkCallStart() {
        m_callStart = Loaded() ? Now() : 0;
        m_reportsAtCallStart = ReportCount();
    }
    bool Loaded() const { return m_module && m_module->Loaded(); }
    // The exports a session uses; a module without them cannot be played.
    bool HasExports() const {
        const DriverModule& m = *m_module;
        return m.getClassObject && m.plug && m.unplug && m.setInput && m.reportCount && m.getReport && m.useVirtual &&
               m.useReal && m.now && m.advance;
    }
    void AddCause(const std::string& label) { m_causes.push_back({m_reportsAtCallStart, label}); }
    std::string TakeCauses(std::uint32_t reportIndex);
    void PinMotion(std::uint32_t t);

    const Scenario& m_scenario;
    PlayOptions m_options;
    CHardwareEmulator m_emulator;
    std::optional<DriverModule> m_module;
    PlayResult m_result;
    IDirectInputEffectDriver* m_driver = nullptr;
    ISVJoyForceAPI* m_settings = nullptr;
    // Looked up apart from the loader's exports: a module without it still plays.
    decltype(&FfdrvVirtualClockLockHeldUntil) m_lockHeldUntil = nullptr;
    decltype(&FfdrvVirtualSendInputReport) m_sendInputReport = nullptr;
    // A scenario with `input` statements (a recording) gives the device its
    // input: the emulated motion and buttons then stay off the device, so the
    // driver reads exactly the reports it read when it was recorded.
    bool m_recordedInput = false;
    bool m_plugged = false;
    std::uint32_t m_start = 0;
    std::uint32_t m_callStart = 0;
    std::uint32_t m_nextReport = 0;
    std::uint64_t m_buttons = 0;
    std::uint64_t m_sentButtons = ~0ull;
    std::int32_t m_sentX = -1, m_sentY = -1;
    std::map<std::string, DWORD> m_handles;
    // Calls and input changes not yet answered by a report, with the report
    // count when each was made: a report whose index reaches that count came
    // after the call.
    struct Cause {
        std::uint32_t reportsBefore;
        std::string label;
    };
    std::vector<Cause> m_causes;
    std::uint32_t m_reportsAtCallStart = 0;
};

constexpr size_t kMaxCausesNamed = 12;

std::string Session::TakeCauses(std::uint32_t reportIndex) {
    size_t taken = 0;
    while (taken < m_causes.size() && m_causes[taken].reportsBefore <= reportIndex) ++taken;
    std::string text;
    for (size_t i = 0; i < std::min(taken, kMaxCausesNamed); ++i) text += (i ? ", " : "") + m_causes[i].label;
    if (taken > kMaxCausesNamed) text += ", and " + std::to_string(taken - kMaxCausesNamed) + " more calls";
    m_causes.erase(m_causes.begin(), m_causes.begin() + static_cast<std::ptrdiff_t>(taken));
    return text;
}

// The line carries the time the call was made, so that the reports it
// caused (drained after it) follow it in time order.
void Session::Call(const Step* step, const std::string& what, HRESULT hr, const std::string& extra) {
    ++m_result.callCount;
    const std::int32_t* expected = step && step->expected ? &*step->expected : nullptr;
    const bool asExpected = expected ? hr == *expected : SUCCEEDED(hr);
    const std::string label = step ? StepLabel(*step) : CallLabel(what);
    AddCause(label);
    if (m_options.keepTrace) {
        CallMark mark;
        mark.timeMs = m_callStart;
        mark.line = step ? step->line : 0;
        mark.stepIndex = step ? static_cast<int>(step - m_scenario.steps.data()) : -1;
        if (step) {
            mark.kind = step->kind, mark.effect = step->effect;
            mark.starts = step->kind == StepKind::kStart ||
                          ((step->kind == StepKind::kDownload || step->kind == StepKind::kUpdate) &&
                           (step->paramFlags & DIEP_START));
        }
        mark.label = label;
        mark.function = what.substr(0, what.find('('));
        mark.result = ResultName(hr);
        mark.failed = !asExpected;
        m_result.calls.push_back(std::move(mark));
    }
    // A call may wake a driver thread (continue, a start on a paused
    // device); let it finish before the next call, so that which reports
    // came before which call is the same on every run.
    if (m_result.deviceOpened && !m_options.realtime) m_module->advance(0);
    char time[32];
    std::snprintf(time, sizeof time, "%7u ms  ", m_callStart);
    std::string line = std::string(time) + "CALL " + what + " -> " + ResultName(hr) + extra;
    if (step) line += "  (line " + std::to_string(step->line) + ")";
    if (expected && asExpected && FAILED(*expected)) {
        ++m_result.expectedRejections;
        line += "  as expected";
    } else if (!asExpected) {
        ++m_result.failedCalls;
        line += expected ? "  -- UNEXPECTED: the scenario expects " + ResultName(*expected) : "  -- FAILED";
        m_result.unexpected.push_back(
            (step ? m_scenario.file + ":" + std::to_string(step->line) + ": " : m_scenario.file + ": ") + what +
            " returned " + ResultName(hr) + (expected ? ", expected " + ResultName(*expected) : ""));
    }
    if (m_options.keepTrace) m_result.trace.push_back(line);
}

bool Session::Open() {
    m_module.emplace(m_options.modulePath);
    if (!m_module->Loaded() || !HasExports()) {
        const std::string why =
            m_module->Loaded() ? "the module lacks DllGetClassObject or the virtual-device functions" : m_module->Error();
        m_result.fatal = "cannot load " + m_options.modulePath + ": " + why;
        return false;
    }
    m_result.loaded = true;
    m_lockHeldUntil = reinterpret_cast<decltype(m_lockHeldUntil)>(m_module->Symbol("FfdrvVirtualClockLockHeldUntil"));
    m_sendInputReport = reinterpret_cast<decltype(m_sendInputReport)>(m_module->Symbol("FfdrvVirtualSendInputReport"));
    if (m_options.realtime ? m_module->useReal() : m_module->useVirtual(kClockStartMs)) {
        m_result.fatal = "the module has no virtual devices in this build";
        return false;
    }
    m_start = m_module->now();
    const FfdrvVirtualDevice device = DeviceOf(m_scenario.model, m_scenario.joystickId);
    const std::int32_t plugged = m_module->plug(&device);
    m_plugged = plugged == FFDRV_VIRTUAL_OK;
    m_result.trace.push_back("      0 ms  PLUG " + std::string(Product(m_scenario.model).codename) + " (" +
                             FamilyName(m_emulator.Family()) + ") at joystick " +
                             std::to_string(m_scenario.joystickId) + (m_plugged ? "" : ": failed"));
    const ClassRow& row = kClassTable[DriverClassOf(m_scenario.model)];
    IClassFactory* factory = nullptr;
    HRESULT hr = m_module->getClassObject(row.clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    Call(nullptr, std::string("DllGetClassObject(") + row.factoryName + ")", hr);
    if (FAILED(hr)) return true;
    hr = factory->CreateInstance(nullptr, IID_IDirectInputEffectDriver, reinterpret_cast<void**>(&m_driver));
    Call(nullptr, "CreateInstance(IDirectInputEffectDriver)", hr);
    factory->Release();
    if (m_driver == nullptr) return true;
    hr = m_driver->DeviceID(kDirectInputVersion, m_scenario.joystickId, TRUE, 0, nullptr);
    m_result.deviceIdResult = ResultName(hr);
    m_result.deviceOpened = SUCCEEDED(hr);
    // Let the new simulation thread finish its first pass before the first
    // scenario call, so that pass never races the calls of the same instant.
    if (m_result.deviceOpened && !m_options.realtime) m_module->advance(0);
    Call(nullptr, "DeviceID(joystick " + std::to_string(m_scenario.joystickId) + ", begin)", hr,
         m_result.deviceOpened ? "" : "  -- the driver could not open the device");
    return true;
}

void Session::Close() {
    if (m_driver && m_result.deviceOpened) WaitOutHeldLock();
    MarkCallStart();
    if (m_driver && m_result.deviceOpened) {
        Call(nullptr, "DeviceID(joystick " + std::to_string(m_scenario.joystickId) + ", end)",
             m_driver->DeviceID(kDirectInputVersion, m_scenario.joystickId, FALSE, 0, nullptr));
    }
    if (m_driver) m_driver->Release();
    if (m_settings) m_settings->Release();
    if (Loaded()) {
        if (!m_options.realtime) m_module->advance(1);
        DrainReports(/*includeCurrentMs=*/true);
        if (m_plugged) m_module->unplug(m_scenario.joystickId);
        m_module->useReal();
    }
    // The module stays loaded: a driver's threads may still be winding down.
}

// Reports stamped with the current millisecond are left for the next drain:
// the simulation thread may still be writing them while calls of the same
// instant go on, and taking them only once time has moved past them keeps the
// trace's order the same from run to run.
void Session::DrainReports(bool includeCurrentMs, std::uint32_t beforeMs) {
    if (!m_plugged) return;
    const std::int32_t count = m_module->reportCount(m_scenario.joystickId);
    for (; static_cast<std::int32_t>(m_nextReport) < count; ++m_nextReport) {
        std::uint8_t buffer[kMaxReport] = {};
        std::uint32_t kind = 0, timeMs = 0;
        const std::int32_t n =
            m_module->getReport(m_scenario.joystickId, m_nextReport, &kind, &timeMs, buffer, sizeof buffer);
        if (n < 0) break;
        if (!includeCurrentMs && timeMs - m_start >= std::min(Now(), beforeMs)) break;
        const std::vector<std::uint8_t> report(buffer, buffer + std::min<size_t>(n, sizeof buffer));
        const bool feature = kind == FFDRV_VIRTUAL_REPORT_FEATURE;
        std::string meaning = feature ? m_emulator.DecodeFeature(report) : m_emulator.DecodeOutput(report);
        std::string causes = TakeCauses(m_nextReport);
        if (!m_options.keepTrace) continue;
        ReportMark mark;
        mark.timeMs = timeMs - m_start;
        mark.feature = feature;
        mark.bytes = Hex(report.data(), report.size());
        char head[48];
        std::snprintf(head, sizeof head, "%7u ms  %s ", mark.timeMs, feature ? "FEAT" : "OUT ");
        m_result.trace.push_back(std::string(head) + mark.bytes + (causes.empty() ? "" : "  after " + causes));
        m_result.trace.push_back("              = " + meaning);
        mark.meaning = std::move(meaning);
        mark.causes = std::move(causes);
        mark.forceX = m_emulator.CommandForce(0), mark.forceY = m_emulator.CommandForce(1);
        mark.motorA = m_emulator.Motor(0), mark.motorB = m_emulator.Motor(1);
        m_result.reports.push_back(std::move(mark));
    }
}

void Session::SendInput() {
    const std::int32_t x = m_emulator.RawAxis(0), y = m_emulator.RawAxis(1);
    if (!m_plugged || m_recordedInput || (x == m_sentX && y == m_sentY && m_buttons == m_sentButtons)) return;
    m_module->setInput(m_scenario.joystickId, x, y, m_buttons);
    m_sentX = x, m_sentY = y, m_sentButtons = m_buttons;
}

// On the real clock the driver runs beside the player: a millisecond passes,
// and the device takes what came in it.
void Session::RealtimeTick() {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EmulateMs(Now());
}

// One millisecond of the device: the reports written before it, the motion
// over it, and at the input rate the position and buttons sent back.
void Session::EmulateMs(std::uint32_t t) {
    DrainReports(false, t);
    m_emulator.Step(0.001);
    PinMotion(t);
    if (t % kInputEveryMs == 0) SendInput();
    if (t % m_options.sampleEveryMs != 0) return;
    const AxisState& x = m_emulator.Axis(0);
    const AxisState& y = m_emulator.Axis(1);
    Sample sample{t, m_emulator.CommandForce(0), m_emulator.CommandForce(1), x.force, x.position,
                  y.position, m_emulator.Motor(0), m_emulator.Motor(1), m_buttons};
    sample.totalForceY = y.force;
    sample.velocityX = x.velocity, sample.velocityY = y.velocity;
    m_result.samples.push_back(sample);
}

// The forces of this play still come from this play's reports; only the
// axes are put where the earlier play had them at the same millisecond.
void Session::PinMotion(std::uint32_t t) {
    const std::vector<Sample>* motion = m_options.pinnedMotion;
    if (motion == nullptr || t == 0 || t > motion->size()) return;
    const Sample& s = (*motion)[t - 1];
    if (s.timeMs != t) return;
    m_emulator.Displace(0, s.positionX, s.velocityX);
    m_emulator.Displace(1, s.positionY, s.velocityY);
}

// The driver hears nothing from the device between two input reports, so on
// the virtual clock its threads can run up to the next one in one go and
// the device catch up millisecond by millisecond after: the same reports at
// the same instants as one millisecond at a time, with fewer thread switches.
void Session::Wait(DWORD ms) {
    const std::uint32_t until = Now() + ms;
    while (Now() < until) {
        if (m_options.realtime) {
            RealtimeTick();
            continue;
        }
        const std::uint32_t now = Now();
        const std::uint32_t next = std::min(until, (now / kInputEveryMs + 1) * kInputEveryMs);
        m_module->advance(next - now);
        for (std::uint32_t t = now + 1; t <= next; ++t) EmulateMs(t);
    }
}

// An effect that runs out pauses its device's simulation thread with the
// device lock held. A game's call in that pause waits for the lock until the
// pause ends; here the thread that would wait is the one that moves the
// time, so the time runs to the end of the pause first and the call is made
// then, as the game's call would go through then.
void Session::WaitOutHeldLock() {
    if (m_options.realtime || m_lockHeldUntil == nullptr) return;
    std::uint32_t until = 0;
    while (m_lockHeldUntil(&until) != 0) {
        const std::uint32_t now = m_module->now();
        if (static_cast<std::int32_t>(until - now) > 0) {
            Wait(until - now);
            continue;
        }
        // Due already: one settling lets the sleeper wake and let go. A
        // sleep still held after that would hang the call either way.
        if (m_module->advance(0) != FFDRV_VIRTUAL_OK || m_lockHeldUntil(&until) == 0 ||
            static_cast<std::int32_t>(until - m_module->now()) <= 0)
            return;
    }
}

PlayResult Session::Run() {
    m_result.family = m_emulator.Family();
    m_recordedInput = std::any_of(m_scenario.steps.begin(), m_scenario.steps.end(),
                                  [](const Step& s) { return s.kind == StepKind::kInput; });
    if (!Open()) return std::move(m_result);
    SendInput();
    for (const Step& step : m_scenario.steps) {
        RunStep(step);
        DrainReports();
    }
    Close();
    return std::move(m_result);
}

void Session::DownloadStep(const Step& step) {
    EffectBlocks blocks;
    BuildEffect(step.desc, &blocks);
    const bool update = step.kind == StepKind::kUpdate;
    DWORD handle = update ? m_handles[step.effect] : 0;
    const HRESULT hr = m_driver->DownloadEffect(m_scenario.joystickId, step.desc.typeIndex, &handle, &blocks.effect,
                                                step.paramFlags);
    if (!update && handle != 0) m_handles[step.effect] = handle;
    Call(&step,
         std::string(update ? "DownloadEffect(update " : "DownloadEffect(") + step.effect + ": " + step.desc.typeName +
             ", flags " + FlagsText(step.paramFlags) + ")",
         hr, ", handle " + std::to_string(handle));
}

void Session::EffectStep(const Step& step) {
    const DWORD id = m_scenario.joystickId;
    const DWORD handle = step.raw.handle ? *step.raw.handle : m_handles.count(step.effect) ? m_handles[step.effect] : 0;
    const std::string target = "(" + step.effect + ", handle " + std::to_string(handle);
    switch (step.kind) {
        case StepKind::kStart:
            return Call(&step, "StartEffect" + target + ", count " + std::to_string(step.value) + ")",
                        m_driver->StartEffect(id, handle, step.value2, step.value));
        case StepKind::kStop: return Call(&step, "StopEffect" + target + ")", m_driver->StopEffect(id, handle));
        case StepKind::kDestroy: {
            const HRESULT hr = m_driver->DestroyEffect(id, handle);
            m_handles.erase(step.effect);
            return Call(&step, "DestroyEffect" + target + ")", hr);
        }
        default: {
            DWORD status = 0;
            const HRESULT hr = m_driver->GetEffectStatus(id, handle, &status);
            return Call(&step, "GetEffectStatus" + target + ")", hr, status ? ", playing" : ", not playing");
        }
    }
}

void Session::EscapeStep(const Step& step) {
    if (step.raw.escape)
        return Call(&step, "Escape(command " + std::to_string(step.value) + ")",
                    CallRawEscape(m_driver, m_scenario.joystickId, step));
    std::vector<std::uint8_t> in(8);
    if (step.value == 0 || step.value == 2) {
        if (step.value == 2) in.insert(in.end(), {static_cast<std::uint8_t>(step.value2),
                                                  static_cast<std::uint8_t>(step.floats.size()), 0, 0});
        for (float f : step.floats) PutBlock(&in, f);
    } else if (step.value == 1) {
        PutBlock(&in, step.statusValue);
    }
    const DWORD size = static_cast<DWORD>(in.size()), version = kEscapeVersion;
    std::memcpy(in.data(), &size, 4);
    std::memcpy(in.data() + 4, &version, 4);
    std::uint8_t out[2] = {};
    DIEFFESCAPE escape{sizeof(DIEFFESCAPE), step.value, in.data(), size, step.value == 3 ? out : nullptr,
                       step.value == 3 ? 2u : 0u};
    const HRESULT hr = m_driver->Escape(m_scenario.joystickId, 0, &escape);
    std::string extra;
    if (step.value == 1 && hr == S_OK && escape.lpvOutBuffer && escape.cbOutBuffer == 4) {
        LONG status = 0;
        std::memcpy(&status, escape.lpvOutBuffer, 4);
        extra = ", status value " + std::to_string(status);
    }
    Call(&step, "Escape(command " + std::to_string(step.value) + ")", hr, extra);
}

void Session::SettingStep(const Step& step) {
    if (m_settings == nullptr) {
        IClassFactory* factory = nullptr;
        HRESULT hr = m_module->getClassObject(CLSID_SVJoyForceAPI, IID_IClassFactory, reinterpret_cast<void**>(&factory));
        if (SUCCEEDED(hr)) {
            hr = factory->CreateInstance(nullptr, IID_ISVJoyForceAPI, reinterpret_cast<void**>(&m_settings));
            factory->Release();
        }
        if (FAILED(hr) || m_settings == nullptr) return Call(&step, "CreateInstance(ISVJoyForceAPI)", hr);
    }
    SVJOYFORCEPARAM param{step.value, step.save ? 1u : 0u, step.value2};
    const std::string index = std::to_string(step.value);
    if (step.kind == StepKind::kGetSetting) {
        const HRESULT hr = m_settings->GetParameter(CSVJoyForceAPI::kSelectorWheel, &param);
        return Call(&step, "ISVJoyForceAPI::GetParameter(" + index + ")", hr, ", value " + std::to_string(param.dwValue));
    }
    Call(&step, "ISVJoyForceAPI::SetParameter(" + index + ", " + std::to_string(step.value2) + ")",
         m_settings->SetParameter(CSVJoyForceAPI::kSelectorWheel, &param));
}

void Session::DisplaceStep(const Step& step) {
    m_emulator.Displace(static_cast<int>(step.value), step.position, step.velocity);
    char text[96];
    std::snprintf(text, sizeof text, "%7u ms  DISPLACE %c to %+.3f at %+.3f/s  (line %d)", Now(),
                  step.value ? 'y' : 'x', step.position, step.velocity, step.line);
    if (m_options.keepTrace) m_result.trace.push_back(text);
    AddCause(StepLabel(step));
    SendInput();
}

void Session::InputStep(const Step& step) {
    const std::vector<std::uint8_t>& bytes = step.raw.inputReport;
    if (m_options.keepTrace) {
        static const char kDigits[] = "0123456789ABCDEF";
        std::string hex;
        for (std::uint8_t b : bytes) hex += kDigits[b >> 4], hex += kDigits[b & 15];
        char head[48];
        std::snprintf(head, sizeof head, "%7u ms  INPUT ", Now());
        m_result.trace.push_back(head + (hex.empty() ? std::string("(empty)") : hex) + "  (line " +
                                 std::to_string(step.line) + ")");
    }
    if (!m_plugged) return;
    if (m_sendInputReport == nullptr) {
        ++m_result.failedCalls;
        m_result.unexpected.push_back(m_scenario.file + ":" + std::to_string(step.line) +
                                      ": not played: the driver module cannot take an input report as given");
        return;
    }
    AddCause(StepLabel(step));
    m_sendInputReport(m_scenario.joystickId, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

void Session::RunStep(const Step& step) {
    MarkCallStart();
    if (step.kind == StepKind::kInput) return InputStep(step);
    if (step.kind == StepKind::kWait) return Wait(step.value);
    if (step.kind == StepKind::kDisplace) return DisplaceStep(step);
    if (step.kind == StepKind::kPress || step.kind == StepKind::kRelease) {
        const std::uint64_t bit = 1ull << (step.value - 1);
        m_buttons = step.kind == StepKind::kPress ? (m_buttons | bit) : (m_buttons & ~bit);
        AddCause(StepLabel(step));
        if (m_options.keepTrace)
            m_result.trace.push_back(std::string(8 - std::min<size_t>(8, std::to_string(Now()).size()), ' ') +
                                     std::to_string(Now()) + " ms  " +
                                     (step.kind == StepKind::kPress ? "PRESS" : "RELEASE") + " button " +
                                     std::to_string(step.value));
        return SendInput();
    }
    if (step.kind == StepKind::kSetSetting || step.kind == StepKind::kGetSetting) return SettingStep(step);
    if (m_driver == nullptr) {
        ++m_result.failedCalls;
        if (m_options.keepTrace)
            m_result.trace.push_back("           SKIP line " + std::to_string(step.line) + ": no driver object");
        m_result.unexpected.push_back(m_scenario.file + ":" + std::to_string(step.line) +
                                      ": not played: there is no driver object");
        return;
    }
    WaitOutHeldLock();
    MarkCallStart();
    const DWORD id = m_scenario.joystickId;
    switch (step.kind) {
        case StepKind::kDownload:
        case StepKind::kUpdate: return DownloadStep(step);
        case StepKind::kGain: return Call(&step, "SetGain(" + std::to_string(step.value) + ")", m_driver->SetGain(id, step.value));
        case StepKind::kCommand:
            return Call(&step, std::string("SendForceFeedbackCommand(") + CommandName(step.value) + ")",
                        m_driver->SendForceFeedbackCommand(id, step.value));
        case StepKind::kState: {
            DIDEVICESTATE state{sizeof(DIDEVICESTATE), 0, 0};
            const HRESULT hr = m_driver->GetForceFeedbackState(id, &state);
            return Call(&step, "GetForceFeedbackState", hr,
                        ", state " + FlagsText(state.dwState) + ", load " + std::to_string(state.dwLoad) + " %");
        }
        case StepKind::kEscape: return EscapeStep(step);
        default: return EffectStep(step);
    }
}

}  // namespace

PlayResult Play(const Scenario& scenario, const PlayOptions& options) {
    Session session(scenario, options);
    return session.Run();
}

std::string StepLabel(const Step& step) {
    const std::string n = std::to_string(step.value);
    switch (step.kind) {
        case StepKind::kDownload:
            return "download " + step.effect + ((step.paramFlags & DIEP_START) ? " and start" : "");
        case StepKind::kUpdate:
            return "update " + step.effect + ((step.paramFlags & DIEP_START) ? " and start" : "");
        case StepKind::kStart: return "start " + step.effect;
        case StepKind::kStop: return "stop " + step.effect;
        case StepKind::kDestroy: return "destroy " + step.effect;
        case StepKind::kStatus: return "status " + step.effect;
        case StepKind::kGain: return "gain " + n;
        case StepKind::kCommand: return std::string("command ") + CommandName(step.value);
        case StepKind::kState: return "state";
        case StepKind::kEscape: return "escape " + n;
        case StepKind::kSetSetting: return "setting " + n + " " + std::to_string(step.value2);
        case StepKind::kGetSetting: return "getsetting " + n;
        case StepKind::kPress: return "press " + n;
        case StepKind::kRelease: return "release " + n;
        case StepKind::kDisplace: return std::string("displace ") + (step.value ? "y" : "x");
        case StepKind::kInput: return "input";
        case StepKind::kWait: return "wait " + n;
    }
    return "?";
}

}  // namespace ffplay
