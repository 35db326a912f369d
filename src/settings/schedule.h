// The weekly schedule: at which half hours of the week the forced log-off is in force. It is kept
// as text ("Mon 8:00-17:30, Tue 0:00-24:00, "), parsed afresh whenever it is asked, and answers
// the monitor's one question: is monitoring active now, and for how many seconds more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/local_time.h"
#include "platform/locale.h"
#include "platform/system_time.h"

namespace tv {

// One period of a schedule: [start, end) on one day of the week, in half-hour steps.
struct AllowedPeriod {
  std::uint32_t day = 0;          // 0 = Sunday, 1 = Monday .. 6 = Saturday (SYSTEMTIME's numbering)
  std::uint16_t startHour = 0;    // 0..23
  std::uint16_t startMinute = 0;  // 0 or 30
  std::uint16_t endHour = 0;      // up to 24; 24:00 is the end of the day
  std::uint16_t endMinute = 0;    // 0 or 30

  friend bool operator==(const AllowedPeriod&, const AllowedPeriod&) = default;
};

using PeriodList = std::vector<AllowedPeriod>;

// One entry of the process-wide day table.
struct DayEntry {
  std::wstring localName;       // the locale's full name (the English one when it cannot be read)
  const wchar_t* englishName;   // "Monday" .. "Sunday"
  const wchar_t* abbreviation;  // "Mon" .. "Sun": the form the schedule text uses
  int day;                      // 0 = Sunday .. 6 = Saturday
};

class Schedule {
 public:
  // GetSecondsRemaining's answers that are not counts: always on (more than a week), and a text
  // that cannot be read (which IsScheduleOn deliberately takes as on).
  static constexpr std::int32_t kAlwaysOn = 604801;
  static constexpr std::int32_t kUnreadable = -604801;

  Schedule() = default;

  // The text, or "" when the schedule is absent.
  const wchar_t* Get() const { return present_ ? text_.c_str() : L""; }

  // Replaces the text with a copy of `text`; an empty or null text leaves the schedule absent.
  void Set(const wchar_t* text);

  // True for the absent schedule and for "*": active at all times.
  bool IsDefault() const;

  // Parses the text into `list` (emptied first), periods in text order. Answers null on success,
  // or a pointer into Get()'s text at the period that could not be read; `list` then holds the
  // periods before it. Blank text parses to an empty list.
  const wchar_t* Parse(PeriodList& list) const { return ParseText(Get(), list); }

  // Parse for any text (a null text parses as empty); the error position points into `text`.
  static const wchar_t* ParseText(const wchar_t* text, PeriodList& list);

  // Frees the periods of `list` and empties it.
  static void Purge(PeriodList& list);

  // The day number whose abbreviation is exactly `abbreviation` (case-sensitive), or -1.
  static int FindDay(const wchar_t* abbreviation);

  // The position of day number `day` in the day table, or -1.
  static int FindDayIndex(int day);

  // The day after `day` (Saturday wraps to Sunday), or -1 when `day` is not 0..6.
  static int GetNextDay(int day);

  // The first period (text order) on `day` that ends after hour:minute; failing that, the first
  // period of the next day that has any, round the week and ending with `day` itself a week on
  // (whose periods all ended today). Null only for an empty list or a day outside 0..6.
  static const AllowedPeriod* FindAllowedPeriod(const PeriodList& list, int day, int hour, int minute);

  // The period after `period` in `list`, the first one after the last; null when the list is
  // empty or `period` is not one of its elements.
  static const AllowedPeriod* FindNextAllowedPeriod(const PeriodList& list, const AllowedPeriod* period);

  // Real seconds from local time `now` to the end of the stretch of active time it lies in
  // (following periods that run on across midnight); when `now` lies outside, minus the seconds
  // to the next start. kAlwaysOn for the default schedule or a week that is active throughout,
  // also for a text that leaves no half hour active, kUnreadable (with a message naming the position in
  // `errorText`, cut to `errorChars` characters) when the text or `now` cannot be read.
  // Periods count as the union of their half hours, so overlapping, touching or unordered
  // periods answer as the grid editor shows them. Wall-clock times are resolved by `zone`
  // (see LocalTimeZone::ToFileTime); a `now` in a fall-back overlap is read as the first pass.
  // When the zone cannot convert, the count is made on the wall clock alone.
  std::int32_t GetSecondsRemaining(const SystemTime& now, wchar_t* errorText, std::size_t errorChars,
                                   const LocalTimeZone& zone = SystemLocalTimeZone()) const;

  // True when monitoring is in force at `now`: the default schedule, a non-negative count, or a
  // schedule that cannot be read (a malformed schedule never stops monitoring).
  bool IsScheduleOn(const SystemTime& now, const LocalTimeZone& zone = SystemLocalTimeZone()) const;

  // The day table: seven entries from the user's first day of the week on. Until InitCommon has
  // run (and after FreeCommon) it is the English table starting on Monday. Build and free it
  // while no other thread reads it (start-up and shut-down); parsing and the seconds count do
  // not depend on it.
  static void InitCommon(const UserLocale& locale = SystemUserLocale());
  static void FreeCommon();

  // True when InitCommon could read all seven local day names.
  static bool CanDisplayLocalDays();

  // Entry `index` (0..6, taken modulo 7) of the day table.
  static const DayEntry& GetDayEntry(int index);

 private:
  bool present_ = false;
  std::wstring text_;
};

}  // namespace tv
