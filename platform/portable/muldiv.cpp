#include "platform/muldiv.h"

namespace platform {
std::int32_t MulDiv(std::int32_t a, std::int32_t b, std::int32_t c) { return PortableMulDiv(a, b, c); }
}  // namespace platform
