// The simulation thread of one open device: about every 8 ms it advances the
// device's effects, sums the forces of the simulated ones, scales the sum by
// the device's strength, hands it to the family's report step and writes the
// reports other threads queued. It is also the effects' host.
//
// Role: base of the families (wheel, joystick, rumble), which fill the report
// step, the input update and the hardware slot assignment. Owner: the device
// (created with the device's Port as argument; Begin on open, End on close).
// Calling threads: Begin/Pause/Resume/End and QueueReport from application
// threads; everything else runs on the thread itself. Lock: the device mutex
// for the pass over the effect table and for handing each input report's
// positions and velocities to the effects, never across a write; the report
// ring is single-consumer and its producers are serialised by their own lock.
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "com_abi.h"
#include "force_feedback/legacy/effects/effect_host.h"
#include "force_feedback/legacy/sim/report_queue.h"
#include "force_feedback/legacy/sim/wheel_reports.h"
#include "platform/hid.h"
#include "platform/sim_clock.h"
#include "platform/thread.h"

class CEffect;
class CGlobalData;

// Begin's result when the thread or its event cannot be made
// (ERROR_NO_SYSTEM_RESOURCES).
inline constexpr DWORD kErrorNoSystemResources = 1450;
// The effect table's slots (DirectInput handles 1..64).
inline constexpr DWORD kEffectSlots = 64;
inline constexpr unsigned kHardwareSlots = 3;
inline constexpr LONG kNoSlot = -1;
inline constexpr LONG kMinForce = -127;
inline constexpr LONG kMaxForce = 127;
// The device's reset command, sent once as the thread ends.
inline constexpr unsigned kResetReportLength = 65;
inline constexpr BYTE kResetCommand = 0xF3;
inline constexpr unsigned kResetCommandOffset = 1;
// A pass that wrote nothing sleeps as long as a paced write would take.
inline constexpr DWORD kIdlePassMs = 8;

// One entry of the three-highest-load ranking.
struct LoadRank {
    DWORD load = 0;
    LONG slot = kNoSlot;
};
using LoadRanking = LoadRank[kHardwareSlots];

// Inserts (load, slot) into a ranking ordered from highest down: before the
// first entry whose load it exceeds as an unsigned number, so equal loads
// keep the earlier slot ahead; the last entry drops out.
void RankLoad(LoadRanking& ranking, DWORD load, LONG slot);

// The four sums of a pass. Summing class non-zero goes to the first pair,
// which the boost curve may reshape; the second pair is only attenuated.
struct ForceSums {
    LONG x1 = 0, y1 = 0, x2 = 0, y2 = 0;
};

// Step 7 of the pass: attenuates all four sums when the combined gain is
// below the curve knee, or sends the first pair through `mapForce` (after
// clamping) when it is above. Pure, for the families and the tests.
void ScaleSums(ForceSums& sums, DWORD combinedGain, DWORD knee, const std::function<LONG(LONG)>& mapForce);

LONG ClampForce(LONG value);

// X and Y of one reading, indexed by axis.
using AxisPair = std::array<LONG, 2>;

class CSimThread : public IEffectHost {
public:
    // Role: everything a simulation thread may ask of its device; the device
    // implements it and hands itself in at construction, so the thread never
    // sees a device class. Owner: the device, which outlives its thread.
    // Calling thread: the simulation thread; GetReportLengths and
    // GetCalibrationRecord also from the thread's constructor, and
    // GetSettingsView from an application thread when an effect asks its
    // host for a strength inside SetParameters (device mutex held). Lock:
    // the effect table is read only with Mutex() held; nothing else needs it.
    class Port {
    public:
        struct ReportLengths {
            unsigned input = 0;
            unsigned output = 0;
        };

        // The report frame: the HID capabilities' input and output lengths
        // (0 when the device is not open), read once when the thread is made.
        virtual ReportLengths GetReportLengths() = 0;
        // Byte 0 of every report the thread writes (a setting, 0 without).
        virtual BYTE GetReportId() = 0;
        // The handle the thread reads input reports from and writes to.
        virtual platform::hid::File GetHidHandle() = 0;
        // Lowest and highest force byte the device accepts (0..255 without
        // settings).
        virtual ByteRange GetByteRange() = 0;
        // The boost curve above the knee; the identity without settings.
        virtual LONG MapForce(LONG force) = 0;
        // The settings the pass reads (gain, knee, strengths, rumble
        // switches); null for a device without settings.
        virtual const CGlobalData* GetSettingsView() = 0;
        // At the start of every pass: when the settings changed since the
        // device last took them over, the device reapplies them.
        virtual void RefreshChangedSettings() = 0;
        // The device mutex, which guards the effect table.
        virtual std::mutex& Mutex() = 0;
        // The effect in slot 0..63, null when free; Mutex() held.
        virtual CEffect* GetEffect(DWORD slot) = 0;
        // Scaled (`raw` false) or raw calibration of X and Y.
        virtual CalibrationRecord GetCalibrationRecord(bool raw) = 0;
        // Raw X and Y positions, and the pressed-button mask, of one input
        // report.
        virtual AxisPair ReadPosition(const BYTE* report, unsigned length) = 0;
        virtual DWORD ReadButtons(const BYTE* report, unsigned length) = 0;
        // Each input report, after the thread took its positions and before
        // its trigger buttons; nothing by default.
        virtual void OnInputReport(const BYTE*, unsigned) {}
        // Each input report as it is read, before the thread takes anything
        // from it; nothing by default.
        virtual void OnInputRead(const BYTE*, unsigned) {}

    protected:
        ~Port() = default;
    };

    explicit CSimThread(Port& port);
    // Ends the thread, then frees the buffers.
    ~CSimThread() override;
    CSimThread(const CSimThread&) = delete;
    CSimThread& operator=(const CSimThread&) = delete;

    // 0, or kErrorNoSystemResources.
    virtual DWORD Begin();
    virtual DWORD Pause();
    virtual DWORD Resume();
    // Lets the loop run its last pass (queued reports, then the reset
    // command) and joins the thread. On the virtual clock the caller lets
    // virtual time run while it waits, so it must not be a clocked thread.
    virtual DWORD End();
    virtual bool IsRunning() const;
    // One pass; false when the loop is to end.
    virtual bool RunOnce(bool stopping);
    // Paced write of one report of `length` bytes (byte 0 becomes the report
    // ID); false when it could not start or was cancelled.
    virtual bool WriteReport(BYTE* report, unsigned length);
    // Queues a legacy command (without the report ID byte) for this thread to
    // write; false when the ring is full and the command is dropped.
    bool QueueReport(const BYTE* command, unsigned length) override;
    virtual bool DequeueReport(BYTE* out);
    bool GetCalibration(CalibrationRecord* out) override;
    bool GetRawCalibration(CalibrationRecord* out) override;
    Port* GetDevice() const { return &m_device; }
    virtual void ProcessTriggers();
    // Takes position (and the family's filtering) from the input buffer.
    virtual void UpdateInput();
    // The pass shared by every family: clock, settings, the effects under
    // the device mutex, the strength scaling, then the family's report step
    // and end of pass.
    virtual void Tick();
    // Gives hardware slot `p` to the effect in `newSlot`, taking it from the
    // one in `*remembered` first.
    virtual void AssignHardwareSlot(unsigned p, LONG newSlot, DWORD load, LONG* remembered, const SimTick& tick);

    // IEffectHost. Effects read positions and velocities under the device
    // mutex: in the pass, and on an application thread when a playing
    // condition takes new parameters.
    LONG GetRawPosition(int axis) override;
    LONG GetFilteredVelocity(int axis) override;
    void Sleep(DWORD milliseconds) override;
    void SetKarvonaAxisBlock(int, const KarvonaAxisBlock*) override {}
    LONG GetSpringStrength() override;
    LONG GetDamperStrength() override;
    BYTE GetDeltaSpringXAdjust() override;
    BYTE GetDeltaSpringYAdjust() override;
    DWORD GetDeltaSpringAdjustDown() override;
    DWORD GetFlipDeltaSpringToY() override;

protected:
    // The family's report step: formats and writes the force report.
    virtual void ReportStep(LONG x, LONG y) { (void)x, (void)y; }
    // Where the force of one simulated effect goes: summing class non-zero
    // to the first pair, which the boost curve may reshape, else the second.
    virtual void AddForce(ForceSums& sums, LONG x, LONG y, LONG summingClass);
    // After the report step: writes the queued reports; a pass that wrote
    // nothing at all sleeps as long as a paced write would take.
    // `anyPlaying`: some effect in the table was playing during the pass.
    virtual void EndPass(bool anyPlaying);
    // Issues the next overlapped input read; failures are dropped.
    virtual void StartInputRead();
    // The pass under the device mutex: steps 4 and 5. True when some effect
    // was playing (asked before its update).
    bool PassOverEffects(const SimTick& tick, ForceSums& sums);
    void FlushQueuedReports();
    void SendResetReport();
    unsigned OutputReportLength() const { return m_outputLength; }
    unsigned InputReportLength() const { return m_inputLength; }
    const BYTE* InputBuffer() const { return m_inputBuffer.data(); }
    // For families that issue the input read themselves.
    BYTE* MutableInputBuffer() { return m_inputBuffer.data(); }
    unsigned WritesThisPass() const { return m_writesThisPass; }
    // True until the thread's first pass has started the input read.
    bool FirstPass() const { return m_firstPass; }
    bool Running() const { return m_running; }
    // Cancels the outstanding input read and lets its completion run.
    void CancelInputRead();
    // Milliseconds since the previous call (since Begin for the first).
    DWORD TickLength();
    // The raw X and Y of the report in the input buffer.
    AxisPair ReadPositions();
    // Hands what one input report brought to the effects in one step, under
    // the device mutex, so that no effect sees one axis (or the velocity) of
    // a report without the rest. This thread is the only writer, so it reads
    // its own values without the lock.
    void PublishInput(const AxisPair& position, const AxisPair& velocity);
    void PublishPosition(const AxisPair& position);
    void PublishVelocity(int axis, LONG velocity);

private:
    static void OnInputRead(DWORD error, DWORD bytes, platform::hid::AsyncIo* io);
    void ThreadProc(std::shared_ptr<platform::SimParticipant> participant);

    std::atomic<bool> m_running{false};
    bool m_firstPass = true;
    DWORD m_buttonState = 0;
    LONG m_rememberedSlot[kHardwareSlots] = {kNoSlot, kNoSlot, kNoSlot};
    // Written through the Publish operations only.
    AxisPair m_position{};
    AxisPair m_velocity{};
    std::unique_ptr<platform::Thread> m_thread;
    std::unique_ptr<platform::SimEvent> m_runEvent;
    Port& m_device;
    platform::SimTimerGuard m_lastTickGuard;
    std::uint32_t m_lastTickTime = 0;
    unsigned m_inputLength;
    unsigned m_outputLength;
    std::vector<BYTE> m_inputBuffer;
    CReportQueue m_queue;
    std::mutex m_producerLock;
    platform::hid::AsyncIo m_readIo;
    bool m_readPending = false;
    unsigned m_writesThisPass = 0;
};
