// DlgWarningDataLoss: the warning that forced log-offs lose unsaved work, which must be agreed
// to before the product is first enabled on a computer.
#pragma once

// First, so that the window wrapper's declarations see the system's own integer types.
#include "ui/win32/dialog.h"

#include "config_ui/custom_message.h"

namespace tv {

class DlgWarningDataLoss : public CSDlg {
 public:
  DlgWarningDataLoss() = default;

  // Shows template 104 of `resources` modally over `owner`, the agreement box unticked: 1 for OK
  // (only possible while the box is ticked), 2 for Cancel (or -1 when the dialog could not be
  // made).
  int Run(HINSTANCE resources, HWND owner);

  BOOL IsKindOf(const wchar_t* className) const override;

 protected:
  BOOL OnInit() override;
  BOOL OnCommand(int id, int code, HWND control) override;

 private:
  void ShowAgreement();

  DataLossWarning model_;
};

}  // namespace tv
