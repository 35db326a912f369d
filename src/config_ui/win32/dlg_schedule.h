// DlgSchedule: the schedule editor, a week grid of half hours that the administrator paints
// active or inactive, over the settings' schedule text.
#pragma once

// First, so that the window wrapper's declarations see the system's own integer types.
#include "ui/win32/dialog.h"

#include <string>

#include "config_ui/win32/schedule_ctrl.h"

namespace tv {

class DlgSchedule : public CSDlg {
 public:
  // Opens on `schedule` (the settings' text; "" and "*" mean always active).
  explicit DlgSchedule(std::wstring schedule);

  // Shows template 105 of `resources` modally over `owner`: 1 for OK, 2 for Cancel (or -1 when
  // the dialog could not be made).
  int Run(HINSTANCE resources, HWND owner);

  // After OK, the text to store: empty when every half hour of the week is active. Before OK,
  // the text the editor was opened on.
  const std::wstring& ScheduleText() const { return schedule_; }

  BOOL IsKindOf(const wchar_t* className) const override;

 protected:
  BOOL OnInit() override;
  BOOL OnCommand(int id, int code, HWND control) override;

 private:
  std::wstring schedule_;
  ScheduleCtrl grid_;
};

}  // namespace tv
