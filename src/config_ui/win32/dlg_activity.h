// DlgActivity: the switches and the program list of what keeps a session alive besides input,
// opened from the main dialog over the settings it edits. The model decides; this moves values.
#pragma once

// First, so that the window wrapper's declarations see the system's own integer types.
#include "ui/win32/dialog.h"

#include "config_ui/activity_editor.h"

namespace tv {

class MyOpts;

class DlgActivity : public CSDlg {
 public:
  DlgActivity(const MyOpts& edited, bool policyManaged);

  // Shows template 107 of `resources` modally over `owner`: 1 for OK, 2 for Cancel (or -1 when
  // the dialog could not be made).
  int Run(HINSTANCE resources, HWND owner);

  // What the dialog holds; after OK, what the administrator chose.
  const ActivityEditor& Editor() const { return editor_; }

  BOOL IsKindOf(const wchar_t* className) const override;

 protected:
  BOOL OnInit() override;
  BOOL OnCommand(int id, int code, HWND control) override;

 private:
  void ShowPrograms(int select);
  void ApplyEnabling();
  void AddTyped();
  void RemoveSelected();
  void ReadSwitches();

  ActivityEditor editor_;
};

}  // namespace tv
