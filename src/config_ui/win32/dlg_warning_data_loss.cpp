// DlgWarningDataLoss for Windows: template 104 over the warning's model.
#include "config_ui/win32/dlg_warning_data_loss.h"

#include <cwchar>

#include "config_ui/main_dialog_ids.h"

namespace tv {

int DlgWarningDataLoss::Run(HINSTANCE resources, HWND owner) {
  model_ = DataLossWarning();
  return DoModal(resources, IDD_WARNING_DATA_LOSS, owner);
}

BOOL DlgWarningDataLoss::IsKindOf(const wchar_t* className) const {
  return (className && std::wcscmp(className, L"DlgWarningDataLoss") == 0) || CSDlg::IsKindOf(className);
}

BOOL DlgWarningDataLoss::OnInit() {
  ::CheckDlgButton(GetHwnd(), IDC_DATA_LOSS_AGREE, BST_UNCHECKED);
  ShowAgreement();
  ::SetFocus(Item(IDC_DATA_LOSS_AGREE));
  return FALSE;
}

void DlgWarningDataLoss::ShowAgreement() {
  ::EnableWindow(Item(IDOK), model_.OkEnabled());
}

BOOL DlgWarningDataLoss::OnCommand(int id, int code, HWND control) {
  switch (id) {
    case IDC_DATA_LOSS_AGREE:
      if (code == BN_CLICKED) {
        model_.OnAgreeClicked(::IsDlgButtonChecked(GetHwnd(), IDC_DATA_LOSS_AGREE) == BST_CHECKED);
        ShowAgreement();
      }
      return TRUE;
    case IDOK:
      // Enter reaches here even while OK is disabled; it must not count as agreement.
      if (model_.OkEnabled()) End(IDOK);
      return TRUE;
    case IDCANCEL:
      End(IDCANCEL);
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace tv
