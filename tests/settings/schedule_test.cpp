#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "platform/local_time.h"
#include "platform/locale.h"
#include "settings/schedule.h"
#include "settings/schedule_grid.h"

namespace tv {
namespace {

constexpr std::int32_t kHour = 3600;
constexpr std::int32_t kDay = 86400;

// A local time with a matching day of the week.
SystemTime At(int year, int month, int day, int hour, int minute, int second = 0) {
  SystemTime t;
  t.year = static_cast<std::uint16_t>(year);
  t.month = static_cast<std::uint16_t>(month);
  t.day = static_cast<std::uint16_t>(day);
  SystemTime out;
  EXPECT_TRUE(AddDays(t, 0, out));
  out.hour = static_cast<std::uint16_t>(hour);
  out.minute = static_cast<std::uint16_t>(minute);
  out.second = static_cast<std::uint16_t>(second);
  return out;
}

FileTime Utc(int year, int month, int day, int hour, int minute) {
  FileTime t = 0;
  EXPECT_TRUE(NaiveFileTime(At(year, month, day, hour, minute), t));
  return t;
}

// Central European rules for 2024: the clocks go 2:00 -> 3:00 on 31 March and 3:00 -> 2:00 on
// 27 October, both at 1:00 UTC.
FixedTimeZone CentralEurope2024() {
  FixedTimeZone zone(kHour);
  zone.AddChange(Utc(2024, 3, 31, 1, 0), 2 * kHour);
  zone.AddChange(Utc(2024, 10, 27, 1, 0), kHour);
  return zone;
}

std::int32_t Remaining(const wchar_t* text, const SystemTime& now, const LocalTimeZone& zone = FixedTimeZone(0)) {
  Schedule s;
  s.Set(text);
  wchar_t error[128];
  const std::int32_t r = s.GetSecondsRemaining(now, error, 128, zone);
  EXPECT_EQ(error[0], L'\0') << text;
  return r;
}

// Restores the default day table whatever a test did to it.
struct DayTableGuard {
  ~DayTableGuard() { Schedule::FreeCommon(); }
};

TEST(ScheduleText, AbsentEmptyAndStarAreTheAlwaysOnDefault) {
  Schedule s;
  EXPECT_TRUE(s.IsDefault());
  s.Set(L"*");
  EXPECT_TRUE(s.IsDefault());
  EXPECT_EQ(s.GetSecondsRemaining(At(2024, 5, 6, 12, 0), nullptr, 0), Schedule::kAlwaysOn);
  s.Set(L" *");
  EXPECT_FALSE(s.IsDefault());
  s.Set(L"Mon 8:00-9:00");
  s.Set(s.Get());  // a copy of its own text survives
  EXPECT_STREQ(s.Get(), L"Mon 8:00-9:00");
  s.Set(nullptr);
  EXPECT_STREQ(s.Get(), L"");
  EXPECT_TRUE(s.IsScheduleOn(At(2024, 5, 6, 12, 0)));
}

TEST(ScheduleParse, ReadsEveryLayoutTheTextAllows) {
  PeriodList list{AllowedPeriod{3, 1, 0, 2, 0}};  // emptied first
  EXPECT_EQ(Schedule::ParseText(L"Mon 8:00-17:30, Tue 0:00-24:00, ", list), nullptr);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0], (AllowedPeriod{1, 8, 0, 17, 30}));
  EXPECT_EQ(list[1], (AllowedPeriod{2, 0, 0, 24, 0}));

  EXPECT_EQ(Schedule::ParseText(L"\t Sun\r\n08:30 - -9:00;;,Sat 1:00 2:30\n,Fri 22:00 -- 24:00", list), nullptr);
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(list[0], (AllowedPeriod{0, 8, 30, 9, 0}));
  EXPECT_EQ(list[1], (AllowedPeriod{6, 1, 0, 2, 30}));
  EXPECT_EQ(list[2], (AllowedPeriod{5, 22, 0, 24, 0}));

  // A start of 24 means the day's first hour.
  EXPECT_EQ(Schedule::ParseText(L"Mon 24:00-1:00 Mon 24:30-1:30", list), nullptr);
  EXPECT_EQ(list[0], (AllowedPeriod{1, 0, 0, 1, 0}));
  EXPECT_EQ(list[1], (AllowedPeriod{1, 0, 30, 1, 30}));
  list.assign(2, AllowedPeriod{});
  EXPECT_EQ(Schedule::ParseText(L"  \r\n\t", list), nullptr);
  EXPECT_TRUE(list.empty());
}

TEST(ScheduleParse, ReportsThePeriodThatCannotBeRead) {
  struct Case {
    const wchar_t* text;
    std::size_t at;  // offset of the offending period
  };
  // One row per check that fails a period, and the boundaries of the hours.
  const Case cases[] = {
      {L"Mon 9:15-10:00", 0},          {L"mon 8:00-9:00", 0},         {L"Mon 8:00-8:00", 0},
      {L"Mon 23:00-24:30", 0},         {L"Mon 8:00-9:00Tue 10:00-11:00", 0},
      {L"Mon 25:00-26:00", 0},         {L"Mon 8:00-25:00", 0},        {L"Mon8:00-9:00", 0},
      {L"Mon 8:0-9:00", 0},            {L"Mon 100:00-101:00", 0},     {L"Mon 8:00-", 0},
      {L"*", 0},                       {L"  Tue 1:00-2:00, Xyz 1:00-2:00", 17},
      {L"Tue 1:00-2:00 ;Wed 1:00-2:30x", 15}, {L"Tue 1:00-2:00 Thu", 14},
  };
  for (const Case& c : cases) {
    PeriodList list;
    const wchar_t* bad = Schedule::ParseText(c.text, list);
    ASSERT_NE(bad, nullptr) << c.text;
    EXPECT_EQ(static_cast<std::size_t>(bad - c.text), c.at) << c.text;
    EXPECT_EQ(list.size(), c.at == 0 ? 0u : 1u) << c.text;  // the periods read before it
  }

  // Unreadable text never stops monitoring, and the message names where it went wrong.
  Schedule s;
  s.Set(L"Mon 8:00-9:00, Tue 9:15-10:00");
  wchar_t error[200];
  EXPECT_EQ(s.GetSecondsRemaining(At(2024, 5, 7, 9, 30), error, 200, FixedTimeZone(0)), Schedule::kUnreadable);
  EXPECT_NE(std::wstring(error).find(L"16"), std::wstring::npos) << error;
  EXPECT_NE(std::wstring(error).find(L"Tue 9:15"), std::wstring::npos) << error;
  EXPECT_EQ(s.GetSecondsRemaining(At(2024, 5, 7, 9, 30), error, 8, FixedTimeZone(0)), Schedule::kUnreadable);
  EXPECT_EQ(std::wstring(error).size(), 7u) << "cut to the buffer";
  EXPECT_TRUE(s.IsScheduleOn(At(2024, 5, 7, 9, 30), FixedTimeZone(0)));
}

TEST(ScheduleDays, TableStartsOnTheLocalesFirstDayAndFallsBackToEnglish) {
  DayTableGuard guard;
  EXPECT_EQ(Schedule::GetDayEntry(0).day, 1);  // Monday first before any locale was read
  EXPECT_FALSE(Schedule::CanDisplayLocalDays());

  FixedUserLocale locale;
  const wchar_t* german[] = {L"Montag", L"Dienstag", L"Mittwoch", L"Donnerstag", L"Freitag", L"Samstag", L"Sonntag"};
  for (int n = 1; n <= 7; ++n) locale.SetDayName(n, german[n - 1]);
  locale.SetFirstDayOfWeek(2);  // the locale counts Monday as 0: Wednesday
  Schedule::InitCommon(locale);
  EXPECT_TRUE(Schedule::CanDisplayLocalDays());
  const DayEntry& first = Schedule::GetDayEntry(0);
  EXPECT_EQ(first.day, 3);
  EXPECT_STREQ(first.abbreviation, L"Wed");
  EXPECT_EQ(first.localName, L"Mittwoch");
  EXPECT_EQ(Schedule::GetDayEntry(4).localName, L"Sonntag");  // Sunday, numbered 0
  EXPECT_EQ(Schedule::FindDayIndex(2), 6);
  EXPECT_EQ(Schedule::FindDayIndex(7), -1);

  // The canonical text follows the table.
  PeriodList list;
  ASSERT_EQ(Schedule::ParseText(L"Mon 1:00-2:00, Wed 3:00-4:00, Sun 5:00-6:00", list), nullptr);
  EXPECT_EQ(FormatSchedule(GridFromPeriods(list)), L"Wed 3:00-4:00, Sun 5:00-6:00, Mon 1:00-2:00, ");

  // An unreadable first day means Sunday; one unreadable name means English names are shown.
  locale.SetFirstDayOfWeek(-1);
  locale.SetDayName(5, nullptr);
  Schedule::InitCommon(locale);
  EXPECT_EQ(Schedule::GetDayEntry(0).day, 0);
  EXPECT_FALSE(Schedule::CanDisplayLocalDays());
  EXPECT_EQ(Schedule::GetDayEntry(5).localName, L"Friday");
  EXPECT_EQ(Schedule::GetDayEntry(1).localName, L"Montag");

  Schedule::FreeCommon();
  EXPECT_EQ(Schedule::GetDayEntry(0).localName, L"Monday");
}

TEST(ScheduleGrid, CanonicalTextMergesRunsAndRoundTrips) {
  SchDay empty, day(kCellsPerDay);
  empty.SetActive(0, true);  // no cells to set
  EXPECT_EQ(empty.ActiveCount(), 0);
  for (int cell : {3, 3, kCellsPerDay, -1}) day.SetActive(cell, true);
  EXPECT_EQ(day.ActiveCount(), 1);

  PeriodList list;
  ASSERT_EQ(Schedule::ParseText(L"Wed 9:00-10:00, Mon 8:30-9:30, Mon 8:00-9:00, Mon 9:30-10:00, "
                                L"Sat 0:00-0:30, Sat 23:30-24:00, Sun 0:00-24:00",
                                list),
            nullptr);
  EXPECT_EQ(FormatSchedule(GridFromPeriods(list)),
            L"Mon 8:00-10:00, Wed 9:00-10:00, Sat 0:00-0:30, Sat 23:30-24:00, Sun 0:00-24:00, ");
  WeekGrid all;
  all.SetAll(true);
  EXPECT_TRUE(all.IsAllOn());
  ASSERT_EQ(Schedule::ParseText(FormatSchedule(all).c_str(), list), nullptr);
  EXPECT_EQ(list.size(), 7u);
}

TEST(ScheduleSeconds, InsideCountsToTheEndAndOutsideToTheNextStartInRealSeconds) {
  const FixedTimeZone utc(0), cet = CentralEurope2024();
  // A zone that skipped a whole day at the turn of the year (as Samoa did, Friday 30 December 2011).
  FixedTimeZone samoa(-10 * kHour);
  samoa.AddChange(Utc(2011, 12, 30, 10, 0), 14 * kHour);
  // Zone rules that cannot be read, or a date they cannot place: the wall clock is counted.
  FixedTimeZone broken = CentralEurope2024();
  broken.SetFailure(true);
  SystemTime undated = At(2024, 3, 30, 22, 0);
  undated.month = 0;
  const wchar_t* office = L"Mon 8:00-17:00, ";
  const wchar_t* allWeek = L"Tue 0:00-24:00, Wed 0:00-24:00, Thu 0:00-24:00, Fri 0:00-24:00, Sat 0:00-24:00, "
                           L"Sun 0:00-24:00, Mon 0:";
  const struct {
    std::wstring text;
    SystemTime at;
    const LocalTimeZone& zone;
    std::int32_t expected;
  } cases[] = {
      // 2024-05-06 is a Monday.
      {office, At(2024, 5, 6, 12, 0, 45), utc, 5 * kHour - 45},
      {office, At(2024, 5, 6, 7, 59, 30), utc, -30},
      {office, At(2024, 5, 6, 17, 0), utc, -(7 * kDay - 9 * kHour)},  // next Monday 8:00
      // Unordered, overlapping and touching periods count as the stretch they make.
      {L"Mon 14:00-15:00, Mon 8:00-12:00", At(2024, 5, 6, 9, 0), utc, 3 * kHour},
      {L"Mon 8:00-9:00, Mon 9:00-10:00", At(2024, 5, 6, 8, 30), utc, 90 * 60},
      {L"Tue 14:00-15:00, Tue 8:00-9:00", At(2024, 5, 6, 20, 0), utc, -12 * kHour},
      // No active half hour must not switch the log-off off for good.
      {L" \n", At(2024, 5, 6, 12, 0), utc, Schedule::kAlwaysOn},
      // Stretches run on across midnight while the next day starts at midnight, and round the week.
      {L"Sun 22:00-24:00, Mon 0:00-6:00, ", At(2024, 5, 5, 23, 0), utc, 7 * kHour},
      {L"Sun 22:00-24:00, Mon 0:30-6:00, ", At(2024, 5, 5, 23, 0), utc, kHour},
      {L"Fri 18:00-24:00, Sat 0:00-24:00, Sun 0:00-24:00, Mon 0:00-8:00", At(2024, 5, 3, 20, 0), utc,
       4 * kHour + 2 * kDay + 8 * kHour},
      {std::wstring(allWeek) + L"30-24:00", At(2024, 5, 6, 0, 30), utc, 7 * kDay - 30 * 60},
      {std::wstring(allWeek) + L"00-24:00", At(2024, 5, 6, 0, 30), utc, Schedule::kAlwaysOn},
      // Across the new year (2021-12-31 is a Friday).
      {L"Fri 22:00-24:00, Sat 0:00-2:00", At(2021, 12, 31, 23, 0), utc, 3 * kHour},
      // Spring forward: the Sunday is 23 hours long, fall back: 25. (How the zone places skipped
      // and doubled times is the zone's own test.)
      {L"Sat 20:00-24:00, Sun 0:00-6:00", At(2024, 3, 30, 22, 0), cet, 7 * kHour},
      {L"Sun 4:00-5:00", At(2024, 3, 30, 23, 0), cet, -4 * kHour},
      {L"Sun 0:00-24:00", At(2024, 10, 27, 0, 0), cet, 25 * kHour},
      {L"Thu 22:00-24:00, Fri 0:00-24:00, Sat 0:00-2:00", At(2011, 12, 29, 23, 0), samoa, 3 * kHour},
      {L"Sat 20:00-24:00, Sun 0:00-6:00", At(2024, 3, 30, 22, 0), broken, 8 * kHour},
      {L"Sat 20:00-24:00, Sun 0:00-6:00", undated, cet, 8 * kHour},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << testing::PrintToString(c.text) << " at " << c.at.day << "." << c.at.month
                                    << " " << c.at.hour << ":" << c.at.minute);
    EXPECT_EQ(Remaining(c.text.c_str(), c.at, c.zone), c.expected);
  }

  Schedule s;
  s.Set(office);
  EXPECT_FALSE(s.IsScheduleOn(At(2024, 5, 6, 17, 0), utc));
  // A bad clock reading is unreadable, so still on.
  SystemTime bad = At(2024, 5, 6, 12, 0);
  bad.dayOfWeek = 7;
  wchar_t error[100];
  EXPECT_EQ(s.GetSecondsRemaining(bad, error, 100, utc), Schedule::kUnreadable);
  EXPECT_NE(error[0], L'\0');
}

}  // namespace
}  // namespace tv
