// The Windows event behind a SimEvent, shared by the clock and the HID
// backend (an overlapped ReadFile signals it directly).
#pragma once

#include <windows.h>

#include "platform/sim_clock.h"

namespace platform {
struct SimEvent::Impl {
    HANDLE handle;
};
}  // namespace platform
