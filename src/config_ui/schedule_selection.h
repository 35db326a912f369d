// The schedule editor's model: a week of hour cells, the grid's geometry in pixels, and the
// selection that the mouse and the arrow keys make on it. The window that paints it only turns
// its messages into these calls and paints what they leave; every decision (where a drag
// snaps, which key moves are refused, which half hours a selection touches) is made here.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/types.h"

namespace tv {

// A pixel rectangle, right and bottom exclusive.
struct PixelRect {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;

  bool IsEmpty() const { return right <= left || bottom <= top; }
  bool Contains(int x, int y) const { return x >= left && x < right && y >= top && y < bottom; }
  friend bool operator==(const PixelRect&, const PixelRect&) = default;
};

// Bits of one hour cell: either half hour is active when its bits are set.
inline constexpr std::uint8_t kFirstHalfBits = 0x03;
inline constexpr std::uint8_t kSecondHalfBits = 0x0C;
inline constexpr std::uint8_t kFullHourBits = 0x0F;

inline constexpr int kScheduleRows = 7;    // days, Monday first
inline constexpr int kScheduleHours = 24;  // columns

// Where the grid starts: left of it stand the day labels, above it the hour scale.
inline constexpr int kGridLabelGap = 10;
inline constexpr int kGridTop = 20;
inline constexpr int kPixelsPerHourAtZoom1 = 10;

// What an arrow key asks for.
enum class ArrowKey { kLeft, kRight, kUp, kDown };

// What a left-button press did.
enum class PressResult {
  kStartedDrag,       // inside the grid: capture the mouse and confine the cursor to GridRect()
  kDroppedSelection,  // outside: repaint
};

// The first and last day rows and hour columns a selection covers, and whether its edges fall
// at half past (granularity 2 only).
struct SelectionSpan {
  int firstRow = 0;
  int lastRow = 0;
  int firstHour = 0;
  int lastHour = 0;
  bool startsAtHalf = false;
  bool endsAtHalf = false;
};

class ScheduleSelection {
 public:
  // Every half hour active, granularity 2, zoom 1, margins 3 and 2, no label extent, no selection.
  ScheduleSelection();

  // ---- cells (row = day, Monday first; column = hour)
  std::uint8_t Cell(int row, int hour) const;
  // Whether half hour `half` (0..47) of day row `row` is active; false outside the grid.
  bool IsHalfActive(int row, int half) const;
  // True when every half hour of the week is active.
  BOOL IsAllOn() const;
  // True when no half hour of the week is active.
  bool IsAllOff() const;
  // Makes every half hour active or inactive.
  void SetScheduleAll(BOOL active);

  // Fills the cells from schedule text: "" and "*" make every half hour active, a readable text
  // makes active exactly the half hours its periods cover. On a text that cannot be read, the
  // periods before the fault are shown and the answer is 0 with kInvalidData.
  BOOL SetSchedule(const wchar_t* text);
  // Writes the cells as schedule text: "*" when every half hour is active, otherwise the
  // canonical text of their runs ("" when none is active). Cuts to fit `capacity` characters
  // with the terminator (a null buffer or zero capacity only measures); answers the length of
  // the whole text plus one.
  std::size_t GetSchedule(wchar_t* buffer, std::size_t capacity) const;
  std::wstring GetSchedule() const;
  // The text the settings keep when the editor is closed with OK: "" (no schedule) for a week
  // that is all active, else GetSchedule's text. A week with nothing active also gives "": the
  // monitor reads a schedule without active time as always active, so no text could say otherwise.
  std::wstring ScheduleTextToStore() const;
  // Why OK must not keep this week, or "" when it may: a week with nothing active would be stored
  // as always active, the opposite of what was painted, so the answer says how to stop the
  // log-offs instead.
  std::wstring RefusalToStore() const;

  // ---- geometry
  // Slots per hour: 1, 2 or 4; 0 with kInvalidParameter for anything else (nothing changes).
  BOOL SetGranularity(int slotsPerHour);
  int Granularity() const { return granularity_; }
  // Pixels per hour are 10 x zoom; 0 for a zoom below 1. Drops the selection (its pixels move).
  BOOL SetZoom(int zoom);
  int Zoom() const { return zoom_; }
  // Space around each day label; 0 for a negative margin. Drops the selection.
  BOOL SetLabelMargins(int horizontal, int vertical);
  // The largest extent of the seven day labels in the control's font. Drops the selection.
  void SetLabelExtent(int width, int height);

  int HourWidth() const { return kPixelsPerHourAtZoom1 * zoom_; }
  int SlotWidth() const { return HourWidth() / granularity_; }
  int RowHeight() const { return labelHeight_ + 2 * marginV_; }
  // The grid of 24 hours by 7 rows, in the control's pixels.
  PixelRect GridRect() const;
  // The pixels of hour `hour` of row `row`.
  PixelRect HourRect(int row, int hour) const;

  // ---- selection
  bool HasSelection() const { return hasSelection_; }
  bool IsSelecting() const { return selecting_; }
  // The selection in pixels (meaningful only while HasSelection()).
  const PixelRect& Selection() const { return selection_; }
  // Rows and hours under the selection; false without one.
  bool GetSpan(SelectionSpan& span) const;
  // Whether half hour `half` of row `row` lies under the selection (painted lighter).
  bool IsHalfSelected(int row, int half) const;

  void SelectAll();
  void DeselectAll();

  // Left button pressed at (x, y).
  PressResult LeftDown(int x, int y);
  // The pointer moved while the mouse is captured: the selection spans from the anchor cell to
  // the cell under (x, y), a point outside the grid taken at the grid's nearest edge. True when
  // the selection changed (repaint).
  bool MouseMove(int x, int y);
  // Left button released: the drag ends (release the capture and the cursor confinement).
  void LeftUp() { selecting_ = false; }

  // An arrow key with the state of Ctrl and Shift. 0 when the move is refused (the selection
  // would be empty or leave the grid): the caller beeps and nothing changed.
  BOOL Arrow(ArrowKey key, bool ctrl, bool shift);

  // Sets the half hours under the selection active or inactive. 0 without a selection (the
  // caller beeps; nothing changed).
  BOOL SetSelectionState(BOOL active);

 private:
  void Reset();
  // The slot and row cell that contains (x, y), the point first brought inside the grid.
  PixelRect CellAt(int x, int y) const;

  std::array<std::uint8_t, kScheduleRows * kScheduleHours> cells_{};
  int granularity_ = 2;
  int zoom_ = 1;
  int marginH_ = 3;
  int marginV_ = 2;
  int labelWidth_ = 0;
  int labelHeight_ = 0;
  bool selecting_ = false;
  bool hasSelection_ = false;
  PixelRect anchor_;
  PixelRect selection_;
};

// The day number (0 = Sunday) shown in row `row` (0 = Monday), or -1 outside 0..6.
int ScheduleRowDay(int row);

}  // namespace tv
