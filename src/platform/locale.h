// The user's locale, as far as the product asks it: which day a week starts on and the local
// names of the days. The weekly schedule builds its day table from these answers; tests hand in
// a fixed locale, including one that cannot be read.
#pragma once

#include <array>
#include <string>

#include "platform/last_error.h"
#include "platform/types.h"

namespace tv {

class UserLocale {
 public:
  virtual ~UserLocale() = default;

  // The first day of the week in the locale's own numbering: 0 = Monday .. 6 = Sunday.
  // Answers 0 with the last-error code set when the locale cannot tell.
  virtual BOOL FirstDayOfWeek(int& day) const = 0;

  // The full local name of day `n` in the locale's numbering: 1 = Monday .. 7 = Sunday.
  // Answers 0 with the last-error code set when the name cannot be read (or `n` is out of range).
  virtual BOOL DayName(int n, std::wstring& name) const = 0;
};

// The user's default locale on Windows; elsewhere an English locale whose week starts on Monday.
const UserLocale& SystemUserLocale();

// A locale with chosen answers, English and Monday-first unless told otherwise. It can be told
// that the first day or any day name cannot be read.
class FixedUserLocale final : public UserLocale {
 public:
  FixedUserLocale();

  // Sets the first day (0 = Monday .. 6 = Sunday); a negative value makes it unreadable.
  void SetFirstDayOfWeek(int day) { firstDay_ = day; }

  // Sets the name of day `n` (1 = Monday .. 7 = Sunday); null makes it unreadable.
  void SetDayName(int n, const wchar_t* name);

  BOOL FirstDayOfWeek(int& day) const override;
  BOOL DayName(int n, std::wstring& name) const override;

 private:
  int firstDay_ = 0;
  std::array<std::wstring, 7> names_;
  std::array<bool, 7> readable_{};
};

}  // namespace tv
