// The module driven the way a game and a settings tool drive it, through its
// four exports only, from many threads at once, on virtual devices of every
// family and on the real clock:
//   - caller threads issue every IDirectInputEffectDriver call, with valid
//     and invalid arguments, and check each result against the driver's
//     rules and the test's own record of every device's effect table and
//     state word;
//   - a settings-tool thread reads and changes settings through
//     ISVJoyForceAPI (which reaches the Prazen wheel's settings);
//   - an input thread feeds input reports (axes and trigger buttons);
//   - a churn thread begins, re-begins over the open device (a spring
//     download follows at once, as a game reacquiring a wheel does) and
//     ends DeviceID.
// DirectInput serialises the calls for one device, so every call for a
// joystick ID, the churn's included, holds that ID's lock here; different IDs
// and different driver objects run concurrently. Between rounds the workers
// stop and every device's table is compared with the record.
//
// FFDRV_STRESS_SECONDS sets the run time (default a few seconds; the sanitizer
// runs set more). FFDRV_STRESS_SEED replays a run's call sequences (thread
// interleaving is the machine's own); the seed is printed at the start.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <bitset>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "force_feedback/legacy/com/class_table.h"
#include "force_feedback/legacy/devices/family_table.h"
#include "force_feedback/legacy/driver/joy_force_api.h"
#include "force_feedback/legacy/effects/effect_factory.h"
#include "force_feedback/legacy/effects/effect_test_support.h"
#include "force_feedback/legacy/settings/settings_test_support.h"
#include "force_feedback/legacy/testing/driver_host.h"
#include "force_feedback/legacy/testing/ordinary_priority.h"
#include "force_feedback/legacy/testing/virtual_clock.h"

namespace {

constexpr DWORD kDirectInputVersion = DriverHost::kDirectInputVersion;
constexpr double kDefaultSeconds = 3.0;
constexpr auto kRoundLength = std::chrono::milliseconds(500);
constexpr int kCallerThreads = 3;
constexpr unsigned kSlots = 64;
constexpr DWORD kStateSize = 12;
constexpr DWORD kUntouched = 0xA5A5A5A5;
constexpr std::size_t kFailuresShown = 20;
// The state word bits a device keeps from the commands it was given; the
// stopped and empty bits follow the table and are checked apart.
constexpr DWORD kCommandedBits = DIGFFS_PAUSED | DIGFFS_ACTUATORSON | DIGFFS_ACTUATORSOFF | DIGFFS_POWERON;
constexpr DWORD kReportedBits = kCommandedBits | DIGFFS_STOPPED | DIGFFS_EMPTY;
// Strengths the settings tool writes: never 0, so that a zero read back
// can only be a block nobody set up.
constexpr DWORD kLowestStrength = 1000;
constexpr DWORD kStrengthLimit = 15000;

double Seconds() {
    if (const char* env = std::getenv("FFDRV_STRESS_SECONDS"); env && *env) return std::max(0.5, std::atof(env));
    return kDefaultSeconds;
}

unsigned Seed() {
    if (const char* env = std::getenv("FFDRV_STRESS_SEED"); env && *env)
        return static_cast<unsigned>(std::strtoul(env, nullptr, 0));
    return std::random_device{}();
}

std::string Hex(DWORD value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(value));
    return text;
}

// The call sequences' random source, in 32-bit draws.
class Rng {
public:
    explicit Rng(std::seed_seq& seed) : m_engine(seed) {}
    DWORD operator()() { return static_cast<DWORD>(m_engine()); }

private:
    std::mt19937 m_engine;
};

// Everything that went wrong, with the first few messages kept.
class Failures {
public:
    void Add(const std::string& what) {
        std::lock_guard lock(m_mutex);
        ++m_count;
        if (m_first.size() < kFailuresShown) m_first.push_back(what);
    }
    std::size_t Count() {
        std::lock_guard lock(m_mutex);
        return m_count;
    }
    std::string Report() {
        std::lock_guard lock(m_mutex);
        std::string out;
        for (const std::string& s : m_first) out += "  " + s + "\n";
        return out;
    }

private:
    std::mutex m_mutex;
    std::size_t m_count = 0;
    std::vector<std::string> m_first;
};

// One joystick ID: its driver object and the test's record of the device in
// its slot. Everything here, and every call for the ID, under `lock`.
struct Device {
    DWORD id = 0;
    Model model = Model::Pelvar;
    IDirectInputEffectDriver* driver = nullptr;
    std::mutex lock;
    std::atomic<bool> churnWaiting{false};
    bool open = false;
    std::bitset<kSlots> used;
    DWORD types[kSlots] = {};  // effect type of each used slot
    bool paused = false;
    bool actuatorsOn = false;

    void Fresh() {
        open = true;
        used.reset();
        paused = false;
        actuatorsOn = false;
    }
    std::optional<unsigned> LowestFree() const {
        for (unsigned i = 0; i < kSlots; ++i) {
            if (!used[i]) return i;
        }
        return std::nullopt;
    }
    bool Used(DWORD handle) const { return handle >= 1 && handle <= kSlots && used[handle - 1]; }
    // The implicit continue and actuators-on that downloads and starts send.
    void Unpause(bool switchOn) {
        paused = false;
        if (switchOn) actuatorsOn = true;
    }
    DWORD CommandedState() const {
        return (paused ? DIGFFS_PAUSED : 0) | (actuatorsOn ? DIGFFS_ACTUATORSON : DIGFFS_ACTUATORSOFF) |
               DIGFFS_POWERON;
    }
    // Whether the device's status value is written by its own input path.
    bool StatusFollowsInput() const { return Product(model).statusRule != InputStatusRule::None; }
};

// The effect parameter blocks a game passes, and a few it should not.
enum class BlockKind { Valid, NullEffect, ShortSize, NoAxes, TinyTypeSpecific, HugeTypeSpecific, ManyAxes };

struct Download {
    EffectBlock block;
    std::vector<BYTE> huge;
    std::vector<LONG> samples;
    BlockKind kind = BlockKind::Valid;
    const DIEFFECT* effect = nullptr;
};

DWORD RandomType(Rng& rng) {
    static constexpr DWORD kTypes[] = {kEffectConstant, kEffectRamp,   kEffectSquare,   kEffectSine,
                                       kEffectTriangle, kEffectSawUp,  kEffectSawDown,  kEffectSpring,
                                       kEffectDamper,   kEffectInertia, kEffectFriction, kEffectCustom};
    return kTypes[rng() % std::size(kTypes)];
}

bool KnownType(DWORD type) { return type <= kEffectFriction || type == kEffectCustom; }

bool IsCondition(DWORD type) { return type >= kEffectSpring && type <= kEffectFriction; }

void FillTypeSpecific(Download& d, DWORD type, unsigned axes, Rng& rng) {
    const auto magnitude = static_cast<LONG>(rng() % 20001) - 10000;
    if (IsCondition(type)) {
        std::vector<DICONDITION> blocks;
        for (unsigned i = 0; i < std::min(axes, 2u); ++i) {
            blocks.push_back({static_cast<LONG>(rng() % 2001) - 1000, magnitude, -magnitude / 2, rng() % 10001,
                              rng() % 10001, static_cast<LONG>(rng() % 1000)});
        }
        d.block.Conditions(blocks);
        return;
    }
    switch (type) {
        case kEffectConstant: d.block.Params(DICONSTANTFORCE{magnitude}); break;
        case kEffectRamp: d.block.Params(DIRAMPFORCE{magnitude, -magnitude}); break;
        case kEffectCustom:
            d.samples = {magnitude, 0, -magnitude, 0};
            d.block.Params(DICUSTOMFORCE{1, 10000, static_cast<DWORD>(d.samples.size()), d.samples.data()});
            break;
        default:
            d.block.Params(DIPERIODIC{static_cast<DWORD>(std::abs(magnitude)), magnitude / 4, rng() % 36000,
                                      20000 + rng() % 200000});
            break;
    }
}

void BuildDownload(Download& d, DWORD type, BlockKind kind, Rng& rng) {
    d.kind = kind;
    unsigned axes = 1 + rng() % 2;
    if (kind == BlockKind::ManyAxes) axes = kAxisArrayMinimum + 1;
    std::vector<DWORD> ids;
    std::vector<LONG> directions;
    for (unsigned i = 0; i < axes; ++i) {
        ids.push_back(i == 0 ? kAxisX : (i << 8));
        directions.push_back(static_cast<LONG>(rng() % 3) - 1);
    }
    if (rng() % 2) {
        d.block.Cartesian(ids, directions);
    } else {
        directions[0] = static_cast<LONG>(rng() % 36000);
        d.block.effect.dwFlags = DIEFF_OBJECTIDS | DIEFF_POLAR;
        d.block.Axes(ids, directions);
    }
    FillTypeSpecific(d, type, axes, rng);
    d.block.DurationMs(rng() % 4 ? kInfinite : 50 + rng() % 2000);
    d.block.Gain(rng() % 10001);
    d.block.StartDelayMs(rng() % 8 ? 0 : rng() % 100);
    // Some effects wait for a trigger button of the input thread.
    d.block.effect.dwTriggerButton = rng() % 5 ? kInfinite : ((rng() % 4) << 8) | 0x0C;
    if (rng() % 4 == 0) d.block.Envelope(rng() % 10001, rng() % 200000, rng() % 10001, rng() % 200000);
    d.effect = d.block.Get();
    DIEFFECT& e = d.block.effect;
    switch (kind) {
        case BlockKind::NullEffect: d.effect = nullptr; break;
        case BlockKind::ShortSize: e.dwSize = 16; break;
        case BlockKind::NoAxes: e.cAxes = 0; break;
        case BlockKind::TinyTypeSpecific: e.cbTypeSpecificParams = 1; break;
        case BlockKind::HugeTypeSpecific:
            d.huge.assign(kMaxTypeSpecificSize + 16, 0);
            e.lpvTypeSpecificParams = d.huge.data();
            e.cbTypeSpecificParams = static_cast<DWORD>(d.huge.size());
            break;
        default: break;
    }
}

BlockKind RandomBadKind(Rng& rng) {
    static constexpr BlockKind kBad[] = {BlockKind::NullEffect, BlockKind::ShortSize, BlockKind::NoAxes,
                                         BlockKind::TinyTypeSpecific, BlockKind::HugeTypeSpecific,
                                         BlockKind::ManyAxes};
    return kBad[rng() % std::size(kBad)];
}

// What an update of an existing effect with this block and these flags may
// answer: a fault counts only where the flags take the faulty part.
std::vector<HRESULT> UpdateResults(BlockKind kind, DWORD flags) {
    const bool axes = (flags & (DIEP_AXES | DIEP_DIRECTION)) != 0;
    switch (kind) {
        case BlockKind::NullEffect: return {E_POINTER};
        case BlockKind::ShortSize: return {E_INVALIDARG};
        case BlockKind::NoAxes: return {axes ? E_INVALIDARG : S_OK};
        // More axes than the arrays first hold: taken, new effect or update.
        case BlockKind::ManyAxes: return {S_OK};
        case BlockKind::TinyTypeSpecific:
        case BlockKind::HugeTypeSpecific:
            return {(flags & DIEP_TYPESPECIFICPARAMS) ? E_INVALIDARG : S_OK};
        default: return {S_OK};
    }
}

bool OneOf(HRESULT hr, const std::vector<HRESULT>& allowed) {
    return std::find(allowed.begin(), allowed.end(), hr) != allowed.end();
}

struct Counters {
    std::atomic<unsigned long> calls{0};
    std::atomic<unsigned long> settings{0};
    std::atomic<unsigned long> inputs{0};
    std::atomic<unsigned long> churns{0};
};

class ModuleStressTest : public ::testing::Test {
protected:

    void SetUp() override {
        // The settings tool starts from the defaults and saves now and then:
        // its values stay out of the tests that run after it.
        m_prazenSettings.Delete();
        ASSERT_TRUE(s_module->Loaded()) << s_module->Error();
        ASSERT_TRUE(s_module->HasVirtualDevices());
        ASSERT_EQ(s_module->useReal(), FFDRV_VIRTUAL_OK);
        // Two low-resolution wheels share one driver object; every other
        // model has its own.
        const Model models[] = {Model::Dastrin, Model::Dastrin, Model::Prazen, Model::Quintar,
                                Model::Ferolla, Model::Karvona, Model::Zorvel, Model::Vesk};
        IDirectInputEffectDriver* shared = nullptr;
        for (DWORD id = 0; id < std::size(models); ++id) {
            auto device = std::make_unique<Device>();
            device->id = id;
            device->model = models[id];
            const FfdrvVirtualDevice plug = DriverHost::DeviceOf(device->model, id);
            ASSERT_EQ(s_module->plug(&plug), FFDRV_VIRTUAL_OK);
            m_plugged.push_back(id);
            if (device->model == Model::Dastrin && shared != nullptr) {
                shared->AddRef();
                device->driver = shared;
            } else {
                device->driver = s_module->CreateDriver(kClassTable[DriverClassOf(device->model)].clsid);
                ASSERT_NE(device->driver, nullptr);
                if (device->model == Model::Dastrin) shared = device->driver;
            }
            m_devices.push_back(std::move(device));
        }
        for (auto& d : m_devices) {
            ASSERT_EQ(d->driver->DeviceID(kDirectInputVersion, d->id, TRUE, 0, nullptr), S_OK);
            d->Fresh();
        }
    }

    void TearDown() override {
        for (auto& d : m_devices) {
            if (d->open) {
                EXPECT_EQ(d->driver->DeviceID(kDirectInputVersion, d->id, FALSE, 0, nullptr), S_OK);
            }
            if (d->driver) d->driver->Release();
        }
        m_devices.clear();
        for (DWORD id : m_plugged) s_module->unplug(id);
        // Every device and COM object of the run is gone with its last release.
        if (s_module->canUnloadNow) {
            EXPECT_EQ(s_module->canUnloadNow(), S_OK);
        }
    }

    void Fail(const Device& d, const std::string& call, HRESULT got, const std::string& wanted) {
        std::ostringstream s;
        s << CodenameOf(d.model) << "#" << d.id << " " << call << ": got " << Hex(static_cast<DWORD>(got))
          << ", wanted " << wanted;
        m_failures.Add(s.str());
    }
    void Expect(const Device& d, const std::string& call, HRESULT got, HRESULT wanted) {
        if (got != wanted) Fail(d, call, got, Hex(static_cast<DWORD>(wanted)));
    }
    void Check(const Device& d, const std::string& what, bool ok) {
        if (!ok) m_failures.Add(std::string(CodenameOf(d.model)) + "#" + std::to_string(d.id) + " " + what);
    }

    Device& RandomDevice(Rng& rng) { return *m_devices[rng() % m_devices.size()]; }
    DWORD RandomHandle(const Device& d, Rng& rng) {
        if (d.used.any() && rng() % 10 < 7) {
            for (;;) {
                const unsigned i = rng() % kSlots;
                if (d.used[i]) return i + 1;
            }
        }
        switch (rng() % 8) {
            case 0: return kSlots + 1 + rng() % 8;
            case 1: return 0xFFFFFFFF;
            default: return 1 + rng() % kSlots;
        }
    }

    // ---- the calls, each with its expected result; `d.lock` held ----

    void CallDownloadNew(Device& d, Rng& rng) {
        const unsigned pick = rng() % 100;
        DWORD type = RandomType(rng);
        BlockKind kind = BlockKind::Valid;
        DWORD flags = kAllParams | (rng() % 3 == 0 ? DIEP_START : 0) | (rng() % 4 == 0 ? DIEP_ENVELOPE : 0);
        bool nullHandle = false;
        if (pick < 8) {
            static constexpr DWORD kUnknown[] = {11, 12, 255, 257, 0xFFFFFFFF};
            type = kUnknown[rng() % std::size(kUnknown)];
        } else if (pick < 14) {
            flags |= DIEP_NODOWNLOAD;
        } else if (pick < 18) {
            nullHandle = true;
        } else if (pick < 28) {
            kind = RandomBadKind(rng);
        }
        Download download;
        BuildDownload(download, type, kind, rng);
        DWORD handle = 0;
        const HRESULT hr = d.driver->DownloadEffect(d.id, type, nullHandle ? nullptr : &handle, download.effect, flags);
        const std::string call = "DownloadEffect(new, type " + std::to_string(type) + ")";
        if (!d.open) {
            Expect(d, call, hr, E_INVALIDARG);
            Check(d, call + " without a device wrote a handle", handle == 0);
            return;
        }
        if (flags & DIEP_NODOWNLOAD) {
            Expect(d, call + " NODOWNLOAD", hr, S_OK);
            Check(d, call + " NODOWNLOAD wrote a handle", handle == 0);
            return;
        }
        if (nullHandle) {
            Expect(d, call + " null handle", hr, E_POINTER);
            return;
        }
        d.Unpause((flags & DIEP_START) != 0);
        const std::optional<unsigned> free = d.LowestFree();
        if (!free) {
            Expect(d, call + " full", hr, DIERR_DEVICEFULL);
            Check(d, call + " on a full table wrote a handle", handle == 0);
            return;
        }
        const bool known = KnownType(type);
        Expect(d, call, hr, known ? S_OK : E_INVALIDARG);
        if (handle != *free + 1) {
            m_failures.Add(std::string(CodenameOf(d.model)) + "#" + std::to_string(d.id) + " " + call +
                           " gave handle " + std::to_string(handle) + ", the lowest free is " +
                           std::to_string(*free + 1));
        }
        if (known && hr == S_OK && handle >= 1 && handle <= kSlots) {
            d.used[handle - 1] = true;
            d.types[handle - 1] = type;
        }
    }

    void CallUpdate(Device& d, Rng& rng) {
        const DWORD handle = RandomHandle(d, rng);
        const BlockKind kind = rng() % 4 == 0 ? RandomBadKind(rng) : BlockKind::Valid;
        const DWORD flags = (rng() % 2 ? kAllParams : DIEP_TYPESPECIFICPARAMS | DIEP_GAIN) |
                            (rng() % 4 == 0 ? DIEP_START : 0) | (rng() % 10 == 0 ? DIEP_NODOWNLOAD : 0);
        // A game updates an effect with a block of the effect's own type.
        Download download;
        BuildDownload(download, d.Used(handle) ? d.types[handle - 1] : RandomType(rng), kind, rng);
        DWORD inOut = handle;
        const HRESULT hr = d.driver->DownloadEffect(d.id, kEffectConstant, &inOut, download.effect, flags);
        const std::string call = "DownloadEffect(update " + std::to_string(handle) + ")";
        Check(d, call + " changed the handle", inOut == handle);
        if (!d.open) return Expect(d, call, hr, E_INVALIDARG);
        if (flags & DIEP_NODOWNLOAD) return Expect(d, call, hr, S_OK);
        d.Unpause((flags & DIEP_START) != 0);
        if (!d.Used(handle)) return Expect(d, call + " of an empty slot", hr, S_OK);
        if (!OneOf(hr, UpdateResults(kind, flags))) Fail(d, call, hr, "the effect's own result");
    }

    void CallDestroy(Device& d, Rng& rng) {
        const DWORD handle = RandomHandle(d, rng);
        const HRESULT hr = d.driver->DestroyEffect(d.id, handle);
        Expect(d, "DestroyEffect(" + std::to_string(handle) + ")", hr, d.open ? S_OK : E_INVALIDARG);
        if (d.open && d.Used(handle)) d.used[handle - 1] = false;
    }

    void CallStart(Device& d, Rng& rng) {
        const DWORD handle = RandomHandle(d, rng);
        const DWORD mode = rng() % 3 == 0 ? DIES_SOLO : (rng() % 5 == 0 ? rng() : 0);
        const DWORD count = rng() % 4 == 0 ? kInfinite : 1 + rng() % 3;
        const HRESULT hr = d.driver->StartEffect(d.id, handle, mode, count);
        const std::string call = "StartEffect(" + std::to_string(handle) + ")";
        if (!d.open) return Expect(d, call, hr, E_INVALIDARG);
        d.Unpause(true);
        Expect(d, call, hr, d.Used(handle) ? S_OK : E_INVALIDARG);
    }

    void CallStop(Device& d, Rng& rng) {
        const DWORD handle = RandomHandle(d, rng);
        const HRESULT hr = d.driver->StopEffect(d.id, handle);
        Expect(d, "StopEffect(" + std::to_string(handle) + ")", hr, d.open && d.Used(handle) ? S_OK : E_INVALIDARG);
    }

    void CallStatus(Device& d, Rng& rng) {
        const DWORD handle = RandomHandle(d, rng);
        const bool nullOut = rng() % 10 == 0;
        DWORD status = kUntouched;
        const HRESULT hr = d.driver->GetEffectStatus(d.id, handle, nullOut ? nullptr : &status);
        const std::string call = "GetEffectStatus(" + std::to_string(handle) + ")";
        if (!d.open || !d.Used(handle)) {
            Expect(d, call, hr, E_INVALIDARG);
            Check(d, call + " wrote a status for no effect", status == kUntouched);
            return;
        }
        if (nullOut) return Expect(d, call + " null status", hr, E_POINTER);
        Expect(d, call, hr, S_OK);
        Check(d, call + " status " + Hex(status), status == 0 || status == 1);
    }

    void CallState(Device& d, Rng& rng) {
        static constexpr DWORD kSizes[] = {kStateSize, kStateSize, 16, 11, 0};
        const bool nullOut = rng() % 12 == 0;
        DIDEVICESTATE state{kSizes[rng() % std::size(kSizes)], kUntouched, kUntouched};
        const DWORD size = state.dwSize;
        const HRESULT hr = d.driver->GetForceFeedbackState(d.id, nullOut ? nullptr : &state);
        if (!d.open) return Expect(d, "GetForceFeedbackState", hr, E_INVALIDARG);
        if (nullOut) return Expect(d, "GetForceFeedbackState(null)", hr, E_POINTER);
        if (size < kStateSize) return Expect(d, "GetForceFeedbackState(size " + std::to_string(size) + ")", hr, E_INVALIDARG);
        Expect(d, "GetForceFeedbackState", hr, S_OK);
        CheckState(d, state);
    }

    void CheckState(const Device& d, const DIDEVICESTATE& state) {
        const auto occupied = static_cast<DWORD>(d.used.count());
        Check(d, "state size " + std::to_string(state.dwSize), state.dwSize == kStateSize);
        Check(d, "load " + std::to_string(state.dwLoad) + " for " + std::to_string(occupied) + " effects",
              state.dwLoad == (occupied * 100) >> 6);
        const DWORD s = state.dwState;
        Check(d, "state " + Hex(s) + " has bits no command sets", (s & ~kReportedBits) == 0);
        Check(d, "state " + Hex(s) + ", commanded " + Hex(d.CommandedState()), (s & kCommandedBits) == d.CommandedState());
        Check(d, "state " + Hex(s) + " empty bit for " + std::to_string(occupied) + " effects",
              ((s & DIGFFS_EMPTY) != 0) == (occupied == 0));
        if (d.paused || occupied == 0) Check(d, "state " + Hex(s) + " not stopped", (s & DIGFFS_STOPPED) != 0);
    }

    void CallGain(Device& d, Rng& rng) {
        const DWORD gain = rng() % 10 == 0 ? rng() : rng() % 10001;
        Expect(d, "SetGain(" + std::to_string(gain) + ")", d.driver->SetGain(d.id, gain), d.open ? S_OK : E_INVALIDARG);
    }

    void CallCommand(Device& d, Rng& rng) {
        static constexpr DWORD kCommands[] = {DISFFC_RESET,    DISFFC_STOPALL,        DISFFC_PAUSE,
                                              DISFFC_CONTINUE, DISFFC_SETACTUATORSON, DISFFC_SETACTUATORSOFF,
                                              DISFFC_PAUSE | DISFFC_CONTINUE, 0, 64, 0xFFFFFFFF};
        // A reset empties the table: rarer, so that tables fill up too.
        DWORD command = kCommands[rng() % std::size(kCommands)];
        if (command == DISFFC_RESET && rng() % 3) command = DISFFC_STOPALL;
        const HRESULT hr = d.driver->SendForceFeedbackCommand(d.id, command);
        const std::string call = "SendForceFeedbackCommand(" + Hex(command) + ")";
        if (!d.open) return Expect(d, call, hr, E_INVALIDARG);
        switch (command) {
            case DISFFC_RESET:
                d.used.reset();
                d.paused = false;
                d.actuatorsOn = false;
                break;
            case DISFFC_STOPALL: break;
            case DISFFC_PAUSE: d.paused = true; break;
            case DISFFC_CONTINUE: d.paused = false; break;
            case DISFFC_SETACTUATORSON: d.actuatorsOn = true; break;
            case DISFFC_SETACTUATORSOFF: d.actuatorsOn = false; break;
            default: return Expect(d, call, hr, E_NOTIMPL);
        }
        Expect(d, call, hr, S_OK);
    }

    void CallEscape(Device& d, Rng& rng) {
        DWORD in[8] = {};
        BYTE out[4] = {};
        DIEFFESCAPE esc{sizeof(DIEFFESCAPE), rng() % 5, in, 0, nullptr, 0};
        const bool prazen = d.model == Model::Prazen;
        const bool malformed = rng() % 4 == 0;
        std::vector<HRESULT> allowed;
        LONG statusValue = 0;
        switch (esc.dwCommand) {
            case 0: {
                const float values[3] = {static_cast<float>(rng() % 9000), 2000.0f, 7000.0f};
                in[0] = 20;
                in[1] = 1;
                std::memcpy(&in[2], values, sizeof values);
                esc.cbInBuffer = 20;
                allowed = {prazen ? S_OK : E_FAIL};
                break;
            }
            case 1:
                statusValue = static_cast<LONG>(rng() % 1000) - 500;
                in[0] = 12;
                in[1] = 1;
                in[2] = static_cast<DWORD>(statusValue);
                esc.cbInBuffer = 12;
                allowed = {S_OK};
                break;
            case 2: {
                const float floats[2] = {1.0f, 0.5f};
                in[0] = 20;
                in[1] = 1;
                in[2] = static_cast<DWORD>(rng() % 4) | 2u << 8;  // selector, two floats
                std::memcpy(&in[3], floats, sizeof floats);
                esc.cbInBuffer = 20;
                allowed = prazen ? std::vector<HRESULT>{S_OK, S_FALSE} : std::vector<HRESULT>{S_FALSE};
                break;
            }
            case 3:
                in[0] = 8;
                in[1] = 1;
                esc.cbInBuffer = 8;
                esc.lpvOutBuffer = out;
                esc.cbOutBuffer = 2;
                allowed = prazen ? std::vector<HRESULT>{S_OK, S_FALSE} : std::vector<HRESULT>{S_FALSE};
                break;
            default: allowed = {E_FAIL}; break;
        }
        if (malformed && esc.dwCommand <= 3) {
            in[1] = 2;  // a version the driver does not know
            allowed = {S_FALSE};
        }
        const bool nullEscape = rng() % 20 == 0;
        const HRESULT hr = d.driver->Escape(d.id, 0, nullEscape ? nullptr : &esc);
        const std::string call = "Escape(" + std::to_string(esc.dwCommand) + (malformed ? ", malformed)" : ")");
        if (!d.open) return Expect(d, call, hr, E_INVALIDARG);
        if (nullEscape) return Expect(d, "Escape(null)", hr, E_POINTER);
        if (!OneOf(hr, allowed)) Fail(d, call, hr, "the escape's result");
        if (esc.dwCommand == 1 && !malformed && hr == S_OK) {
            Check(d, call + " out-buffer", esc.lpvOutBuffer != nullptr && esc.cbOutBuffer == sizeof(LONG));
            // The caller reads the device's own value through the pointer.
            if (esc.lpvOutBuffer != nullptr && !d.StatusFollowsInput()) {
                Check(d, call + " status value", *static_cast<const LONG*>(esc.lpvOutBuffer) == statusValue);
            }
        }
    }

    void CallVersions(Device& d, Rng& rng) {
        static constexpr DWORD kSizes[] = {16, 20, 15, 0};
        DIDRIVERVERSIONS v{kSizes[rng() % std::size(kSizes)], 0, 0, 0};
        const DWORD size = v.dwSize;
        const bool nullOut = rng() % 10 == 0;
        const HRESULT hr = d.driver->GetVersions(nullOut ? nullptr : &v);
        const std::string call = "GetVersions(size " + std::to_string(size) + (nullOut ? ", null)" : ")");
        if (nullOut || size < 16) {
            Expect(d, call, hr, E_INVALIDARG);
            Check(d, call + " wrote", v.dwSize == size && v.dwFFDriverVersion == 0);
            return;
        }
        Expect(d, call, hr, S_OK);
        Check(d, call + " record", v.dwSize == 16 && v.dwFirmwareRevision == 1 && v.dwHardwareRevision == 1 &&
                                       v.dwFFDriverVersion == 0x100);
    }

    // A call for an ID that has no device on this driver object: one of the
    // free slots 8..15 (each caller's own, so no two threads ever use one
    // slot of one driver object at once) or an ID past the table.
    void CallForeignId(Device& d, Rng& rng) {
        const DWORD id = rng() % 2 ? 8 + d.id : (rng() % 2 ? 16 : 0xFFFFFFFF);
        const std::string call = "a call for joystick ID " + std::to_string(id);
        DWORD status = kUntouched;
        DWORD handle = 0;
        EffectBlock block;
        block.Params(DICONSTANTFORCE{1000}).Cartesian({kAxisX}, {1});
        switch (rng() % 5) {
            case 0: Expect(d, call, d.driver->GetEffectStatus(id, 1, &status), E_INVALIDARG); break;
            case 1:
                Expect(d, call, d.driver->DownloadEffect(id, kEffectConstant, &handle, block.Get(), kAllParams),
                       E_INVALIDARG);
                break;
            case 2: Expect(d, call, d.driver->SendForceFeedbackCommand(id, DISFFC_RESET), E_INVALIDARG); break;
            case 3: Expect(d, "DeviceID(end) for " + call, d.driver->DeviceID(kDirectInputVersion, id, FALSE, 0, nullptr), E_INVALIDARG); break;
            default: {
                // A begin where no controller carries the ID: the device
                // cannot open, and the driver still says S_OK.
                const HRESULT hr = d.driver->DeviceID(kDirectInputVersion, id, TRUE, 0, nullptr);
                Expect(d, "DeviceID(begin) for " + call, hr, id < 16 ? S_OK : E_INVALIDARG);
                if (id < 16) {
                    Expect(d, "DeviceID(end) for " + call, d.driver->DeviceID(kDirectInputVersion, id, FALSE, 0, nullptr), S_OK);
                }
                break;
            }
        }
        Check(d, call + " wrote", status == kUntouched && handle == 0);
    }

    void OneCall(Device& d, Rng& rng) {
        const unsigned pick = rng() % 100;
        if (pick < 28) CallDownloadNew(d, rng);
        else if (pick < 38) CallUpdate(d, rng);
        else if (pick < 48) CallDestroy(d, rng);
        else if (pick < 58) CallStart(d, rng);
        else if (pick < 65) CallStop(d, rng);
        else if (pick < 73) CallStatus(d, rng);
        else if (pick < 79) CallState(d, rng);
        else if (pick < 84) CallGain(d, rng);
        else if (pick < 91) CallCommand(d, rng);
        else if (pick < 96) CallEscape(d, rng);
        else if (pick < 98) CallVersions(d, rng);
        else CallForeignId(d, rng);
    }

    // ---- the other threads ----

    void Churn(Rng& rng) {
        Device& d = rng() % 3 == 0 ? *m_devices[2] : RandomDevice(rng);  // the Prazen wheel often
        // The callers step aside while the churn waits for its device.
        d.churnWaiting = true;
        std::lock_guard lock(d.lock);
        d.churnWaiting = false;
        const unsigned pick = rng() % 100;
        if (!d.open) {
            if (pick < 20) {
                Expect(d, "DeviceID(end) without a device",
                       d.driver->DeviceID(kDirectInputVersion, d.id, FALSE, 0, nullptr), E_INVALIDARG);
                return;
            }
            Expect(d, "DeviceID(begin)", d.driver->DeviceID(kDirectInputVersion, d.id, TRUE, 0, nullptr), S_OK);
            d.Fresh();
            return;
        }
        if (pick < 35) {
            Expect(d, "DeviceID(end)", d.driver->DeviceID(kDirectInputVersion, d.id, FALSE, 0, nullptr), S_OK);
            d.open = false;
            return;
        }
        // Begin over the open device.
        Expect(d, "DeviceID(begin over open)", d.driver->DeviceID(kDirectInputVersion, d.id, TRUE, 0, nullptr), S_OK);
        d.Fresh();
        if (pick < 80) {
            // The spring a game downloads right after reacquiring its wheel.
            EffectBlock spring;
            spring.Conditions({{0, 6000, 6000, 10000, 10000, 0}}).Cartesian({kAxisX}, {1});
            DWORD handle = 0;
            const HRESULT hr = d.driver->DownloadEffect(d.id, kEffectSpring, &handle, spring.Get(), kAllParams | DIEP_START);
            Expect(d, "DownloadEffect(spring after begin)", hr, S_OK);
            Check(d, "the first download on a fresh device gave handle " + std::to_string(handle), handle == 1);
            d.Unpause(true);
            if (hr == S_OK && handle == 1) {
                d.used[0] = true;
                d.types[0] = kEffectSpring;
            }
        }
    }

    void SettingsCall(ISVJoyForceAPI* api, Rng& rng) {
        const DWORD selector = rng() % 10 == 0 ? rng() % 100 : (rng() % 2 ? CSVJoyForceAPI::kSelectorWheel
                                                                           : CSVJoyForceAPI::kSelectorWheelAlt);
        const bool known = selector == CSVJoyForceAPI::kSelectorWheel || selector == CSVJoyForceAPI::kSelectorWheelAlt;
        static constexpr DWORD kIndices[] = {0, 0, 0, 1, 2, 3, 4, 6, 5, 7, 100};
        SVJOYFORCEPARAM p{kIndices[rng() % std::size(kIndices)], rng() % 25 == 0 ? 1u : 0u, 0};
        const bool strength = p.dwIndex <= 3;
        const bool validIndex = p.dwIndex <= 4 || p.dwIndex == 6;
        const bool nullParam = rng() % 30 == 0;
        const std::string what = "settings index " + std::to_string(p.dwIndex) + " selector " + std::to_string(selector);
        HRESULT hr = S_OK;
        HRESULT wanted = S_OK;
        if (rng() % 2) {
            // ForceEnabled is only ever confirmed: switching it off would make
            // downloads succeed without an effect, which the callers check.
            if (strength) p.dwValue = rng() % 8 == 0 ? kStrengthLimit + 1 + rng() % 5000 : kLowestStrength + rng() % (kStrengthLimit - kLowestStrength + 1);
            else if (p.dwIndex == 4) p.dwValue = 1;
            else p.dwValue = rng() % 3;
            hr = api->SetParameter(selector, nullParam ? nullptr : &p);
            wanted = !known ? E_NOTIMPL : nullParam ? E_POINTER : !validIndex || (strength && p.dwValue > kStrengthLimit) ? E_INVALIDARG : S_OK;
            if (hr != wanted) m_failures.Add("SetParameter(" + what + ", " + std::to_string(p.dwValue) + "): got " + Hex(static_cast<DWORD>(hr)) + ", wanted " + Hex(static_cast<DWORD>(wanted)));
            return;
        }
        p.dwValue = kUntouched;
        hr = api->GetParameter(selector, nullParam ? nullptr : &p);
        wanted = !known ? E_NOTIMPL : nullParam ? E_POINTER : !validIndex ? E_INVALIDARG : S_OK;
        if (hr != wanted) {
            m_failures.Add("GetParameter(" + what + "): got " + Hex(static_cast<DWORD>(hr)) + ", wanted " + Hex(static_cast<DWORD>(wanted)));
            return;
        }
        if (hr != S_OK) return;
        // Never a zero block: every value read comes from defaults, the
        // registry or the tool's own writes.
        if (strength && (p.dwValue < kLowestStrength || p.dwValue > kStrengthLimit))
            m_failures.Add("GetParameter(" + what + ") read " + std::to_string(p.dwValue));
        if (p.dwIndex == 4 && p.dwValue != 1) m_failures.Add("GetParameter(ForceEnabled) read " + std::to_string(p.dwValue));
    }

    void RunRound(unsigned seed, int round, std::chrono::milliseconds length) {
        std::atomic<bool> stop{false};
        std::vector<std::thread> threads;
        auto rngFor = [&](int worker) {
            std::seed_seq seq{seed, static_cast<unsigned>(round), static_cast<unsigned>(worker)};
            return Rng(seq);
        };
        for (int c = 0; c < kCallerThreads; ++c) {
            threads.emplace_back([&, rng = rngFor(c)]() mutable {
                while (!stop.load()) {
                    // A device busy with another caller or the churn is left
                    // for the next round of the loop, as another of the
                    // game's devices would be.
                    Device& d = RandomDevice(rng);
                    if (d.churnWaiting.load()) continue;
                    std::unique_lock lock(d.lock, std::try_to_lock);
                    if (!lock.owns_lock()) continue;
                    OneCall(d, rng);
                    lock.unlock();
                    ++m_counters.calls;
                    std::this_thread::yield();  // the other threads of the game get their turn
                }
            });
        }
        threads.emplace_back([&, rng = rngFor(10)]() mutable {
            OrdinaryPriorityScope ordinary;  // the threads it starts, as in a game
            while (!stop.load()) {
                Churn(rng);
                ++m_counters.churns;
            }
        });
        threads.emplace_back([&, rng = rngFor(11)]() mutable {
            ISVJoyForceAPI* api = m_host.MakeJoyForceApi();
            if (api == nullptr) {
                m_failures.Add("no ISVJoyForceAPI from the class factory");
                return;
            }
            while (!stop.load()) {
                SettingsCall(api, rng);
                ++m_counters.settings;
                // Now and then the tool closes and reopens the interface.
                if (rng() % 50 == 0) {
                    api->Release();
                    api = m_host.MakeJoyForceApi();
                    if (api == nullptr) return m_failures.Add("no ISVJoyForceAPI from the class factory");
                }
                std::this_thread::yield();
            }
            api->Release();
        });
        threads.emplace_back([&, rng = rngFor(12)]() mutable {
            while (!stop.load()) {
                const DWORD id = rng() % m_devices.size();
                const std::uint64_t buttons = rng() % 3 == 0 ? rng() & 0xF : 0;
                s_module->setInput(id, static_cast<std::int32_t>(rng() % 1024), static_cast<std::int32_t>(rng() % 1024), buttons);
                ++m_counters.inputs;
                std::this_thread::sleep_for(std::chrono::microseconds(500));
            }
        });
        std::this_thread::sleep_for(length);
        stop = true;
        for (std::thread& t : threads) t.join();
    }

    // Between rounds, alone: every slot against the record.
    void VerifyTables() {
        for (auto& dp : m_devices) {
            Device& d = *dp;
            std::lock_guard lock(d.lock);
            if (!d.open) {
                DWORD status = kUntouched;
                Expect(d, "GetEffectStatus without a device", d.driver->GetEffectStatus(d.id, 1, &status), E_INVALIDARG);
                continue;
            }
            for (DWORD handle = 1; handle <= kSlots; ++handle) {
                DWORD status = kUntouched;
                const HRESULT hr = d.driver->GetEffectStatus(d.id, handle, &status);
                Expect(d, "table check, handle " + std::to_string(handle), hr, d.Used(handle) ? S_OK : E_INVALIDARG);
            }
            DIDEVICESTATE state{kStateSize, 0, 0};
            Expect(d, "table check, state", d.driver->GetForceFeedbackState(d.id, &state), S_OK);
            CheckState(d, state);
        }
    }

    static DriverModule* s_module;
    DriverHost m_host;  // the settings tool's interface, as the suites make it
    settings_test::DeviceKey m_prazenSettings{static_cast<std::uint32_t>(kVendorId) << 16 |
                                              Product(Model::Prazen).productId};
    OrdinaryPriorityScope m_ordinaryPriority;  // for the devices SetUp begins
    std::vector<DWORD> m_plugged;
    std::vector<std::unique_ptr<Device>> m_devices;
    Failures m_failures;
    Counters m_counters;
};

DriverModule* ModuleStressTest::s_module = &DriverHost::Module();

TEST_F(ModuleStressTest, GameAndSettingsToolFromManyThreads) {
    const unsigned seed = Seed();
    const double seconds = Seconds();
    std::printf("module stress: seed %u (replay with FFDRV_STRESS_SEED=%u), %.1f s\n", seed, seed, seconds);
    std::fflush(stdout);
    RecordProperty("seed", std::to_string(seed));

    const auto total = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
    const int rounds = std::max(1, static_cast<int>(total / kRoundLength));
    for (int round = 0; round < rounds && m_failures.Count() == 0; ++round) {
        RunRound(seed, round, kRoundLength);
        VerifyTables();
    }
    std::printf("module stress: %lu driver calls, %lu settings calls, %lu input reports, %lu churns\n",
                m_counters.calls.load(), m_counters.settings.load(), m_counters.inputs.load(), m_counters.churns.load());
    EXPECT_EQ(m_failures.Count(), 0u) << "seed " << seed << "; first failures:\n" << m_failures.Report();
    EXPECT_GT(m_counters.calls.load(), 0u);
    EXPECT_GT(m_counters.churns.load(), 0u);
}

}  // namespace
