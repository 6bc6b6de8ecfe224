#include "force_feedback/legacy/devices/wheel_status.h"

LONG StatusAfterInput(InputStatusRule rule, LONG current, const BYTE* report, unsigned length) {
    switch (rule) {
        case InputStatusRule::AlwaysOne:
            return 1;
        case InputStatusRule::CorrinBits: {
            LONG status = current;
            if (report == nullptr) return status;
            if (length > wheel::kCorrinStatusOnByte && (report[wheel::kCorrinStatusOnByte] & wheel::kCorrinStatusOnMask) == 0) status = 1;
            // Tested second, so a report with both bits clear ends at -1.
            if (length > wheel::kCorrinStatusOffByte && (report[wheel::kCorrinStatusOffByte] & wheel::kCorrinStatusOffMask) == 0) status = -1;
            return status;
        }
        case InputStatusRule::None:
            break;
    }
    return current;
}
