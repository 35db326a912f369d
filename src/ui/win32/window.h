// The product's own window wrapper: an object that owns one window (created by it or attached to
// an existing control by subclassing) and receives its messages through a virtual handler. Every
// window, control and dialog of the product derives from it, so message handling stays in member
// functions and no exception ever reaches the system's window procedure.
#pragma once

#include "platform/win32/windows_include.h"

namespace tv {

// Win32 types are spelled with their global names: inside namespace tv the portable DWORD (an
// unsigned int) would shadow the system one (an unsigned long) and change the mangled names.
class CSWnd {
 public:
  CSWnd() = default;
  // Destroys the window if it is still there (an attached control is only let go).
  virtual ~CSWnd();

  CSWnd(const CSWnd&) = delete;
  CSWnd& operator=(const CSWnd&) = delete;

  HWND GetHwnd() const { return hwnd_; }

  // Registers a window class whose procedure dispatches to the owning object. Registering a name
  // that is already registered in this process counts as success.
  static BOOL RegisterWndClass(const wchar_t* className, HINSTANCE instance, UINT style = 0, HCURSOR cursor = nullptr,
                               HBRUSH background = nullptr, HICON icon = nullptr);

  // Creates the window; its messages, from the very first, reach OnWndMessage. FALSE with the
  // system's error code if the window could not be made or the object already holds one.
  BOOL Create(const wchar_t* className, const wchar_t* title, ::DWORD style, ::DWORD exStyle, int x, int y, int width,
              int height, HWND parent, HMENU menuOrId, HINSTANCE instance);

  // Takes over an existing window (a dialog's control): its messages reach OnWndMessage first and
  // DefaultProc passes them on to the procedure it had. FALSE if it is already taken over.
  BOOL Subclass(HWND hwnd);

  // Gives the window back to its own procedure without destroying it.
  void Detach();

  // Destroys the window. TRUE also when there was none.
  BOOL Destroy();

  // The object that owns `hwnd`, or null for a window of no CSWnd.
  static CSWnd* FromHandle(HWND hwnd);

  // Run-time kind check by class name; each class answers for itself and its bases.
  virtual BOOL IsKindOf(const wchar_t* className) const;

 protected:
  // Handles one message; the default passes it to DefaultProc.
  virtual LRESULT OnWndMessage(UINT message, WPARAM wParam, LPARAM lParam);
  // The handling the window would have without this object.
  LRESULT DefaultProc(UINT message, WPARAM wParam, LPARAM lParam);
  // Called after the last message (WM_NCDESTROY), once the object no longer owns a window.
  virtual void OnFinalMessage() {}

 private:
  static LRESULT CALLBACK StaticWndProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
  void Bind(HWND hwnd);

  HWND hwnd_ = nullptr;
  WNDPROC original_ = nullptr;  // set for a subclassed window only
};

// A child control of a dialog or window.
class CSCtrl : public CSWnd {
 public:
  // The control's id (its GWLP_ID), 0 without a window.
  int GetId() const;
  BOOL IsKindOf(const wchar_t* className) const override;
};

}  // namespace tv
