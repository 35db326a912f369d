// ScheduleCtrl for Windows: painting, mouse capture, arrow keys and the pop-up menu over the
// portable selection model.
#include "config_ui/win32/schedule_ctrl.h"

#include <algorithm>
#include <cwchar>
#include <vector>

#include "settings/schedule.h"
#include "ui/win32/dpi.h"

namespace tv {
namespace {

constexpr COLORREF kGridColor = RGB(128, 128, 128);
// Pixels at 96 DPI between the grid and the legend line below it, and the legend's pieces.
constexpr int kLegendGap = 6;
constexpr int kSwatchSize = 10;
constexpr int kSwatchTop = 2;
constexpr int kSwatchGap = 4;
constexpr int kTextGap = 6;
constexpr int kHourLabelHalfWidth = 15;
constexpr int kHourLabelMargin = 2;

int LowSigned(LPARAM lParam) { return static_cast<short>(LOWORD(static_cast<DWORD_PTR>(lParam))); }
int HighSigned(LPARAM lParam) { return static_cast<short>(HIWORD(static_cast<DWORD_PTR>(lParam))); }

void Fill(HDC dc, const RECT& rect, COLORREF color) {
  HBRUSH brush = ::CreateSolidBrush(color);
  ::FillRect(dc, &rect, brush);
  ::DeleteObject(brush);
}

void Line(HDC dc, int x1, int y1, int x2, int y2) {
  ::MoveToEx(dc, x1, y1, nullptr);
  ::LineTo(dc, x2, y2);
}


std::wstring LocaleText(LCTYPE type, int maxChars) {
  wchar_t buffer[16] = {};
  if (::GetLocaleInfoW(LOCALE_USER_DEFAULT, type, buffer, 16) <= 0) return L"";
  return std::wstring(buffer).substr(0, static_cast<std::size_t>(maxChars));
}

}  // namespace

BOOL ScheduleCtrl::Register(HINSTANCE instance) {
  return RegisterWndClass(kClassName, instance, CS_HREDRAW | CS_VREDRAW | CS_DBLCLKS, ::LoadCursorW(nullptr, IDC_ARROW),
                          nullptr, nullptr);
}

BOOL ScheduleCtrl::CreateAt(HWND parent, const RECT& rect, int id) {
  HINSTANCE instance = reinterpret_cast<HINSTANCE>(::GetWindowLongPtrW(parent, GWLP_HINSTANCE));
  if (!Register(instance)) return FALSE;
  return Create(kClassName, L"", WS_CHILD | WS_VISIBLE | WS_TABSTOP, 0, rect.left, rect.top, rect.right - rect.left,
                rect.bottom - rect.top, parent,
                reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), instance);
}

BOOL ScheduleCtrl::ReplaceControl(HWND dialog, int id) {
  HWND old = ::GetDlgItem(dialog, id);
  if (!old) return FALSE;
  RECT rect;
  ::GetWindowRect(old, &rect);
  ::MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&rect), 2);
  // Keep the tab order: the grid goes where the placeholder stood.
  HWND before = ::GetWindow(old, GW_HWNDPREV);
  ::DestroyWindow(old);
  if (!CreateAt(dialog, rect, id)) return FALSE;
  // The dialog's font is sized for the dialog's density; the labels follow it.
  ::SendMessageW(GetHwnd(), WM_SETFONT, ::SendMessageW(dialog, WM_GETFONT, 0, 0), FALSE);
  ::SetWindowPos(GetHwnd(), before ? before : HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
  return TRUE;
}

BOOL ScheduleCtrl::IsKindOf(const wchar_t* className) const {
  return std::wcscmp(className, L"ScheduleCtrl") == 0 || CSCtrl::IsKindOf(className);
}

bool ScheduleCtrl::CanDisplayLocalDays() { return Schedule::CanDisplayLocalDays(); }

BOOL ScheduleCtrl::SetSchedule(const wchar_t* text) {
  const BOOL ok = model_.SetSchedule(text);
  Repaint();
  return ok;
}

void ScheduleCtrl::SetScheduleAll(BOOL active) {
  model_.SetScheduleAll(active);
  Repaint();
}

void ScheduleCtrl::SelectAll() {
  model_.SelectAll();
  Repaint();
}

void ScheduleCtrl::DeselectAll() {
  model_.DeselectAll();
  Repaint();
}

BOOL ScheduleCtrl::SetSelectionState(BOOL active) {
  if (!model_.SetSelectionState(active)) {
    ::MessageBeep(MB_OK);
    return FALSE;
  }
  if (GetHwnd()) ::SetFocus(GetHwnd());
  Repaint();
  return TRUE;
}

BOOL ScheduleCtrl::SetGranularity(int slotsPerHour) {
  const BOOL ok = model_.SetGranularity(slotsPerHour);
  Repaint();
  return ok;
}

BOOL ScheduleCtrl::SetZoom(int zoom) {
  const BOOL ok = model_.SetZoom(zoom);
  Repaint();
  return ok;
}

BOOL ScheduleCtrl::SetLabelMargins(int horizontal, int vertical) {
  const BOOL ok = model_.SetLabelMargins(horizontal, vertical);
  Repaint();
  return ok;
}

void ScheduleCtrl::SetLegendText(const wchar_t* active, const wchar_t* inactive) {
  legend_.active = active ? active : L"";
  legend_.inactive = inactive ? inactive : L"";
  Repaint();
}

BOOL ScheduleCtrl::SetDisplayDays(int form) {
  if (form < kDayLabelsLocal || form > kDayLabelsShort) return FALSE;
  dayForm_ = EffectiveDayLabels(form, CanDisplayLocalDays());
  if (GetHwnd()) SetupDrawing();
  Repaint();
  return TRUE;
}

void ScheduleCtrl::Repaint() {
  if (GetHwnd()) ::InvalidateRect(GetHwnd(), nullptr, FALSE);
}

RECT ScheduleCtrl::ToDevice(const PixelRect& r) const {
  return RECT{DesignToDevice(r.left, dpi_), DesignToDevice(r.top, dpi_), DesignToDevice(r.right, dpi_),
              DesignToDevice(r.bottom, dpi_)};
}

int ScheduleCtrl::Scaled(int pixelsAt96) const { return ScaleForDpi(pixelsAt96, dpi_); }

void ScheduleCtrl::SetupDrawing() {
  dpi_ = WindowDpi(GetHwnd());
  if (!font_) font_ = static_cast<HFONT>(::GetStockObject(DEFAULT_GUI_FONT));
  HDC dc = ::GetDC(GetHwnd());
  int width = 0;
  int height = 0;
  if (dc) {
    HGDIOBJ old = ::SelectObject(dc, font_);
    for (int row = 0; row < kScheduleRows; ++row) {
      const std::wstring label = GetDayLabel(row);
      SIZE size{};
      if (::GetTextExtentPoint32W(dc, label.c_str(), static_cast<int>(label.size()), &size)) {
        if (size.cx > width) width = size.cx;
        if (size.cy > height) height = size.cy;
      }
    }
    ::SelectObject(dc, old);
    ::ReleaseDC(GetHwnd(), dc);
  }
  model_.SetLabelExtent(DeviceExtentToDesign(width, dpi_), DeviceExtentToDesign(height, dpi_));

  // LOCALE_ITIME: "0" is the 12-hour clock.
  timeStyle_.twelveHour = LocaleText(LOCALE_ITIME, 1) == L"0";
  timeStyle_.am = LocaleText(LOCALE_S1159, 9);
  timeStyle_.pm = LocaleText(LOCALE_S2359, 9);
}

LRESULT ScheduleCtrl::OnWndMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_CREATE:
      dayForm_ = EffectiveDayLabels(dayForm_, CanDisplayLocalDays());
      SetupDrawing();
      return 0;
    case WM_GETDLGCODE:
      return DLGC_WANTARROWS;
    case WM_SETFONT:
      font_ = reinterpret_cast<HFONT>(wParam);
      SetupDrawing();
      if (LOWORD(lParam)) Repaint();
      return 0;
    case WM_GETFONT:
      return reinterpret_cast<LRESULT>(font_);
    case WM_DPICHANGED_AFTERPARENT:
      // The dialog's font at the new density arrives with WM_SETFONT; the density itself here.
      SetupDrawing();
      Repaint();
      return 0;
    case WM_ERASEBKGND:
      return 1;  // Paint covers every pixel
    case WM_PAINT: {
      PAINTSTRUCT ps;
      HDC dc = ::BeginPaint(GetHwnd(), &ps);
      if (dc) Paint(dc);
      ::EndPaint(GetHwnd(), &ps);
      return 0;
    }
    case WM_PRINTCLIENT:
      Paint(reinterpret_cast<HDC>(wParam));
      return 0;
    case WM_LBUTTONDOWN:
      OnLeftDown(DeviceToDesign(LowSigned(lParam), dpi_), DeviceToDesign(HighSigned(lParam), dpi_));
      return 0;
    case WM_RBUTTONDOWN:
    case WM_MBUTTONDOWN:
      ::SetFocus(GetHwnd());
      return 0;
    case WM_MOUSEMOVE:
      if (model_.IsSelecting() &&
          model_.MouseMove(DeviceToDesign(LowSigned(lParam), dpi_), DeviceToDesign(HighSigned(lParam), dpi_)))
        Repaint();
      return 0;
    case WM_LBUTTONUP:
      EndDrag();
      return 0;
    case WM_CAPTURECHANGED:
      // Capture taken away (a message box, Alt+Tab): the drag ends where it stands.
      if (model_.IsSelecting()) {
        model_.LeftUp();
        ::ClipCursor(nullptr);
      }
      return 0;
    case WM_RBUTTONUP:
      OnRightUp(LowSigned(lParam), HighSigned(lParam));
      return 0;
    case WM_KEYDOWN:
      switch (wParam) {
        case VK_LEFT: OnArrow(ArrowKey::kLeft); return 0;
        case VK_RIGHT: OnArrow(ArrowKey::kRight); return 0;
        case VK_UP: OnArrow(ArrowKey::kUp); return 0;
        case VK_DOWN: OnArrow(ArrowKey::kDown); return 0;
        default: break;
      }
      break;
    case WM_SETFOCUS:
    case WM_KILLFOCUS:
      Repaint();
      return 0;
    default:
      break;
  }
  return DefaultProc(message, wParam, lParam);
}

void ScheduleCtrl::OnLeftDown(int x, int y) {
  ::SetFocus(GetHwnd());
  if (model_.LeftDown(x, y) == PressResult::kStartedDrag) {
    ::SetCapture(GetHwnd());
    RECT grid = ToDevice(model_.GridRect());
    ::MapWindowPoints(GetHwnd(), nullptr, reinterpret_cast<POINT*>(&grid), 2);
    ::ClipCursor(&grid);
  }
  Repaint();
}

void ScheduleCtrl::EndDrag() {
  if (!model_.IsSelecting()) return;
  model_.LeftUp();
  ::ClipCursor(nullptr);
  if (::GetCapture() == GetHwnd()) ::ReleaseCapture();
}

void ScheduleCtrl::OnRightUp(int x, int y) {
  const std::vector<ScheduleMenuItem> items = ScheduleMenuItems(model_.HasSelection(), legend_);
  HMENU menu = ::CreatePopupMenu();
  if (!menu) return;
  for (std::size_t i = 0; i < items.size(); ++i) {
    ::AppendMenuW(menu, MF_STRING, static_cast<UINT_PTR>(i + 1), items[i].text.c_str());
  }
  POINT at{x, y};
  ::ClientToScreen(GetHwnd(), &at);
  const int chosen = static_cast<int>(::TrackPopupMenu(menu, TPM_RETURNCMD | TPM_RIGHTBUTTON | TPM_NONOTIFY, at.x,
                                                       at.y, 0, GetHwnd(), nullptr));
  ::DestroyMenu(menu);
  if (chosen < 1 || chosen > static_cast<int>(items.size())) return;
  if (!RunScheduleMenuCommand(model_, items[static_cast<std::size_t>(chosen - 1)].command)) ::MessageBeep(MB_OK);
  Repaint();
}

void ScheduleCtrl::OnArrow(ArrowKey key) {
  const bool ctrl = ::GetKeyState(VK_CONTROL) < 0;
  const bool shift = ::GetKeyState(VK_SHIFT) < 0;
  if (!model_.Arrow(key, ctrl, shift)) {
    ::MessageBeep(MB_OK);
    return;
  }
  Repaint();
}

void ScheduleCtrl::Paint(HDC dc) {
  RECT client{};
  ::GetClientRect(GetHwnd(), &client);
  Fill(dc, client, ::GetSysColor(COLOR_BTNFACE));
  HGDIOBJ oldFont = ::SelectObject(dc, font_ ? font_ : ::GetStockObject(DEFAULT_GUI_FONT));
  ::SetBkMode(dc, TRANSPARENT);
  ::SetTextColor(dc, ::GetSysColor(COLOR_BTNTEXT));
  PaintCells(dc);
  PaintLines(dc);
  PaintLabels(dc);
  ::SelectObject(dc, oldFont);
}

void ScheduleCtrl::PaintCells(HDC dc) {
  // Only the editor's own granularity has cells to show; the others leave the grid empty.
  if (model_.Granularity() != 2) return;
  for (int row = 0; row < kScheduleRows; ++row) {
    for (int hour = 0; hour < kScheduleHours; ++hour) {
      const PixelRect design = model_.HourRect(row, hour);
      const RECT cell = ToDevice(design);
      COLORREF halves[2];
      for (int h = 0; h < 2; ++h) {
        const int half = hour * 2 + h;
        const bool selected = model_.IsHalfSelected(row, half);
        halves[h] = model_.IsHalfActive(row, half) ? ActiveColor(selected) : InactiveColor(selected);
      }
      if (halves[0] == halves[1]) {
        Fill(dc, cell, halves[0]);
        continue;
      }
      const int width = design.right - design.left;
      const int split = DesignToDevice(design.left + width / 2, dpi_);  // the left half is the smaller one
      Fill(dc, RECT{cell.left, cell.top, split, cell.bottom}, halves[0]);
      Fill(dc, RECT{split, cell.top, cell.right, cell.bottom}, halves[1]);
      if (width % 2 == 0) {
        HPEN pen = ::CreatePen(PS_SOLID, 1, kGridColor);
        HGDIOBJ old = ::SelectObject(dc, pen);
        Line(dc, split, cell.top, split, cell.bottom);
        ::SelectObject(dc, old);
        ::DeleteObject(pen);
      }
    }
  }
}

void ScheduleCtrl::PaintLines(HDC dc) {
  const RECT grid = ToDevice(model_.GridRect());
  HPEN solid = ::CreatePen(PS_SOLID, 1, kGridColor);
  HPEN dotted = ::CreatePen(PS_DOT, 1, kGridColor);
  HGDIOBJ old = ::SelectObject(dc, solid);
  for (int row = 0; row <= kScheduleRows; ++row) {
    const int y = row == kScheduleRows ? grid.bottom : ToDevice(model_.HourRect(row, 0)).top;
    Line(dc, grid.left, y, grid.right + 1, y);
  }
  // Every sixth hour solid, the others dotted, so the day's quarters can be told at a glance.
  for (int hour = 0; hour <= kScheduleHours; ++hour) {
    const int x = DesignToDevice(model_.GridRect().left + hour * model_.HourWidth(), dpi_);
    ::SelectObject(dc, hour % 6 == 0 ? solid : dotted);
    Line(dc, x, grid.top, x, grid.bottom);
  }
  ::SelectObject(dc, old);
  ::DeleteObject(solid);
  ::DeleteObject(dotted);
}

void ScheduleCtrl::PaintLabels(HDC dc) {
  const RECT grid = ToDevice(model_.GridRect());
  for (int row = 0; row < kScheduleRows; ++row) {
    const RECT cell = ToDevice(model_.HourRect(row, 0));
    RECT label{DesignToDevice(kGridLabelGap, dpi_), cell.top, grid.left, cell.bottom};
    const std::wstring text = GetDayLabel(row);
    ::DrawTextW(dc, text.c_str(), static_cast<int>(text.size()), &label, DT_SINGLELINE | DT_VCENTER | DT_CENTER);
  }
  // The hour scale: every third hour, centred over its line.
  for (int hour = 0; hour <= kScheduleHours; hour += 3) {
    const std::wstring text = std::to_wstring(hour);
    const int x = DesignToDevice(model_.GridRect().left + hour * model_.HourWidth(), dpi_);
    RECT at{x - Scaled(kHourLabelHalfWidth), Scaled(kHourLabelMargin), x + Scaled(kHourLabelHalfWidth),
            grid.top - Scaled(kHourLabelMargin)};
    ::DrawTextW(dc, text.c_str(), static_cast<int>(text.size()), &at, DT_SINGLELINE | DT_BOTTOM | DT_CENTER);
  }
  // Below the grid: "Legend:", a swatch and the name of each state; under it the selection.
  int y = grid.bottom + Scaled(kLegendGap);
  int x = grid.left;
  auto text = [&](const std::wstring& s) {
    SIZE size{};
    ::GetTextExtentPoint32W(dc, s.c_str(), static_cast<int>(s.size()), &size);
    ::TextOutW(dc, x, y, s.c_str(), static_cast<int>(s.size()));
    x += size.cx + Scaled(kTextGap);
  };
  auto swatch = [&](COLORREF color) {
    // The swatch stands on the text's middle line, whatever the font's height.
    TEXTMETRICW metrics{};
    ::GetTextMetricsW(dc, &metrics);
    const int size = Scaled(kSwatchSize);
    const int top = y + std::max(Scaled(kSwatchTop), static_cast<int>(metrics.tmHeight - size) / 2);
    RECT box{x, top, x + size, top + size};
    Fill(dc, box, color);
    ::FrameRect(dc, &box, static_cast<HBRUSH>(::GetStockObject(GRAY_BRUSH)));
    x += size + Scaled(kSwatchGap);
  };
  text(L"Legend:");
  swatch(ActiveColor(false));
  text(legend_.active);
  swatch(InactiveColor(false));
  text(legend_.inactive);
  const std::wstring selection = DescribeSelection(model_, dayForm_, timeStyle_);
  if (!selection.empty()) {
    TEXTMETRICW metrics{};
    ::GetTextMetricsW(dc, &metrics);
    x = grid.left;
    y += metrics.tmHeight + Scaled(kHourLabelMargin);
    text(selection);
  }
}

}  // namespace tv
