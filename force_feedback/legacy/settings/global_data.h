// Per-device-model force settings, shared by every process that has the same
// model open and persisted per user in the registry.
//
// Role: owns one view of the named settings block of its device ID and reads
// and writes it through the getters and setters below; the per-model
// subclasses (model_global_data.h) only supply defaults.
// Owner: the virtual device of the model (one object per open device).
// Threads: any. The block is shared between threads and processes without a
// lock: every field is an aligned 32-bit word or a single byte, read and
// written whole, and readers notice changes through the change stamp.
//
// Without a block (the mapping could not be made) every getter returns its
// fall-back value, setters change nothing and RebuildCurve gives E_NOTIMPL.
#pragma once

#include <cstddef>
#include <cstdint>

#include "com_abi.h"
#include "platform/shared_memory.h"

// Flag bits stored after each persisted setting; setters only ever OR them in.
constexpr BYTE kSaveFlag = 0x01;  // written by SaveToRegistry
constexpr BYTE kLoadFlag = 0x02;  // read by LoadFromRegistry

// The shared settings record: 644 bytes, little-endian, natural alignment.
struct GlobalDataRecord {
    DWORD changeStamp;
    std::int32_t curve[128];
    DWORD curveKnee;
    DWORD overallStrength;
    BYTE overallStrengthFlags;
    DWORD applicationGain;
    DWORD combinedGain;
    DWORD springStrength;
    BYTE springStrengthFlags;
    DWORD effectiveSpringGain;
    BYTE effectiveSpringGainFlags;
    DWORD damperStrength;
    BYTE damperStrengthFlags;
    DWORD effectiveDamperGain;
    BYTE effectiveDamperGainFlags;
    DWORD centeringSpring;
    BYTE centeringSpringFlags;
    DWORD persistentCenteringSpring;
    BYTE persistentCenteringSpringFlags;
    DWORD forceEnabled;
    BYTE forceEnabledFlags;
    DWORD percentage;
    BYTE percentageFlags;
    DWORD amplitudeBasedForce;
    BYTE amplitudeBasedForceFlags;
    DWORD amplitudeBasedForceThreshold;
    BYTE amplitudeBasedForceThresholdFlags;
    BYTE deltaSpringXAdjust;
    BYTE deltaSpringXAdjustFlags;
    BYTE deltaSpringYAdjust;
    BYTE deltaSpringYAdjustFlags;
    DWORD deltaSpringAdjustDown;
    BYTE deltaSpringAdjustDownFlags;
    DWORD flipDeltaSpringToY;
    BYTE flipDeltaSpringToYFlags;
    BYTE cs[6];  // CSminK, CSdefaultK, CSmaxK, CSminClip, CSdefaultClip, CSmaxClip
    BYTE csFlags;
    BYTE reportId;
    BYTE byteRangeLower;
    BYTE byteRangeUpper;
};
static_assert(sizeof(DWORD) == 4);
static_assert(sizeof(GlobalDataRecord) == 644);
static_assert(offsetof(GlobalDataRecord, curveKnee) == 516);
static_assert(offsetof(GlobalDataRecord, applicationGain) == 528);
static_assert(offsetof(GlobalDataRecord, amplitudeBasedForceThresholdFlags) == 612);
static_assert(offsetof(GlobalDataRecord, deltaSpringYAdjustFlags) == 616);
static_assert(offsetof(GlobalDataRecord, deltaSpringAdjustDown) == 620);
static_assert(offsetof(GlobalDataRecord, cs) == 633);
static_assert(offsetof(GlobalDataRecord, byteRangeUpper) == 642);

// A flagged setting of the record (setting_fields.h).
enum class SettingId : std::uint8_t;

// The six centring-spring range bytes, in record order.
struct CSValues {
    BYTE minK, defaultK, maxK;
    BYTE minClip, defaultClip, maxClip;
};

class CGlobalData {
public:
    static constexpr std::uint32_t kRecordSize = sizeof(GlobalDataRecord);
    static constexpr std::size_t kRegistryKeyLength = 96;  // characters, with room to spare
    static constexpr std::uint32_t kFloatValueBytes = 520;

    CGlobalData() = default;
    virtual ~CGlobalData();
    CGlobalData(const CGlobalData&) = delete;
    CGlobalData& operator=(const CGlobalData&) = delete;

    // Binds the object to the block of `deviceId` (vendor ID << 16 | product
    // ID), creating it zero-filled or opening the one another holder has.
    // Defaults are applied only when this call created it. An existing block
    // smaller than the record is not used (the object stays without one).
    virtual void Initialize(DWORD deviceId);
    virtual void SetDefaults();
    // Only with a block: reads each setting whose load bit is set.
    virtual void LoadFromRegistry();
    // Only with a block: writes each setting whose save bit is set; write
    // failures are ignored.
    virtual void SaveToRegistry();
    virtual DWORD GetDeviceId() const;
    // "Software\...\VID_xxxx&PID_xxxx" into `buffer` of `length` characters.
    // False (and an empty string when length > 0) when it does not fit.
    virtual bool FormatRegistryKey(wchar_t* buffer, std::size_t length) const;
    // A REG_SZ number in [minimum, maximum], else `fallback`. See the .cpp for
    // the accepted text.
    virtual double ReadRegistryFloat(const wchar_t* name, double minimum, double maximum, double fallback) const;
    // A 4-byte value in [minimum, maximum] (unsigned), else `fallback`.
    virtual DWORD ReadRegistryDword(const wchar_t* name, DWORD minimum, DWORD maximum, DWORD fallback) const;
    virtual LONG WriteRegistryFloat(const wchar_t* name, double value);
    virtual LONG WriteRegistryDword(const wchar_t* name, DWORD value);
    // S_OK, or E_NOTIMPL without a block.
    virtual HRESULT RebuildCurve();
    // Odd-symmetric table lookup of a force magnitude (-127..127); the
    // magnitude itself without a block.
    virtual LONG CurveLookup(LONG value) const;
    virtual void SetChangeStamp(DWORD stamp);
    virtual DWORD GetChangeStamp() const;

    virtual void SetCurveKnee(DWORD knee);
    virtual DWORD GetCurveKnee() const;
    virtual void SetOverallStrength(DWORD value, BYTE save, BYTE load);
    virtual void SetApplicationGain(DWORD gain);
    virtual DWORD GetApplicationGain() const;
    virtual DWORD GetOverallStrength() const;
    virtual DWORD GetCombinedGain() const;
    virtual DWORD* GetCombinedGainAddress() const;
    virtual void SetSpringStrength(DWORD value, BYTE save, BYTE load);
    virtual DWORD GetSpringStrength() const;
    virtual DWORD* GetSpringStrengthAddress() const;
    virtual void SetEffectiveSpringGain(DWORD value, BYTE save, BYTE load);
    virtual DWORD GetEffectiveSpringGain() const;
    virtual DWORD* GetEffectiveSpringGainAddress() const;
    virtual void SetDamperStrength(DWORD value, BYTE save, BYTE load);
    virtual DWORD GetDamperStrength() const;
    virtual DWORD* GetDamperStrengthAddress() const;
    virtual void SetEffectiveDamperGain(DWORD value, BYTE save, BYTE load);
    virtual DWORD GetEffectiveDamperGain() const;
    virtual DWORD* GetEffectiveDamperGainAddress() const;
    virtual void SetCenteringSpring(DWORD value, BYTE save, BYTE load);
    virtual DWORD GetCenteringSpring() const;
    virtual void SetPersistentCenteringSpring(DWORD value, BYTE save, BYTE load);
    virtual DWORD GetPersistentCenteringSpring() const;
    virtual void SetForceEnabled(DWORD value, BYTE save, BYTE load);
    virtual DWORD GetForceEnabled() const;
    virtual void SetPercentage(DWORD value, BYTE save, BYTE load);
    virtual DWORD GetPercentage() const;
    virtual void SetAmplitudeBasedForce(DWORD value, BYTE save, BYTE load);
    virtual DWORD GetAmplitudeBasedForce() const;
    virtual void SetAmplitudeBasedForceThreshold(DWORD value, BYTE save, BYTE load);
    virtual DWORD GetAmplitudeBasedForceThreshold() const;
    virtual void SetDeltaSpringXAdjust(BYTE value, BYTE save, BYTE load);
    virtual BYTE GetDeltaSpringXAdjust() const;
    virtual void SetDeltaSpringYAdjust(BYTE value, BYTE save, BYTE load);
    virtual BYTE GetDeltaSpringYAdjust() const;
    virtual void SetDeltaSpringAdjustDown(DWORD value, BYTE save, BYTE load);
    virtual DWORD GetDeltaSpringAdjustDown() const;
    virtual void SetFlipDeltaSpringToY(DWORD value, BYTE save, BYTE load);
    virtual DWORD GetFlipDeltaSpringToY() const;
    virtual void SetCSValues(BYTE minK, BYTE defaultK, BYTE maxK, BYTE minClip, BYTE defaultClip, BYTE maxClip,
                             BYTE save, BYTE load);
    virtual void GetCSValues(BYTE* minK, BYTE* defaultK, BYTE* maxK, BYTE* minClip, BYTE* defaultClip,
                             BYTE* maxClip) const;
    virtual void SetReportId(BYTE reportId);
    virtual BYTE GetReportId() const;
    virtual void SetDeviceByteRange(BYTE lower, BYTE upper);
    virtual void GetDeviceByteRange(BYTE* lower, BYTE* upper) const;

    // Any flagged setting by its row in the field table: the named setters
    // and getters above are these. Byte-wide settings keep the low byte.
    void Store(SettingId id, DWORD value, BYTE save, BYTE load);
    DWORD Read(SettingId id) const;

    // The effective spring and damper gains from the combined gain, then the
    // curve: what runs after defaults, after loading, and after a strength
    // changed through the device's settings operation.
    void UpdateDerivedValues();

    bool HasBlock() const { return m_block != nullptr; }

private:
    void Release();
    void LoadCSChain();
    void SaveCSValues();
    CSValues ReadCS() const;
    DWORD* AddressOf(SettingId id) const;

    DWORD m_deviceId = 0;
    GlobalDataRecord* m_block = nullptr;
    platform::shm::Mapping m_mapping = nullptr;
};
