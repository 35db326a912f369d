#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include "platform/local_time.h"

namespace tv {
namespace {

constexpr std::int32_t kHour = 3600;

SystemTime Date(int year, int month, int day, int hour = 0, int minute = 0) {
  SystemTime t;
  t.year = static_cast<std::uint16_t>(year);
  t.month = static_cast<std::uint16_t>(month);
  t.day = static_cast<std::uint16_t>(day);
  t.hour = static_cast<std::uint16_t>(hour);
  t.minute = static_cast<std::uint16_t>(minute);
  return t;
}

FileTime Utc(int year, int month, int day, int hour, int minute) {
  FileTime t = 0;
  EXPECT_TRUE(NaiveFileTime(Date(year, month, day, hour, minute), t));
  return t;
}

std::wstring Show(const SystemTime& t) {
  return std::to_wstring(t.year) + L"-" + std::to_wstring(t.month) + L"-" + std::to_wstring(t.day) + L" " +
         std::to_wstring(t.hour) + L":" + std::to_wstring(t.minute) + L" dow" + std::to_wstring(t.dayOfWeek);
}

FixedTimeZone CentralEurope2024() {
  FixedTimeZone zone(kHour);
  zone.AddChange(Utc(2024, 10, 27, 1, 0), kHour);  // added out of order on purpose
  zone.AddChange(Utc(2024, 3, 31, 1, 0), 2 * kHour);
  return zone;
}

TEST(Calendar, DaysCrossMonthYearAndLeapDay) {
  FileTime unixEpoch = 0;
  ASSERT_TRUE(NaiveFileTime(Date(1970, 1, 1), unixEpoch));
  EXPECT_EQ(unixEpoch, 116444736000000000LL);

  SystemTime out;
  ASSERT_TRUE(AddDays(Date(2021, 12, 31, 23, 30), 1, out));
  EXPECT_EQ(Show(out), L"2022-1-1 23:30 dow6");
  ASSERT_TRUE(AddDays(Date(2024, 2, 28), 1, out));
  EXPECT_EQ(Show(out), L"2024-2-29 0:0 dow4");
  ASSERT_TRUE(AddDays(Date(2023, 2, 28), 1, out));
  EXPECT_EQ(Show(out), L"2023-3-1 0:0 dow3");
  ASSERT_TRUE(AddDays(Date(2000, 3, 1), -1, out));  // 2000 is a leap year, 1900 is not
  EXPECT_EQ(Show(out), L"2000-2-29 0:0 dow2");
  ASSERT_TRUE(AddDays(Date(1900, 3, 1), -1, out));
  EXPECT_EQ(Show(out), L"1900-2-28 0:0 dow3");
  ASSERT_TRUE(AddDays(Date(1601, 1, 1), 0, out));
  EXPECT_EQ(out.dayOfWeek, 1);

  EXPECT_FALSE(AddDays(Date(1601, 1, 1), -1, out));
  EXPECT_FALSE(AddDays(Date(30827, 12, 31), 1, out));
  for (const SystemTime& bad : {Date(2023, 2, 29), Date(2024, 13, 1), Date(2024, 0, 1), Date(1600, 12, 31),
                                Date(2024, 4, 31), Date(2024, 1, 1, 24, 0), Date(2024, 1, 1, 0, 60)}) {
    EXPECT_FALSE(IsValidCalendarTime(bad)) << Show(bad);
    FileTime t = 0;
    EXPECT_FALSE(NaiveFileTime(bad, t));
    EXPECT_EQ(GetLastErrorCode(), err::kInvalidParameter);
  }
  EXPECT_FALSE(NaiveSystemTime(-1, out));
}

TEST(FixedTimeZone, ResolvesGapsForwardAndOverlapsToTheFirstPass) {
  const FixedTimeZone zone = CentralEurope2024();
  FileTime t = 0;
  ASSERT_TRUE(zone.ToFileTime(Date(2024, 1, 15, 12, 0), t));
  EXPECT_EQ(t, Utc(2024, 1, 15, 11, 0));
  ASSERT_TRUE(zone.ToFileTime(Date(2024, 7, 15, 12, 0), t));
  EXPECT_EQ(t, Utc(2024, 7, 15, 10, 0));
  // 2:00..2:59 on 31 March never shows: each reads as the jump at 1:00 UTC.
  for (int minute : {0, 1, 30, 59}) {
    ASSERT_TRUE(zone.ToFileTime(Date(2024, 3, 31, 2, minute), t));
    EXPECT_EQ(t, Utc(2024, 3, 31, 1, 0)) << minute;
  }
  ASSERT_TRUE(zone.ToFileTime(Date(2024, 3, 31, 3, 0), t));
  EXPECT_EQ(t, Utc(2024, 3, 31, 1, 0));
  // 2:30 on 27 October shows twice: the summer-time pass comes first.
  ASSERT_TRUE(zone.ToFileTime(Date(2024, 10, 27, 2, 30), t));
  EXPECT_EQ(t, Utc(2024, 10, 27, 0, 30));
  ASSERT_TRUE(zone.ToFileTime(Date(2024, 10, 27, 3, 0), t));
  EXPECT_EQ(t, Utc(2024, 10, 27, 2, 0));

  // Moving on in real time walks through both passes of the doubled hour.
  SystemTime out;
  ASSERT_TRUE(zone.AddSeconds(Date(2024, 10, 27, 1, 30), kHour, out));
  EXPECT_EQ(Show(out), L"2024-10-27 2:30 dow0");
  ASSERT_TRUE(zone.AddSeconds(Date(2024, 10, 27, 1, 30), 2 * kHour, out));
  EXPECT_EQ(Show(out), L"2024-10-27 2:30 dow0");
  ASSERT_TRUE(zone.AddSeconds(Date(2024, 3, 31, 1, 30), 30 * 60, out));
  EXPECT_EQ(Show(out), L"2024-3-31 3:0 dow0");

  FixedTimeZone broken = CentralEurope2024();
  broken.SetFailure(true, err::kInvalidData);
  t = 42;
  EXPECT_FALSE(broken.ToFileTime(Date(2024, 1, 15, 12, 0), t));
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidData);
  EXPECT_EQ(t, 42);
  EXPECT_FALSE(zone.ToFileTime(Date(2024, 2, 30, 12, 0), t));
  EXPECT_FALSE(zone.AddSeconds(Date(2024, 1, 15, 12, 0), std::int64_t{1} << 50, out));
}

// What every zone must honour, the computer's included (whatever zone the test machine has).
void ExpectConsistentAcrossTheYear(const LocalTimeZone& zone) {
  FileTime previous = 0;
  for (int day = 0; day < 366; day += 1) {
    SystemTime local;
    ASSERT_TRUE(AddDays(Date(2024, 1, 1), day, local));
    for (int half = 0; half < 48; ++half) {
      local.hour = static_cast<std::uint16_t>(half / 2);
      local.minute = static_cast<std::uint16_t>(half % 2 * 30);
      FileTime t = 0;
      ASSERT_TRUE(zone.ToFileTime(local, t)) << Show(local);
      ASSERT_GE(t, previous) << Show(local);  // never runs backwards
      previous = t;
      // A time that shows maps back onto itself; a skipped one onto a later time.
      SystemTime back;
      ASSERT_TRUE(zone.ToLocal(t, back));
      FileTime shown = 0, asked = 0;
      ASSERT_TRUE(NaiveFileTime(back, shown));
      ASSERT_TRUE(NaiveFileTime(local, asked));
      EXPECT_GE(shown, asked) << Show(local);
      EXPECT_LE(shown - asked, 2 * kHour * kFileTimePerSecond) << Show(local);
    }
  }
}

TEST(LocalTimeZone, EveryZoneKeepsTheContract) {
  ExpectConsistentAcrossTheYear(CentralEurope2024());
  ExpectConsistentAcrossTheYear(SystemLocalTimeZone());
}

// The computer's zone, when it keeps Central European time, agrees with the fixed rules.
void ExpectAgreesWithCentralEurope() {
  const FixedTimeZone expected = CentralEurope2024();
  for (const SystemTime& local : {Date(2024, 3, 31, 1, 59), Date(2024, 3, 31, 2, 30), Date(2024, 3, 31, 3, 0),
                                  Date(2024, 10, 27, 2, 30), Date(2024, 10, 27, 3, 0), Date(2024, 7, 1, 12, 0)}) {
    FileTime want = 0, got = 0;
    ASSERT_TRUE(expected.ToFileTime(local, want));
    ASSERT_TRUE(SystemLocalTimeZone().ToFileTime(local, got));
    EXPECT_EQ(got, want) << Show(local);
  }
}

#ifndef _WIN32
TEST(LocalTimeZone, ComputersZoneFollowsTheRulesItIsGiven) {
  const char* old = std::getenv("TZ");
  const std::string saved = old ? old : "";
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  ExpectAgreesWithCentralEurope();
  if (old) {
    setenv("TZ", saved.c_str(), 1);
  } else {
    unsetenv("TZ");
  }
  tzset();
}
#else
// Windows' zone cannot be set from a test; run with TZ=Europe/Berlin under Wine to exercise it.
TEST(LocalTimeZone, ComputersZoneFollowsTheRulesItIsGiven) {
  std::int32_t winter = 0, summer = 0;
  ASSERT_TRUE(SystemLocalTimeZone().OffsetAt(Utc(2024, 1, 15, 12, 0), winter));
  ASSERT_TRUE(SystemLocalTimeZone().OffsetAt(Utc(2024, 7, 15, 12, 0), summer));
  if (winter != kHour || summer != 2 * kHour) GTEST_SKIP() << "the computer does not keep Central European time";
  ExpectAgreesWithCentralEurope();
}
#endif

}  // namespace
}  // namespace tv
