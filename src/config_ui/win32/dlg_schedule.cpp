// DlgSchedule for Windows: template 105 around a ScheduleCtrl.
#include "config_ui/win32/dlg_schedule.h"

#include <cwchar>
#include <utility>

#include "config_ui/main_dialog_ids.h"
#include "ui/msg_box.h"

namespace tv {

DlgSchedule::DlgSchedule(std::wstring schedule) : schedule_(std::move(schedule)) {}

int DlgSchedule::Run(HINSTANCE resources, HWND owner) { return DoModal(resources, IDD_SCHEDULE, owner); }

BOOL DlgSchedule::IsKindOf(const wchar_t* className) const {
  return (className && std::wcscmp(className, L"DlgSchedule") == 0) || CSDlg::IsKindOf(className);
}

BOOL DlgSchedule::OnInit() {
  if (!grid_.ReplaceControl(GetHwnd(), IDC_SCHEDULE_GRID)) return TRUE;
  grid_.SetLegendText(L"Active", L"Inactive");
  // A text that cannot be read shows what could be read of it; storing it again on OK is the
  // administrator's choice, made looking at the grid.
  grid_.SetSchedule(schedule_.c_str());
  ::SetFocus(grid_.GetHwnd());
  return FALSE;
}

BOOL DlgSchedule::OnCommand(int id, int code, HWND control) {
  switch (id) {
    case IDOK:
      if (grid_.GetHwnd()) {
        const std::wstring refusal = grid_.Model().RefusalToStore();
        if (!refusal.empty()) {
          Msg(GetHwnd(), MB_OK | MB_ICONWARNING, refusal.c_str());
          ::SetFocus(grid_.GetHwnd());
          return TRUE;
        }
        schedule_ = grid_.ScheduleTextToStore();
      }
      // Without its grid the dialog has nothing to say, so OK keeps the schedule as it was.
      End(grid_.GetHwnd() ? IDOK : IDCANCEL);
      return TRUE;
    case IDCANCEL:
      End(IDCANCEL);
      return TRUE;
    case IDC_SCHEDULE_ACTIVE:
    case IDC_SCHEDULE_INACTIVE:
      if (code == BN_CLICKED) grid_.SetSelectionState(id == IDC_SCHEDULE_ACTIVE);
      return TRUE;
    case IDC_SCHEDULE_CLEAR:
      if (code == BN_CLICKED) grid_.DeselectAll();
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace tv
