// The half-hour grid and the canonical schedule text written from it.
#include "settings/schedule_grid.h"

namespace tv {
namespace {

int CellOf(int hour, int minute) { return hour * 2 + (minute >= 30 ? 1 : 0); }

void AppendTime(std::wstring& out, int cell) {
  out += std::to_wstring(cell / 2);
  out += cell % 2 ? L":30" : L":00";
}

}  // namespace

void SchDay::SetActive(int cell, bool active) {
  if (!InRange(cell)) return;
  std::uint8_t& c = cells_[static_cast<std::size_t>(cell)];
  if ((c != 0) == active) return;
  c = active ? 1 : 0;
  activeCount_ += active ? 1 : -1;
}

void SchDay::SetAll(bool active) {
  for (std::uint8_t& c : cells_) c = active ? 1 : 0;
  activeCount_ = active ? CellCount() : 0;
}

WeekGrid::WeekGrid() { days_.fill(SchDay(kCellsPerDay)); }

bool WeekGrid::IsActive(int day, int cell) const { return day >= 0 && day < 7 && Day(day).IsActive(cell); }

void WeekGrid::SetActive(int day, int cell, bool active) {
  if (day >= 0 && day < 7) days_[static_cast<std::size_t>(day)].SetActive(cell, active);
}

void WeekGrid::SetAll(bool active) {
  for (SchDay& d : days_) d.SetAll(active);
}

bool WeekGrid::IsAllOn() const {
  for (const SchDay& d : days_) {
    if (d.ActiveCount() != d.CellCount()) return false;
  }
  return true;
}

bool WeekGrid::IsAllOff() const {
  for (const SchDay& d : days_) {
    if (d.ActiveCount() != 0) return false;
  }
  return true;
}

void WeekGrid::AddPeriod(const AllowedPeriod& period) {
  if (period.day > 6) return;
  const int first = CellOf(period.startHour, period.startMinute);
  const int last = CellOf(period.endHour, period.endMinute);  // exclusive
  for (int cell = first; cell < last && cell < kCellsPerDay; ++cell) {
    SetActive(static_cast<int>(period.day), cell, true);
  }
}

WeekGrid GridFromPeriods(const PeriodList& list) {
  WeekGrid grid;
  for (const AllowedPeriod& p : list) grid.AddPeriod(p);
  return grid;
}

PeriodList PeriodsFromGrid(const WeekGrid& grid) {
  PeriodList list;
  for (int index = 0; index < 7; ++index) {
    const int day = Schedule::GetDayEntry(index).day;
    int cell = 0;
    while (cell < kCellsPerDay) {
      if (!grid.IsActive(day, cell)) {
        ++cell;
        continue;
      }
      const int first = cell;
      while (cell < kCellsPerDay && grid.IsActive(day, cell)) ++cell;
      list.push_back(AllowedPeriod{static_cast<std::uint32_t>(day), static_cast<std::uint16_t>(first / 2),
                                   static_cast<std::uint16_t>(first % 2 * 30), static_cast<std::uint16_t>(cell / 2),
                                   static_cast<std::uint16_t>(cell % 2 * 30)});
    }
  }
  return list;
}

std::wstring FormatSchedule(const WeekGrid& grid) {
  std::wstring text;
  for (const AllowedPeriod& p : PeriodsFromGrid(grid)) {
    text += Schedule::GetDayEntry(Schedule::FindDayIndex(static_cast<int>(p.day))).abbreviation;
    text += L' ';
    AppendTime(text, CellOf(p.startHour, p.startMinute));
    text += L'-';
    AppendTime(text, CellOf(p.endHour, p.endMinute));
    text += L", ";
  }
  return text;
}

}  // namespace tv
