// DlgAccountChooser for Windows, and the local accounts it lists.
#include "config_ui/win32/dlg_account_chooser.h"

#include <lm.h>

#include <cwchar>
#include <memory>
#include <string>
#include <utility>

#include "config_ui/account_chooser_ids.h"
#include "ui/msg_box.h"
#include "platform/accounts.h"

namespace tv {
namespace {

// The names of one enumeration, every page of it. Enumerations the system refuses add nothing:
// the chooser still offers the built-in groups and the typed name.
template <typename Info, typename Enumerate>
void AppendNames(std::vector<std::wstring>& names, LPWSTR Info::*name, Enumerate enumerate) {
  DWORD_PTR resume = 0;
  for (;;) {
    LPBYTE buffer = nullptr;
    ::DWORD read = 0;
    ::DWORD total = 0;
    const NET_API_STATUS rc = enumerate(&buffer, &read, &total, &resume);
    if ((rc == NERR_Success || rc == ERROR_MORE_DATA) && buffer) {
      const auto* items = reinterpret_cast<const Info*>(buffer);
      for (::DWORD i = 0; i < read; ++i) {
        if (items[i].*name) names.emplace_back(items[i].*name);
      }
    }
    if (buffer) ::NetApiBufferFree(buffer);
    if (rc != ERROR_MORE_DATA || read == 0) break;
  }
}

}  // namespace

AccountChooser LocalAccountChooser() {
  std::wstring computer;
  std::unique_ptr<Accounts> accounts = CreateSystemAccounts();
  if (accounts) accounts->QueryComputerName(computer);
  std::vector<std::wstring> users;
  std::vector<std::wstring> groups;
  AppendNames(users, &USER_INFO_0::usri0_name, [](LPBYTE* buffer, ::DWORD* read, ::DWORD* total, DWORD_PTR* resume) {
    ::DWORD handle = static_cast<::DWORD>(*resume);
    const NET_API_STATUS rc =
        ::NetUserEnum(nullptr, 0, FILTER_NORMAL_ACCOUNT, buffer, MAX_PREFERRED_LENGTH, read, total, &handle);
    *resume = handle;
    return rc;
  });
  AppendNames(groups, &LOCALGROUP_INFO_0::lgrpi0_name,
              [](LPBYTE* buffer, ::DWORD* read, ::DWORD* total, DWORD_PTR* resume) {
                return ::NetLocalGroupEnum(nullptr, 0, buffer, MAX_PREFERRED_LENGTH, read, total, resume);
              });
  if (accounts) {
    for (WellKnownGroup group : {WellKnownGroup::kAdministrators, WellKnownGroup::kUsers,
                                 WellKnownGroup::kRemoteDesktopUsers, WellKnownGroup::kGuests}) {
      std::wstring name;
      if (accounts->GetWellKnownGroupName(group, name)) groups.push_back(name);
    }
  }
  return AccountChooser(std::move(computer), users, groups);
}

DlgAccountChooser::DlgAccountChooser(AccountChooser chooser) : chooser_(std::move(chooser)) {}

int DlgAccountChooser::Run(HINSTANCE resources, HWND owner) { return DoModal(resources, IDD_ACCOUNT_CHOOSER, owner); }

BOOL DlgAccountChooser::IsKindOf(const wchar_t* className) const {
  return (className && std::wcscmp(className, L"DlgAccountChooser") == 0) || CSDlg::IsKindOf(className);
}

BOOL DlgAccountChooser::OnInit() {
  HWND list = Item(IDC_CHOOSER_LIST);
  // The kind column, in dialog units from the list's left edge.
  INT tabStop = 150;
  ::SendMessageW(list, LB_SETTABSTOPS, 1, reinterpret_cast<LPARAM>(&tabStop));
  for (std::size_t row = 0; row < chooser_.Rows().size(); ++row) {
    const std::wstring text = chooser_.RowText(row);
    ::SendMessageW(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str()));
  }
  ::SendDlgItemMessageW(GetHwnd(), IDC_CHOOSER_NAME, EM_LIMITTEXT, 1024, 0);
  return TRUE;
}

void DlgAccountChooser::OnOk() {
  HWND list = Item(IDC_CHOOSER_LIST);
  const LRESULT count = ::SendMessageW(list, LB_GETSELCOUNT, 0, 0);
  std::vector<int> rows(count > 0 ? static_cast<std::size_t>(count) : 0);
  if (!rows.empty()) {
    const LRESULT got = ::SendMessageW(list, LB_GETSELITEMS, rows.size(), reinterpret_cast<LPARAM>(rows.data()));
    rows.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  }
  HWND field = Item(IDC_CHOOSER_NAME);
  std::wstring typed(static_cast<std::size_t>(::GetWindowTextLengthW(field)) + 1, L'\0');
  typed.resize(static_cast<std::size_t>(::GetWindowTextW(field, typed.data(), static_cast<int>(typed.size()))));

  std::wstring problem;
  if (!chooser_.Choose(rows, typed, picked_, problem)) {
    Msg(GetHwnd(), MB_OK | MB_ICONWARNING, problem.c_str());
    ::SetFocus(typed.empty() ? list : field);
    if (!typed.empty()) ::SendMessageW(field, EM_SETSEL, 0, -1);
    return;
  }
  End(IDOK);
}

BOOL DlgAccountChooser::OnCommand(int id, int code, HWND control) {
  switch (id) {
    case IDOK:
      OnOk();
      return TRUE;
    case IDCANCEL:
      End(IDCANCEL);
      return TRUE;
    case IDC_CHOOSER_LIST:
      if (code == LBN_DBLCLK) OnOk();
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace tv
