// The driver library's virtual-device and clock exports, looked up by name
// in a loaded module, as a host of the library reaches them.
#pragma once

#include "force_feedback/legacy/testing/driver_module.h"
#include "platform/virtual_hid_api.h"

struct VirtualApi {
    explicit VirtualApi(const DriverModule& m)
        : plug(Find<decltype(&FfdrvVirtualPlug)>(m, "FfdrvVirtualPlug")),
          unplug(Find<decltype(&FfdrvVirtualUnplug)>(m, "FfdrvVirtualUnplug")),
          setInput(Find<decltype(&FfdrvVirtualSetInput)>(m, "FfdrvVirtualSetInput")),
          setWriteMode(Find<decltype(&FfdrvVirtualSetWriteMode)>(m, "FfdrvVirtualSetWriteMode")),
          pendingIo(Find<decltype(&FfdrvVirtualPendingIo)>(m, "FfdrvVirtualPendingIo")),
          count(Find<decltype(&FfdrvVirtualReportCount)>(m, "FfdrvVirtualReportCount")),
          report(Find<decltype(&FfdrvVirtualGetReport)>(m, "FfdrvVirtualGetReport")),
          clear(Find<decltype(&FfdrvVirtualClearReports)>(m, "FfdrvVirtualClearReports")),
          useVirtual(Find<decltype(&FfdrvVirtualClockUseVirtual)>(m, "FfdrvVirtualClockUseVirtual")),
          useReal(Find<decltype(&FfdrvVirtualClockUseReal)>(m, "FfdrvVirtualClockUseReal")),
          advance(Find<decltype(&FfdrvVirtualClockAdvance)>(m, "FfdrvVirtualClockAdvance")),
          now(Find<decltype(&FfdrvVirtualClockNow)>(m, "FfdrvVirtualClockNow")) {}

    bool Complete() const {
        return plug && unplug && setInput && setWriteMode && pendingIo && count && report && clear && useVirtual &&
               useReal && advance && now;
    }

    decltype(&FfdrvVirtualPlug) plug;
    decltype(&FfdrvVirtualUnplug) unplug;
    decltype(&FfdrvVirtualSetInput) setInput;
    decltype(&FfdrvVirtualSetWriteMode) setWriteMode;
    decltype(&FfdrvVirtualPendingIo) pendingIo;
    decltype(&FfdrvVirtualReportCount) count;
    decltype(&FfdrvVirtualGetReport) report;
    decltype(&FfdrvVirtualClearReports) clear;
    decltype(&FfdrvVirtualClockUseVirtual) useVirtual;
    decltype(&FfdrvVirtualClockUseReal) useReal;
    decltype(&FfdrvVirtualClockAdvance) advance;
    decltype(&FfdrvVirtualClockNow) now;

private:
    template <typename Fn>
    static Fn Find(const DriverModule& module, const char* name) {
        return reinterpret_cast<Fn>(module.Symbol(name));
    }
};
