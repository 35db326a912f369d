// Win32 body of the user's locale: GetLocaleInfoW on the user's default locale.
#include "platform/win32/windows_include.h"

#include "platform/locale.h"

namespace tv {
namespace {

class WindowsUserLocale final : public UserLocale {
 public:
  BOOL FirstDayOfWeek(int& day) const override {
    wchar_t text[8] = {};
    if (!::GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_IFIRSTDAYOFWEEK, text, 8)) return kFalse;
    if (text[0] < L'0' || text[0] > L'6' || text[1] != L'\0') return Fail(err::kInvalidData);
    day = text[0] - L'0';
    return kTrue;
  }

  BOOL DayName(int n, std::wstring& name) const override {
    if (n < 1 || n > 7) return Fail(err::kInvalidParameter);
    wchar_t text[80] = {};
    if (!::GetLocaleInfoW(LOCALE_USER_DEFAULT, static_cast<LCTYPE>(LOCALE_SDAYNAME1 + (n - 1)), text, 80)) {
      return kFalse;
    }
    name = text;
    return kTrue;
  }
};

}  // namespace

const UserLocale& SystemUserLocale() {
  static const WindowsUserLocale locale;
  return locale;
}

}  // namespace tv
