// Day labels, times, the selection's description and the grid's menu.
#include "config_ui/schedule_labels.h"

#include "settings/schedule.h"

namespace tv {

int EffectiveDayLabels(int requested, bool localDaysAvailable) {
  if (requested == kDayLabelsLocal) return localDaysAvailable ? kDayLabelsLocal : kDayLabelsEnglish;
  if (requested == kDayLabelsShort) return kDayLabelsShort;
  return kDayLabelsEnglish;
}

std::wstring GetDayLabel(int row, int form) {
  const int day = ScheduleRowDay(row);
  if (day < 0) return L"";
  const int index = Schedule::FindDayIndex(day);
  if (index < 0) return L"";
  const DayEntry& entry = Schedule::GetDayEntry(index);
  switch (EffectiveDayLabels(form, Schedule::CanDisplayLocalDays())) {
    case kDayLabelsLocal: return entry.localName;
    case kDayLabelsShort: return entry.abbreviation;
    default: return entry.englishName;
  }
}

std::wstring FormatScheduleTime(int hour, bool halfPast, const ScheduleTimeStyle& style) {
  std::wstring symbol;
  if (style.twelveHour) {
    const bool pm = hour >= 12 && hour < 24;
    symbol = pm ? (style.pm.empty() ? L"PM" : style.pm) : (style.am.empty() ? L"AM" : style.am);
    hour %= 12;
    if (hour == 0) hour = 12;
  }
  return std::to_wstring(hour) + (halfPast ? L":30" : L":00") + symbol;
}

std::wstring DescribeSelection(const ScheduleSelection& grid, int dayForm, const ScheduleTimeStyle& style) {
  SelectionSpan span;
  if (!grid.GetSpan(span)) return L"";
  std::wstring text = GetDayLabel(span.firstRow, dayForm);
  if (span.lastRow != span.firstRow) text += L" - " + GetDayLabel(span.lastRow, dayForm);
  // Whole hours at granularity 1, half hours otherwise: the times say what a state change touches.
  const bool halves = grid.Granularity() == 2;
  const bool startHalf = halves && span.startsAtHalf;
  const bool endHalf = halves && span.endsAtHalf;
  text += L", " + FormatScheduleTime(span.firstHour, startHalf, style) + L" - " +
          FormatScheduleTime(endHalf ? span.lastHour : span.lastHour + 1, endHalf, style);
  return text;
}

std::vector<ScheduleMenuItem> ScheduleMenuItems(bool hasSelection, const ScheduleLegend& legend) {
  std::vector<ScheduleMenuItem> items;
  if (hasSelection) {
    items.push_back({ScheduleMenuCommand::kSetActive, L"Set selected to " + legend.active});
    items.push_back({ScheduleMenuCommand::kSetInactive, L"Set selected to " + legend.inactive});
    items.push_back({ScheduleMenuCommand::kClearSelection, L"Clear selection"});
  }
  items.push_back({ScheduleMenuCommand::kSelectAll, L"Select all"});
  return items;
}

BOOL RunScheduleMenuCommand(ScheduleSelection& grid, ScheduleMenuCommand command) {
  switch (command) {
    case ScheduleMenuCommand::kSetActive: return grid.SetSelectionState(kTrue);
    case ScheduleMenuCommand::kSetInactive: return grid.SetSelectionState(kFalse);
    case ScheduleMenuCommand::kClearSelection: grid.DeselectAll(); return kTrue;
    case ScheduleMenuCommand::kSelectAll: grid.SelectAll(); return kTrue;
  }
  return kFalse;
}

}  // namespace tv
