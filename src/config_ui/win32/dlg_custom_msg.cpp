// DlgCustomMsg for Windows: template 103 over the editor's model.
#include "config_ui/win32/dlg_custom_msg.h"

#include <cwchar>
#include <utility>
#include <vector>

#include "config_ui/main_dialog_ids.h"

namespace tv {

DlgCustomMsg::DlgCustomMsg(std::wstring text, bool readOnly) : editor_(std::move(text), readOnly) {}

int DlgCustomMsg::Run(HINSTANCE resources, HWND owner) { return DoModal(resources, IDD_CUSTOM_MSG, owner); }

BOOL DlgCustomMsg::IsKindOf(const wchar_t* className) const {
  return (className && std::wcscmp(className, L"DlgCustomMsg") == 0) || CSDlg::IsKindOf(className);
}

BOOL DlgCustomMsg::OnInit() {
  HWND field = Item(IDC_CUSTOM_MSG_TEXT);
  ::SetWindowTextW(field, editor_.Text().c_str());
  if (!editor_.OkEnabled()) {
    // Read-only rather than disabled: the text stays selectable, so it can still be copied.
    ::SendMessageW(field, EM_SETREADONLY, TRUE, 0);
    ::EnableWindow(Item(IDOK), FALSE);
  }
  ::SetFocus(field);
  // The caret at the start, not the whole text selected: a first key press must not replace it.
  ::SendMessageW(field, EM_SETSEL, 0, 0);
  return FALSE;
}

BOOL DlgCustomMsg::OnCommand(int id, int code, HWND control) {
  switch (id) {
    case IDOK: {
      // The dialog manager may still send IDOK for a disabled button (Enter in a field).
      if (!editor_.OkEnabled()) return TRUE;
      HWND field = Item(IDC_CUSTOM_MSG_TEXT);
      std::vector<wchar_t> buffer(kCustomMessageChars, L'\0');
      const int n = ::GetWindowTextW(field, buffer.data(), static_cast<int>(buffer.size()));
      editor_.ReadBack(std::wstring(buffer.data(), n > 0 ? static_cast<std::size_t>(n) : 0));
      End(IDOK);
      return TRUE;
    }
    case IDCANCEL:
      End(IDCANCEL);
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace tv
