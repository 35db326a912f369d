// DlgAccountChooser: the product's own account chooser, for systems without the directory
// object picker: this computer's users and groups in a list, several selectable, and a field
// for a typed "name" or "domain\name".
#pragma once

// First, so that the window wrapper's declarations see the system's own integer types.
#include "ui/win32/dialog.h"

#include <vector>

#include "config_ui/account_chooser.h"

namespace tv {

// A chooser over this computer's local users and local groups. The built-in groups (such as
// Administrators) are always among the groups, even where the system does not enumerate them.
AccountChooser LocalAccountChooser();

class DlgAccountChooser : public CSDlg {
 public:
  explicit DlgAccountChooser(AccountChooser chooser);

  // Shows template 106 of `resources` modally over `owner`: 1 when accounts were chosen, 2 for
  // Cancel (or -1 when the dialog could not be made). OK with a choice that names no account
  // says why and keeps the dialog open.
  int Run(HINSTANCE resources, HWND owner);

  // After OK, the chosen accounts: the list's rows in list order, then the typed one.
  const std::vector<PickedObject>& Picked() const { return picked_; }

  BOOL IsKindOf(const wchar_t* className) const override;

 protected:
  BOOL OnInit() override;
  BOOL OnCommand(int id, int code, HWND control) override;

 private:
  void OnOk();

  AccountChooser chooser_;
  std::vector<PickedObject> picked_;
};

}  // namespace tv
