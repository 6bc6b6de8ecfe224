#include "force_feedback/legacy/settings/global_data.h"

#include <atomic>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <string>
#include <type_traits>

#include "force_feedback/legacy/settings/registry_entry.h"
#include "force_feedback/legacy/settings/setting_fields.h"
#include "platform/debug.h"
#include "platform/muldiv.h"
#include "platform/registry.h"

namespace reg = platform::reg;
namespace shm = platform::shm;

namespace {

constexpr DWORD kFullScale = 10000;
constexpr DWORD kMaxStrength = 15000;
constexpr DWORD kDefaultThreshold = 6320;
constexpr DWORD kDefaultPercentage = 100;
constexpr CSValues kDefaultCS = {0, 4, 7, 0, 100, 150};
constexpr BYTE kDefaultByteRangeUpper = 255;
constexpr int kCurveTop = 127;
constexpr const char* kRegistryKeyFormat = "Software\\Corvanta\\Gearbench\\DriverSettings\\VID_%04X&PID_%04X";
constexpr const char* kSharedMemoryFormat = "SvJoyFrcData_VID_%04X&PID_%04X";

// The block is shared without a lock; every access is one whole aligned
// field, made atomic so that concurrent readers see old or new, never torn.
template <class T>
T Get(const T& field) {
    return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_relaxed);
}

template <class T, class V>
void Put(T& field, V value) {
    std::atomic_ref<T>(field).store(static_cast<T>(value), std::memory_order_relaxed);
}

void OrFlags(BYTE& flags, BYTE save, BYTE load) {
    const BYTE bits = static_cast<BYTE>((save ? kSaveFlag : 0) | (load ? kLoadFlag : 0));
    std::atomic_ref<BYTE>(flags).fetch_or(bits, std::memory_order_relaxed);
}

DWORD ScaleByStrength(DWORD gain, DWORD strength) {
    return static_cast<DWORD>(
        platform::MulDiv(static_cast<std::int32_t>(gain), static_cast<std::int32_t>(strength), kFullScale));
}

// Formats one of the two per-device names; false when it does not fit.
bool FormatDeviceName(const char* format, DWORD deviceId, wchar_t* buffer, std::size_t length) {
    if (buffer == nullptr || length == 0) return false;
    char narrow[128];
    const int written = std::snprintf(narrow, sizeof narrow, format, static_cast<unsigned>(deviceId >> 16),
                                      static_cast<unsigned>(deviceId & 0xFFFF));
    if (written < 0 || static_cast<std::size_t>(written) >= length) {
        buffer[0] = L'\0';
        return false;
    }
    for (int i = 0; i <= written; ++i) buffer[i] = static_cast<wchar_t>(static_cast<unsigned char>(narrow[i]));
    return true;
}

// Exponent of the response curve: identity up to the knee, then concave,
// reaching 0.25 at full boost. A knee at or above full boost has no room to
// bend in and leaves the identity (avoids dividing by zero).
double CurveExponent(DWORD combined, DWORD knee) {
    if (combined < knee || knee >= kMaxStrength) return 1.0;
    return 1.0 / (1.0 + 3.0 * static_cast<double>(combined - knee) / static_cast<double>(kMaxStrength - knee));
}

// Floating-point registry values are REG_SZ text in the C locale: optional
// blanks, an optional sign, decimal digits with an optional '.' fraction and
// an optional exponent ("0.25", "-3", "1.5e3"), optional blanks, nothing
// else. Locale-independent so that a value written on one machine reads the
// same on another; NaN and infinities are refused.
bool ParseFloatText(const std::string& text, double* out) {
    std::size_t begin = text.find_first_not_of(" \t");
    const std::size_t end = text.find_last_not_of(" \t");
    if (begin == std::string::npos) return false;
    if (text[begin] == '+') ++begin;
    const char* first = text.data() + begin;
    const char* last = text.data() + end + 1;
    if (first == last || (*first != '-' && *first != '.' && (*first < '0' || *first > '9'))) return false;
    double value = 0;
    const auto result = std::from_chars(first, last, value, std::chars_format::general);
    if (result.ec != std::errc() || result.ptr != last || !std::isfinite(value)) return false;
    *out = value;
    return true;
}

// UTF-16 registry string bytes to ASCII text, up to the first terminator;
// false for anything outside ASCII.
bool Utf16BytesToAscii(const unsigned char* bytes, std::uint32_t size, std::string* out) {
    out->clear();
    for (std::uint32_t i = 0; i + 1 < size; i += 2) {
        const unsigned unit = bytes[i] | (bytes[i + 1] << 8);
        if (unit == 0) break;
        if (unit > 0x7F) return false;
        out->push_back(static_cast<char>(unit));
    }
    return true;
}

// One registry value being read for a setting. A value that exists but
// cannot be used counts as missing (the caller's fall-back stands); unlike
// a missing one it is worth a line in the debug trace, naming the device,
// the value and what was wrong with it.
class StoredValue {
public:
    template <class T>
    StoredValue(DWORD deviceId, const wchar_t* name, const T* fallback) : m_deviceId(deviceId), m_name(name) {
        if constexpr (std::is_floating_point_v<T>) {
            std::swprintf(m_fallback, std::size(m_fallback), L"%g", *fallback);
        } else {
            std::swprintf(m_fallback, std::size(m_fallback), L"%u", static_cast<unsigned>(*fallback));
        }
    }

    void Trace(const wchar_t* format, ...) const {
        wchar_t detail[160];
        std::va_list args;
        va_start(args, format);
        if (std::vswprintf(detail, std::size(detail), format, args) < 0) detail[std::size(detail) - 1] = L'\0';
        va_end(args);
        platform::DebugTrace(L"settings VID_%04X&PID_%04X: %ls: %ls\n", static_cast<unsigned>(m_deviceId >> 16),
                             static_cast<unsigned>(m_deviceId & 0xFFFF), m_name, detail);
    }

    // Opens the settings key at `path` for reading; false for no path.
    bool Open(CRegistryEntry* key, const wchar_t* path) const {
        if (path == nullptr) return false;
        if (key->Open(reg::CurrentUser(), path, reg::kKeyRead)) return true;
        if (key->LastStatus() != reg::kFileNotFound)
            Trace(L"its key is unreadable (error %ld); using %ls", static_cast<long>(key->LastStatus()), m_fallback);
        return false;
    }

    // Reads the value, of at most `capacity` bytes.
    bool Query(CRegistryEntry* key, void* buffer, std::uint32_t capacity, std::uint32_t* type,
               std::uint32_t* size) const {
        if (key->Query(m_name, buffer, capacity, type, size)) return true;
        const reg::Status status = key->LastStatus();
        if (status == reg::kMoreData) {
            Trace(L"larger than %u bytes; using %ls", static_cast<unsigned>(capacity), m_fallback);
        } else if (status != reg::kFileNotFound) {
            Trace(L"unreadable (error %ld); using %ls", static_cast<long>(status), m_fallback);
        }
        return false;
    }

private:
    DWORD m_deviceId;
    const wchar_t* m_name;
    wchar_t m_fallback[32];
};

}  // namespace

CGlobalData::~CGlobalData() { Release(); }

void CGlobalData::Release() {
    shm::Unmap(m_block);
    m_block = nullptr;
    shm::Close(m_mapping);
    m_mapping = nullptr;
}

void CGlobalData::Initialize(DWORD deviceId) {
    Release();
    m_deviceId = deviceId;
    wchar_t name[64];
    FormatDeviceName(kSharedMemoryFormat, deviceId, name, std::size(name));
    bool existed = false;
    // A block this call makes stays held until its defaults are in, so that
    // a second opener never reads the zeros (ForceEnabled 0, strength 0).
    m_mapping = shm::Create(name, kRecordSize, &existed, /*holdNew=*/true);
    if (m_mapping == shm::InvalidMapping()) return;
    // A null mapping is not tested for: Map then yields no block and the
    // getters fall back. intentional, keep
    std::size_t viewSize = 0;
    void* view = shm::Map(m_mapping, &viewSize);
    if (view != nullptr && viewSize < kRecordSize) {
        // Someone else made this name with a smaller size: using it would
        // reach past its end, so the device runs on the fall-back values.
        shm::Unmap(view);
        view = nullptr;
    }
    m_block = static_cast<GlobalDataRecord*>(view);
    if (!existed) SetDefaults();
    shm::Publish(m_mapping);
}

DWORD CGlobalData::GetDeviceId() const { return m_deviceId; }

bool CGlobalData::FormatRegistryKey(wchar_t* buffer, std::size_t length) const {
    return FormatDeviceName(kRegistryKeyFormat, m_deviceId, buffer, length);
}

void CGlobalData::SetDefaults() {
    SetAmplitudeBasedForce(0, 0, 1);
    SetAmplitudeBasedForceThreshold(kDefaultThreshold, 0, 1);
    SetChangeStamp(0);
    SetPercentage(kDefaultPercentage, 0, 1);
    SetDamperStrength(kFullScale, 0, 1);
    SetPersistentCenteringSpring(0, 0, 1);
    SetCenteringSpring(kFullScale, 0, 1);
    SetDeltaSpringAdjustDown(0, 0, 1);
    SetDeltaSpringXAdjust(0, 0, 1);
    SetDeltaSpringYAdjust(0, 0, 1);
    SetFlipDeltaSpringToY(0, 0, 1);
    SetForceEnabled(1, 0, 1);
    SetCurveKnee(kFullScale);
    SetOverallStrength(kFullScale, 0, 1);
    SetEffectiveDamperGain(kFullScale, 1, 1);
    SetEffectiveSpringGain(kFullScale, 1, 1);
    SetSpringStrength(kFullScale, 0, 1);
    const CSValues& cs = kDefaultCS;
    SetCSValues(cs.minK, cs.defaultK, cs.maxK, cs.minClip, cs.defaultClip, cs.maxClip, 0, 1);
    SetReportId(0);
    SetDeviceByteRange(0, kDefaultByteRangeUpper);
    SetApplicationGain(kFullScale);
    UpdateDerivedValues();
}

void CGlobalData::UpdateDerivedValues() {
    const DWORD combined = GetCombinedGain();
    SetEffectiveSpringGain(ScaleByStrength(combined, GetSpringStrength()), 1, 1);
    SetEffectiveDamperGain(ScaleByStrength(combined, GetDamperStrength()), 1, 1);
    RebuildCurve();
}

HRESULT CGlobalData::RebuildCurve() {
    if (m_block == nullptr) return E_NOTIMPL;
    const double exponent = CurveExponent(GetCombinedGain(), GetCurveKnee());
    for (int i = 0; i <= kCurveTop; ++i) {
        const double shaped = std::pow(i / static_cast<double>(kCurveTop), exponent) * kCurveTop + 0.5;
        Put(m_block->curve[i], static_cast<std::int32_t>(shaped));
    }
    return S_OK;
}

LONG CGlobalData::CurveLookup(LONG value) const {
    if (m_block == nullptr) return value;
    // Callers clamp to -127..127 first; a magnitude beyond that reads the
    // last entry instead of memory past the table.
    const LONG magnitude = value < 0 ? (value < -kCurveTop ? kCurveTop : -value) : (value > kCurveTop ? kCurveTop : value);
    const LONG entry = Get(m_block->curve[magnitude]);
    return value < 0 ? -entry : entry;
}

DWORD CGlobalData::ReadRegistryDword(const wchar_t* name, DWORD minimum, DWORD maximum, DWORD fallback) const {
    const StoredValue stored(m_deviceId, name, &fallback);
    wchar_t path[kRegistryKeyLength];
    CRegistryEntry key;
    DWORD value = 0;
    std::uint32_t size = 0;
    std::uint32_t type = 0;
    const wchar_t* keyPath = FormatRegistryKey(path, std::size(path)) ? path : nullptr;
    if (!stored.Open(&key, keyPath) || !stored.Query(&key, &value, sizeof value, &type, &size)) return fallback;
    if (size != sizeof value) {
        stored.Trace(L"%u bytes, not 4; using %u", static_cast<unsigned>(size), static_cast<unsigned>(fallback));
        return fallback;
    }
    // The value type is not examined: any four bytes read as a number, so a
    // REG_SZ "1" (31 00 00 00) reads as 49. intentional, keep
    if (type != reg::kDword) stored.Trace(L"type %u, not REG_DWORD; its 4 bytes read as a number", type);
    return value >= minimum && value <= maximum ? value : fallback;
}

double CGlobalData::ReadRegistryFloat(const wchar_t* name, double minimum, double maximum, double fallback) const {
    const StoredValue stored(m_deviceId, name, &fallback);
    wchar_t path[kRegistryKeyLength];
    CRegistryEntry key;
    unsigned char bytes[kFloatValueBytes];
    std::uint32_t size = 0;
    std::uint32_t type = 0;
    const wchar_t* keyPath = FormatRegistryKey(path, std::size(path)) ? path : nullptr;
    if (!stored.Open(&key, keyPath) || !stored.Query(&key, bytes, sizeof bytes, &type, &size)) return fallback;
    if (type != reg::kSz) {
        stored.Trace(L"type %u, not REG_SZ; using %g", type, fallback);
        return fallback;
    }
    std::string text;
    double value = 0;
    if (!Utf16BytesToAscii(bytes, size, &text) || !ParseFloatText(text, &value)) {
        stored.Trace(L"not a number; using %g", fallback);
        return fallback;
    }
    return value >= minimum && value <= maximum ? value : fallback;
}

LONG CGlobalData::WriteRegistryDword(const wchar_t* name, DWORD value) {
    wchar_t path[kRegistryKeyLength];
    CRegistryEntry key;
    // A key that cannot be made reports 0, like success; callers ignore it.
    if (!FormatRegistryKey(path, std::size(path)) || !key.Create(reg::CurrentUser(), path, reg::kKeyWrite)) return 0;
    return reg::SetValue(key.Handle(), name, reg::kDword, &value, sizeof value);
}

LONG CGlobalData::WriteRegistryFloat(const wchar_t* name, double value) {
    wchar_t path[kRegistryKeyLength];
    CRegistryEntry key;
    if (!FormatRegistryKey(path, std::size(path)) || !key.Create(reg::CurrentUser(), path, reg::kKeyWrite)) return 0;
    // Shortest text that reads back to the same double.
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, value);
    std::u16string utf16(text, result.ptr);
    return reg::SetValue(key.Handle(), name, reg::kSz, utf16.c_str(),
                         static_cast<std::uint32_t>((utf16.size() + 1) * sizeof(char16_t)));
}

// ---- registry load and save ------------------------------------------------

namespace {

constexpr const wchar_t* kCSNames[6] = {L"CSminK",    L"CSdefaultK",    L"CSmaxK",
                                        L"CSminClip", L"CSdefaultClip", L"CSmaxClip"};

}  // namespace

void CGlobalData::LoadFromRegistry() {
    if (m_block == nullptr) return;
    // Loaded values are stored marked for reloading, not for saving.
    for (const SettingField& field : kSettingFields) {
        if (field.registryName == nullptr || (Get(m_block->*field.flags) & kLoadFlag) == 0) continue;
        Store(field.id, ReadRegistryDword(field.registryName, 0, field.registryMax, Read(field.id)), 0, 1);
    }
    if (Get(m_block->csFlags) & kLoadFlag) LoadCSChain();
    UpdateDerivedValues();
}

// Each bound comes from the value just read, so minimum <= default <= maximum
// holds for registry values, and no maximum can rise above the current one.
// A missing or refused default keeps its current value even when that is
// now below the new minimum. intentional, keep
void CGlobalData::LoadCSChain() {
    const CSValues cur = ReadCS();
    const auto minK = static_cast<BYTE>(ReadRegistryDword(kCSNames[0], cur.minK, cur.maxK, cur.minK));
    const auto defaultK = static_cast<BYTE>(ReadRegistryDword(kCSNames[1], minK, cur.maxK, cur.defaultK));
    const auto maxK = static_cast<BYTE>(ReadRegistryDword(kCSNames[2], defaultK, cur.maxK, cur.maxK));
    const auto minClip = static_cast<BYTE>(ReadRegistryDword(kCSNames[3], cur.minClip, cur.maxClip, cur.minClip));
    const auto defaultClip =
        static_cast<BYTE>(ReadRegistryDword(kCSNames[4], minClip, cur.maxClip, cur.defaultClip));
    const auto maxClip = static_cast<BYTE>(ReadRegistryDword(kCSNames[5], defaultClip, cur.maxClip, cur.maxClip));
    SetCSValues(minK, defaultK, maxK, minClip, defaultClip, maxClip, 0, 1);
}

void CGlobalData::SaveToRegistry() {
    if (m_block == nullptr) return;
    for (const SettingField& field : kSettingFields) {
        if (field.registryName != nullptr && (Get(m_block->*field.flags) & kSaveFlag) != 0)
            WriteRegistryDword(field.registryName, Read(field.id));
    }
    if (Get(m_block->csFlags) & kSaveFlag) SaveCSValues();
}

void CGlobalData::SaveCSValues() {
    const CSValues cs = ReadCS();
    const BYTE values[6] = {cs.minK, cs.defaultK, cs.maxK, cs.minClip, cs.defaultClip, cs.maxClip};
    for (int i = 0; i < 6; ++i) WriteRegistryDword(kCSNames[i], values[i]);
}

CSValues CGlobalData::ReadCS() const {
    CSValues cs{};
    GetCSValues(&cs.minK, &cs.defaultK, &cs.maxK, &cs.minClip, &cs.defaultClip, &cs.maxClip);
    return cs;
}

// ---- setters and getters ---------------------------------------------------

namespace {

template <class T>
T GetOr(const GlobalDataRecord* block, T GlobalDataRecord::*field, T fallback) {
    return block ? Get(block->*field) : fallback;
}

using R = GlobalDataRecord;
using S = SettingId;

}  // namespace

void CGlobalData::Store(SettingId id, DWORD value, BYTE save, BYTE load) {
    if (m_block == nullptr) return;
    const SettingField& field = FieldOf(id);
    if (field.word != nullptr) {
        Put(m_block->*field.word, value);
    } else {
        Put(m_block->*field.byte, static_cast<BYTE>(value));
    }
    OrFlags(m_block->*field.flags, save, load);
    if (field.rescalesGain) SetApplicationGain(GetApplicationGain());
}

DWORD CGlobalData::Read(SettingId id) const {
    const SettingField& field = FieldOf(id);
    if (m_block == nullptr) return field.fallback;
    return field.word != nullptr ? Get(m_block->*field.word) : Get(m_block->*field.byte);
}

DWORD* CGlobalData::AddressOf(SettingId id) const {
    return m_block != nullptr ? &(m_block->*FieldOf(id).word) : nullptr;
}

void CGlobalData::SetChangeStamp(DWORD stamp) {
    if (m_block) Put(m_block->changeStamp, stamp);
}
DWORD CGlobalData::GetChangeStamp() const { return GetOr(m_block, &R::changeStamp, DWORD{0}); }

void CGlobalData::SetCurveKnee(DWORD knee) {
    if (m_block) Put(m_block->curveKnee, knee);
}
DWORD CGlobalData::GetCurveKnee() const { return GetOr(m_block, &R::curveKnee, kFullScale); }

void CGlobalData::SetApplicationGain(DWORD gain) {
    if (m_block == nullptr) return;
    Put(m_block->applicationGain, gain);
    Put(m_block->combinedGain, ScaleByStrength(gain, GetOverallStrength()));
}
DWORD CGlobalData::GetApplicationGain() const { return GetOr(m_block, &R::applicationGain, kFullScale); }
DWORD CGlobalData::GetCombinedGain() const { return GetOr(m_block, &R::combinedGain, kFullScale); }
DWORD* CGlobalData::GetCombinedGainAddress() const { return m_block ? &m_block->combinedGain : nullptr; }

// The named accessors of the flagged settings, all through the field table.
void CGlobalData::SetOverallStrength(DWORD value, BYTE save, BYTE load) { Store(S::OverallStrength, value, save, load); }
DWORD CGlobalData::GetOverallStrength() const { return Read(S::OverallStrength); }
void CGlobalData::SetSpringStrength(DWORD value, BYTE save, BYTE load) { Store(S::SpringStrength, value, save, load); }
DWORD CGlobalData::GetSpringStrength() const { return Read(S::SpringStrength); }
void CGlobalData::SetEffectiveSpringGain(DWORD value, BYTE save, BYTE load) { Store(S::EffectiveSpringGain, value, save, load); }
DWORD CGlobalData::GetEffectiveSpringGain() const { return Read(S::EffectiveSpringGain); }
void CGlobalData::SetDamperStrength(DWORD value, BYTE save, BYTE load) { Store(S::DamperStrength, value, save, load); }
DWORD CGlobalData::GetDamperStrength() const { return Read(S::DamperStrength); }
void CGlobalData::SetEffectiveDamperGain(DWORD value, BYTE save, BYTE load) { Store(S::EffectiveDamperGain, value, save, load); }
DWORD CGlobalData::GetEffectiveDamperGain() const { return Read(S::EffectiveDamperGain); }
void CGlobalData::SetCenteringSpring(DWORD value, BYTE save, BYTE load) { Store(S::CenteringSpring, value, save, load); }
DWORD CGlobalData::GetCenteringSpring() const { return Read(S::CenteringSpring); }
void CGlobalData::SetPersistentCenteringSpring(DWORD value, BYTE save, BYTE load) { Store(S::PersistentCenteringSpring, value, save, load); }
DWORD CGlobalData::GetPersistentCenteringSpring() const { return Read(S::PersistentCenteringSpring); }
void CGlobalData::SetForceEnabled(DWORD value, BYTE save, BYTE load) { Store(S::ForceEnabled, value, save, load); }
DWORD CGlobalData::GetForceEnabled() const { return Read(S::ForceEnabled); }
void CGlobalData::SetPercentage(DWORD value, BYTE save, BYTE load) { Store(S::Percentage, value, save, load); }
DWORD CGlobalData::GetPercentage() const { return Read(S::Percentage); }
void CGlobalData::SetAmplitudeBasedForce(DWORD value, BYTE save, BYTE load) { Store(S::AmplitudeBasedForce, value, save, load); }
DWORD CGlobalData::GetAmplitudeBasedForce() const { return Read(S::AmplitudeBasedForce); }
void CGlobalData::SetAmplitudeBasedForceThreshold(DWORD value, BYTE save, BYTE load) { Store(S::AmplitudeBasedForceThreshold, value, save, load); }
DWORD CGlobalData::GetAmplitudeBasedForceThreshold() const { return Read(S::AmplitudeBasedForceThreshold); }
void CGlobalData::SetDeltaSpringXAdjust(BYTE value, BYTE save, BYTE load) { Store(S::DeltaSpringXAdjust, value, save, load); }
BYTE CGlobalData::GetDeltaSpringXAdjust() const { return static_cast<BYTE>(Read(S::DeltaSpringXAdjust)); }
void CGlobalData::SetDeltaSpringYAdjust(BYTE value, BYTE save, BYTE load) { Store(S::DeltaSpringYAdjust, value, save, load); }
BYTE CGlobalData::GetDeltaSpringYAdjust() const { return static_cast<BYTE>(Read(S::DeltaSpringYAdjust)); }
void CGlobalData::SetDeltaSpringAdjustDown(DWORD value, BYTE save, BYTE load) { Store(S::DeltaSpringAdjustDown, value, save, load); }
DWORD CGlobalData::GetDeltaSpringAdjustDown() const { return Read(S::DeltaSpringAdjustDown); }
void CGlobalData::SetFlipDeltaSpringToY(DWORD value, BYTE save, BYTE load) { Store(S::FlipDeltaSpringToY, value, save, load); }
DWORD CGlobalData::GetFlipDeltaSpringToY() const { return Read(S::FlipDeltaSpringToY); }
DWORD* CGlobalData::GetSpringStrengthAddress() const { return AddressOf(S::SpringStrength); }
DWORD* CGlobalData::GetEffectiveSpringGainAddress() const { return AddressOf(S::EffectiveSpringGain); }
DWORD* CGlobalData::GetDamperStrengthAddress() const { return AddressOf(S::DamperStrength); }
DWORD* CGlobalData::GetEffectiveDamperGainAddress() const { return AddressOf(S::EffectiveDamperGain); }

void CGlobalData::SetCSValues(BYTE minK, BYTE defaultK, BYTE maxK, BYTE minClip, BYTE defaultClip, BYTE maxClip,
                              BYTE save, BYTE load) {
    if (m_block == nullptr) return;
    const BYTE values[6] = {minK, defaultK, maxK, minClip, defaultClip, maxClip};
    for (int i = 0; i < 6; ++i) Put(m_block->cs[i], values[i]);
    OrFlags(m_block->csFlags, save, load);
}

void CGlobalData::GetCSValues(BYTE* minK, BYTE* defaultK, BYTE* maxK, BYTE* minClip, BYTE* defaultClip,
                              BYTE* maxClip) const {
    BYTE* outs[6] = {minK, defaultK, maxK, minClip, defaultClip, maxClip};
    const BYTE fallback[6] = {kDefaultCS.minK,    kDefaultCS.defaultK,    kDefaultCS.maxK,
                              kDefaultCS.minClip, kDefaultCS.defaultClip, kDefaultCS.maxClip};
    for (int i = 0; i < 6; ++i) {
        if (outs[i]) *outs[i] = m_block ? Get(m_block->cs[i]) : fallback[i];
    }
}

void CGlobalData::SetReportId(BYTE reportId) {
    if (m_block) Put(m_block->reportId, reportId);
}
BYTE CGlobalData::GetReportId() const { return GetOr(m_block, &R::reportId, BYTE{0}); }

void CGlobalData::SetDeviceByteRange(BYTE lower, BYTE upper) {
    if (m_block == nullptr) return;
    Put(m_block->byteRangeLower, lower);
    Put(m_block->byteRangeUpper, upper);
}

void CGlobalData::GetDeviceByteRange(BYTE* lower, BYTE* upper) const {
    if (lower) *lower = GetOr(m_block, &R::byteRangeLower, BYTE{0});
    if (upper) *upper = GetOr(m_block, &R::byteRangeUpper, kDefaultByteRangeUpper);
}
