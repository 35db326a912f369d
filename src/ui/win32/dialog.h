// The product's dialog base: a CSWnd made from a dialog template, which keeps its object from
// WM_INITDIALOG on and hands initialisation, commands and notifications to virtual members.
// Dialogs run modeless with their own loop, so a caller can apply an accelerator table first.
#pragma once

#include "ui/win32/window.h"

namespace tv {

class CSDlg : public CSWnd {
 public:
  CSDlg() = default;
  // Destroys the dialog if it is still open.
  ~CSDlg() override;

  // Creates the dialog from template `templateId` of `module`, modeless, shown only if the
  // template says WS_VISIBLE. FALSE with the system's error code when the template is missing or
  // the dialog could not be made.
  BOOL Create(HINSTANCE module, int templateId, HWND parent);

  // Runs a message loop until End is called or the window goes; answers the result given to End
  // (or `fallback` when the window went without one). `accelerators` (may be null) is applied to
  // the dialog's messages before the ordinary dialog keyboard handling. A WM_QUIT met on the way
  // is put back for the caller's own loop.
  int RunModeless(HACCEL accelerators, int fallback);

  // Runs the dialog modally over `owner` (may be null): the owner is disabled while the dialog
  // is open, then enabled and activated again. Answers the result given to End, 2 when the
  // window went without one, or -1 with the system's error code when the dialog could not be
  // made (the owner is then left as it was).
  int DoModal(HINSTANCE resources, int templateId, HWND owner);

  // Ends the loop with `result` and destroys the window.
  void End(int result);

  // True once End was called or the window was destroyed.
  bool IsEnded() const { return ended_; }

  // The dialog's control with `id`, or null.
  HWND Item(int id) const { return GetHwnd() ? ::GetDlgItem(GetHwnd(), id) : nullptr; }

  BOOL IsKindOf(const wchar_t* className) const override;

  // The object of a dialog window made by CSDlg, or null.
  static CSDlg* FromDialog(HWND hwnd);

 protected:
  // WM_INITDIALOG. Answer TRUE to let the system set the focus, FALSE when OnInit set it.
  virtual BOOL OnInit() { return TRUE; }
  // WM_COMMAND from control `id` with notification `code`. TRUE when handled.
  virtual BOOL OnCommand(int id, int code, HWND control) { return FALSE; }
  // WM_NOTIFY; TRUE when handled, with the answer in `result`.
  virtual BOOL OnNotify(int id, NMHDR* header, LRESULT& result) { return FALSE; }
  // Any other message reaching the dialog procedure; TRUE when handled (then `result` is the
  // message's answer).
  virtual BOOL OnDlgMessage(UINT message, WPARAM wParam, LPARAM lParam, INT_PTR& result) { return FALSE; }
  // The dialog moved to a monitor of density `dpi` (WM_DPICHANGED) and has taken the size the
  // system suggested: remake icons, fonts and positions that were made in pixels.
  virtual void OnDpiChanged(int dpi) {}
  LRESULT OnWndMessage(UINT message, WPARAM wParam, LPARAM lParam) override;

 private:
  static INT_PTR CALLBACK StaticDlgProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
  INT_PTR DlgProc(UINT message, WPARAM wParam, LPARAM lParam);
  void OnFinalMessage() override;
  // Gives a modal dialog's owner its input back; called before the dialog goes, so that the
  // system hands the activation to the owner rather than to another program's window.
  void ReleaseOwner();

  HWND modalOwner_ = nullptr;  // disabled by DoModal, until ReleaseOwner
  bool ended_ = false;
  bool haveResult_ = false;
  int result_ = 0;
};

}  // namespace tv
