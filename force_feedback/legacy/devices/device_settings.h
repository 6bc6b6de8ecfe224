// The settings operations of every force device family: one validated
// store into the shared settings record, one read. The families differ only
// in their table of indices (wheel_settings.h, rumble_settings.h).
//
// Calling threads: application threads (DirectInput's device calls and the
// legacy settings interface). No lock: the shared block is written without
// one and readers notice the change through its stamp.
#pragma once

#include "com_abi.h"
#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/devices/wheel_settings.h"

class CGlobalData;
class CSimThread;
struct CenteringProtocol;

// The rule for an index in one family's table, or null.
using SettingFinder = const SettingRule* (*)(DWORD index);

// Checks the index and value against the family table, stores the value
// (not marked for saving, marked for reloading), recomputes the derived
// gains where the rule asks, saves the record when the save flag is set,
// and stamps the change with the time taken at entry. E_POINTER for a null
// record, E_INVALIDARG for an unknown index or a value above its limit
// (nothing stored); S_OK otherwise, also with null `settings` (nothing
// stored then).
HRESULT SetDeviceSetting(SettingFinder find, CGlobalData* settings, const SVJOYFORCEPARAM* param);

// The current value, or the table's default with null `settings`.
// E_POINTER for a null record, E_INVALIDARG for an unknown index.
HRESULT GetDeviceSetting(SettingFinder find, const CGlobalData* settings, SVJOYFORCEPARAM* param);

// The centering strength and enabled flag the settings ask for now; the
// family defaults (full strength, enabled) without settings.
struct CenteringChoice {
    DWORD strength;
    DWORD enabled;
};
CenteringChoice CurrentCentering(const CGlobalData* settings);

// ApplyCenteringSettings of the wheels and wheel-like joysticks once the
// protocol is chosen: queues the centering parameters and the on or off
// command on `thread` (a full queue drops them) and stores the applied
// value. The enabled flag is read from `settings` (on without settings);
// `deviceState` is the device's state word. E_HANDLE without a thread.
HRESULT QueueCentering(CSimThread* thread, CGlobalData* settings, DWORD deviceState,
                       const CenteringProtocol& protocol, DWORD strength);
