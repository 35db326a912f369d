// The Activity dialog's model: the sources other than input that keep a session alive (sound,
// a presentation, listed programs) and the kiosk rule that starts the idle clock at the first
// input. It decides what the dialog lets the administrator do and what an edit of the program
// list does, so that the dialog itself only moves values.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "config_ui/main_enabling.h"
#include "platform/types.h"
#include "settings/policy.h"

namespace tv {

class MyOpts;

class ActivityEditor {
 public:
  // Starts from the four settings of `edited`. `policyManaged`: this computer's settings come
  // from a policy, and the dialog only shows them, as the main dialog does.
  ActivityEditor(const MyOpts& edited, bool policyManaged);

  bool audio = false;
  bool presentation = false;
  bool idleFromFirstInput = false;
  const StrList& Programs() const { return programs_; }

  // Every control of the dialog with its state: under a policy only Cancel stays usable; else
  // everything, except "-" while the list is empty.
  std::vector<ControlState> Controls() const;
  bool IsEnabled(int id) const;

  // Adds the name typed into the field, blanks around it cut. Answers "" when it was added;
  // otherwise the message that says why not (a name the service could not use, one the list
  // already holds, or a list under a policy), and the list is unchanged.
  std::wstring AddProgram(std::wstring_view typed);

  // Removes item `index`; answers the item to select afterwards as the account lists do (-1
  // for an empty list or an index outside it, which changes nothing). Nothing under a policy.
  int RemoveProgram(int index);

  // Writes the four settings into `edited`. 0 with kAccessDenied under a policy (nothing
  // written): the settings come from the policy and cannot be stored here.
  BOOL Store(MyOpts& edited) const;

 private:
  bool policyManaged_;
  StrList programs_;
};

}  // namespace tv
