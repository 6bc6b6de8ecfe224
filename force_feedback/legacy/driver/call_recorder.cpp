#include "force_feedback/legacy/driver/call_recorder.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>

#include "platform/sim_clock.h"
#include "platform/debug.h"
#include "platform/recording_io.h"
#include "platform/registry.h"
#include "platform/thread.h"

#ifndef FFDRV_VERSION
#define FFDRV_VERSION "unknown"
#endif

namespace {

constexpr std::uint32_t kWriterPeriodMs = 20;
constexpr std::uint32_t kJoinTimeoutMs = 2000;
// A custom force or escape buffer larger than this is a corrupt call, not a
// game's data; the recording says so instead of copying it.
constexpr DWORD kMaxCopiedSamples = 1u << 16;
constexpr DWORD kMaxCopiedBytes = 1u << 16;
constexpr int kMaxNameAttempts = 100;
// Input reports are copied up to this length (HID full-speed reports are at
// most 64 bytes); every slot keeps room for one so the simulation thread
// never allocates.
constexpr unsigned kMaxInputBytes = 64;

struct TypeName {
    DWORD id;
    const char* name;
    enum Block { kConstant, kRamp, kPeriodic, kCondition, kCustom } block;
};
constexpr TypeName kTypeNames[] = {
    {0, "constant", TypeName::kConstant},   {1, "ramp", TypeName::kRamp},
    {2, "square", TypeName::kPeriodic},     {3, "sine", TypeName::kPeriodic},
    {4, "triangle", TypeName::kPeriodic},   {5, "sawtoothup", TypeName::kPeriodic},
    {6, "sawtoothdown", TypeName::kPeriodic}, {7, "spring", TypeName::kCondition},
    {8, "damper", TypeName::kCondition},    {9, "inertia", TypeName::kCondition},
    {10, "friction", TypeName::kCondition}, {256, "custom", TypeName::kCustom},
};

const TypeName* FindTypeName(DWORD id) {
    for (const TypeName& t : kTypeNames)
        if (t.id == id) return &t;
    return nullptr;
}

struct ResultText {
    std::uint32_t hr;
    const char* name;
};
constexpr ResultText kResultTexts[] = {
    {0x00000000u, "S_OK"},         {0x00000001u, "S_FALSE"},      {0x80070057u, "E_INVALIDARG"},
    {0x80004001u, "E_NOTIMPL"},    {0x80004005u, "E_FAIL"},       {0x80004003u, "E_POINTER"},
    {0x80070006u, "E_HANDLE"},     {0x8007000Eu, "E_OUTOFMEMORY"}, {0x80004002u, "E_NOINTERFACE"},
    {0x80040201u, "DIERR_DEVICEFULL"},
};

std::string Result(HRESULT hr) {
    for (const ResultText& r : kResultTexts)
        if (r.hr == static_cast<std::uint32_t>(hr)) return r.name;
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(hr));
    return text;
}

std::string Hex32(DWORD v) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", static_cast<unsigned>(v));
    return text;
}

template <typename T>
std::string List(const std::vector<T>& values) {
    std::string text;
    for (size_t i = 0; i < values.size(); ++i) {
        if (i) text += ',';
        text += std::to_string(values[i]);
    }
    return text;
}

std::string Bytes(const std::vector<std::uint8_t>& bytes) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (std::uint8_t b : bytes) {
        text += kDigits[b >> 4];
        text += kDigits[b & 15];
    }
    return text;
}

const wchar_t kSettingsKey[] = L"Software\\Corvanta\\Gearbench\\DriverSettings";

std::string RegistryRecordDirectory() {
    platform::reg::Key key = nullptr;
    if (platform::reg::OpenKey(platform::reg::CurrentUser(), kSettingsKey, platform::reg::kKeyQueryValue, &key) !=
        platform::reg::kSuccess)
        return "";
    std::uint32_t type = 0, size = 0;
    std::string result;
    if (platform::reg::QueryValue(key, L"RecordDirectory", &type, nullptr, &size) == platform::reg::kSuccess &&
        type == platform::reg::kSz && size >= sizeof(wchar_t)) {
        std::vector<wchar_t> text(size / sizeof(wchar_t) + 1, L'\0');
        if (platform::reg::QueryValue(key, L"RecordDirectory", &type, text.data(), &size) == platform::reg::kSuccess) {
            // The value is UTF-16 on both backends; the path is kept in UTF-8.
            for (const wchar_t* c = text.data(); *c; ++c) {
                const std::uint32_t u = static_cast<std::uint32_t>(*c);
                if (u < 0x80) result += static_cast<char>(u);
                else if (u < 0x800) result += static_cast<char>(0xC0 | (u >> 6)), result += static_cast<char>(0x80 | (u & 0x3F));
                else {
                    result += static_cast<char>(0xE0 | (u >> 12));
                    result += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
                    result += static_cast<char>(0x80 | (u & 0x3F));
                }
            }
        }
    }
    platform::reg::CloseKey(key);
    return result;
}

}  // namespace

// One queued call. The vectors keep their capacity from use to use, so a
// warm slot takes a call without allocating.
struct CCallRecorder::Entry {
    std::atomic<std::uint64_t> sequence{0};
    Kind kind = Kind::kState;
    std::uint32_t timeMs = 0;
    HRESULT hr = S_OK;
    DWORD a = 0, b = 0, c = 0, d = 0;
    // DownloadEffect: the DIEFFECT as far as its flags make it meaningful.
    bool hasEffect = false;
    DWORD size = 0, effectFlags = 0, duration = 0, samplePeriod = 0, gain = 0, trigger = 0, repeat = 0, delay = 0,
          axisCount = 0;
    bool axesNull = false, directionsNull = false, envelopeNull = false, blockNull = false, samplesNull = false;
    std::vector<DWORD> axes;
    std::vector<LONG> directions;
    DWORD envelope[4] = {};
    std::vector<std::uint8_t> block;  // type-specific block; escape: the in-buffer
    std::vector<LONG> samples;
};

struct CCallRecorder::Shared {
    std::unique_ptr<Entry[]> cells;
    std::uint64_t mask = 0;
    std::atomic<std::uint64_t> enqueue{0};
    std::uint64_t dequeue = 0;  // under consumer
    std::atomic<std::uint64_t> lost{0};
    std::atomic<bool> off{false};
    std::atomic<bool> stop{false};
    std::atomic<bool> paused{false};
    std::mutex consumer;
    platform::Event wake{false, false};
    std::unique_ptr<platform::Thread> writer;

    // Writer state, under consumer.
    std::string directory, process, path, dateText, fileStamp;
    Model model = Model::Quintar;
    DWORD joystickId = 0;
    platform::OutputFile file;
    bool started = false;
    std::uint32_t lastTimeMs = 0;
    std::uint32_t endMs = 0;
    std::uint64_t lossWritten = 0;
    int rejected = 0;
    std::map<DWORD, std::string> names;  // live handles
    std::map<std::string, int> nameUses;
    std::string text;

    void Drain(bool final);
    bool Start();
    void Fail(const char* what, const std::string& why);
    std::string EffectName(DWORD handle) const;
    void Format(const Entry& e);
    void FormatDownload(const Entry& e);
    void Statement(std::uint32_t timeMs, const std::string& line, HRESULT hr);
    void WaitUntil(std::uint32_t timeMs);
};

std::string CCallRecorder::RecordDirectory() {
    std::string dir = platform::EnvironmentVariable("FFDRV_RECORD_DIR");
    return dir.empty() ? RegistryRecordDirectory() : dir;
}

std::unique_ptr<CCallRecorder> CCallRecorder::Begin(const std::string& directory, Model model, DWORD joystickId,
                                                    std::uint32_t capacity) {
    if (directory.empty()) return nullptr;
    auto shared = std::make_shared<Shared>();
    std::uint64_t size = 2;
    while (size < capacity) size <<= 1;
    shared->cells.reset(new Entry[size]);
    for (std::uint64_t i = 0; i < size; ++i) {
        shared->cells[i].sequence.store(i, std::memory_order_relaxed);
        shared->cells[i].block.reserve(kMaxInputBytes);
    }
    shared->mask = size - 1;
    shared->directory = directory;
    shared->model = model;
    shared->joystickId = joystickId;
    shared->process = platform::ProcessName();
    const platform::WallClock t = platform::LocalWallClock();
    char stamp[32], date[32];
    std::snprintf(stamp, sizeof stamp, "%04d%02d%02d-%02d%02d%02d", t.year, t.month, t.day, t.hour, t.minute, t.second);
    std::snprintf(date, sizeof date, "%04d-%02d-%02d %02d:%02d:%02d", t.year, t.month, t.day, t.hour, t.minute,
                  t.second);
    shared->fileStamp = stamp;
    shared->dateText = date;
    shared->lastTimeMs = platform::SimTimeMs();
    Shared* raw = shared.get();
    shared->writer = platform::Thread::Start(
        [keep = shared, raw] {
            while (!raw->stop.load()) {
                raw->wake.Wait(kWriterPeriodMs);
                if (raw->stop.load()) break;
                if (raw->paused.load()) continue;
                std::lock_guard lock(raw->consumer);
                raw->Drain(false);
            }
        },
        platform::ThreadPriority::kLowest);
    return std::unique_ptr<CCallRecorder>(new CCallRecorder(std::move(shared)));
}

CCallRecorder::CCallRecorder(std::shared_ptr<Shared> shared) : m_shared(std::move(shared)) {}

CCallRecorder::~CCallRecorder() {
    Shared& s = *m_shared;
    s.paused.store(false);
    const std::uint32_t endMs = platform::SimTimeMs();
    {
        std::lock_guard lock(s.consumer);
        s.endMs = endMs;
        s.Drain(true);
        s.file.Close();
    }
    s.stop.store(true);
    s.wake.Set();
    if (s.writer && s.writer->Join(kJoinTimeoutMs)) s.writer.reset();
    // A writer that did not finish in time holds its own reference and exits
    // on its own; it no longer touches the file.
}

std::uint64_t CCallRecorder::Lost() const { return m_shared->lost.load(std::memory_order_relaxed); }
bool CCallRecorder::Active() const { return !m_shared->off.load(std::memory_order_relaxed); }
void CCallRecorder::PauseWriterForTest(bool paused) { m_shared->paused.store(paused); }

std::string CCallRecorder::Path() const {
    std::lock_guard lock(m_shared->consumer);
    return m_shared->path;
}

// Bounded multi-producer queue: a producer claims a cell by sequence number;
// a full queue never waits, it counts the call as lost.
CCallRecorder::Entry* CCallRecorder::Claim() {
    Shared& s = *m_shared;
    if (s.off.load(std::memory_order_relaxed)) return nullptr;
    std::uint64_t pos = s.enqueue.load(std::memory_order_relaxed);
    for (;;) {
        Entry* cell = &s.cells[pos & s.mask];
        const std::uint64_t seq = cell->sequence.load(std::memory_order_acquire);
        const std::int64_t diff = static_cast<std::int64_t>(seq) - static_cast<std::int64_t>(pos);
        if (diff == 0) {
            if (s.enqueue.compare_exchange_weak(pos, pos + 1, std::memory_order_relaxed)) return cell;
        } else if (diff < 0) {
            s.lost.fetch_add(1, std::memory_order_relaxed);
            return nullptr;
        } else {
            pos = s.enqueue.load(std::memory_order_relaxed);
        }
    }
}

void CCallRecorder::Publish(Entry* entry) {
    const std::uint64_t pos = entry->sequence.load(std::memory_order_relaxed);
    entry->sequence.store(pos + 1, std::memory_order_release);
}

void CCallRecorder::Simple(Kind kind, std::uint32_t timeMs, DWORD a, DWORD b, DWORD c, HRESULT hr) {
    Entry* e = Claim();
    if (e == nullptr) return;
    e->kind = kind;
    e->timeMs = timeMs;
    e->hr = hr;
    e->a = a, e->b = b, e->c = c;
    Publish(e);
}

void CCallRecorder::DownloadEffect(std::uint32_t timeMs, DWORD typeId, DWORD handleIn, DWORD handleOut,
                                   LPCDIEFFECT peff, DWORD flags, HRESULT hr) {
    Entry* e = Claim();
    if (e == nullptr) return;
    e->kind = Kind::kDownload;
    e->timeMs = timeMs;
    e->hr = hr;
    e->a = typeId, e->b = handleIn, e->c = handleOut, e->d = flags;
    e->hasEffect = peff != nullptr;
    e->axes.clear();
    e->directions.clear();
    e->block.clear();
    e->samples.clear();
    if (peff != nullptr) {
        // Only what the flags hand over is read, as the driver reads it: the
        // other fields may be anything.
        e->size = peff->dwSize;
        e->effectFlags = peff->dwFlags;
        if (flags & DIEP_DURATION) e->duration = peff->dwDuration;
        if (flags & DIEP_SAMPLEPERIOD) e->samplePeriod = peff->dwSamplePeriod;
        if (flags & DIEP_GAIN) e->gain = peff->dwGain;
        if (flags & DIEP_TRIGGERBUTTON) e->trigger = peff->dwTriggerButton;
        if (flags & DIEP_TRIGGERREPEATINTERVAL) e->repeat = peff->dwTriggerRepeatInterval;
        if (flags & DIEP_STARTDELAY) e->delay = peff->dwStartDelay;
        const DWORD count = peff->cAxes < kMaxCopiedSamples ? peff->cAxes : 0;
        e->axisCount = peff->cAxes;
        if (flags & (DIEP_AXES | DIEP_DIRECTION)) {
            e->axesNull = peff->rgdwAxes == nullptr;
            if (!e->axesNull) e->axes.assign(peff->rgdwAxes, peff->rgdwAxes + count);
        }
        if (flags & DIEP_DIRECTION) {
            e->directionsNull = peff->rglDirection == nullptr;
            if (!e->directionsNull) e->directions.assign(peff->rglDirection, peff->rglDirection + count);
        }
        if (flags & DIEP_ENVELOPE) {
            e->envelopeNull = peff->lpEnvelope == nullptr;
            if (!e->envelopeNull) {
                e->envelope[0] = peff->lpEnvelope->dwAttackLevel;
                e->envelope[1] = peff->lpEnvelope->dwAttackTime;
                e->envelope[2] = peff->lpEnvelope->dwFadeLevel;
                e->envelope[3] = peff->lpEnvelope->dwFadeTime;
            }
        }
        if (flags & DIEP_TYPESPECIFICPARAMS) {
            const auto* bytes = static_cast<const std::uint8_t*>(peff->lpvTypeSpecificParams);
            const DWORD n = peff->cbTypeSpecificParams;
            e->blockNull = bytes == nullptr || n == 0 || n > kMaxCopiedBytes;
            if (!e->blockNull) e->block.assign(bytes, bytes + n);
            e->samplesNull = true;
            if (!e->blockNull && typeId == 256 && n == sizeof(DICUSTOMFORCE)) {
                const auto* custom = static_cast<const DICUSTOMFORCE*>(peff->lpvTypeSpecificParams);
                if (custom->rglForceData != nullptr && custom->cSamples <= kMaxCopiedSamples) {
                    e->samplesNull = false;
                    e->samples.assign(custom->rglForceData, custom->rglForceData + custom->cSamples);
                }
            }
        }
    }
    Publish(e);
}

void CCallRecorder::Escape(std::uint32_t timeMs, DWORD effect, LPDIEFFESCAPE pesc, HRESULT hr) {
    Entry* e = Claim();
    if (e == nullptr) return;
    e->kind = Kind::kEscape;
    e->timeMs = timeMs;
    e->hr = hr;
    e->a = effect;
    e->hasEffect = pesc != nullptr;
    e->block.clear();
    if (pesc != nullptr) {
        e->b = pesc->dwCommand;
        e->c = pesc->cbOutBuffer;
        e->blockNull = pesc->lpvInBuffer == nullptr;
        if (!e->blockNull && pesc->cbInBuffer <= kMaxCopiedBytes) {
            const auto* bytes = static_cast<const std::uint8_t*>(pesc->lpvInBuffer);
            e->block.assign(bytes, bytes + pesc->cbInBuffer);
        }
    }
    Publish(e);
}

void CCallRecorder::InputReport(const BYTE* report, unsigned length) {
    // The thread reads a report only at points of its loop that take no time
    // (a zero alertable sleep between passes, or a pass looking at its
    // polled read), so a report read at T came in before T. Fed back one
    // millisecond before T, it is read at the same point of the same pass;
    // fed back at T, after the thread ran at T, it would wait for the next.
    const std::uint32_t timeMs = platform::SimTimeMs() - 1;
    Entry* e = Claim();
    if (e == nullptr) return;
    e->kind = Kind::kInput;
    e->timeMs = timeMs;
    e->hr = S_OK;
    e->a = length;
    const unsigned n = length < kMaxInputBytes ? length : kMaxInputBytes;
    e->block.assign(report, report + (report != nullptr ? n : 0));
    Publish(e);
}

void CCallRecorder::Shared::Fail(const char* what, const std::string& why) {
    // One wide argument: %ls means the same on every C library, %hs does not.
    const std::string message = std::string("cannot ") + what + " " + path + ": " + why;
    const std::wstring wide(message.begin(), message.end());
    platform::DebugTrace(L"FFDrv: recording of joystick %u stopped: %ls\n", static_cast<unsigned>(joystickId),
                         wide.c_str());
    off.store(true);
    file.Close();
}

bool CCallRecorder::Shared::Start() {
    if (started) return file.IsOpen();
    started = true;
    const std::string base = process + "-" + Product(model).codename + "-j" + std::to_string(joystickId) + "-" + fileStamp;
    std::string why;
    for (int attempt = 0; attempt < kMaxNameAttempts; ++attempt) {
        path = platform::JoinPath(directory, base + (attempt ? "-" + std::to_string(attempt + 1) : "") + ".ffs");
        if (file.Create(path, &why)) break;
        if (!file.LastCreateCollided()) break;
    }
    if (!file.IsOpen()) {
        Fail("create", why);
        return false;
    }
    text += "# Recorded by the Corvanta force-feedback effect driver " FFDRV_VERSION "\n";
    text += "# process " + process + "\n";
    text += std::string("# model ") + Product(model).codename + ", joystick " + std::to_string(joystickId) + "\n";
    text += "# date " + dateText + "\n";
    text += std::string("device ") + Product(model).codename + " joystick " + std::to_string(joystickId) + "\n";
    return true;
}

void CCallRecorder::Shared::Drain(bool final) {
    if (!Start() && off.load()) {
        // Nothing can be written: keep the queue empty so producers see no
        // pressure, and drop what is there.
        for (;;) {
            Entry* cell = &cells[dequeue & mask];
            if (cell->sequence.load(std::memory_order_acquire) != dequeue + 1) break;
            cell->sequence.store(dequeue + mask + 1, std::memory_order_release);
            ++dequeue;
        }
        return;
    }
    // Calls are lost only while the queue is full, so they came after
    // everything queued: the loss is stated once the queue is empty.
    const std::uint64_t lostBefore = lost.load(std::memory_order_relaxed);
    for (;;) {
        Entry* cell = &cells[dequeue & mask];
        if (cell->sequence.load(std::memory_order_acquire) != dequeue + 1) break;
        Format(*cell);
        cell->sequence.store(dequeue + mask + 1, std::memory_order_release);
        ++dequeue;
    }
    if (lostBefore != lossWritten) {
        text += "# recorder: " + std::to_string(lostBefore - lossWritten) +
                " call(s) lost here: the recording buffer was full\n";
        lossWritten = lostBefore;
    }
    if (final) {
        // The time after the last call: effects still playing replay to the end.
        const std::uint32_t since = endMs - lastTimeMs;
        if (since != 0 && since < 0x80000000u) text += "wait " + std::to_string(since) + "\n";
        text += "# end of recording\n";
    }
    if (text.empty() || off.load()) return;
    std::string why;
    if (!file.Write(text.data(), text.size(), &why)) Fail("write", why);
    text.clear();
}

std::string CCallRecorder::Shared::EffectName(DWORD handle) const {
    const auto it = names.find(handle);
    return it != names.end() ? it->second : "handle:" + std::to_string(handle);
}

void CCallRecorder::Shared::Statement(std::uint32_t timeMs, const std::string& line, HRESULT hr) {
    WaitUntil(timeMs);
    text += line + " expect " + Result(hr) + "\n";
}

void CCallRecorder::Shared::WaitUntil(std::uint32_t timeMs) {
    // A call that finished after a later one began (another thread) keeps
    // its place without a wait: the clock never runs backwards in a scenario.
    const std::uint32_t since = timeMs - lastTimeMs;
    if (since != 0 && since < 0x80000000u) {
        text += "wait " + std::to_string(since) + "\n";
        lastTimeMs = timeMs;
    }
}

void CCallRecorder::Shared::FormatDownload(const Entry& e) {
    const TypeName* type = FindTypeName(e.a);
    const bool update = e.b != 0;
    if (type == nullptr || !e.hasEffect || (update && names.find(e.b) == names.end())) {
        text += "# DownloadEffect(type " + std::to_string(e.a) + ", handle " + std::to_string(e.b) + ", flags " +
                Hex32(e.d) + (e.hasEffect ? "" : ", no DIEFFECT") + ") returned " + Result(e.hr) +
                ": not replayable (" + (type == nullptr ? "unknown effect type" : !e.hasEffect ? "no parameters" : "unknown handle") + ")\n";
        return;
    }
    std::string name;
    if (update) {
        name = names[e.b];
    } else if (SUCCEEDED(e.hr) && e.c != 0) {
        name = "e" + std::to_string(e.c);
        const int uses = nameUses[name]++;
        if (uses) name += "-" + std::to_string(uses + 1);
        names[e.c] = name;
    } else {
        name = "rejected" + std::to_string(++rejected);
    }
    std::string line = (update ? "update " + name : "download " + name + " " + type->name) + " raw-flags=" +
                       Hex32(e.d) + " raw-size=" + std::to_string(e.size) + " raw-dieff=" + Hex32(e.effectFlags);
    const DWORD f = e.d;
    if (f & DIEP_DURATION) line += " raw-duration=" + std::to_string(e.duration);
    if (f & DIEP_SAMPLEPERIOD) line += " raw-sample=" + std::to_string(e.samplePeriod);
    if (f & DIEP_GAIN) line += " raw-gain=" + std::to_string(e.gain);
    if (f & DIEP_TRIGGERBUTTON) line += " raw-trigger=" + Hex32(e.trigger);
    if (f & DIEP_TRIGGERREPEATINTERVAL) line += " raw-repeat=" + std::to_string(e.repeat);
    if (f & DIEP_STARTDELAY) line += " raw-delay=" + std::to_string(e.delay);
    if (f & (DIEP_AXES | DIEP_DIRECTION)) {
        line += " raw-axis-count=" + std::to_string(e.axisCount);
        std::string axes;
        for (DWORD axis : e.axes) axes += (axes.empty() ? "" : ",") + Hex32(axis);
        line += " raw-axes=" + (e.axesNull ? std::string("null") : axes.empty() ? "none" : axes);
    }
    if (f & DIEP_DIRECTION)
        line += " raw-direction=" + (e.directionsNull ? std::string("null") : e.directions.empty() ? "none" : List(e.directions));
    if (f & DIEP_ENVELOPE) {
        line += " raw-envelope=" + (e.envelopeNull ? std::string("none")
                                                   : std::to_string(e.envelope[0]) + "," + std::to_string(e.envelope[1]) +
                                                         "," + std::to_string(e.envelope[2]) + "," +
                                                         std::to_string(e.envelope[3]));
    }
    if (f & DIEP_TYPESPECIFICPARAMS) {
        const size_t n = e.block.size();
        auto at = [&](size_t offset) {
            std::int32_t v;
            std::memcpy(&v, e.block.data() + offset, 4);
            return v;
        };
        if (e.blockNull) {
            line += " raw-block=none";
        } else if (type->block == TypeName::kConstant && n == sizeof(DICONSTANTFORCE)) {
            line += " raw-magnitude=" + std::to_string(at(0));
        } else if (type->block == TypeName::kRamp && n == sizeof(DIRAMPFORCE)) {
            line += " raw-start=" + std::to_string(at(0)) + " raw-end=" + std::to_string(at(4));
        } else if (type->block == TypeName::kPeriodic && n == sizeof(DIPERIODIC)) {
            line += " raw-magnitude=" + std::to_string(static_cast<DWORD>(at(0))) + " raw-offset=" +
                    std::to_string(at(4)) + " raw-phase=" + std::to_string(static_cast<DWORD>(at(8))) +
                    " raw-period=" + std::to_string(static_cast<DWORD>(at(12)));
        } else if (type->block == TypeName::kCondition && n % sizeof(DICONDITION) == 0) {
            for (size_t i = 0; i < n; i += sizeof(DICONDITION)) {
                line += " raw-condition=" + std::to_string(at(i)) + "," + std::to_string(at(i + 4)) + "," +
                        std::to_string(at(i + 8)) + "," + std::to_string(static_cast<DWORD>(at(i + 12))) + "," +
                        std::to_string(static_cast<DWORD>(at(i + 16))) + "," + std::to_string(at(i + 20));
            }
        } else if (type->block == TypeName::kCustom && n == sizeof(DICUSTOMFORCE)) {
            line += " raw-channels=" + std::to_string(static_cast<DWORD>(at(0))) +
                    " raw-custom-period=" + std::to_string(static_cast<DWORD>(at(4))) + " raw-samples=" +
                    (e.samplesNull ? "null:" + std::to_string(static_cast<DWORD>(at(8)))
                                   : e.samples.empty() ? std::string("none") : List(e.samples));
        } else {
            line += " raw-block=" + Bytes(e.block);
        }
    }
    Statement(e.timeMs, line, e.hr);
}

void CCallRecorder::Shared::Format(const Entry& e) {
    switch (e.kind) {
        case Kind::kDownload: return FormatDownload(e);
        case Kind::kDestroy: {
            const std::string name = EffectName(e.a);
            names.erase(e.a);
            return Statement(e.timeMs, "destroy " + name, e.hr);
        }
        case Kind::kStart:
            return Statement(e.timeMs, "start " + EffectName(e.a) + " raw-mode=" + Hex32(e.b) + " raw-count=" +
                                           std::to_string(e.c), e.hr);
        case Kind::kStop: return Statement(e.timeMs, "stop " + EffectName(e.a), e.hr);
        case Kind::kStatus: return Statement(e.timeMs, "status " + EffectName(e.a), e.hr);
        case Kind::kGain: return Statement(e.timeMs, "gain raw=" + std::to_string(e.a), e.hr);
        case Kind::kCommand: return Statement(e.timeMs, "command " + Hex32(e.a), e.hr);
        case Kind::kState: return Statement(e.timeMs, "state", e.hr);
        case Kind::kEscape:
            if (!e.hasEffect) {
                text += "# Escape with no DIEFFESCAPE returned " + Result(e.hr) + ": not replayable\n";
                return;
            }
            return Statement(e.timeMs, "escape raw command=" + std::to_string(e.b) + " effect=" + std::to_string(e.a) +
                                           " in=" + (e.blockNull ? std::string("null") : e.block.empty() ? "none" : Bytes(e.block)) +
                                           " out=" + std::to_string(e.c), e.hr);
        case Kind::kInput:
            WaitUntil(e.timeMs);
            if (e.a > e.block.size())
                text += "# the next input report had " + std::to_string(e.a) + " bytes: only the first " +
                        std::to_string(e.block.size()) + " are kept\n";
            text += "input raw=" + (e.block.empty() ? std::string("none") : Bytes(e.block)) + "\n";
            return;
        case Kind::kLoss: return;
    }
}
