// The schedule as a grid of half-hour cells, the model the editor paints on, and the canonical
// text written from it: one period per run of active cells, days in day-table order.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "settings/schedule.h"

namespace tv {

inline constexpr int kCellsPerDay = 48;  // half hours

// One day of the grid: its cells, owned, and how many there are and how many are active.
// A default-constructed day has no cells; both counts are then zero.
class SchDay {
 public:
  SchDay() = default;
  explicit SchDay(int cellCount) : cells_(cellCount > 0 ? static_cast<std::size_t>(cellCount) : 0, 0) {}

  int CellCount() const { return static_cast<int>(cells_.size()); }
  int ActiveCount() const { return activeCount_; }

  // False for a cell outside the day.
  bool IsActive(int cell) const { return InRange(cell) && cells_[static_cast<std::size_t>(cell)] != 0; }

  // Ignored for a cell outside the day.
  void SetActive(int cell, bool active);
  void SetAll(bool active);

  friend bool operator==(const SchDay&, const SchDay&) = default;

 private:
  bool InRange(int cell) const { return cell >= 0 && cell < CellCount(); }

  std::vector<std::uint8_t> cells_;
  int activeCount_ = 0;
};

// A week of half-hour cells, days by day number (0 = Sunday), cell c covering c*30 minutes on.
class WeekGrid {
 public:
  WeekGrid();  // every cell inactive

  bool IsActive(int day, int cell) const;
  void SetActive(int day, int cell, bool active);  // ignored outside the grid
  void SetAll(bool active);
  bool IsAllOn() const;
  bool IsAllOff() const;

  // Marks the cells of `period` active (the part within its day; a day outside 0..6 is ignored).
  void AddPeriod(const AllowedPeriod& period);

  const SchDay& Day(int day) const { return days_[static_cast<std::size_t>(day)]; }

  friend bool operator==(const WeekGrid&, const WeekGrid&) = default;

 private:
  std::array<SchDay, 7> days_;
};

// The cells the periods of `list` cover.
WeekGrid GridFromPeriods(const PeriodList& list);

// One period per run of active cells, days in day-table order, each day's runs by time.
PeriodList PeriodsFromGrid(const WeekGrid& grid);

// The canonical text of `grid`: "Mon 8:00-17:30, Tue 0:00-24:00, " (each period, the last one
// included, followed by ", "), in PeriodsFromGrid's order. An all-inactive grid gives "";
// an all-active one is written out in full (the editor stores that case as the default instead).
std::wstring FormatSchedule(const WeekGrid& grid);

}  // namespace tv
