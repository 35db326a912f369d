// Local date and time for the statistics, Windows: the system default locale's short formats.
#include "platform/win32/windows_include.h"

#include "service/service_env.h"

namespace tv {

std::wstring FormatLocalDateTime(const SystemTime& t) {
  SYSTEMTIME st{t.year, t.month, t.dayOfWeek, t.day, t.hour, t.minute, t.second, t.milliseconds};
  wchar_t date[128] = {};
  wchar_t time[128] = {};
  ::GetDateFormatW(LOCALE_SYSTEM_DEFAULT, 0, &st, nullptr, date, 128);
  ::GetTimeFormatW(LOCALE_SYSTEM_DEFAULT, 0, &st, nullptr, time, 128);
  return std::wstring(date) + L" " + time;
}

}  // namespace tv
