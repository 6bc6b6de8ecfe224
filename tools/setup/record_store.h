// Writing, removing and checking the joystick OEM records in the registry,
// through the platform's registry calls. `root` and `base` name where the OEM
// branch is (HKEY_LOCAL_MACHINE and kOemRoot for the real thing; tests point
// them elsewhere). Only the keys and values of the given records are touched:
// other makers' records, and anything the system keeps in a record of ours
// (such as OEMData), are left as they are.
#pragma once

#include <string>
#include <vector>

#include "platform/registry.h"
#include "tools/setup/oem_records.h"

namespace setup {

struct StoreResult {
    platform::reg::Status status = platform::reg::kSuccess;  // first failure
    std::wstring where;                                        // the key it failed on
    bool Ok() const { return status == platform::reg::kSuccess; }
};

// Writes every record. A record's OEMForceFeedback key is replaced whole, so
// effects that an earlier version offered and this one does not are gone;
// OEMName is (re)written. Running it twice leaves the same registry.
StoreResult WriteRecords(platform::reg::Key root, const std::wstring& base, const std::vector<OemRecord>& records);

// Removes what WriteRecords wrote: the OEMForceFeedback key, OEMName while it
// still holds the name we wrote, and the product key once nothing else is
// left in it. Missing records are not an error.
StoreResult RemoveRecords(platform::reg::Key root, const std::wstring& base, const std::vector<OemRecord>& records);

// What is in the registry compared with one record.
struct RecordCheck {
    const OemRecord* record = nullptr;
    bool keyPresent = false;
    bool forceFeedbackPresent = false;  // the OEMForceFeedback key
    bool nameOurs = false;              // OEMName holds our name
    std::vector<std::wstring> missing;  // "path: value" or "path" (relative to the product key)
    std::vector<std::wstring> differs;
    std::vector<std::wstring> extra;    // effects we do not offer
    bool Complete() const { return keyPresent && missing.empty() && differs.empty() && extra.empty(); }
    bool Absent() const { return !forceFeedbackPresent && !nameOurs; }  // nothing of ours there
};

// The checks point into `records`, which must outlive them.
std::vector<RecordCheck> CheckRecords(platform::reg::Key root, const std::wstring& base,
                                      const std::vector<OemRecord>& records);

}  // namespace setup
