// The fixed locale for tests (both platforms), and the portable body of the user's locale:
// English day names, the week starting on Monday.
#include "platform/locale.h"

namespace tv {

FixedUserLocale::FixedUserLocale()
    : names_{L"Monday", L"Tuesday", L"Wednesday", L"Thursday", L"Friday", L"Saturday", L"Sunday"} {
  readable_.fill(true);
}

void FixedUserLocale::SetDayName(int n, const wchar_t* name) {
  if (n < 1 || n > 7) return;
  readable_[n - 1] = name != nullptr;
  names_[n - 1] = name ? name : L"";
}

BOOL FixedUserLocale::FirstDayOfWeek(int& day) const {
  if (firstDay_ < 0) return Fail(err::kInvalidData);
  day = firstDay_;
  return kTrue;
}

BOOL FixedUserLocale::DayName(int n, std::wstring& name) const {
  if (n < 1 || n > 7 || !readable_[n - 1]) return Fail(err::kInvalidParameter);
  name = names_[n - 1];
  return kTrue;
}

#ifndef _WIN32

const UserLocale& SystemUserLocale() {
  static const FixedUserLocale locale;
  return locale;
}

#endif  // !_WIN32

}  // namespace tv
