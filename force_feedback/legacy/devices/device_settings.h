// The centering half of the wheel-like families' settings: what the
// settings ask for now, and queuing it on the simulation thread. The
// settings operations themselves live with the field table
// (settings/setting_fields.h).
//
// Calling threads: application threads and the simulation thread (through
// RefreshSettings). No lock: the shared block is read without one.
#pragma once

#include "com_abi.h"
#include "force_feedback/legacy/devices/virtual_device.h"
#include "force_feedback/legacy/settings/setting_fields.h"

class CGlobalData;
class CSimThread;
struct CenteringProtocol;

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
