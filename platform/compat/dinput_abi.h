// DirectInput effect-driver ABI for the Linux build: the structures and
// constants a DirectInput 8 host hands to a force-feedback driver, with the
// Windows layouts (DIEFFECT is the DirectX 6 form, 56 bytes on 64-bit).
#pragma once

#include "compat/windows_abi.h"

struct DIENVELOPE {
    DWORD dwSize;
    DWORD dwAttackLevel;
    DWORD dwAttackTime;
    DWORD dwFadeLevel;
    DWORD dwFadeTime;
};
using LPDIENVELOPE = DIENVELOPE*;
using LPCDIENVELOPE = const DIENVELOPE*;

struct DIEFFECT {
    DWORD dwSize;
    DWORD dwFlags;
    DWORD dwDuration;
    DWORD dwSamplePeriod;
    DWORD dwGain;
    DWORD dwTriggerButton;
    DWORD dwTriggerRepeatInterval;
    DWORD cAxes;
    LPDWORD rgdwAxes;
    LPLONG rglDirection;
    LPDIENVELOPE lpEnvelope;
    DWORD cbTypeSpecificParams;
    LPVOID lpvTypeSpecificParams;
    DWORD dwStartDelay;
};
using LPDIEFFECT = DIEFFECT*;
using LPCDIEFFECT = const DIEFFECT*;

// The DirectX 5 block ends before dwStartDelay; hosts still send it.
struct DIEFFECT_DX5 {
    DWORD dwSize;
    DWORD dwFlags;
    DWORD dwDuration;
    DWORD dwSamplePeriod;
    DWORD dwGain;
    DWORD dwTriggerButton;
    DWORD dwTriggerRepeatInterval;
    DWORD cAxes;
    LPDWORD rgdwAxes;
    LPLONG rglDirection;
    LPDIENVELOPE lpEnvelope;
    DWORD cbTypeSpecificParams;
    LPVOID lpvTypeSpecificParams;
};

struct DICONSTANTFORCE {
    LONG lMagnitude;
};
struct DIRAMPFORCE {
    LONG lStart;
    LONG lEnd;
};
struct DIPERIODIC {
    DWORD dwMagnitude;
    LONG lOffset;
    DWORD dwPhase;
    DWORD dwPeriod;
};
struct DICONDITION {
    LONG lOffset;
    LONG lPositiveCoefficient;
    LONG lNegativeCoefficient;
    DWORD dwPositiveSaturation;
    DWORD dwNegativeSaturation;
    LONG lDeadBand;
};
struct DICUSTOMFORCE {
    DWORD cChannels;
    DWORD dwSamplePeriod;
    DWORD cSamples;
    LPLONG rglForceData;
};

struct DIDRIVERVERSIONS {
    DWORD dwSize;
    DWORD dwFirmwareRevision;
    DWORD dwHardwareRevision;
    DWORD dwFFDriverVersion;
};
using LPDIDRIVERVERSIONS = DIDRIVERVERSIONS*;

struct DIEFFESCAPE {
    DWORD dwSize;
    DWORD dwCommand;
    LPVOID lpvInBuffer;
    DWORD cbInBuffer;
    LPVOID lpvOutBuffer;
    DWORD cbOutBuffer;
};
using LPDIEFFESCAPE = DIEFFESCAPE*;

struct DIDEVICESTATE {
    DWORD dwSize;
    DWORD dwState;
    DWORD dwLoad;
};
using LPDIDEVICESTATE = DIDEVICESTATE*;

struct IDirectInputEffectDriver : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE DeviceID(DWORD dwDirectInputVersion, DWORD dwExternalID, DWORD fBegin,
                                               DWORD dwInternalID, LPVOID lpReserved) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVersions(LPDIDRIVERVERSIONS pvers) = 0;
    virtual HRESULT STDMETHODCALLTYPE Escape(DWORD dwID, DWORD dwEffect, LPDIEFFESCAPE pesc) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetGain(DWORD dwID, DWORD dwGain) = 0;
    virtual HRESULT STDMETHODCALLTYPE SendForceFeedbackCommand(DWORD dwID, DWORD dwCommand) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetForceFeedbackState(DWORD dwID, LPDIDEVICESTATE pds) = 0;
    virtual HRESULT STDMETHODCALLTYPE DownloadEffect(DWORD dwID, DWORD dwEffectId, LPDWORD pdwEffect,
                                                     LPCDIEFFECT peff, DWORD dwFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE DestroyEffect(DWORD dwID, DWORD dwEffect) = 0;
    virtual HRESULT STDMETHODCALLTYPE StartEffect(DWORD dwID, DWORD dwEffect, DWORD dwMode, DWORD dwCount) = 0;
    virtual HRESULT STDMETHODCALLTYPE StopEffect(DWORD dwID, DWORD dwEffect) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetEffectStatus(DWORD dwID, DWORD dwEffect, LPDWORD pdwStatus) = 0;
};
using LPDIRECTINPUTEFFECTDRIVER = IDirectInputEffectDriver*;

inline constexpr IID IID_IDirectInputEffectDriver = {
    0x02538130, 0x898F, 0x11D0, {0x9A, 0xD0, 0x00, 0xA0, 0xC9, 0xA0, 0x6E, 0x35}};

constexpr DWORD DI_FFNOMINALMAX = 10000;
constexpr DWORD DI_DEGREES = 100;
constexpr DWORD DI_SECONDS = 1000000;

constexpr DWORD DIEFF_OBJECTIDS = 0x00000001;
constexpr DWORD DIEFF_OBJECTOFFSETS = 0x00000002;
constexpr DWORD DIEFF_CARTESIAN = 0x00000010;
constexpr DWORD DIEFF_POLAR = 0x00000020;
constexpr DWORD DIEFF_SPHERICAL = 0x00000040;

constexpr DWORD DIEP_DURATION = 0x00000001;
constexpr DWORD DIEP_SAMPLEPERIOD = 0x00000002;
constexpr DWORD DIEP_GAIN = 0x00000004;
constexpr DWORD DIEP_TRIGGERBUTTON = 0x00000008;
constexpr DWORD DIEP_TRIGGERREPEATINTERVAL = 0x00000010;
constexpr DWORD DIEP_AXES = 0x00000020;
constexpr DWORD DIEP_DIRECTION = 0x00000040;
constexpr DWORD DIEP_ENVELOPE = 0x00000080;
constexpr DWORD DIEP_TYPESPECIFICPARAMS = 0x00000100;
constexpr DWORD DIEP_STARTDELAY = 0x00000200;
constexpr DWORD DIEP_ALLPARAMS_DX5 = 0x000001FF;
constexpr DWORD DIEP_ALLPARAMS = 0x000003FF;
constexpr DWORD DIEP_START = 0x20000000;
constexpr DWORD DIEP_NORESTART = 0x40000000;
constexpr DWORD DIEP_NODOWNLOAD = 0x80000000;

constexpr DWORD DIEB_NOTRIGGER = 0xFFFFFFFF;

constexpr DWORD DIES_SOLO = 0x00000001;
constexpr DWORD DIES_NODOWNLOAD = 0x80000000;

constexpr DWORD DIEGES_PLAYING = 0x00000001;
constexpr DWORD DIEGES_EMULATED = 0x00000002;

constexpr DWORD DISFFC_RESET = 0x00000001;
constexpr DWORD DISFFC_STOPALL = 0x00000002;
constexpr DWORD DISFFC_PAUSE = 0x00000004;
constexpr DWORD DISFFC_CONTINUE = 0x00000008;
constexpr DWORD DISFFC_SETACTUATORSON = 0x00000010;
constexpr DWORD DISFFC_SETACTUATORSOFF = 0x00000020;

constexpr DWORD DIGFFS_EMPTY = 0x00000001;
constexpr DWORD DIGFFS_STOPPED = 0x00000002;
constexpr DWORD DIGFFS_PAUSED = 0x00000004;
constexpr DWORD DIGFFS_ACTUATORSON = 0x00000010;
constexpr DWORD DIGFFS_ACTUATORSOFF = 0x00000020;
constexpr DWORD DIGFFS_POWERON = 0x00000040;
constexpr DWORD DIGFFS_POWEROFF = 0x00000080;
constexpr DWORD DIGFFS_SAFETYSWITCHON = 0x00000100;
constexpr DWORD DIGFFS_SAFETYSWITCHOFF = 0x00000200;
constexpr DWORD DIGFFS_USERFFSWITCHON = 0x00000400;
constexpr DWORD DIGFFS_USERFFSWITCHOFF = 0x00000800;
constexpr DWORD DIGFFS_DEVICELOST = 0x80000000;

constexpr HRESULT DI_OK = S_OK;
constexpr HRESULT DI_DOWNLOADSKIPPED = 0x00000003;
constexpr HRESULT DI_EFFECTRESTARTED = 0x00000004;
constexpr HRESULT DI_TRUNCATED = 0x00000008;
constexpr HRESULT DI_TRUNCATEDANDRESTARTED = 0x0000000C;
constexpr HRESULT DIERR_INVALIDPARAM = E_INVALIDARG;
constexpr HRESULT DIERR_UNSUPPORTED = E_NOTIMPL;
constexpr HRESULT DIERR_GENERIC = E_FAIL;
constexpr HRESULT DIERR_OUTOFMEMORY = E_OUTOFMEMORY;
constexpr HRESULT DIERR_DEVICEFULL = static_cast<HRESULT>(0x80040201u);
constexpr HRESULT DIERR_MOREDATA = static_cast<HRESULT>(0x80040202u);
constexpr HRESULT DIERR_NOTDOWNLOADED = static_cast<HRESULT>(0x80040203u);
constexpr HRESULT DIERR_HASEFFECTS = static_cast<HRESULT>(0x80040204u);
constexpr HRESULT DIERR_INCOMPLETEEFFECT = static_cast<HRESULT>(0x80040206u);
constexpr HRESULT DIERR_EFFECTPLAYING = static_cast<HRESULT>(0x80040208u);
constexpr HRESULT DIERR_UNPLUGGED = static_cast<HRESULT>(0x80040209u);

// Effect categories and capability bits of DIEFFECTATTRIBUTES.dwEffType.
constexpr DWORD DIEFT_ALL = 0x00000000;
constexpr DWORD DIEFT_CONSTANTFORCE = 0x00000001;
constexpr DWORD DIEFT_RAMPFORCE = 0x00000002;
constexpr DWORD DIEFT_PERIODIC = 0x00000003;
constexpr DWORD DIEFT_CONDITION = 0x00000004;
constexpr DWORD DIEFT_CUSTOMFORCE = 0x00000005;
constexpr DWORD DIEFT_HARDWARE = 0x000000FF;
constexpr DWORD DIEFT_FFATTACK = 0x00000200;
constexpr DWORD DIEFT_FFFADE = 0x00000400;
constexpr DWORD DIEFT_SATURATION = 0x00000800;
constexpr DWORD DIEFT_POSNEGCOEFFICIENTS = 0x00001000;
constexpr DWORD DIEFT_POSNEGSATURATION = 0x00002000;
constexpr DWORD DIEFT_DEADBAND = 0x00004000;
constexpr DWORD DIEFT_STARTDELAY = 0x00008000;

// The records a driver's joystick OEM key carries (dinputd.h on Windows).
struct DIEFFECTATTRIBUTES {
    DWORD dwEffectId;
    DWORD dwEffType;
    DWORD dwStaticParams;
    DWORD dwDynamicParams;
    DWORD dwCoords;
};
struct DIFFDEVICEATTRIBUTES {
    DWORD dwFlags;
    DWORD dwFFSamplePeriod;
    DWORD dwFFMinTimeResolution;
};

// DirectInput's predefined effects.
inline constexpr GUID GUID_ConstantForce = {0x13541C20, 0x8E33, 0x11D0, {0x9A, 0xD0, 0x00, 0xA0, 0xC9, 0xA0, 0x6E, 0x35}};
inline constexpr GUID GUID_RampForce = {0x13541C21, 0x8E33, 0x11D0, {0x9A, 0xD0, 0x00, 0xA0, 0xC9, 0xA0, 0x6E, 0x35}};
inline constexpr GUID GUID_Square = {0x13541C22, 0x8E33, 0x11D0, {0x9A, 0xD0, 0x00, 0xA0, 0xC9, 0xA0, 0x6E, 0x35}};
inline constexpr GUID GUID_Sine = {0x13541C23, 0x8E33, 0x11D0, {0x9A, 0xD0, 0x00, 0xA0, 0xC9, 0xA0, 0x6E, 0x35}};
inline constexpr GUID GUID_Triangle = {0x13541C24, 0x8E33, 0x11D0, {0x9A, 0xD0, 0x00, 0xA0, 0xC9, 0xA0, 0x6E, 0x35}};
inline constexpr GUID GUID_SawtoothUp = {0x13541C25, 0x8E33, 0x11D0, {0x9A, 0xD0, 0x00, 0xA0, 0xC9, 0xA0, 0x6E, 0x35}};
inline constexpr GUID GUID_SawtoothDown = {0x13541C26, 0x8E33, 0x11D0, {0x9A, 0xD0, 0x00, 0xA0, 0xC9, 0xA0, 0x6E, 0x35}};
inline constexpr GUID GUID_Spring = {0x13541C27, 0x8E33, 0x11D0, {0x9A, 0xD0, 0x00, 0xA0, 0xC9, 0xA0, 0x6E, 0x35}};
inline constexpr GUID GUID_Damper = {0x13541C28, 0x8E33, 0x11D0, {0x9A, 0xD0, 0x00, 0xA0, 0xC9, 0xA0, 0x6E, 0x35}};
inline constexpr GUID GUID_Inertia = {0x13541C29, 0x8E33, 0x11D0, {0x9A, 0xD0, 0x00, 0xA0, 0xC9, 0xA0, 0x6E, 0x35}};
inline constexpr GUID GUID_Friction = {0x13541C2A, 0x8E33, 0x11D0, {0x9A, 0xD0, 0x00, 0xA0, 0xC9, 0xA0, 0x6E, 0x35}};
inline constexpr GUID GUID_CustomForce = {0x13541C2B, 0x8E33, 0x11D0, {0x9A, 0xD0, 0x00, 0xA0, 0xC9, 0xA0, 0x6E, 0x35}};
