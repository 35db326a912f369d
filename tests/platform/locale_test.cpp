#include <gtest/gtest.h>

#include <string>

#include "platform/locale.h"

namespace tv {
namespace {

// The user's locale is whatever the machine has; only the shape of its answers is checked.
TEST(UserLocale, AnswersFitTheLocaleNumbering) {
  const UserLocale& locale = SystemUserLocale();
  int first = -1;
  if (locale.FirstDayOfWeek(first)) {
    EXPECT_GE(first, 0);
    EXPECT_LE(first, 6);
  }
  std::wstring name;
  for (int n = 1; n <= 7; ++n) {
    if (locale.DayName(n, name)) {
      EXPECT_FALSE(name.empty()) << n;
    }
  }
  name = L"kept";
  EXPECT_FALSE(locale.DayName(0, name));
  EXPECT_FALSE(locale.DayName(8, name));
  EXPECT_EQ(name, L"kept");
}

}  // namespace
}  // namespace tv
