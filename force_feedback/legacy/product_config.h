// The maker's identity: its name in registered class names and its USB
// vendor ID. The per-model facts live in model_table.h.
#pragma once

#include <cstdint>

constexpr const wchar_t* kMakerName = L"Corvanta";
constexpr std::uint16_t kVendorId = 0xC7A5;
