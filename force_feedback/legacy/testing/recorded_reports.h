// The reports a virtual device recorded, read back through its C API: linked
// in (RecordedReports) or through a loaded module's exports (ReadReports).
#pragma once

#include <cstdint>
#include <vector>

#include "platform/virtual_hid_api.h"

struct RecordedReport {
    std::uint32_t kind = 0;
    std::uint32_t timeMs = 0;
    std::vector<std::uint8_t> bytes;
};

inline std::vector<RecordedReport> ReadReports(std::uint32_t joystickId, decltype(&FfdrvVirtualReportCount) count,
                                               decltype(&FfdrvVirtualGetReport) get) {
    std::vector<RecordedReport> out;
    const std::int32_t n = count(joystickId);
    for (std::int32_t i = 0; i < n; ++i) {
        RecordedReport r;
        const std::int32_t length = get(joystickId, static_cast<std::uint32_t>(i), &r.kind, &r.timeMs, nullptr, 0);
        r.bytes.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        get(joystickId, static_cast<std::uint32_t>(i), nullptr, nullptr, r.bytes.data(),
            static_cast<std::uint32_t>(r.bytes.size()));
        out.push_back(std::move(r));
    }
    return out;
}

inline std::vector<RecordedReport> RecordedReports(std::uint32_t joystickId) {
    return ReadReports(joystickId, &FfdrvVirtualReportCount, &FfdrvVirtualGetReport);
}
