#include <gtest/gtest.h>

#include <string>

#include "platform/locale.h"

namespace tv {
namespace {

ErrorCode ErrorOf(BOOL ok) { return ok ? err::kSuccess : GetLastErrorCode(); }

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

  FixedUserLocale fixed;
  ASSERT_TRUE(fixed.DayName(7, name));
  EXPECT_EQ(name, L"Sunday");
  fixed.SetDayName(7, nullptr);
  EXPECT_FALSE(fixed.DayName(7, name));
  fixed.SetFirstDayOfWeek(-1);
  EXPECT_EQ(ErrorOf(fixed.FirstDayOfWeek(first)), err::kInvalidData);
}

}  // namespace
}  // namespace tv
