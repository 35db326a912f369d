// CSWnd and CSCtrl: the window wrapper for Windows.
#include "ui/win32/window.h"

#include <cwchar>

namespace tv {
namespace {

// The owning object is kept in a window property rather than GWLP_USERDATA, so that controls
// which use their own user data can be subclassed too.
constexpr const wchar_t* kOwnerProp = L"TarnvaleCSWnd";

// The object whose Create is running on this thread: messages sent before CreateWindowEx returns
// (WM_GETMINMAXINFO, WM_NCCREATE, WM_CREATE) find their owner through it.
thread_local CSWnd* t_creating = nullptr;

}  // namespace

CSWnd::~CSWnd() {
  if (!hwnd_) return;
  if (original_) {
    Detach();
  } else {
    ::RemovePropW(hwnd_, kOwnerProp);
    HWND hwnd = hwnd_;
    hwnd_ = nullptr;
    ::DestroyWindow(hwnd);
  }
}

BOOL CSWnd::RegisterWndClass(const wchar_t* className, HINSTANCE instance, UINT style, HCURSOR cursor,
                             HBRUSH background, HICON icon) {
  WNDCLASSEXW wc = {};
  wc.cbSize = sizeof(wc);
  wc.style = style;
  wc.lpfnWndProc = &CSWnd::StaticWndProc;
  wc.hInstance = instance;
  wc.hCursor = cursor ? cursor : ::LoadCursorW(nullptr, IDC_ARROW);
  wc.hbrBackground = background;
  wc.hIcon = icon;
  wc.lpszClassName = className;
  if (::RegisterClassExW(&wc)) return TRUE;
  if (::GetLastError() == ERROR_CLASS_ALREADY_EXISTS) {
    ::SetLastError(ERROR_SUCCESS);
    return TRUE;
  }
  return FALSE;
}

BOOL CSWnd::Create(const wchar_t* className, const wchar_t* title, ::DWORD style, ::DWORD exStyle, int x, int y,
                   int width, int height, HWND parent, HMENU menuOrId, HINSTANCE instance) {
  if (hwnd_) {
    ::SetLastError(ERROR_ALREADY_EXISTS);
    return FALSE;
  }
  CSWnd* outer = t_creating;
  t_creating = this;
  HWND hwnd = ::CreateWindowExW(exStyle, className, title, style, x, y, width, height, parent, menuOrId, instance,
                                this);
  t_creating = outer;
  if (!hwnd) {
    hwnd_ = nullptr;
    return FALSE;
  }
  // A class not registered through RegisterWndClass never met the trampoline: take it over.
  if (!hwnd_) return Subclass(hwnd);
  return TRUE;
}

BOOL CSWnd::Subclass(HWND hwnd) {
  if (!hwnd || ::GetPropW(hwnd, kOwnerProp)) {
    ::SetLastError(hwnd ? ERROR_ALREADY_EXISTS : ERROR_INVALID_WINDOW_HANDLE);
    return FALSE;
  }
  Bind(hwnd);
  ::SetLastError(ERROR_SUCCESS);
  original_ = reinterpret_cast<WNDPROC>(
      ::SetWindowLongPtrW(hwnd, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&CSWnd::StaticWndProc)));
  if (!original_ && ::GetLastError() != ERROR_SUCCESS) {
    ::RemovePropW(hwnd, kOwnerProp);
    hwnd_ = nullptr;
    return FALSE;
  }
  return TRUE;
}

void CSWnd::Detach() {
  if (!hwnd_) return;
  if (original_) ::SetWindowLongPtrW(hwnd_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(original_));
  ::RemovePropW(hwnd_, kOwnerProp);
  hwnd_ = nullptr;
  original_ = nullptr;
}

BOOL CSWnd::Destroy() {
  if (!hwnd_) return TRUE;
  return ::DestroyWindow(hwnd_);
}

CSWnd* CSWnd::FromHandle(HWND hwnd) {
  return hwnd ? static_cast<CSWnd*>(::GetPropW(hwnd, kOwnerProp)) : nullptr;
}

BOOL CSWnd::IsKindOf(const wchar_t* className) const {
  return className && std::wcscmp(className, L"CSWnd") == 0;
}

LRESULT CSWnd::OnWndMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  return DefaultProc(message, wParam, lParam);
}

LRESULT CSWnd::DefaultProc(UINT message, WPARAM wParam, LPARAM lParam) {
  if (original_) return ::CallWindowProcW(original_, hwnd_, message, wParam, lParam);
  return ::DefWindowProcW(hwnd_, message, wParam, lParam);
}

void CSWnd::Bind(HWND hwnd) {
  hwnd_ = hwnd;
  ::SetPropW(hwnd, kOwnerProp, this);
}

LRESULT CALLBACK CSWnd::StaticWndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  CSWnd* self = FromHandle(hwnd);
  if (!self && t_creating && !t_creating->hwnd_) {
    self = t_creating;
    self->Bind(hwnd);
  }
  if (!self) return ::DefWindowProcW(hwnd, message, wParam, lParam);
  LRESULT result = 0;
  try {
    result = self->OnWndMessage(message, wParam, lParam);
  } catch (...) {
    // Nothing may unwind through the system's dispatcher; the message counts as not handled.
    result = self->hwnd_ ? self->DefaultProc(message, wParam, lParam) : 0;
  }
  if (message == WM_NCDESTROY && self->hwnd_ == hwnd) {
    WNDPROC original = self->original_;
    ::RemovePropW(hwnd, kOwnerProp);
    if (original) ::SetWindowLongPtrW(hwnd, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(original));
    self->hwnd_ = nullptr;
    self->original_ = nullptr;
    self->OnFinalMessage();
  }
  return result;
}

int CSCtrl::GetId() const {
  return GetHwnd() ? static_cast<int>(::GetWindowLongPtrW(GetHwnd(), GWLP_ID)) : 0;
}

BOOL CSCtrl::IsKindOf(const wchar_t* className) const {
  return (className && std::wcscmp(className, L"CSCtrl") == 0) || CSWnd::IsKindOf(className);
}

}  // namespace tv
