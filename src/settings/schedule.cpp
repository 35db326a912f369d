// The schedule's text and the monitor's question: active now, and for how many seconds more.
#include "settings/schedule.h"

#include <cwchar>
#include <optional>

#include "foundation/string_table.h"
#include "settings/schedule_advice.h"
#include "settings/schedule_grid.h"

namespace tv {
namespace {

constexpr int kMsgUnreadableSchedule = 21410;
constexpr int kMsgUnreadableTime = 21411;

// Minutes since midnight.
int MinuteOfDay(int hour, int minute) { return hour * 60 + minute; }

void WriteError(wchar_t* errorText, std::size_t errorChars, const std::wstring& message) {
  if (!errorText || errorChars == 0) return;
  const std::size_t n = message.size() < errorChars - 1 ? message.size() : errorChars - 1;
  message.copy(errorText, n);
  errorText[n] = L'\0';
}

std::wstring UnreadableScheduleMessage(const wchar_t* text, const wchar_t* position) {
  // Enough of the text from the failing period on for a person to find it.
  std::wstring excerpt(position, std::wcslen(position) > 20 ? 20 : std::wcslen(position));
  wchar_t buffer[256] = {};
  std::swprintf(buffer, 256, LoadStr(kMsgUnreadableSchedule), static_cast<int>(position - text) + 1,
                excerpt.c_str());
  // The exact mistake and the canonical text, so that whoever reads the message can fix it.
  const std::optional<ScheduleAdvice> advice = AdviseOnSchedule(text);
  return advice ? std::wstring(buffer) + L": " + DescribeScheduleAdvice(*advice) + L"." : std::wstring(buffer);
}

// The period of `list` on `day` that starts at midnight, or null.
const AllowedPeriod* PeriodFromMidnight(const PeriodList& list, int day) {
  for (const AllowedPeriod& p : list) {
    if (static_cast<int>(p.day) == day && p.startHour == 0 && p.startMinute == 0) return &p;
  }
  return nullptr;
}

// Real seconds from `now` to hour:minute (24:00 allowed) `days` days later, wall-clock times
// resolved by `zone`; truncated toward zero as a difference of file times is.
std::int64_t SecondsUntil(const SystemTime& now, int days, int hour, int minute, const LocalTimeZone& zone) {
  if (hour == 24) {
    ++days;
    hour = 0;
  }
  SystemTime target;
  FileTime from = 0, to = 0;
  if (AddDays(now, days, target)) {
    target.hour = static_cast<std::uint16_t>(hour);
    target.minute = static_cast<std::uint16_t>(minute);
    target.second = 0;
    target.milliseconds = 0;
    if (zone.ToFileTime(now, from) && zone.ToFileTime(target, to)) return (to - from) / kFileTimePerSecond;
  }
  // No calendar date or no zone rules: count on the wall clock, the best answer there is.
  return static_cast<std::int64_t>(days) * 86'400 + MinuteOfDay(hour, minute) * 60 -
         (MinuteOfDay(now.hour, now.minute) * 60 + now.second);
}

}  // namespace

void Schedule::Set(const wchar_t* text) {
  if (!text || *text == L'\0') {
    present_ = false;
    text_.clear();
    return;
  }
  std::wstring copy(text);  // `text` may point into our own string
  text_.swap(copy);
  present_ = true;
}

bool Schedule::IsDefault() const { return !present_ || text_ == L"*"; }

void Schedule::Purge(PeriodList& list) {
  list.clear();
  list.shrink_to_fit();
}

const AllowedPeriod* Schedule::FindAllowedPeriod(const PeriodList& list, int day, int hour, int minute) {
  if (list.empty() || day < 0 || day > 6) return nullptr;
  const int now = MinuteOfDay(hour, minute);
  for (const AllowedPeriod& p : list) {
    if (static_cast<int>(p.day) == day && MinuteOfDay(p.endHour, p.endMinute) > now) return &p;
  }
  // Round the week; the last day tried is `day` itself, a week on.
  int next = day;
  for (int i = 0; i < 7; ++i) {
    next = GetNextDay(next);
    for (const AllowedPeriod& p : list) {
      if (static_cast<int>(p.day) == next) return &p;
    }
  }
  return nullptr;  // only periods on days outside 0..6
}

const AllowedPeriod* Schedule::FindNextAllowedPeriod(const PeriodList& list, const AllowedPeriod* period) {
  if (list.empty()) return nullptr;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (&list[i] == period) return i + 1 < list.size() ? &list[i + 1] : &list[0];
  }
  return nullptr;
}

std::int32_t Schedule::GetSecondsRemaining(const SystemTime& now, wchar_t* errorText, std::size_t errorChars,
                                           const LocalTimeZone& zone) const {
  if (errorText && errorChars > 0) errorText[0] = L'\0';
  if (IsDefault()) return kAlwaysOn;

  PeriodList list;
  if (const wchar_t* bad = Parse(list)) {
    WriteError(errorText, errorChars, UnreadableScheduleMessage(Get(), bad));
    return kUnreadable;
  }
  if (now.dayOfWeek > 6 || now.hour > 23 || now.minute > 59 || now.second > 59) {
    WriteError(errorText, errorChars, LoadStr(kMsgUnreadableTime));
    return kUnreadable;
  }

  // The periods as the cells they cover, written back one per run: overlapping, touching and
  // unordered periods then read as the one stretch they are, and each day's runs come in time
  // order, which the search below relies on.
  const WeekGrid grid = GridFromPeriods(list);
  // A text that leaves no half hour active (only blanks, or only empty periods) is a mistake,
  // not a wish to switch the log-off off for good: it counts as the absent schedule.
  if (grid.IsAllOff() || grid.IsAllOn()) return kAlwaysOn;
  const PeriodList runs = PeriodsFromGrid(grid);

  const int today = now.dayOfWeek;
  const int nowMinute = MinuteOfDay(now.hour, now.minute);
  const AllowedPeriod* found = FindAllowedPeriod(runs, today, now.hour, now.minute);
  if (!found) return kAlwaysOn;  // cannot happen with cells on; kept for safety
  const int start = MinuteOfDay(found->startHour, found->startMinute);
  const int end = MinuteOfDay(found->endHour, found->endMinute);

  if (static_cast<int>(found->day) == today && start <= nowMinute && end > nowMinute) {
    // Inside: the stretch goes on across midnight for as long as the next day starts at 0:00.
    // Not the whole week is on, so the chain ends within seven days.
    int days = 0;
    int endHour = found->endHour, endMinute = found->endMinute;
    int day = today;
    while (endHour == 24 && days < 7) {
      day = GetNextDay(day);
      const AllowedPeriod* next = PeriodFromMidnight(runs, day);
      if (!next) break;
      ++days;
      endHour = next->endHour;
      endMinute = next->endMinute;
    }
    const std::int64_t seconds = SecondsUntil(now, days, endHour, endMinute, zone);
    return static_cast<std::int32_t>(seconds < 0 ? 0 : seconds);
  }

  // Outside: count to the next start, a week on when it is today's and already past.
  int days = (static_cast<int>(found->day) - today + 7) % 7;
  if (days == 0 && start <= nowMinute) days = 7;
  // Less than a second before the start is still outside: the answer stays negative.
  const std::int64_t seconds = SecondsUntil(now, days, found->startHour, found->startMinute, zone);
  return static_cast<std::int32_t>(seconds < 1 ? -1 : -seconds);
}

bool Schedule::IsScheduleOn(const SystemTime& now, const LocalTimeZone& zone) const {
  if (IsDefault()) return true;
  const std::int32_t seconds = GetSecondsRemaining(now, nullptr, 0, zone);
  return seconds >= 0 || seconds == kUnreadable;
}

}  // namespace tv
