#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include "platform/local_time.h"

namespace tv {
namespace {

ErrorCode ErrorOf(BOOL ok) { return ok ? err::kSuccess : GetLastErrorCode(); }

constexpr std::int32_t kHour = 3600;

SystemTime Date(int year, int month, int day, int hour = 0, int minute = 0) {
  auto u = [](int v) { return static_cast<std::uint16_t>(v); };
  return {u(year), u(month), 0, u(day), u(hour), u(minute)};
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
  EXPECT_EQ(Utc(1970, 1, 1, 0, 0), 116444736000000000LL);
  auto plus = [](const SystemTime& from, int days) {
    SystemTime out;
    EXPECT_TRUE(AddDays(from, days, out)) << Show(from);
    return Show(out);
  };
  EXPECT_EQ(plus(Date(2021, 12, 31, 23, 30), 1), L"2022-1-1 23:30 dow6");
  EXPECT_EQ(plus(Date(2024, 2, 28), 1), L"2024-2-29 0:0 dow4");
  EXPECT_EQ(plus(Date(2000, 3, 1), -1), L"2000-2-29 0:0 dow2");  // 2000 is a leap year, 1900 is not
  EXPECT_EQ(plus(Date(1900, 3, 1), -1), L"1900-2-28 0:0 dow3");
  EXPECT_EQ(plus(Date(1601, 1, 1), 0), L"1601-1-1 0:0 dow1");

  SystemTime out;
  EXPECT_FALSE(AddDays(Date(1601, 1, 1), -1, out));
  EXPECT_FALSE(AddDays(Date(30827, 12, 31), 1, out));
  for (const SystemTime& bad : {Date(2023, 2, 29), Date(2024, 13, 1), Date(2024, 0, 1), Date(1600, 12, 31),
                                Date(2024, 4, 31), Date(2024, 1, 1, 24, 0), Date(2024, 1, 1, 0, 60)}) {
    EXPECT_FALSE(IsValidCalendarTime(bad)) << Show(bad);
    FileTime t = 0;
    EXPECT_EQ(ErrorOf(NaiveFileTime(bad, t)), err::kInvalidParameter);
  }
  EXPECT_FALSE(NaiveSystemTime(-1, out));
}

TEST(FixedTimeZone, ResolvesGapsForwardAndOverlapsToTheFirstPass) {
  const FixedTimeZone zone = CentralEurope2024();
  auto utcOf = [&](const SystemTime& local) {
    FileTime t = 0;
    EXPECT_TRUE(zone.ToFileTime(local, t)) << Show(local);
    return t;
  };
  EXPECT_EQ(utcOf(Date(2024, 1, 15, 12, 0)), Utc(2024, 1, 15, 11, 0));
  EXPECT_EQ(utcOf(Date(2024, 7, 15, 12, 0)), Utc(2024, 7, 15, 10, 0));
  // 2:00..2:59 on 31 March never shows: each reads as the jump at 1:00 UTC.
  EXPECT_EQ(utcOf(Date(2024, 3, 31, 2, 0)), Utc(2024, 3, 31, 1, 0));
  EXPECT_EQ(utcOf(Date(2024, 3, 31, 2, 59)), Utc(2024, 3, 31, 1, 0));
  EXPECT_EQ(utcOf(Date(2024, 3, 31, 3, 0)), Utc(2024, 3, 31, 1, 0));
  // 2:30 on 27 October shows twice: the summer-time pass comes first.
  EXPECT_EQ(utcOf(Date(2024, 10, 27, 2, 30)), Utc(2024, 10, 27, 0, 30));
  EXPECT_EQ(utcOf(Date(2024, 10, 27, 3, 0)), Utc(2024, 10, 27, 2, 0));

  // Moving on in real time walks through both passes of the doubled hour.
  auto later = [&](const SystemTime& from, std::int64_t seconds) {
    SystemTime out;
    EXPECT_TRUE(zone.AddSeconds(from, seconds, out)) << Show(from);
    return Show(out);
  };
  EXPECT_EQ(later(Date(2024, 10, 27, 1, 30), kHour), L"2024-10-27 2:30 dow0");
  EXPECT_EQ(later(Date(2024, 10, 27, 1, 30), 2 * kHour), L"2024-10-27 2:30 dow0");
  EXPECT_EQ(later(Date(2024, 3, 31, 1, 30), 30 * 60), L"2024-3-31 3:0 dow0");

  FixedTimeZone broken = CentralEurope2024();
  broken.SetFailure(true, err::kInvalidData);
  FileTime t = 42;
  SystemTime out;
  EXPECT_EQ(ErrorOf(broken.ToFileTime(Date(2024, 1, 15, 12, 0), t)), err::kInvalidData);
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
  old ? setenv("TZ", saved.c_str(), 1) : unsetenv("TZ");
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
