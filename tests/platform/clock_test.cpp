#include <gtest/gtest.h>

#include "platform/portable/clock.h"

namespace tv {
namespace {

SystemTime At(int y, int mo, int d, int h, int mi, int s, int ms = 0) {
  SystemTime t;
  t.year = static_cast<std::uint16_t>(y);
  t.month = static_cast<std::uint16_t>(mo);
  t.day = static_cast<std::uint16_t>(d);
  t.hour = static_cast<std::uint16_t>(h);
  t.minute = static_cast<std::uint16_t>(mi);
  t.second = static_cast<std::uint16_t>(s);
  t.milliseconds = static_cast<std::uint16_t>(ms);
  return t;
}

void ExpectTime(const SystemTime& t, int y, int mo, int d, int dow, int h, int mi, int s, int ms) {
  EXPECT_EQ(t.year, y);
  EXPECT_EQ(t.month, mo);
  EXPECT_EQ(t.day, d);
  EXPECT_EQ(t.dayOfWeek, dow);
  EXPECT_EQ(t.hour, h);
  EXPECT_EQ(t.minute, mi);
  EXPECT_EQ(t.second, s);
  EXPECT_EQ(t.milliseconds, ms);
}

TEST(SimulatedClock, TickWrapsAfter49DaysWhileDifferencesStayRight) {
  const Tick start = 0xFFFFFFFFu - 1500;
  SimulatedClock clock(start);
  EXPECT_EQ(clock.GetTickCount(), start);
  clock.Advance(2000);
  const Tick now = clock.GetTickCount();
  EXPECT_EQ(now, 499u);
  EXPECT_LT(now, start);                      // ordering breaks at the wrap...
  EXPECT_EQ(static_cast<Tick>(now - start), 2000u);  // ...the unsigned difference does not

  // A whole counter period brings the tick back where it was, but the calendar moves on.
  SimulatedClock week(7);
  week.Advance(0x100000000ull);
  EXPECT_EQ(week.GetTickCount(), 7u);
  ExpectTime(week.GetLocalTime(), 2024, 2, 19, 1, 17, 2, 47, 296);  // 49 days 17:02:47.296 later

  clock.SetTickCount(5);
  EXPECT_EQ(clock.GetTickCount(), 5u);
}

TEST(SimulatedClock, LocalTimeCrossesLeapDaysMonthsAndYears) {
  SimulatedClock clock(0, At(2024, 2, 28, 23, 59, 59, 500));
  ExpectTime(clock.GetLocalTime(), 2024, 2, 28, 3, 23, 59, 59, 500);
  clock.Advance(1000);
  ExpectTime(clock.GetLocalTime(), 2024, 2, 29, 4, 0, 0, 0, 500);
  clock.AdvanceSeconds(24 * 3600);
  ExpectTime(clock.GetLocalTime(), 2024, 3, 1, 5, 0, 0, 0, 500);

  ASSERT_TRUE(clock.SetLocalTime(At(2023, 12, 31, 23, 30, 0)));
  clock.AdvanceSeconds(7 * 24 * 3600 + 1800);  // a week and half an hour: Sunday night becomes Monday
  ExpectTime(clock.GetLocalTime(), 2024, 1, 8, 1, 0, 0, 0, 0);
  EXPECT_EQ(clock.GetTickCount(), 1000u + 86'400'000u + 606'600'000u);  // SetLocalTime left the tick alone

  // An impossible date is refused and changes nothing.
  EXPECT_FALSE(clock.SetLocalTime(At(2023, 2, 29, 0, 0, 0)));
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidParameter);
  ExpectTime(clock.GetLocalTime(), 2024, 1, 8, 1, 0, 0, 0, 0);

  // A bad start time falls back to the default start rather than to garbage.
  SimulatedClock fallback(0, At(2024, 13, 1, 0, 0, 0));
  ExpectTime(fallback.GetLocalTime(), 2024, 1, 1, 1, 0, 0, 0, 0);
}

TEST(SystemClock, AnswersAPlausibleTimeWithoutGoingBack) {
  auto clock = CreateSystemClock();
  const Tick a = clock->GetTickCount();
  const Tick b = clock->GetTickCount();
  EXPECT_LT(static_cast<Tick>(b - a), 60'000u);  // never backwards (that would be a huge difference)
  SystemTime t = clock->GetLocalTime();
  EXPECT_GE(t.year, 2020);
  EXPECT_GE(t.month, 1);
  EXPECT_LE(t.month, 12);
  EXPECT_GE(t.day, 1);
  EXPECT_LE(t.day, 31);
  EXPECT_LE(t.dayOfWeek, 6);
  EXPECT_LT(t.hour, 24);
}

}  // namespace
}  // namespace tv
