// Records every call the effect driver object forwards to one device, as a
// scenario the player can replay (README: "Recording what a game sends").
//
// The device's input reports go in too, one statement each, so that springs,
// dampers and trigger buttons replay as they played.
//
// Role: one recording file per open device. Owner: CFFDrv, one per slot,
// created by DeviceID (begin) and destroyed with the device. Threads: the
// application's DirectInput threads and the device's simulation thread (its
// input reports) produce, one low-priority writer thread
// formats and writes. The calling thread only copies the call into a bounded
// lock-free queue (no lock, no allocation once the slots are warm, no I/O);
// when the queue is full the call is counted as lost and the writer states
// the loss in the file at its next chance. A file that cannot be created or
// written turns recording off for the device, with one debug-trace line.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "com_abi.h"
#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/model_table.h"

class CCallRecorder final : public IInputSink {
public:
    enum class Kind : std::uint8_t {
        kDownload, kDestroy, kStart, kStop, kStatus, kGain, kCommand, kState, kEscape, kLoss, kInput,
    };

    // Where recordings go: FFDRV_RECORD_DIR, else the per-user RecordDirectory
    // value under the driver's settings key; empty when recording is off.
    static std::string RecordDirectory();
    // A recorder writing into `directory` (nothing is created on the calling
    // thread: the writer creates the file). `capacity` is rounded up to a
    // power of two. Null when `directory` is empty.
    static std::unique_ptr<CCallRecorder> Begin(const std::string& directory, Model model, DWORD joystickId,
                                                std::uint32_t capacity = kDefaultCapacity);
    // Writes what is still queued and closes the file.
    ~CCallRecorder();
    CCallRecorder(const CCallRecorder&) = delete;
    CCallRecorder& operator=(const CCallRecorder&) = delete;

    // The call's start time comes first, its result last. None of these
    // fails or waits.
    void DownloadEffect(std::uint32_t timeMs, DWORD typeId, DWORD handleIn, DWORD handleOut, LPCDIEFFECT peff,
                        DWORD flags, HRESULT hr);
    void Escape(std::uint32_t timeMs, DWORD effect, LPDIEFFESCAPE pesc, HRESULT hr);
    // Destroy, start, stop, status (a = handle, b = mode, c = count), gain and
    // command (a = value), state (nothing).
    void Simple(Kind kind, std::uint32_t timeMs, DWORD a, DWORD b, DWORD c, HRESULT hr);

    // Each input report the device's simulation thread reads, as it read it,
    // stamped one millisecond before it was read (see the definition). Same
    // queue, same promise as the calls.
    void InputReport(const BYTE* report, unsigned length) override;

    // Calls dropped because the queue was full.
    std::uint64_t Lost() const;
    // False once the file failed; calls are then ignored.
    bool Active() const;
    // The file name chosen (set by the writer when it created the file).
    std::string Path() const;
    // Stops the writer from draining until Resume (for tests of a full queue).
    void PauseWriterForTest(bool paused);

    static constexpr std::uint32_t kDefaultCapacity = 4096;
    struct Shared;

private:
    explicit CCallRecorder(std::shared_ptr<Shared> shared);
    struct Entry;
    Entry* Claim();
    void Publish(Entry* entry);

    std::shared_ptr<Shared> m_shared;
};
