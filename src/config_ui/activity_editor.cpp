// The Activity dialog's model.
#include "config_ui/activity_editor.h"

#include <cwctype>

#include "config_ui/account_list.h"
#include "config_ui/activity_ids.h"
#include "platform/last_error.h"
#include "settings/my_opts.h"
#include "settings/program_names.h"

namespace tv {
namespace {

constexpr int kAllControls[] = {
    IDC_ACTIVITY_AUDIO,        IDC_ACTIVITY_PRESENTATION, IDC_ACTIVITY_FIRST_INPUT, IDC_ACTIVITY_PROGRAMS,
    IDC_ACTIVITY_PROGRAM_NAME, IDC_ACTIVITY_ADD,          IDC_ACTIVITY_REMOVE,      1 /* OK */,
    2 /* Cancel */,
};

constexpr wchar_t kBlanks[] = L" \t\r\n";

}  // namespace

ActivityEditor::ActivityEditor(const MyOpts& edited, bool policyManaged)
    : audio(edited.KeepAliveAudio != 0),
      presentation(edited.KeepAlivePresentation != 0),
      idleFromFirstInput(edited.IdleFromFirstInput != 0),
      policyManaged_(policyManaged),
      programs_(edited.KeepAliveProcesses) {}

std::vector<ControlState> ActivityEditor::Controls() const {
  std::vector<ControlState> controls;
  for (int id : kAllControls) {
    bool enabled = !policyManaged_ || id == 2;
    if (id == IDC_ACTIVITY_REMOVE && programs_.empty()) enabled = false;
    controls.push_back(ControlState{id, enabled, true});
  }
  return controls;
}

bool ActivityEditor::IsEnabled(int id) const {
  for (const ControlState& c : Controls()) {
    if (c.id == id) return c.enabled;
  }
  return false;
}

std::wstring ActivityEditor::AddProgram(std::wstring_view typed) {
  if (policyManaged_) return L"The settings of this computer come from a policy; the list cannot be changed here.";
  const std::size_t first = typed.find_first_not_of(kBlanks);
  const std::wstring_view name =
      first == std::wstring_view::npos ? std::wstring_view() : typed.substr(first, typed.find_last_not_of(kBlanks) - first + 1);
  const std::wstring problem = ProgramNameProblem(name);
  if (!problem.empty()) {
    std::wstring text = problem;
    text[0] = static_cast<wchar_t>(std::towupper(text[0]));
    return text + L".";
  }
  // The service compares image names without regard to case, so "Render.exe" beside
  // "render.exe" would only be the same program twice.
  if (!AddAccountEntry(programs_, std::wstring(name))) return L"\"" + std::wstring(name) + L"\" is already in the list.";
  return {};
}

int ActivityEditor::RemoveProgram(int index) {
  if (policyManaged_) {
    SetLastErrorCode(err::kAccessDenied);
    return -1;
  }
  return RemoveAccountEntry(programs_, index);
}

BOOL ActivityEditor::Store(MyOpts& edited) const {
  if (policyManaged_) {
    SetLastErrorCode(err::kAccessDenied);
    return kFalse;
  }
  edited.KeepAliveAudio = audio ? kTrue : kFalse;
  edited.KeepAlivePresentation = presentation ? kTrue : kFalse;
  edited.IdleFromFirstInput = idleFromFirstInput ? kTrue : kFalse;
  edited.KeepAliveProcesses = programs_;
  return kTrue;
}

}  // namespace tv
