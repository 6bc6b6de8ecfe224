#include "tools/setup/record_switch.h"

namespace setup {

namespace reg = platform::reg;

reg::Status SetRecordDirectory(const std::wstring& directory) {
    reg::Key key = nullptr;
    std::uint32_t disposition = 0;
    reg::Status status = reg::CreateKey(reg::CurrentUser(), kDriverSettingsKey, reg::kKeyWrite, &key, &disposition);
    if (status != reg::kSuccess) return status;
    status = reg::SetValue(key, kRecordDirectoryValue, reg::kSz, directory.c_str(),
                           static_cast<std::uint32_t>((directory.size() + 1) * sizeof(wchar_t)));
    reg::CloseKey(key);
    return status;
}

reg::Status ClearRecordDirectory() {
    reg::Key key = nullptr;
    reg::Status status = reg::OpenKey(reg::CurrentUser(), kDriverSettingsKey, reg::kKeyWrite, &key);
    if (status == reg::kFileNotFound) return reg::kSuccess;
    if (status != reg::kSuccess) return status;
    status = reg::DeleteValue(key, kRecordDirectoryValue);
    reg::CloseKey(key);
    return status == reg::kFileNotFound ? reg::kSuccess : status;
}

}  // namespace setup
