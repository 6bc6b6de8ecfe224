// The paced report write every simulation thread uses: one output report per
// call, held to at least about 8 ms because the legacy devices take no more
// than one report about every 8 ms, and given up after about one second.
//
// Runs on the simulation thread (completion routines run on the calling
// thread during its alertable waits); no lock is held across it.
#pragma once

#include <cstdint>

#include "platform/hid.h"

// Milliseconds a write is held to, and the shortest elapsed time that needs
// no topping up.
constexpr std::uint32_t kReportPeriodMs = 8;
constexpr std::uint32_t kReportPeriodSlackMs = 7;
// Each wait for the completion, and how many of them before cancelling.
constexpr std::uint32_t kWriteWaitMs = 50;
constexpr unsigned kWriteWaitsBeforeCancel = 20;

// Writes `report` (its first byte replaced by `reportId`) to `handle` with
// WriteFileEx and waits for the completion. True when the write completed,
// false when it could not start or was cancelled after about one second.
bool WritePacedReport(platform::hid::File handle, std::uint8_t reportId, std::uint8_t* report, unsigned length);
