#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "platform/portable/clock.h"

namespace tv {
namespace {

ErrorCode ErrorOf(BOOL ok) { return ok ? err::kSuccess : GetLastErrorCode(); }

SystemTime At(int y, int mo, int d, int h, int mi, int s, int ms = 0) {
  auto u = [](int v) { return static_cast<std::uint16_t>(v); };
  return {u(y), u(mo), 0, u(d), u(h), u(mi), u(s), u(ms)};
}

// "y-m-d dow h:m:s.ms", so one comparison shows every field.
std::string Show(const SystemTime& t) {
  char text[64];
  std::snprintf(text, sizeof(text), "%d-%d-%d dow%d %d:%d:%d.%d", t.year, t.month, t.day, t.dayOfWeek, t.hour,
                t.minute, t.second, t.milliseconds);
  return text;
}

TEST(SimulatedClock, TickWrapsAfter49DaysWhileDifferencesStayRight) {
  const Tick start = 0xFFFFFFFFu - 1500;
  SimulatedClock clock(start);
  clock.Advance(2000);
  const Tick now = clock.GetTickCount();
  EXPECT_EQ(now, 499u);
  EXPECT_EQ(static_cast<Tick>(now - start), 2000u);  // ordering breaks at the wrap, the difference does not

  // A whole counter period brings the tick back where it was, but the calendar moves on.
  SimulatedClock week(7);
  week.Advance(0x100000000ull);
  EXPECT_EQ(week.GetTickCount(), 7u);
  EXPECT_EQ(Show(week.GetLocalTime()), "2024-2-19 dow1 17:2:47.296");  // 49 days 17:02:47.296 later
}

TEST(SimulatedClock, LocalTimeFollowsTheTickAndRefusesImpossibleDates) {
  SimulatedClock clock(0, At(2024, 2, 28, 23, 59, 59, 500));
  clock.Advance(1000);
  EXPECT_EQ(Show(clock.GetLocalTime()), "2024-2-29 dow4 0:0:0.500");

  ASSERT_TRUE(clock.SetLocalTime(At(2023, 12, 31, 23, 30, 0)));
  clock.AdvanceSeconds(7 * 24 * 3600 + 1800);  // a week and half an hour: Sunday night becomes Monday
  EXPECT_EQ(Show(clock.GetLocalTime()), "2024-1-8 dow1 0:0:0.0");
  EXPECT_EQ(clock.GetTickCount(), 1000u + 606'600'000u);  // SetLocalTime left the tick alone

  // An impossible date is refused and changes nothing.
  EXPECT_EQ(ErrorOf(clock.SetLocalTime(At(2023, 2, 29, 0, 0, 0))), err::kInvalidParameter);
  EXPECT_EQ(Show(clock.GetLocalTime()), "2024-1-8 dow1 0:0:0.0");

  // A bad start time falls back to the default start rather than to garbage.
  SimulatedClock fallback(0, At(2024, 13, 1, 0, 0, 0));
  EXPECT_EQ(Show(fallback.GetLocalTime()), "2024-1-1 dow1 0:0:0.0");
}

TEST(SystemClock, AnswersAPlausibleTimeWithoutGoingBack) {
  auto clock = CreateSystemClock();
  const Tick a = clock->GetTickCount();
  const Tick b = clock->GetTickCount();
  EXPECT_LT(static_cast<Tick>(b - a), 60'000u);  // never backwards (that would be a huge difference)
  const SystemTime t = clock->GetLocalTime();
  EXPECT_GE(t.year, 2020);
  EXPECT_TRUE(t.month >= 1 && t.month <= 12 && t.day >= 1 && t.day <= 31 && t.dayOfWeek <= 6 && t.hour < 24)
      << Show(t);
}

}  // namespace
}  // namespace tv
