// Which of the main dialog's controls are shown and which can be used, as a function of the
// settings being edited, of whether a GPO is edited and of whether a policy manages this
// computer; and the two combo boxes' mapping between item and setting.
#pragma once

#include <cstddef>
#include <vector>

#include "platform/types.h"

namespace tv {

class MyOpts;

// The state of one control of the main dialog.
struct ControlState {
  int id = 0;
  bool enabled = true;
  bool visible = true;
};

// Every control of the main dialog with its state.
class MainEnabling {
 public:
  // Applies the rules: everything enabled; the power-action fields follow Shutdown, the CPU
  // percentage follows MonitorCPU, the stale count follows LogoffStale; when policy-managed,
  // only the target menu, Apply, OK, Help, About, Export and the two message links stay usable
  // (the links then only show the texts). The tri-state combo stands in for the Enable check
  // box in GPO mode, the check box for the combo otherwise.
  MainEnabling(const MyOpts& edited, bool gpoMode, bool policyManaged);

  // False for a control the dialog does not have.
  bool IsEnabled(int id) const;
  bool IsVisible(int id) const;
  const std::vector<ControlState>& Controls() const { return controls_; }

 private:
  ControlState* Find(int id);
  const ControlState* Find(int id) const;

  std::vector<ControlState> controls_;
};

// The tri-state combo's item for the edited settings: 0 "Not Configured", 1 "Enabled",
// 2 "Disabled"; a state outside these shows as "Not Configured".
int TriStateItem(const MyOpts& edited);
// Reads the tri-state combo back: the item becomes the policy state and Enable is on only for
// "Enabled". No item selected (-1) or one out of range reads as "Not Configured".
void ReadTriState(MyOpts& edited, int item);

// The shutdown-action combo's item (0..2) whose number (1 "Sleep", 2 "Hibernate", 3 "Shutdown")
// equals `action`; -1 when none does, and the combo is left without a selection.
int ShutdownActionItem(DWORD action);
// The action of combo item `item`; `current` when no item is selected or it is out of range.
DWORD ShutdownActionFromItem(int item, DWORD current);

}  // namespace tv
