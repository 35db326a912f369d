// Integer types the product's operations speak in, the same width on both toolchains.
#pragma once

#include <cstdint>

namespace tv {

// Success as 1, failure as 0: the Win32 convention, kept so the two layers read alike.
using BOOL = int;
using DWORD = std::uint32_t;
using ErrorCode = std::uint32_t;

// A 32-bit millisecond tick count; compare two by unsigned difference so the wrap after
// 49.7 days is harmless.
using Tick = std::uint32_t;

inline constexpr BOOL kTrue = 1;
inline constexpr BOOL kFalse = 0;

}  // namespace tv
