// CSStaticHTML: the mark-up static control for Windows.
#include "ui/win32/static_html.h"

#include <algorithm>
#include <cwchar>
#include <new>

#include "foundation/markup_tokenizer.h"
#include "foundation/string_table.h"
#include "ui/win32/dpi.h"

namespace tv {
namespace {

// The object whose Create is running on this thread: the class procedure gives it the new window
// instead of making an object of its own.
thread_local CSStaticHTML* t_creatingHtml = nullptr;

HCURSOR HandCursor() {
  static const HCURSOR hand = ::LoadCursorW(nullptr, IDC_HAND);  // loaded once and kept
  return hand;
}

bool IsActivationKey(WPARAM key) { return key == VK_SPACE || key == VK_RETURN; }

}  // namespace

CSStaticHTML::CSStaticHTML() : textColor_(::GetSysColor(COLOR_BTNTEXT)) {}

CSStaticHTML::~CSStaticHTML() {
  if (ownsWindow_ && GetHwnd()) ::DestroyWindow(GetHwnd());
}

BOOL CSStaticHTML::Register(HINSTANCE instance) {
  WNDCLASSEXW wc = {};
  wc.cbSize = sizeof(wc);
  wc.style = CS_DBLCLKS;
  wc.lpfnWndProc = &CSStaticHTML::ClassProc;
  wc.hInstance = instance;
  wc.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
  wc.lpszClassName = kClassName;
  if (::RegisterClassExW(&wc)) return TRUE;
  if (::GetLastError() == ERROR_CLASS_ALREADY_EXISTS) {
    ::SetLastError(ERROR_SUCCESS);
    return TRUE;
  }
  return FALSE;
}

LRESULT CALLBACK CSStaticHTML::ClassProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  // Once an object owns the window this procedure is only its "original" one.
  if (FromHandle(hwnd) || message != WM_NCCREATE) return ::DefWindowProcW(hwnd, message, wParam, lParam);
  CSStaticHTML* self = t_creatingHtml;
  t_creatingHtml = nullptr;
  if (!self) {
    // Made by a dialog template: the control owns its object.
    self = new (std::nothrow) CSStaticHTML();
    if (!self) return FALSE;
    self->autoDelete_ = true;
  }
  if (!self->Subclass(hwnd)) {
    if (self->autoDelete_) delete self;
    return FALSE;
  }
  WNDPROC proc = reinterpret_cast<WNDPROC>(::GetWindowLongPtrW(hwnd, GWLP_WNDPROC));
  return ::CallWindowProcW(proc, hwnd, message, wParam, lParam);
}

CSStaticHTML* CSStaticHTML::FromControl(HWND control) {
  CSWnd* wnd = FromHandle(control);
  return wnd && wnd->IsKindOf(L"CSStaticHTML") ? static_cast<CSStaticHTML*>(wnd) : nullptr;
}

BOOL CSStaticHTML::Create(HWND parent, int id, const RECT& rect, const wchar_t* text, ::DWORD style,
                          HINSTANCE instance) {
  if (!instance) instance = ::GetModuleHandleW(nullptr);
  if (!Register(instance)) return FALSE;
  CSStaticHTML* outer = t_creatingHtml;
  t_creatingHtml = this;
  const BOOL ok = CSWnd::Create(kClassName, text ? text : L"", style | WS_CHILD | WS_VISIBLE, 0, rect.left, rect.top,
                                rect.right - rect.left, rect.bottom - rect.top, parent,
                                reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), instance);
  t_creatingHtml = outer;
  if (ok) {
    ownsWindow_ = true;
    tools_.SetDpi(WindowDpi(GetHwnd()));
    Relayout();
  }
  return ok;
}

BOOL CSStaticHTML::Attach(HWND control) {
  if (!control || !::IsWindow(control)) {
    ::SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return FALSE;
  }
  const int length = ::GetWindowTextLengthW(control);
  std::wstring text(static_cast<std::size_t>(length > 0 ? length : 0) + 1, L'\0');
  const int got = ::GetWindowTextW(control, text.data(), length + 1);
  text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  // A dialog's static has the dialog's font, which the template's units are measured in: the text
  // then fits the control at every density the dialog is scaled for.
  HFONT font = reinterpret_cast<HFONT>(::SendMessageW(control, WM_GETFONT, 0, 0));
  if (!Subclass(control)) return FALSE;
  tools_.SetDpi(WindowDpi(control));
  LOGFONTW lf = {};
  if (font && ::GetObjectW(font, sizeof(lf), &lf)) tools_.SetCustomFont(lf);
  text_ = std::move(text);
  Relayout();
  ::InvalidateRect(control, nullptr, TRUE);
  return TRUE;
}

BOOL CSStaticHTML::SetHTMLText(const wchar_t* text) {
  text_ = text ? text : L"";
  if (GetHwnd()) {
    // The system's own copy follows, for anything that reads the window text around us.
    DefaultProc(WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text_.c_str()));
    Relayout();
    ::InvalidateRect(GetHwnd(), nullptr, TRUE);
  }
  return TRUE;
}

BOOL CSStaticHTML::SetHTMLText(UINT id, HINSTANCE module) {
  const wchar_t* resource = nullptr;
  const int length = ::LoadStringW(module ? module : GetHTMLResourceModule(), id,
                                   reinterpret_cast<LPWSTR>(&resource), 0);
  if (length > 0 && resource) return SetHTMLText(std::wstring(resource, static_cast<std::size_t>(length)).c_str());
  // The product keeps its texts in its own table rather than in resources.
  const wchar_t* own = LoadStr(static_cast<int>(id));
  if (own && *own) return SetHTMLText(own);
  ::SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
  return FALSE;
}

std::wstring CSStaticHTML::GetHTMLTextStripTags() const { return StripMarkupTags(text_.c_str(), text_.size()); }

void CSStaticHTML::SetTextColor(COLORREF color) {
  textColor_ = color;
  if (GetHwnd()) ::InvalidateRect(GetHwnd(), nullptr, TRUE);
}

void CSStaticHTML::SetLinkColor(COLORREF color) {
  tools_.SetLinkColor(color);
  if (GetHwnd()) ::InvalidateRect(GetHwnd(), nullptr, TRUE);
}

void CSStaticHTML::SetBkgColor(COLORREF color) {
  tools_.SetBkgColor(color);
  if (GetHwnd()) ::InvalidateRect(GetHwnd(), nullptr, TRUE);
}

void CSStaticHTML::SetFixedFont(BOOL fixed) {
  tools_.SetFixedFont(fixed);
  Relayout();
  if (GetHwnd()) ::InvalidateRect(GetHwnd(), nullptr, TRUE);
}

void CSStaticHTML::SetLinkCmdID(int id) {
  draw_.SetLinkCmdID(id);
  Relayout();  // the live link areas carry the ids
}

BOOL CSStaticHTML::CalcHeight(HDC dc, RECT* rect) {
  if (!rect) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  HWND owner = dc ? nullptr : GetHwnd();
  HDC use = dc ? dc : ::GetDC(owner);
  if (!use) return FALSE;
  DrawHTMLLinks scratch;  // a measurement at another width must not move the live link areas
  const BOOL ok = draw_.Draw(DrawMode::kMeasure, use, rect, text_.c_str(), text_.size(), &scratch, tools_);
  if (!dc) ::ReleaseDC(owner, use);
  return ok;
}

BOOL CSStaticHTML::MakeLink() {
  if (!GetHwnd()) {
    ::SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return FALSE;
  }
  draw_.SetLinkCmdID(GetId());
  if (!wholeLink_) {
    wholeLink_ = true;
    return SetHTMLText((L"<A>" + text_ + L"</A>").c_str());
  }
  return TRUE;
}

BOOL CSStaticHTML::MakeHtml(const wchar_t* plainText) {
  const std::wstring plain = plainText ? plainText : L"";
  const std::wstring markup = MarkupFromPlainText(plain.c_str(), plain.size());
  return SetHTMLText((wholeLink_ ? L"<A>" + markup + L"</A>" : markup).c_str());
}

BOOL CSStaticHTML::IsKindOf(const wchar_t* className) const {
  return (className && std::wcscmp(className, L"CSStaticHTML") == 0) || CSCtrl::IsKindOf(className);
}

void CSStaticHTML::Relayout() {
  HWND hwnd = GetHwnd();
  if (!hwnd) return;
  RECT client = {};
  ::GetClientRect(hwnd, &client);
  HDC dc = ::GetDC(hwnd);
  if (!dc) return;
  draw_.SetHotLink(hot_);
  draw_.Draw(DrawMode::kMeasure, dc, &client, text_.c_str(), text_.size(), &links_, tools_);
  ::ReleaseDC(hwnd, dc);
}

int CSStaticHTML::HitLink(LPARAM screenPoint) const {
  POINT pt = {static_cast<short>(LOWORD(screenPoint)), static_cast<short>(HIWORD(screenPoint))};
  ::ScreenToClient(GetHwnd(), &pt);
  return links_.FindIndex(pt.x, pt.y);
}

void CSStaticHTML::ClickAt(int x, int y) {
  const int id = links_.GetID(x, y);
  if (id != 0) PostCommand(id);
}

void CSStaticHTML::PostCommand(int id) {
  HWND parent = ::GetParent(GetHwnd());
  if (!parent) return;
  ::PostMessageW(parent, WM_COMMAND, MAKEWPARAM(static_cast<WORD>(id), 0),
                 reinterpret_cast<LPARAM>(::GetDlgItem(parent, id)));
}

LRESULT CSStaticHTML::OnWndMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  HWND hwnd = GetHwnd();
  switch (message) {
    case WM_NCCREATE: {
      const auto* cs = reinterpret_cast<const CREATESTRUCTW*>(lParam);
      // A dialog template may name a resource (0xFFFF, number) instead of a text.
      if (cs && cs->lpszName && !IS_INTRESOURCE(cs->lpszName) && cs->lpszName[0] != 0xFFFF) text_ = cs->lpszName;
      return DefaultProc(message, wParam, lParam);
    }
    case WM_CREATE: {
      // A control made by a dialog template is measured before its first paint, so clicks and
      // CalcHeight work on a hidden dialog too.
      const LRESULT result = DefaultProc(message, wParam, lParam);
      tools_.SetDpi(WindowDpi(hwnd));
      Relayout();
      return result;
    }
    case WM_SETTEXT:
      SetHTMLText(reinterpret_cast<const wchar_t*>(lParam));
      return TRUE;
    case WM_GETTEXT: {
      auto* buffer = reinterpret_cast<wchar_t*>(lParam);
      if (!buffer || wParam == 0) return 0;
      const std::size_t n = std::min<std::size_t>(text_.size(), wParam - 1);
      std::wmemcpy(buffer, text_.data(), n);
      buffer[n] = L'\0';
      return static_cast<LRESULT>(n);
    }
    case WM_GETTEXTLENGTH:
      return static_cast<LRESULT>(text_.size());
    case WM_SETFONT: {
      LOGFONTW lf = {};
      if (wParam && ::GetObjectW(reinterpret_cast<HFONT>(wParam), sizeof(lf), &lf)) tools_.SetCustomFont(lf);
      Relayout();
      if (LOWORD(lParam)) ::InvalidateRect(hwnd, nullptr, TRUE);
      return 0;
    }
    case WM_GETFONT:
      return reinterpret_cast<LRESULT>(tools_.GetFont());
    case WM_ERASEBKGND:
      return 1;  // painting covers the whole client area
    case WM_PAINT: {
      PAINTSTRUCT ps = {};
      HDC dc = ::BeginPaint(hwnd, &ps);
      if (dc) {
        draw_.SetHotLink(hot_);
        const COLORREF color = ::IsWindowEnabled(hwnd) ? textColor_ : ::GetSysColor(COLOR_GRAYTEXT);
        draw_.OnPaint(hwnd, dc, text_.c_str(), text_.size(), color, &links_, tools_);
        // A link that takes the keyboard shows where the keyboard is.
        if (wholeLink_ && ::GetFocus() == hwnd) {
          for (std::size_t i = 0; i < links_.GetCount(); ++i)
            for (const MarkupRect& r : links_.GetAt(i).GetRects()) {
              const RECT focus = {r.left, r.top, r.right, r.bottom};
              ::DrawFocusRect(dc, &focus);
            }
        }
      }
      ::EndPaint(hwnd, &ps);
      return 0;
    }
    case WM_PRINTCLIENT:
      draw_.SetHotLink(hot_);
      draw_.OnPaint(hwnd, reinterpret_cast<HDC>(wParam), text_.c_str(), text_.size(), textColor_, &links_, tools_);
      return 0;
    case WM_DPICHANGED_AFTERPARENT:
      // A font of the parent's comes again with WM_SETFONT; the system's fonts are resized here.
      tools_.SetDpi(WindowDpi(hwnd));
      Relayout();
      ::InvalidateRect(hwnd, nullptr, TRUE);
      return 0;
    case WM_SIZE:
    case WM_SETTINGCHANGE:
      if (message == WM_SETTINGCHANGE) tools_.Update();
      Relayout();
      ::InvalidateRect(hwnd, nullptr, TRUE);
      return DefaultProc(message, wParam, lParam);
    case WM_NCHITTEST: {
      const int link = HitLink(lParam);
      if (link >= 0) {
        ::SetCursor(HandCursor());
        if (!tracking_) {
          TRACKMOUSEEVENT tme = {sizeof(tme), TME_LEAVE, hwnd, 100};
          tracking_ = ::TrackMouseEvent(&tme) != 0;
        }
      }
      if (link != hot_) {
        hot_ = link;
        ::InvalidateRect(hwnd, nullptr, FALSE);
      }
      return HTCLIENT;  // a plain STATIC is transparent to the mouse; links need the clicks
    }
    case WM_SETCURSOR:
      if (hot_ >= 0) {
        ::SetCursor(HandCursor());
        return TRUE;
      }
      return DefaultProc(message, wParam, lParam);
    case WM_MOUSELEAVE:
      tracking_ = false;
      if (hot_ != -1) {
        hot_ = -1;
        ::InvalidateRect(hwnd, nullptr, FALSE);
      }
      return 0;
    case WM_LBUTTONDOWN:
    case WM_LBUTTONDBLCLK:
      ClickAt(static_cast<short>(LOWORD(lParam)), static_cast<short>(HIWORD(lParam)));
      return 0;
    case WM_GETDLGCODE: {
      const LRESULT code = DefaultProc(message, wParam, lParam);
      const auto* msg = reinterpret_cast<const MSG*>(lParam);
      const bool focusable = (::GetWindowLongPtrW(hwnd, GWL_STYLE) & WS_TABSTOP) != 0;
      if (wholeLink_ && focusable && msg && (msg->message == WM_KEYDOWN || msg->message == WM_KEYUP ||
                                             msg->message == WM_CHAR) && IsActivationKey(msg->wParam))
        return code | DLGC_WANTALLKEYS;
      return code;
    }
    case WM_KEYUP:
      if (wholeLink_ && IsActivationKey(wParam)) {
        PostCommand(GetId());
        return 0;
      }
      return DefaultProc(message, wParam, lParam);
    case WM_SETFOCUS:
    case WM_KILLFOCUS:
    case WM_ENABLE:
      ::InvalidateRect(hwnd, nullptr, FALSE);
      return DefaultProc(message, wParam, lParam);
    default:
      return DefaultProc(message, wParam, lParam);
  }
}

void CSStaticHTML::OnFinalMessage() {
  links_.Reset();
  hot_ = -1;
  tracking_ = false;
  ownsWindow_ = false;
  if (autoDelete_) delete this;
}

}  // namespace tv
