// The reports a virtual device recorded, read back through its C API.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/virtual_hid_api.h"

struct RecordedReport {
    std::uint32_t kind = 0;
    std::uint32_t timeMs = 0;
    std::vector<std::uint8_t> bytes;
};

inline std::vector<RecordedReport> RecordedReports(std::uint32_t joystickId) {
    std::vector<RecordedReport> out;
    const std::int32_t count = FfdrvVirtualReportCount(joystickId);
    for (std::int32_t i = 0; i < count; ++i) {
        RecordedReport r;
        const std::int32_t length = FfdrvVirtualGetReport(joystickId, static_cast<std::uint32_t>(i), &r.kind,
                                                          &r.timeMs, nullptr, 0);
        r.bytes.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        FfdrvVirtualGetReport(joystickId, static_cast<std::uint32_t>(i), nullptr, nullptr, r.bytes.data(),
                              static_cast<std::uint32_t>(r.bytes.size()));
        out.push_back(std::move(r));
    }
    return out;
}
