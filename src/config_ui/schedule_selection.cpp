// The schedule editor's cells, geometry and selection arithmetic.
#include "config_ui/schedule_selection.h"

#include <algorithm>
#include <cwchar>

#include "platform/last_error.h"
#include "settings/schedule.h"
#include "settings/schedule_grid.h"

namespace tv {
namespace {

std::uint8_t HalfBits(int half) { return half % 2 ? kSecondHalfBits : kFirstHalfBits; }

PixelRect Union(const PixelRect& a, const PixelRect& b) {
  return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
          std::max(a.bottom, b.bottom)};
}

bool Inside(const PixelRect& inner, const PixelRect& outer) {
  return inner.left >= outer.left && inner.top >= outer.top && inner.right <= outer.right &&
         inner.bottom <= outer.bottom;
}

}  // namespace

int ScheduleRowDay(int row) { return row >= 0 && row < kScheduleRows ? (row + 1) % 7 : -1; }

ScheduleSelection::ScheduleSelection() { cells_.fill(kFullHourBits); }

std::uint8_t ScheduleSelection::Cell(int row, int hour) const {
  if (row < 0 || row >= kScheduleRows || hour < 0 || hour >= kScheduleHours) return 0;
  return cells_[static_cast<std::size_t>(row * kScheduleHours + hour)];
}

bool ScheduleSelection::IsHalfActive(int row, int half) const {
  if (half < 0 || half >= kCellsPerDay) return false;
  return (Cell(row, half / 2) & HalfBits(half)) != 0;
}

BOOL ScheduleSelection::IsAllOn() const {
  for (int row = 0; row < kScheduleRows; ++row) {
    for (int half = 0; half < kCellsPerDay; ++half) {
      if (!IsHalfActive(row, half)) return kFalse;
    }
  }
  return kTrue;
}

void ScheduleSelection::SetScheduleAll(BOOL active) { cells_.fill(active ? kFullHourBits : 0); }

BOOL ScheduleSelection::SetSchedule(const wchar_t* text) {
  Schedule schedule;
  schedule.Set(text);
  if (schedule.IsDefault()) {
    SetScheduleAll(kTrue);
    return kTrue;
  }
  PeriodList periods;
  const wchar_t* fault = schedule.Parse(periods);
  // Whatever could be read is shown either way, so the editor never opens on a blank week
  // merely because the tail of the text was damaged.
  const WeekGrid grid = GridFromPeriods(periods);
  for (int row = 0; row < kScheduleRows; ++row) {
    for (int hour = 0; hour < kScheduleHours; ++hour) {
      std::uint8_t bits = 0;
      if (grid.IsActive(ScheduleRowDay(row), hour * 2)) bits |= kFirstHalfBits;
      if (grid.IsActive(ScheduleRowDay(row), hour * 2 + 1)) bits |= kSecondHalfBits;
      cells_[static_cast<std::size_t>(row * kScheduleHours + hour)] = bits;
    }
  }
  if (fault) {
    SetLastErrorCode(err::kInvalidData);
    return kFalse;
  }
  return kTrue;
}

bool ScheduleSelection::IsAllOff() const {
  for (const std::uint8_t cell : cells_) {
    if (cell != 0) return false;
  }
  return true;
}

std::wstring ScheduleSelection::GetSchedule() const {
  if (IsAllOn()) return L"*";
  WeekGrid grid;
  for (int row = 0; row < kScheduleRows; ++row) {
    for (int half = 0; half < kCellsPerDay; ++half) {
      if (IsHalfActive(row, half)) grid.SetActive(ScheduleRowDay(row), half, true);
    }
  }
  return FormatSchedule(grid);
}

std::wstring ScheduleSelection::ScheduleTextToStore() const {
  // An all-active week is kept as no schedule at all, which also follows the day table's
  // language; any other week as its canonical text.
  return IsAllOn() ? std::wstring() : GetSchedule();
}

std::wstring ScheduleSelection::RefusalToStore() const {
  if (!IsAllOff()) return std::wstring();
  return L"Every half hour of the week is inactive. A schedule without active time would let "
         L"Tarnvale act around the clock, so this week cannot be kept.\n\n"
         L"To stop the log-offs altogether, clear \"Enable Tarnvale\" in the main window; to stop "
         L"them for some hours, leave at least one half hour active.";
}

std::size_t ScheduleSelection::GetSchedule(wchar_t* buffer, std::size_t capacity) const {
  const std::wstring text = GetSchedule();
  if (buffer && capacity > 0) {
    const std::size_t copied = std::min(text.size(), capacity - 1);
    std::wmemcpy(buffer, text.data(), copied);
    buffer[copied] = L'\0';
  }
  return text.size() + 1;
}

BOOL ScheduleSelection::SetGranularity(int slotsPerHour) {
  if (slotsPerHour != 1 && slotsPerHour != 2 && slotsPerHour != 4) {
    SetLastErrorCode(err::kInvalidParameter);
    return kFalse;
  }
  granularity_ = slotsPerHour;
  return kTrue;
}

BOOL ScheduleSelection::SetZoom(int zoom) {
  if (zoom < 1) {
    SetLastErrorCode(err::kInvalidParameter);
    return kFalse;
  }
  zoom_ = zoom;
  Reset();
  return kTrue;
}

BOOL ScheduleSelection::SetLabelMargins(int horizontal, int vertical) {
  if (horizontal < 0 || vertical < 0) {
    SetLastErrorCode(err::kInvalidParameter);
    return kFalse;
  }
  marginH_ = horizontal;
  marginV_ = vertical;
  Reset();
  return kTrue;
}

void ScheduleSelection::SetLabelExtent(int width, int height) {
  labelWidth_ = std::max(0, width);
  labelHeight_ = std::max(0, height);
  Reset();
}

void ScheduleSelection::Reset() {
  selecting_ = false;
  hasSelection_ = false;
}

PixelRect ScheduleSelection::GridRect() const {
  const int left = kGridLabelGap + labelWidth_ + 2 * marginH_;
  // A row of no height would make every point fall in no row; one pixel keeps the arithmetic whole.
  const int rowHeight = std::max(1, RowHeight());
  return {left, kGridTop, left + kScheduleHours * HourWidth(), kGridTop + kScheduleRows * rowHeight};
}

PixelRect ScheduleSelection::HourRect(int row, int hour) const {
  const PixelRect grid = GridRect();
  const int rowHeight = std::max(1, RowHeight());
  return {grid.left + hour * HourWidth(), grid.top + row * rowHeight, grid.left + (hour + 1) * HourWidth(),
          grid.top + (row + 1) * rowHeight};
}

PixelRect ScheduleSelection::CellAt(int x, int y) const {
  const PixelRect grid = GridRect();
  const int rowHeight = std::max(1, RowHeight());
  x = std::clamp(x, grid.left, grid.right - 1);
  y = std::clamp(y, grid.top, grid.bottom - 1);
  const int slotLeft = grid.left + (x - grid.left) / SlotWidth() * SlotWidth();
  const int rowTop = grid.top + (y - grid.top) / rowHeight * rowHeight;
  // At granularity 4 the slots do not divide every hour width; the last one stops at the edge.
  return {slotLeft, rowTop, std::min(slotLeft + SlotWidth(), grid.right), rowTop + rowHeight};
}

bool ScheduleSelection::GetSpan(SelectionSpan& span) const {
  if (!hasSelection_ || selection_.IsEmpty()) return false;
  const PixelRect grid = GridRect();
  const int rowHeight = std::max(1, RowHeight());
  const int hourWidth = HourWidth();
  const int halfWidth = hourWidth / 2;
  const int startOffset = selection_.left - grid.left;
  const int endOffset = selection_.right - grid.left;
  span.firstRow = (selection_.top - grid.top) / rowHeight;
  span.lastRow = (selection_.bottom - 1 - grid.top) / rowHeight;
  span.firstHour = startOffset / hourWidth;
  span.lastHour = (endOffset - 1) / hourWidth;
  span.startsAtHalf = startOffset % hourWidth >= halfWidth;
  const int endRemainder = endOffset % hourWidth;
  span.endsAtHalf = endRemainder != 0 && endRemainder <= halfWidth;
  return true;
}

bool ScheduleSelection::IsHalfSelected(int row, int half) const {
  if (!hasSelection_ || row < 0 || row >= kScheduleRows || half < 0 || half >= kCellsPerDay) return false;
  const PixelRect hour = HourRect(row, half / 2);
  const int halfWidth = HourWidth() / 2;
  const int left = hour.left + (half % 2) * halfWidth;
  const int right = half % 2 ? hour.right : left + halfWidth;
  return left < selection_.right && right > selection_.left && hour.top < selection_.bottom &&
         hour.bottom > selection_.top;
}

void ScheduleSelection::SelectAll() {
  selection_ = anchor_ = GridRect();
  hasSelection_ = true;
  selecting_ = false;
}

void ScheduleSelection::DeselectAll() { Reset(); }

PressResult ScheduleSelection::LeftDown(int x, int y) {
  if (!GridRect().Contains(x, y)) {
    DeselectAll();
    return PressResult::kDroppedSelection;
  }
  anchor_ = selection_ = CellAt(x, y);
  selecting_ = hasSelection_ = true;
  return PressResult::kStartedDrag;
}

bool ScheduleSelection::MouseMove(int x, int y) {
  if (!selecting_) return false;
  const PixelRect next = Union(anchor_, CellAt(x, y));
  if (next == selection_) return false;
  selection_ = next;
  return true;
}

BOOL ScheduleSelection::Arrow(ArrowKey key, bool ctrl, bool shift) {
  const PixelRect grid = GridRect();
  if (!hasSelection_) {
    anchor_ = selection_ = {grid.left, grid.top, grid.left + SlotWidth(), grid.top + std::max(1, RowHeight())};
    hasSelection_ = true;
    return kTrue;
  }
  int dx = 0;
  int dy = 0;
  switch (key) {
    case ArrowKey::kLeft: dx = -HourWidth() / 2; break;
    case ArrowKey::kRight: dx = HourWidth() / 2; break;
    case ArrowKey::kUp: dy = -std::max(1, RowHeight()); break;
    case ArrowKey::kDown: dy = std::max(1, RowHeight()); break;
  }
  PixelRect next = selection_;
  if (!ctrl) {
    next.left += dx;
    next.top += dy;
  }
  if (!shift) {
    next.right += dx;
    next.bottom += dy;
  }
  if (next.IsEmpty() || !Inside(next, grid)) return kFalse;
  selection_ = next;
  return kTrue;
}

BOOL ScheduleSelection::SetSelectionState(BOOL active) {
  SelectionSpan span;
  if (!GetSpan(span)) return kFalse;
  // Only the editor's own granularity edits half hours; quarter hours are not a state the
  // cells can hold, so granularity 4 leaves them alone.
  if (granularity_ == 4) return kTrue;
  for (int row = span.firstRow; row <= span.lastRow; ++row) {
    for (int hour = span.firstHour; hour <= span.lastHour; ++hour) {
      std::uint8_t mask = kFullHourBits;
      if (granularity_ == 2) {
        if (hour == span.firstHour && span.startsAtHalf) mask &= kSecondHalfBits;
        if (hour == span.lastHour && span.endsAtHalf) mask &= kFirstHalfBits;
      }
      std::uint8_t& cell = cells_[static_cast<std::size_t>(row * kScheduleHours + hour)];
      cell = active ? static_cast<std::uint8_t>(cell | mask) : static_cast<std::uint8_t>(cell & ~mask);
    }
  }
  return kTrue;
}

}  // namespace tv
