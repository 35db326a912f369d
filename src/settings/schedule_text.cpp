// Reading the schedule text, and the day table that names the days.
#include <array>

#include "settings/schedule.h"

namespace tv {
namespace {

// English names in the locale's order, Monday first; the day number of entry i is (i + 1) % 7.
constexpr const wchar_t* kEnglishNames[7] = {L"Monday", L"Tuesday",  L"Wednesday", L"Thursday",
                                             L"Friday", L"Saturday", L"Sunday"};
constexpr const wchar_t* kAbbreviations[7] = {L"Mon", L"Tue", L"Wed", L"Thu", L"Fri", L"Sat", L"Sun"};

// Day number (0 = Sunday) of the locale's day `i` (0 = Monday).
constexpr int DayNumberOf(int localeDay) { return (localeDay + 1) % 7; }

// The locale's first day when it cannot be read: Sunday.
constexpr int kFallbackFirstDay = 6;

struct DayTable {
  std::array<DayEntry, 7> entries;
  bool localNames = false;
};

DayTable BuildTable(int firstLocaleDay) {
  DayTable table;
  for (int i = 0; i < 7; ++i) {
    const int localeDay = (firstLocaleDay + i) % 7;
    table.entries[static_cast<std::size_t>(i)] =
        DayEntry{kEnglishNames[localeDay], kEnglishNames[localeDay], kAbbreviations[localeDay], DayNumberOf(localeDay)};
  }
  return table;
}

// Monday first and English until InitCommon has read the locale.
DayTable& Table() {
  static DayTable table = BuildTable(0);
  return table;
}

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n'; }
bool IsSeparator(wchar_t c) { return IsBlank(c) || c == L',' || c == L';'; }
bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

void SkipBlanks(const wchar_t*& p) {
  while (IsBlank(*p)) ++p;
}

// Day number of the abbreviation in the first `length` characters of `text`, or -1.
int FindDayIn(const wchar_t* text, std::size_t length) {
  for (int i = 0; i < 7; ++i) {
    const wchar_t* abbreviation = kAbbreviations[i];
    std::size_t n = 0;
    while (n < length && abbreviation[n] != L'\0' && abbreviation[n] == text[n]) ++n;
    if (n == length && abbreviation[n] == L'\0') return DayNumberOf(i);
  }
  return -1;
}

// "H:MM" or "HH:MM" with the minutes "00" or "30". Moves `p` past what it read.
bool ReadTime(const wchar_t*& p, int& hour, int& minute) {
  if (!IsDigit(*p)) return false;
  hour = *p++ - L'0';
  if (IsDigit(*p)) hour = hour * 10 + (*p++ - L'0');
  if (*p != L':') return false;
  ++p;
  if (!IsDigit(p[0]) || !IsDigit(p[1])) return false;
  minute = (p[0] - L'0') * 10 + (p[1] - L'0');
  p += 2;
  return minute == 0 || minute == 30;
}

}  // namespace

const wchar_t* Schedule::ParseText(const wchar_t* text, PeriodList& list) {
  list.clear();
  if (!text) return nullptr;
  const wchar_t* p = text;
  SkipBlanks(p);
  while (*p != L'\0') {
    const wchar_t* period = p;
    // Every check below fails the whole period, so the error points at its day.
    if (p[0] == L'\0' || p[1] == L'\0' || p[2] == L'\0') return period;
    const int day = FindDayIn(p, 3);
    if (day < 0) return period;
    p += 3;
    if (!IsBlank(*p)) return period;
    SkipBlanks(p);

    int startHour = 0, startMinute = 0, endHour = 0, endMinute = 0;
    if (!ReadTime(p, startHour, startMinute) || startHour > 24) return period;
    while (IsBlank(*p) || *p == L'-') ++p;
    if (!ReadTime(p, endHour, endMinute) || endHour > 24 || (endHour == 24 && endMinute != 0)) return period;
    // Long-standing texts write midnight at the start of a day as 24:00; it means 0:00.
    if (startHour == 24) startHour = 0;
    if (endHour * 60 + endMinute <= startHour * 60 + startMinute) return period;

    if (*p != L'\0') {
      if (!IsSeparator(*p)) return period;
      while (IsSeparator(*p)) ++p;
    }
    list.push_back(AllowedPeriod{static_cast<std::uint32_t>(day), static_cast<std::uint16_t>(startHour),
                                 static_cast<std::uint16_t>(startMinute), static_cast<std::uint16_t>(endHour),
                                 static_cast<std::uint16_t>(endMinute)});
  }
  return nullptr;
}

int Schedule::FindDay(const wchar_t* abbreviation) {
  if (!abbreviation) return -1;
  std::size_t length = 0;
  while (length < 4 && abbreviation[length] != L'\0') ++length;
  return FindDayIn(abbreviation, length);
}

int Schedule::FindDayIndex(int day) {
  const auto& entries = Table().entries;
  for (int i = 0; i < 7; ++i) {
    if (entries[static_cast<std::size_t>(i)].day == day) return i;
  }
  return -1;
}

int Schedule::GetNextDay(int day) { return day >= 0 && day <= 6 ? (day + 1) % 7 : -1; }

void Schedule::InitCommon(const UserLocale& locale) {
  int first = kFallbackFirstDay;
  if (!locale.FirstDayOfWeek(first) || first < 0 || first > 6) first = kFallbackFirstDay;
  DayTable table = BuildTable(first);
  table.localNames = true;
  for (DayEntry& entry : table.entries) {
    // The locale numbers Monday 1 .. Sunday 7.
    const int localeNumber = entry.day == 0 ? 7 : entry.day;
    std::wstring name;
    if (locale.DayName(localeNumber, name) && !name.empty()) {
      entry.localName = std::move(name);
    } else {
      table.localNames = false;
    }
  }
  Table() = std::move(table);
}

void Schedule::FreeCommon() { Table() = BuildTable(0); }

bool Schedule::CanDisplayLocalDays() { return Table().localNames; }

const DayEntry& Schedule::GetDayEntry(int index) {
  return Table().entries[static_cast<std::size_t>(((index % 7) + 7) % 7)];
}

}  // namespace tv
