// The words the schedule editor shows around its grid: day labels in three forms, times in the
// user's 12- or 24-hour style, the description of the selection, and the grid's pop-up menu.
#pragma once

#include <string>
#include <vector>

#include "config_ui/schedule_selection.h"

namespace tv {

// Forms of the day labels.
inline constexpr int kDayLabelsLocal = 0;    // the locale's full names
inline constexpr int kDayLabelsEnglish = 1;  // "Monday" .. "Sunday"
inline constexpr int kDayLabelsShort = 2;    // "Mon" .. "Sun"

// The form actually shown for `requested`: the local names only when all seven could be read
// (else the English ones); a form outside 0..2 shows the English names.
int EffectiveDayLabels(int requested, bool localDaysAvailable);

// The label of grid row `row` (0 = Monday) in form `form`; "" outside 0..6.
std::wstring GetDayLabel(int row, int form);

// How the user's locale writes times.
struct ScheduleTimeStyle {
  bool twelveHour = false;
  std::wstring am;  // the day-period symbols; "AM" and "PM" when the locale gives none
  std::wstring pm;
};

// "%d:%s%s": hour 0..24 (24 is the end of a day), "00" or "30", and the day-period symbol. In the
// 12-hour style 13..23 lose 12 and take PM, 0 and 24 are "12" with AM, 12 is "12" with PM.
std::wstring FormatScheduleTime(int hour, bool halfPast, const ScheduleTimeStyle& style);

// The selection in words: its days ("Monday" or "Monday - Wednesday") and its times
// ("9:00 - 15:00"), joined with ", "; "" without a selection.
std::wstring DescribeSelection(const ScheduleSelection& grid, int dayForm, const ScheduleTimeStyle& style);

// The texts of the two cell states; the editor's dialog sets "Active" and "Inactive".
struct ScheduleLegend {
  std::wstring active = L"On";
  std::wstring inactive = L"Off";
};

// The commands of the grid's pop-up menu.
enum class ScheduleMenuCommand { kSetActive, kSetInactive, kClearSelection, kSelectAll };

struct ScheduleMenuItem {
  ScheduleMenuCommand command;
  std::wstring text;
};

// The menu offered at a right-button release: with a selection "Set selected to <active>",
// "Set selected to <inactive>" and "Clear selection"; always "Select all".
std::vector<ScheduleMenuItem> ScheduleMenuItems(bool hasSelection, const ScheduleLegend& legend);

// Carries out a menu command on `grid`. 0 when it had nothing to act on (the caller beeps).
BOOL RunScheduleMenuCommand(ScheduleSelection& grid, ScheduleMenuCommand command);

}  // namespace tv
