// `ffdrv-setup record on DIR` / `record off`: the per-user value the driver
// reads to decide whether to record what a game sends.
#pragma once

#include <string>

#include "platform/registry.h"

namespace setup {

inline constexpr const wchar_t* kDriverSettingsKey = L"Software\\Corvanta\\Gearbench\\DriverSettings";
inline constexpr const wchar_t* kRecordDirectoryValue = L"RecordDirectory";

// Writes RecordDirectory (REG_SZ) under the current user's driver settings
// key, creating the key when needed.
platform::reg::Status SetRecordDirectory(const std::wstring& directory);
// Removes the value; a value or key that is not there is success.
platform::reg::Status ClearRecordDirectory();

}  // namespace setup
