// CSDlg: the dialog base for Windows.
#include "ui/win32/dialog.h"

#include "ui/win32/dpi.h"

#include <cwchar>

namespace tv {

CSDlg::~CSDlg() {
  // The base would only let a subclassed window go; a dialog belongs to its object.
  if (HWND hwnd = GetHwnd()) ::DestroyWindow(hwnd);
}

BOOL CSDlg::Create(HINSTANCE module, int templateId, HWND parent) {
  if (GetHwnd()) {
    ::SetLastError(ERROR_ALREADY_EXISTS);
    return FALSE;
  }
  ended_ = false;
  haveResult_ = false;
  result_ = 0;
  HWND hwnd = ::CreateDialogParamW(module, MAKEINTRESOURCEW(templateId), parent, &CSDlg::StaticDlgProc,
                                   reinterpret_cast<LPARAM>(this));
  if (!hwnd) {
    if (::GetLastError() == ERROR_SUCCESS) ::SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
    return FALSE;
  }
  return TRUE;
}

int CSDlg::RunModeless(HACCEL accelerators, int fallback) {
  MSG msg;
  while (!ended_ && GetHwnd()) {
    const BOOL got = ::GetMessageW(&msg, nullptr, 0, 0);
    if (got == 0) {
      ::PostQuitMessage(static_cast<int>(msg.wParam));
      break;
    }
    if (got < 0) break;
    HWND hwnd = GetHwnd();
    if (hwnd && (msg.hwnd == hwnd || ::IsChild(hwnd, msg.hwnd))) {
      if (accelerators && ::TranslateAcceleratorW(hwnd, accelerators, &msg)) continue;
      if (::IsDialogMessageW(hwnd, &msg)) continue;
    }
    ::TranslateMessage(&msg);
    ::DispatchMessageW(&msg);
  }
  return haveResult_ ? result_ : fallback;
}

int CSDlg::DoModal(HINSTANCE resources, int templateId, HWND owner) {
  if (owner && !::IsWindow(owner)) owner = nullptr;
  if (!Create(resources, templateId, owner)) return -1;
  // Only an owner that was enabled is enabled again: a caller that is itself disabled (a dialog
  // over a dialog that is being torn down) stays as it was.
  if (owner && ::IsWindowEnabled(owner)) {
    ::EnableWindow(owner, FALSE);
    modalOwner_ = owner;
  }
  if (HWND hwnd = GetHwnd()) {
    if (!::IsWindowVisible(hwnd)) ::ShowWindow(hwnd, SW_SHOW);
    ::SetForegroundWindow(hwnd);
  }
  const int result = RunModeless(nullptr, IDCANCEL);
  ReleaseOwner();
  if (owner && ::IsWindow(owner)) {
    ::SetActiveWindow(owner);
    ::SetForegroundWindow(owner);
  }
  return result;
}

void CSDlg::ReleaseOwner() {
  if (!modalOwner_) return;
  if (::IsWindow(modalOwner_)) ::EnableWindow(modalOwner_, TRUE);
  modalOwner_ = nullptr;
}

void CSDlg::End(int result) {
  if (!haveResult_) {
    haveResult_ = true;
    result_ = result;
  }
  ended_ = true;
  ReleaseOwner();
  if (HWND hwnd = GetHwnd()) ::DestroyWindow(hwnd);
}

BOOL CSDlg::IsKindOf(const wchar_t* className) const {
  return (className && std::wcscmp(className, L"CSDlg") == 0) || CSWnd::IsKindOf(className);
}

CSDlg* CSDlg::FromDialog(HWND hwnd) {
  return hwnd ? reinterpret_cast<CSDlg*>(::GetWindowLongPtrW(hwnd, GWLP_USERDATA)) : nullptr;
}

void CSDlg::OnFinalMessage() { ended_ = true; }

INT_PTR CALLBACK CSDlg::StaticDlgProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  CSDlg* self = nullptr;
  if (message == WM_INITDIALOG) {
    self = reinterpret_cast<CSDlg*>(lParam);
    ::SetWindowLongPtrW(hwnd, GWLP_USERDATA, lParam);
    // Subclassing lets derived classes see every message through OnWndMessage and makes the
    // object findable by CSWnd::FromHandle like any other window of the product.
    if (self && !self->Subclass(hwnd)) self = nullptr;
  } else {
    self = FromDialog(hwnd);
  }
  if (!self || self->GetHwnd() != hwnd) return FALSE;
  try {
    return self->DlgProc(message, wParam, lParam);
  } catch (...) {
    // Nothing may unwind through the dialog manager; the message counts as not handled.
    return FALSE;
  }
}

LRESULT CSDlg::OnWndMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  if (message != WM_DPICHANGED) return CSWnd::OnWndMessage(message, wParam, lParam);
  // The dialog manager scales a per-monitor (v2) dialog's controls and font itself; then the
  // window takes the suggested size (older systems leave that to the program) and the dialog
  // remakes what it made in pixels.
  const LRESULT result = CSWnd::OnWndMessage(message, wParam, lParam);
  ApplySuggestedRect(GetHwnd(), lParam);
  OnDpiChanged(HIWORD(wParam));
  return result;
}

INT_PTR CSDlg::DlgProc(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG:
      return OnInit();
    case WM_COMMAND:
      return OnCommand(LOWORD(wParam), HIWORD(wParam), reinterpret_cast<HWND>(lParam));
    case WM_NOTIFY: {
      auto* header = reinterpret_cast<NMHDR*>(lParam);
      LRESULT answer = 0;
      if (!header || !OnNotify(static_cast<int>(header->idFrom), header, answer)) return FALSE;
      ::SetWindowLongPtrW(GetHwnd(), DWLP_MSGRESULT, answer);
      return TRUE;
    }
    case WM_NCDESTROY:
      ::SetWindowLongPtrW(GetHwnd(), GWLP_USERDATA, 0);
      return FALSE;
    default: {
      INT_PTR answer = 0;
      return OnDlgMessage(message, wParam, lParam, answer) ? answer : FALSE;
    }
  }
}

}  // namespace tv
