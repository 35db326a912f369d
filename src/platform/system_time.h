// A calendar time as Windows' SYSTEMTIME holds it (same fields, same order, same meaning), so
// portable code can speak of local wall-clock times without <windows.h>.
#pragma once

#include <cstdint>

namespace tv {

struct SystemTime {
  std::uint16_t year = 0;
  std::uint16_t month = 0;      // 1..12
  std::uint16_t dayOfWeek = 0;  // 0 = Sunday .. 6 = Saturday
  std::uint16_t day = 0;        // 1..31
  std::uint16_t hour = 0;
  std::uint16_t minute = 0;
  std::uint16_t second = 0;
  std::uint16_t milliseconds = 0;
};

}  // namespace tv
