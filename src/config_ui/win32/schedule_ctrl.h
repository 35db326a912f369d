// ScheduleCtrl: the schedule editor's week grid as a window. It paints the cells of its
// ScheduleSelection model and turns mouse, keyboard and menu input into calls on it; what a drag
// or a key does to the selection is decided by the model alone.
#pragma once

// First, so that the window wrapper's declarations see the system's own integer types.
#include "ui/win32/window.h"

#include <cstddef>
#include <string>

#include "config_ui/schedule_labels.h"
#include "config_ui/schedule_selection.h"

namespace tv {

class ScheduleCtrl : public CSCtrl {
 public:
  static constexpr const wchar_t* kClassName = L"TarnvaleScheduleCtrl";

  ScheduleCtrl() = default;

  // Registers the window class (once per process is enough; again is not an error).
  static BOOL Register(HINSTANCE instance);

  // Creates the grid as child `id` of `parent` over `rect` (parent's client coordinates).
  BOOL CreateAt(HWND parent, const RECT& rect, int id);
  // Puts the grid in the place of the dialog's control `id` (a static in the template), with the
  // same id, and destroys that control. FALSE when there is no such control.
  BOOL ReplaceControl(HWND dialog, int id);

  // ---- the week (see ScheduleSelection); each repaints
  BOOL SetSchedule(const wchar_t* text);
  std::size_t GetSchedule(wchar_t* buffer, std::size_t capacity) const { return model_.GetSchedule(buffer, capacity); }
  std::wstring ScheduleTextToStore() const { return model_.ScheduleTextToStore(); }
  BOOL IsAllOn() const { return model_.IsAllOn(); }
  void SetScheduleAll(BOOL active);
  void SelectAll();
  void DeselectAll();
  // Sets the selected half hours active or inactive; without a selection it beeps and answers 0.
  BOOL SetSelectionState(BOOL active);

  // ---- appearance
  BOOL SetGranularity(int slotsPerHour);
  BOOL SetZoom(int zoom);
  BOOL SetLabelMargins(int horizontal, int vertical);
  // The names of the two states in the legend and the menu ("On" and "Off" until set).
  void SetLegendText(const wchar_t* active, const wchar_t* inactive);
  // Day-label form 0 (local names), 1 (English) or 2 (abbreviations); 0 falls back to 1 when the
  // local names are not available. FALSE for another form.
  BOOL SetDisplayDays(int form);
  int DisplayDays() const { return dayForm_; }
  static bool CanDisplayLocalDays();
  // The label of row `row` (0 = Monday) in the form shown.
  std::wstring GetDayLabel(int row) const { return tv::GetDayLabel(row, dayForm_); }

  const ScheduleSelection& Model() const { return model_; }
  const ScheduleTimeStyle& TimeStyle() const { return timeStyle_; }
  // The colours cells are painted in.
  static COLORREF ActiveColor(bool selected) { return selected ? RGB(0, 192, 0) : RGB(0, 128, 0); }
  static COLORREF InactiveColor(bool selected) { return selected ? RGB(240, 240, 240) : ::GetSysColor(COLOR_BTNFACE); }

  BOOL IsKindOf(const wchar_t* className) const override;

 protected:
  LRESULT OnWndMessage(UINT message, WPARAM wParam, LPARAM lParam) override;

 private:
  // Measures the day labels in the control's font and reads the locale's time style.
  void SetupDrawing();
  void Paint(HDC dc);
  void PaintCells(HDC dc);
  void PaintLines(HDC dc);
  void PaintLabels(HDC dc);
  void OnLeftDown(int x, int y);
  void EndDrag();
  void OnRightUp(int x, int y);
  void OnArrow(ArrowKey key);
  void Repaint();

  ScheduleSelection model_;
  ScheduleLegend legend_;
  ScheduleTimeStyle timeStyle_;
  int dayForm_ = 1;
  // The grid is laid out in 96-DPI pixels and drawn at the window's density (see DesignToDevice).
  RECT ToDevice(const PixelRect& design) const;
  int Scaled(int pixelsAt96) const;

  HFONT font_ = nullptr;  // the dialog's font (or the stock GUI font): not owned
  int dpi_ = 96;
};

}  // namespace tv
