#include "force_feedback/legacy/sim/sim_thread.h"

#include <algorithm>

#include "force_feedback/legacy/effects/effect.h"
#include "force_feedback/legacy/settings/global_data.h"
#include "force_feedback/legacy/sim/paced_writer.h"
#include "platform/muldiv.h"

namespace {
constexpr DWORD kFullScale = 10000;
constexpr unsigned kButtons = 32;
// Completion routines of a cancelled read run during the next alertable
// waits, at once on every backend we know. The read's record and this object
// must outlive the routine, so the last pass waits for it; the bound only
// guards against a driver that never completes (the backend then keeps the
// record, see platform/hid.h).
constexpr int kCancelDrainWaits = 1000;
constexpr unsigned kCommandOffset = 1;
}  // namespace

void RankLoad(LoadRanking& ranking, DWORD load, LONG slot) {
    for (unsigned i = 0; i < kHardwareSlots; ++i) {
        if (load <= ranking[i].load) continue;
        for (unsigned j = kHardwareSlots - 1; j > i; --j) ranking[j] = ranking[j - 1];
        ranking[i] = {load, slot};
        return;
    }
}

LONG ClampForce(LONG value) { return std::clamp(value, kMinForce, kMaxForce); }

void ScaleSums(ForceSums& sums, DWORD combinedGain, DWORD knee, const std::function<LONG(LONG)>& mapForce) {
    if (combinedGain < knee) {
        const auto a = static_cast<std::int32_t>(combinedGain);
        const auto b = static_cast<std::int32_t>(knee);
        for (LONG* sum : {&sums.x1, &sums.y1, &sums.x2, &sums.y2}) *sum = platform::MulDiv(*sum, a, b);
    } else if (combinedGain > knee) {
        // Only the first pair goes through the boost curve; the second pair
        // is left at full value. Intentional, keep.
        sums.x1 = mapForce(ClampForce(sums.x1));
        sums.y1 = mapForce(ClampForce(sums.y1));
    }
}

CSimThread::CSimThread(Port& port)
    : m_device(port),
      m_inputLength(port.GetReportLengths().input),
      m_outputLength(port.GetReportLengths().output),
      m_inputBuffer(m_inputLength, 0),
      m_queue(m_outputLength) {
    const CalibrationRecord raw = port.GetCalibrationRecord(/*raw=*/true);
    m_position = {raw.axes[0].centre, raw.axes[1].centre};
}

CSimThread::~CSimThread() { End(); }

DWORD CSimThread::Begin() {
    m_running = true;
    m_runEvent = std::make_unique<platform::SimEvent>(/*manualReset=*/true, /*initiallySignaled=*/true);
    if (!m_runEvent->IsValid()) {
        m_runEvent.reset();
        return kErrorNoSystemResources;
    }
    // The first tick measures from here, so it is stored before the thread
    // can read it.
    m_lastTickGuard.Activate();
    m_lastTickTime = platform::SimTimeMs();
    // Made on this thread so the virtual clock counts the new thread as busy
    // from its first instruction.
    auto participant = std::make_shared<platform::SimParticipant>();
    m_thread = platform::Thread::Start([this, participant]() mutable { ThreadProc(std::move(participant)); },
                                       platform::ThreadPriority::kHighest);
    if (!m_thread) {
        m_runEvent.reset();
        return kErrorNoSystemResources;
    }
    return 0;
}

void CSimThread::ThreadProc(std::shared_ptr<platform::SimParticipant> participant) {
    participant->Attach();
    bool go = RunOnce(!m_running);
    while (go) {
        platform::SimWait(*m_runEvent, platform::kSimInfinite, /*alertable=*/false);
        m_firstPass = false;
        go = RunOnce(!m_running);
    }
    m_running = false;
    participant.reset();  // the clock stops waiting for this thread
}

DWORD CSimThread::Pause() {
    if (m_thread) m_runEvent->Reset();
    return 0;
}

DWORD CSimThread::Resume() {
    if (m_thread) m_runEvent->Set();
    return 0;
}

DWORD CSimThread::End() {
    m_running = false;
    if (!m_thread) return 0;
    Resume();  // a paused loop must see the request
    // The last pass needs time to pass (paced writes).
    platform::JoinSimThread(*m_thread);
    m_thread.reset();
    m_runEvent.reset();
    m_lastTickGuard.Deactivate();
    return 0;
}

bool CSimThread::IsRunning() const { return m_running && m_thread != nullptr; }

bool CSimThread::RunOnce(bool stopping) {
    // A thread told to stop before its first pass has nothing to read for:
    // a read started now would only have to be cancelled again.
    if (m_firstPass && !stopping) StartInputRead();
    if (!stopping) {
        Tick();
        platform::SimSleep(0, /*alertable=*/true);  // lets the input completion run
        return true;
    }
    CancelInputRead();
    FlushQueuedReports();
    SendResetReport();
    return false;
}

bool CSimThread::WriteReport(BYTE* report, unsigned length) {
    ++m_writesThisPass;
    if (length == 0) return false;
    return WritePacedReport(m_device.GetHidHandle(), m_device.GetReportId(), report, length);
}

bool CSimThread::QueueReport(const BYTE* command, unsigned length) {
    if (command == nullptr) return false;
    std::lock_guard lock(m_producerLock);
    // Callers hand over the bare command; byte 0 stays free for the report
    // ID that the paced write puts there.
    return m_queue.QueueReport(command, length, kCommandOffset);
}

bool CSimThread::DequeueReport(BYTE* out) { return m_queue.DequeueReport(out); }

void CSimThread::FlushQueuedReports() {
    std::vector<BYTE> report(std::max(m_outputLength, 1u), 0);
    while (DequeueReport(report.data())) {
        report[0] = 0;
        WriteReport(report.data(), m_outputLength);
    }
}

void CSimThread::SendResetReport() {
    std::vector<BYTE> report(std::max(m_outputLength, kResetReportLength), 0);
    report[kResetCommandOffset] = kResetCommand;
    WriteReport(report.data(), m_outputLength);
}

bool CSimThread::GetCalibration(CalibrationRecord* out) {
    *out = m_device.GetCalibrationRecord(/*raw=*/false);
    return true;
}

bool CSimThread::GetRawCalibration(CalibrationRecord* out) {
    *out = m_device.GetCalibrationRecord(/*raw=*/true);
    return true;
}

void CSimThread::StartInputRead() {
    const platform::hid::File file = m_device.GetHidHandle();
    if (m_inputLength == 0 || m_readPending || file == platform::hid::InvalidFile()) return;
    m_readIo.Reset();
    m_readIo.context = this;
    // A read that cannot start is dropped; the next pass does not retry.
    m_readPending = platform::hid::ReadFileEx(file, m_inputBuffer.data(), m_inputLength, &m_readIo, &OnInputRead);
}

void CSimThread::OnInputRead(DWORD error, DWORD, platform::hid::AsyncIo* io) {
    auto* self = static_cast<CSimThread*>(io->context);
    self->m_readPending = false;
    if (error == 0) {
        self->m_device.OnInputRead(self->m_inputBuffer.data(), self->m_inputLength);
        self->UpdateInput();
        self->ProcessTriggers();
    } else if (error != platform::hid::kErrorOperationAborted) {
        // A failed read (device gone) is not reissued: a vanished device
        // would otherwise fail reads in a loop.
        return;
    }
    // A read cancelled while the thread goes on was taken along by a write
    // given up after a stall (CancelIo ends every request this thread has on
    // the handle): one read must stay outstanding, so it is issued again.
    // The thread's own cancel as it ends comes after running is cleared.
    if (self->m_running) self->StartInputRead();
}

void CSimThread::CancelInputRead() {
    if (!m_readPending) return;
    platform::hid::CancelIo(m_device.GetHidHandle());
    for (int i = 0; m_readPending && i < kCancelDrainWaits; ++i) platform::SimSleep(i == 0 ? 0 : 1, true);
}

void CSimThread::UpdateInput() { PublishPosition(ReadPositions()); }

AxisPair CSimThread::ReadPositions() { return m_device.ReadPosition(m_inputBuffer.data(), m_inputLength); }

void CSimThread::PublishInput(const AxisPair& position, const AxisPair& velocity) {
    std::lock_guard lock(m_device.Mutex());
    m_position = position;
    m_velocity = velocity;
}

void CSimThread::PublishPosition(const AxisPair& position) {
    std::lock_guard lock(m_device.Mutex());
    m_position = position;
}

void CSimThread::PublishVelocity(int axis, LONG velocity) {
    LONG& published = m_velocity[axis == 0 ? 0 : 1];
    if (published == velocity) return;  // most passes change nothing: no lock
    std::lock_guard lock(m_device.Mutex());
    published = velocity;
}

void CSimThread::ProcessTriggers() {
    const DWORD previous = m_buttonState;
    m_buttonState = m_device.ReadButtons(m_inputBuffer.data(), m_inputLength);
    const DWORD changed = previous ^ m_buttonState;
    if (changed == 0) return;
    std::lock_guard lock(m_device.Mutex());
    for (unsigned b = 0; b < kButtons; ++b) {
        const DWORD bit = DWORD{1} << b;
        if (!(changed & bit)) continue;
        const bool pressed = (m_buttonState & bit) != 0;
        for (DWORD i = 0; i < kEffectSlots; ++i) {
            CEffect* e = m_device.GetEffect(i);
            if (e == nullptr || ObjectInstance(e->TriggerButton()) != b) continue;
            if (!pressed) {
                // Releasing the trigger stops only effects without an end of
                // their own; finite ones play out.
                if (e->IsPlaying() && e->Duration() == kInfinite) e->Stop();
                continue;
            }
            if (e->IsPlaying()) e->Stop();
            e->Start(0, 1);
        }
    }
}

DWORD CSimThread::TickLength() {
    const std::uint32_t now = platform::BracketedSimTimeMs();
    const DWORD length = now - m_lastTickTime;
    m_lastTickTime = now;
    return length;
}

void CSimThread::Tick() {
    const SimTick tick{TickLength()};
    m_device.RefreshChangedSettings();
    m_writesThisPass = 0;
    ForceSums sums;
    const bool anyPlaying = PassOverEffects(tick, sums);
    if (const CGlobalData* settings = m_device.GetSettingsView()) {
        ScaleSums(sums, settings->GetCombinedGain(), settings->GetCurveKnee(),
                  [this](LONG force) { return m_device.MapForce(force); });
    }
    ReportStep(ClampForce(sums.x1 + sums.x2), ClampForce(sums.y1 + sums.y2));
    EndPass(anyPlaying);
}

void CSimThread::EndPass(bool) {
    FlushQueuedReports();
    if (m_writesThisPass == 0) platform::SimSleep(kIdlePassMs, /*alertable=*/false);
}

void CSimThread::AddForce(ForceSums& sums, LONG x, LONG y, LONG summingClass) {
    (summingClass != 0 ? sums.x1 : sums.x2) += x;
    (summingClass != 0 ? sums.y1 : sums.y2) += y;
}

bool CSimThread::PassOverEffects(const SimTick& tick, ForceSums& sums) {
    std::lock_guard lock(m_device.Mutex());
    LoadRanking ranking{};
    bool anyPlaying = false;
    for (DWORD i = 0; i < kEffectSlots; ++i) {
        CEffect* e = m_device.GetEffect(i);
        if (e == nullptr) continue;
        anyPlaying = anyPlaying || e->IsPlaying();
        if (!e->IsSimulated()) {
            RankLoad(ranking, e->GetLoad(), static_cast<LONG>(i));
            continue;
        }
        e->Update(&tick);
        LONG x = 0, y = 0, summingClass = 0;
        if (e->GetForce(&x, &y, &summingClass) != S_OK) continue;
        AddForce(sums, x, y, summingClass);
    }
    for (unsigned p = 0; p < kHardwareSlots; ++p) {
        AssignHardwareSlot(p, ranking[p].slot, ranking[p].load, &m_rememberedSlot[p], tick);
    }
    return anyPlaying;
}

void CSimThread::AssignHardwareSlot(unsigned p, LONG newSlot, DWORD, LONG* remembered, const SimTick& tick) {
    if (newSlot == kNoSlot) return;
    if (*remembered != kNoSlot && *remembered != newSlot) {
        CEffect* old = m_device.GetEffect(static_cast<DWORD>(*remembered));
        if (old != nullptr && !old->IsSimulated()) {
            old->SetHardwareSlot(kNoHardwareSlot);
            old->Update(&tick);
        }
    }
    // Another effect held this device slot last, so what the new holder
    // remembers sending there may have been overwritten since.
    const bool newHolder = *remembered != newSlot;
    *remembered = newSlot;
    CEffect* e = m_device.GetEffect(static_cast<DWORD>(newSlot));
    if (e != nullptr && !e->IsSimulated()) {
        if (newHolder) e->ForgetSentCommands(static_cast<LONG>(p));
        e->SetHardwareSlot(static_cast<LONG>(p));
        e->Update(&tick);
    }
}

LONG CSimThread::GetRawPosition(int axis) { return m_position[axis == 0 ? 0 : 1]; }
LONG CSimThread::GetFilteredVelocity(int axis) { return m_velocity[axis == 0 ? 0 : 1]; }
// Effects sleep here during the pass, with the device mutex held.
void CSimThread::Sleep(DWORD milliseconds) { platform::SimSleepHoldingLock(milliseconds); }

LONG CSimThread::GetSpringStrength() {
    const CGlobalData* s = m_device.GetSettingsView();
    return static_cast<LONG>(s ? s->GetSpringStrength() : kFullScale);
}

LONG CSimThread::GetDamperStrength() {
    const CGlobalData* s = m_device.GetSettingsView();
    return static_cast<LONG>(s ? s->GetDamperStrength() : kFullScale);
}

BYTE CSimThread::GetDeltaSpringXAdjust() {
    const CGlobalData* s = m_device.GetSettingsView();
    return s ? s->GetDeltaSpringXAdjust() : 0;
}

BYTE CSimThread::GetDeltaSpringYAdjust() {
    const CGlobalData* s = m_device.GetSettingsView();
    return s ? s->GetDeltaSpringYAdjust() : 0;
}

DWORD CSimThread::GetDeltaSpringAdjustDown() {
    const CGlobalData* s = m_device.GetSettingsView();
    return s ? s->GetDeltaSpringAdjustDown() : 0;
}

DWORD CSimThread::GetFlipDeltaSpringToY() {
    const CGlobalData* s = m_device.GetSettingsView();
    return s ? s->GetFlipDeltaSpringToY() : 0;
}
