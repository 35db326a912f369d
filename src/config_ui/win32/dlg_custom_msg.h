// DlgCustomMsg: the editor of a warning text (the one shown before the forced log-off, or the
// one for a locked screen). A read-only editor shows the text, which can be selected and copied,
// but cannot store it.
#pragma once

// First, so that the window wrapper's declarations see the system's own integer types.
#include "ui/win32/dialog.h"

#include <string>

#include "config_ui/custom_message.h"

namespace tv {

class DlgCustomMsg : public CSDlg {
 public:
  DlgCustomMsg(std::wstring text, bool readOnly);

  // Shows template 103 of `resources` modally over `owner`: 1 for OK, 2 for Cancel (or -1 when
  // the dialog could not be made).
  int Run(HINSTANCE resources, HWND owner);

  // After OK, what the field held (at most kCustomMessageChars - 1 characters, not trimmed);
  // otherwise the text the editor was opened on.
  const std::wstring& Text() const { return editor_.Text(); }

  BOOL IsKindOf(const wchar_t* className) const override;

 protected:
  BOOL OnInit() override;
  BOOL OnCommand(int id, int code, HWND control) override;

 private:
  CustomMessageEditor editor_;
};

}  // namespace tv
