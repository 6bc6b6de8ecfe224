// The OEM records as a .reg file for deployment by policy: "Windows Registry
// Editor Version 5.00", UTF-16LE with its byte order mark, CRLF line ends.
// Importing it does what install does to the records: each record's
// OEMForceFeedback key is deleted first, then written whole.
#pragma once

#include <string>
#include <vector>

#include "tools/setup/oem_records.h"

namespace setup {

// The file's text (lines end in "\r\n").
std::wstring RegFileText(const std::vector<OemRecord>& records);

// The bytes to write: BOM, then the text in UTF-16LE.
std::string RegFileBytes(const std::vector<OemRecord>& records);

}  // namespace setup
