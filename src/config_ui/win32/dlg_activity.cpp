// DlgActivity for Windows: template 107 over the Activity dialog's model.
#include "config_ui/win32/dlg_activity.h"

#include <cwchar>
#include <string>

#include "config_ui/activity_ids.h"
#include "ui/msg_box.h"
#include "settings/program_names.h"

namespace tv {
namespace {

struct SwitchBinding {
  int id;
  bool ActivityEditor::*field;
};
constexpr SwitchBinding kSwitches[] = {
    {IDC_ACTIVITY_AUDIO, &ActivityEditor::audio},
    {IDC_ACTIVITY_PRESENTATION, &ActivityEditor::presentation},
    {IDC_ACTIVITY_FIRST_INPUT, &ActivityEditor::idleFromFirstInput},
};

}  // namespace

DlgActivity::DlgActivity(const MyOpts& edited, bool policyManaged) : editor_(edited, policyManaged) {}

int DlgActivity::Run(HINSTANCE resources, HWND owner) { return DoModal(resources, IDD_ACTIVITY, owner); }

BOOL DlgActivity::IsKindOf(const wchar_t* className) const {
  return (className && std::wcscmp(className, L"DlgActivity") == 0) || CSDlg::IsKindOf(className);
}

BOOL DlgActivity::OnInit() {
  for (const SwitchBinding& s : kSwitches)
    ::CheckDlgButton(GetHwnd(), s.id, editor_.*s.field ? BST_CHECKED : BST_UNCHECKED);
  ::SendMessageW(Item(IDC_ACTIVITY_PROGRAM_NAME), EM_LIMITTEXT, kMaxProgramNameChars + 1, 0);
  ShowPrograms(-1);
  return TRUE;
}

void DlgActivity::ShowPrograms(int select) {
  HWND list = Item(IDC_ACTIVITY_PROGRAMS);
  ::SendMessageW(list, LB_RESETCONTENT, 0, 0);
  for (const std::wstring& entry : editor_.Programs())
    ::SendMessageW(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(entry.c_str()));
  ::SendMessageW(list, LB_SETCURSEL, static_cast<WPARAM>(select), 0);
  ApplyEnabling();
}

void DlgActivity::ApplyEnabling() {
  for (const ControlState& c : editor_.Controls()) {
    if (HWND control = Item(c.id)) ::EnableWindow(control, c.enabled ? TRUE : FALSE);
  }
}

void DlgActivity::ReadSwitches() {
  for (const SwitchBinding& s : kSwitches) editor_.*s.field = ::IsDlgButtonChecked(GetHwnd(), s.id) == BST_CHECKED;
}

void DlgActivity::AddTyped() {
  HWND field = Item(IDC_ACTIVITY_PROGRAM_NAME);
  std::wstring typed(static_cast<std::size_t>(::GetWindowTextLengthW(field)) + 1, L'\0');
  typed.resize(static_cast<std::size_t>(::GetWindowTextW(field, typed.data(), static_cast<int>(typed.size()))));
  const std::wstring refusal = editor_.AddProgram(typed);
  if (!refusal.empty()) {
    MsgEx(GetHwnd(), MB_OK | MB_ICONWARNING, refusal.c_str());
    // The name stays, so that a mistake can be corrected rather than typed again.
    ::SetFocus(field);
    ::SendMessageW(field, EM_SETSEL, 0, -1);
    return;
  }
  ::SetWindowTextW(field, L"");
  ShowPrograms(static_cast<int>(editor_.Programs().size()) - 1);
  ::SetFocus(field);
}

void DlgActivity::RemoveSelected() {
  const int selected = static_cast<int>(::SendMessageW(Item(IDC_ACTIVITY_PROGRAMS), LB_GETCURSEL, 0, 0));
  if (selected < 0) return;  // nothing selected: nothing to remove
  ShowPrograms(editor_.RemoveProgram(selected));
}

BOOL DlgActivity::OnCommand(int id, int code, HWND control) {
  switch (id) {
    case IDC_ACTIVITY_ADD:
      if (code == BN_CLICKED) AddTyped();
      return TRUE;
    case IDC_ACTIVITY_REMOVE:
      if (code == BN_CLICKED) RemoveSelected();
      return TRUE;
    case IDOK:
      // Enter in the name field means "add this name", not "close the dialog".
      if (::GetFocus() == Item(IDC_ACTIVITY_PROGRAM_NAME) &&
          ::GetWindowTextLengthW(Item(IDC_ACTIVITY_PROGRAM_NAME)) > 0) {
        AddTyped();
        return TRUE;
      }
      // The dialog manager may still send IDOK for a disabled button.
      if (!editor_.IsEnabled(IDOK)) return TRUE;
      ReadSwitches();
      End(IDOK);
      return TRUE;
    case IDCANCEL:
      End(IDCANCEL);
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace tv
