#include <gtest/gtest.h>

#include <string>

#include "platform/locale.h"

namespace tv {
namespace {

// The user's locale is whatever the machine has: its answers must fit the numbering, and a day
// outside 1..7 is refused without touching the name.
TEST(UserLocale, AnswersFitTheLocaleNumbering) {
  const UserLocale& locale = SystemUserLocale();
  int first = 0;
  EXPECT_TRUE(!locale.FirstDayOfWeek(first) || (first >= 0 && first <= 6)) << first;
  std::wstring name = L"kept";
  EXPECT_FALSE(locale.DayName(0, name) || locale.DayName(8, name));
  EXPECT_EQ(name, L"kept");
}

}  // namespace
}  // namespace tv
