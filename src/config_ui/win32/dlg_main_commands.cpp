// DlgMain's commands: Apply and Save, the account lists, the editors it opens, export and
// import, the target menu and GPO mode, help, About and starting the service.
#include "config_ui/win32/dlg_main.h"

#include <commdlg.h>
#include <gpedit.h>
#include <shellapi.h>
#include <shlobj.h>

#include <vector>

#include "config_ui/account_list.h"
#include "config_ui/custom_message.h"
#include "config_ui/main_commands.h"
#include "config_ui/main_dialog_ids.h"
#include "config_ui/main_validation.h"
#include "ui/msg_box.h"
#include "config_ui/win32/account_picker.h"
#include "config_ui/win32/dlg_activity.h"
#include "config_ui/win32/dlg_custom_msg.h"
#include "config_ui/win32/dlg_schedule.h"
#include "config_ui/win32/dlg_warning_data_loss.h"
#include "foundation/product_info.h"
#include "foundation/app_message.h"
#include "foundation/string_table.h"
#include "platform/service_manager.h"
#include "settings/settings_file.h"

namespace tv {
namespace {

std::wstring DocumentsFolder() {
  wchar_t path[MAX_PATH] = {};
  return SUCCEEDED(::SHGetFolderPathW(nullptr, CSIDL_PERSONAL, nullptr, SHGFP_TYPE_CURRENT, path)) ? path : L"";
}


}  // namespace

BOOL DlgMain::OnCommand(int id, int code, HWND control) {
  // Buttons, links, menu items and accelerators all arrive as code 0 (1 for an accelerator);
  // what else the controls report (an edit's changes, a static being enabled) is no command.
  if (code != BN_CLICKED && code != 1) return FALSE;
  switch (id) {
    case IDCANCEL: return TRUE;  // Escape: only the close box closes this dialog
    case IDC_OK:
      if (!PolicyManaged() && !Apply(true)) return TRUE;
      StoreConfig();
      if (StopServiceOnClose(::GetKeyState(VK_CONTROL) < 0, ::GetKeyState(VK_MENU) < 0))
        (void)service_.StopAndRemove();
      End(1);
      return TRUE;
    case IDC_APPLY:
      (void)Apply(false);
      RefreshStatus();
      return TRUE;
    case IDC_ENABLE:
      if (IsTicked(IDC_ENABLE)) OnEnableTicked();
      return TRUE;
    case IDC_SHUTDOWN: OnShutdownTicked(); return TRUE;
    case IDC_MONITOR_CPU:
    case IDC_LOGOFF_STALE: ApplyEnabling(); return TRUE;
    case IDC_APPLY_TO_ADD: AddAccounts(IDC_APPLY_TO); return TRUE;
    case IDC_EXCLUDE_ADD: AddAccounts(IDC_EXCLUDE); return TRUE;
    case IDC_APPLY_TO_REMOVE: RemoveAccount(IDC_APPLY_TO); return TRUE;
    case IDC_EXCLUDE_REMOVE: RemoveAccount(IDC_EXCLUDE); return TRUE;
    case IDC_RESTORE_DEFAULTS: RestoreDefaults(); return TRUE;
    case IDC_MSG_LINK: EditMessage(false); return TRUE;
    case IDC_MSG_LOCKED_LINK: EditMessage(true); return TRUE;
    case IDC_EXPORT: ExportOrImport(true); return TRUE;
    case IDC_IMPORT: ExportOrImport(false); return TRUE;
    case IDC_STATUS_LINE1: StartService(); return TRUE;
    case IDC_MANAGE: ShowTargetMenu(); return TRUE;
    case IDM_TARGET_THIS_COMPUTER: SwitchToThisComputer(); return TRUE;
    case IDM_TARGET_GPO: ChooseGpo(); return TRUE;
    case IDC_EDIT_SCHEDULE: EditSchedule(); return TRUE;
    case IDC_ACTIVITY_LINK: EditActivity(); return TRUE;
    case IDC_CHECK_UPDATES: CheckForUpdates(); return TRUE;
    case IDC_HELP_BUTTON: ShowHelp(); return TRUE;
    case IDC_ABOUT: ShowAbout(); return TRUE;
    default: return FALSE;
  }
}

// ---- Apply and Save

BOOL DlgMain::Apply(bool isOkButton) {
  ReadControls();
  const ApplyVerdict verdict = CheckApply(edited_, ApplyTarget{GpoMode(), PolicyManaged()});
  if (verdict.kind == ApplyVerdict::Kind::kRefuse) {
    ShowMsg(MB_OK | MB_ICONERROR, verdict.Text());
    if (verdict.focusControl) {
      HWND field = Item(verdict.focusControl);
      ::SetFocus(field);
      ::SendMessageW(field, EM_SETSEL, 0, -1);
    }
    return FALSE;
  }
  if (verdict.kind == ApplyVerdict::Kind::kConfirm && ShowMsg(MB_YESNO | MB_ICONWARNING, verdict.Text()) != IDYES)
    return FALSE;
  if (!Save()) return FALSE;
  if (GpoMode()) return TRUE;

  if (NeedsServiceStart(edited_, false, ServiceState())) StartService();
  (void)service_.SendControl(128);
  if (HWND monitor = ::FindWindowW(L"TARNVALE_MONITOR", nullptr))
    ::PostMessageW(monitor, GetAppMessage(), kCmdReloadAgent, 0);

  if (ShowMayCloseNotice(isOkButton, config_)) ShowNotice(IDS_MAY_CLOSE, kConfigHideCloseMsg);
  return TRUE;
}

BOOL DlgMain::Save() {
  if (PolicyManaged()) {
    ShowMsg(MB_OK | MB_ICONERROR, LoadStr(IDS_POLICY_MANAGED));
    return FALSE;
  }
  (void)config_.Store();
  if (!edited_.Store()) {
    ShowMsg(MB_OK | MB_ICONERROR, LoadStr(IDS_SAVE_FAILED));
    return FALSE;
  }
  const DWORD triState = edited_.policyState;
  (void)loaded_.Load();
  loaded_.policyState = triState;
  reloadRequested_ = false;
  const AfterSave after = DecideAfterSave(loaded_, edited_, config_);
  if (after.noticeRefreshes > 0) status_.NoteSaved(after.noticeRefreshes);
  if (after.showSavedMessage) ShowNotice(IDS_SETTINGS_SAVED, kConfigHideSavedMsg);
  return TRUE;
}

void DlgMain::ShowNotice(int stringId, std::uint32_t hideBit) {
  int dontShow = 0;
  ShowMsg(MB_OK | MB_ICONINFORMATION, LoadStr(stringId), &dontShow);
  if (!dontShow) return;
  config_.Set(hideBit, true);
  (void)config_.Store();
}

// ---- the check boxes with consequences

void DlgMain::OnEnableTicked() {
  if (!MustShowDataLossWarning(config_)) return;
  DlgWarningDataLoss warning;
  if (OnDataLossWarningClosed(warning.Run(resources_, GetHwnd()), config_))
    (void)config_.Store();
  else
    SetTicked(IDC_ENABLE, FALSE);
}

void DlgMain::OnShutdownTicked() {
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof(version);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  const bool known = ::GetVersionExW(&version) != 0;
#pragma GCC diagnostic pop
  if (IsTicked(IDC_SHUTDOWN) && known && !ShutdownTickAllowed(version.dwMajorVersion)) {
    ShowMsg(MB_OK | MB_ICONINFORMATION, LoadStr(IDS_NEEDS_NEWER_WINDOWS));
    SetTicked(IDC_SHUTDOWN, FALSE);
  }
  ApplyEnabling();
}

// ---- the account lists

void DlgMain::AddAccounts(int listId) {
  std::vector<PickedObject> picked;
  if (!PickAccounts(GetHwnd(), resources_, picked)) return;
  StrList list;
  ReadList(listId, list);
  if (AddPickedObjects(list, picked, computerName_.c_str()) > 0) FillList(listId, list);
}

void DlgMain::RemoveAccount(int listId) {
  HWND control = Item(listId);
  StrList list;
  ReadList(listId, list);
  const int select = RemoveAccountEntry(list, static_cast<int>(::SendMessageW(control, LB_GETCURSEL, 0, 0)));
  if (select < 0 && !list.empty()) return;  // nothing was selected
  FillList(listId, list);
  ::SendMessageW(control, LB_SETCURSEL, select, 0);
}

void DlgMain::RestoreDefaults() {
  if (ShowMsg(MB_YESNO | MB_ICONWARNING, LoadStr(IDS_RESTORE_DEFAULTS)) != IDYES) return;
  edited_.Reset();
  config_.RestoreHiddenMsg();
  LoadControls();
}

// ---- the editors

void DlgMain::EditMessage(bool locked) {
  wchar_t* field = locked ? edited_.MessageTextIfLocked : edited_.MessageText;
  const std::wstring& builtIn = locked ? builtInTextLocked_ : builtInText_;
  DlgCustomMsg editor(MessageForEditor(field, builtIn.c_str()), PolicyManaged());
  if (editor.Run(resources_, GetHwnd()) != IDOK || PolicyManaged()) return;
  StoreEditedMessage(editor.Text().c_str(), builtIn.c_str(), field, kMessageTextChars);
}

void DlgMain::EditSchedule() {
  DlgSchedule editor(edited_.GetSchedule());
  if (editor.Run(resources_, GetHwnd()) != IDOK) return;
  edited_.SetSchedule(editor.ScheduleText().c_str());
}

void DlgMain::EditActivity() {
  DlgActivity editor(edited_, PolicyManaged());
  if (editor.Run(resources_, GetHwnd()) != IDOK) return;
  // Stored with the rest at Apply; until then leaving asks about the change like any other.
  (void)editor.Editor().Store(edited_);
}

// ---- export and import

void DlgMain::ExportOrImport(bool isExport) {
  // An import may be put back, and then what the boxes showed must come back with it.
  ReadControls();
  const std::wstring start = ExportImportStartFile(config_.ImpExpPath, DocumentsFolder());
  const std::wstring folder = FolderOf(start);
  std::vector<wchar_t> file(MAX_PATH * 4, L'\0');
  start.copy(file.data(), file.size() - 1);

  OPENFILENAMEW ofn{};
  ofn.lStructSize = sizeof(ofn);
  ofn.hwndOwner = GetHwnd();
  ofn.lpstrFilter = L"Settings files (*.cfg)\0*.cfg\0All files (*.*)\0*.*\0";
  ofn.lpstrFile = file.data();
  ofn.nMaxFile = static_cast<::DWORD>(file.size());
  ofn.lpstrInitialDir = folder.empty() ? nullptr : folder.c_str();
  ofn.lpstrTitle = isExport ? L"Export settings" : L"Import settings";
  ofn.lpstrDefExt = L"cfg";
  ofn.Flags = OFN_NOCHANGEDIR | OFN_PATHMUSTEXIST | OFN_HIDEREADONLY |
              (isExport ? OFN_OVERWRITEPROMPT : OFN_FILEMUSTEXIST);
  if (!(isExport ? ::GetSaveFileNameW(&ofn) : ::GetOpenFileNameW(&ofn))) return;

  // What the import replaces, to put back when the person does not want what the file brought.
  MyOpts before;
  before.CopyFrom(edited_);
  std::vector<ImportFinding> findings;
  const BOOL ok =
      isExport ? edited_.Export(GetHwnd(), file.data(), 1) : edited_.Import(GetHwnd(), file.data(), 1, &findings);
  if (!ok) {
    // The settings file layer says what is wrong with a file it could read (the line of bad XML,
    // the value that does not fit); a file it could not read at all is a system error.
    const std::wstring& why = GetLastSettingsFileFailure().text;
    if (!why.empty())
      ShowMsg(MB_OK | MB_ICONWARNING, why);
    else
      MsgLastError(GetHwnd(), 0xFFFFFFFF, L"%ls", file.data());
    return;
  }
  if (!isExport) {
    LoadControls();
    if (!findings.empty() &&
        ShowMsg(MB_YESNO | MB_ICONWARNING, ImportFindingsQuestion(findings, file.data())) != IDYES) {
      edited_.CopyFrom(before);
      LoadControls();
      return;
    }
  }
  const std::wstring chosen = file.data();
  chosen.copy(config_.ImpExpPath, kConfigPathChars - 1);
  config_.ImpExpPath[std::min(chosen.size(), kConfigPathChars - 1)] = L'\0';
  (void)config_.Store();
}

// ---- what is edited: this computer or a GPO

void DlgMain::ShowTargetMenu() {
  HMENU menu = ::CreatePopupMenu();
  if (!menu) return;
  for (const TargetMenuItem& item : TargetMenuItems(GpoMode())) {
    const UINT command = item.command == TargetCommand::kThisComputer ? IDM_TARGET_THIS_COMPUTER : IDM_TARGET_GPO;
    ::AppendMenuW(menu, MF_STRING, command, LoadStr(item.stringId));
  }
  RECT button{};
  ::GetWindowRect(Item(IDC_MANAGE), &button);
  // The command comes back as WM_COMMAND, the way a keyboard user's choice would.
  ::TrackPopupMenu(menu, TPM_LEFTALIGN | TPM_TOPALIGN, button.left, button.bottom, 0, GetHwnd(), nullptr);
  ::DestroyMenu(menu);
}

void DlgMain::SwitchToThisComputer() {
  if (!GpoMode()) return;
  ReadControls();
  if (!ConfirmLeave()) return;
  (void)LoadSettings(std::wstring());
  config_.GPOPath[0] = L'\0';
  (void)config_.Store();
  LoadControls();
  RefreshStatus();
}

void DlgMain::ChooseGpo() {
  using BrowseForGpoFn = HRESULT(WINAPI*)(LPGPOBROWSEINFO);
  HMODULE editor = ::LoadLibraryW(L"gpedit.dll");
  auto browse = editor ? reinterpret_cast<BrowseForGpoFn>(reinterpret_cast<void*>(::GetProcAddress(editor, "BrowseForGPO")))
                       : nullptr;
  if (!browse) {
    if (editor) ::FreeLibrary(editor);
    ShowMsg(MB_OK | MB_ICONINFORMATION, LoadStr(IDS_NO_GPO_EDITOR));
    return;
  }
  wchar_t path[kGpoPathChars] = {};
  wchar_t name[kGpoPathChars] = {};
  GPOBROWSEINFO info{};
  info.dwSize = sizeof(info);
  info.dwFlags = GPO_BROWSE_DISABLENEW | GPO_BROWSE_NOCOMPUTERS;
  info.hwndOwner = GetHwnd();
  info.lpTitle = const_cast<wchar_t*>(L"Tarnvale");
  info.lpDSPath = path;
  info.dwDSPathSize = kGpoPathChars;
  info.lpName = name;
  info.dwNameSize = kGpoPathChars;
  const HRESULT chosen = browse(&info);
  ::FreeLibrary(editor);
  if (chosen != S_OK || !path[0] || !IsOtherGpo(gpoPath_, path)) return;

  ReadControls();
  if (!ConfirmLeave()) return;
  if (!LoadSettings(path)) {
    const HResult result = loaded_.gpoResult;
    if (FAILED(result))
      MsgHRESULT(GetHwnd(), result, MB_OK | MB_ICONERROR, L"%ls", LoadStr(IDS_GPO_LOAD_FAILED));
    else
      ShowMsg(MB_OK | MB_ICONERROR, LoadStr(IDS_GPO_LOAD_FAILED));
    (void)LoadSettings(std::wstring());
  } else {
    std::wstring(path).copy(config_.GPOPath, kConfigPathChars - 1);
    (void)config_.Store();
  }
  LoadControls();
  RefreshStatus();
}

// ---- help, About, the service

void DlgMain::ShowHelp() {
  // The user's guide is installed beside the program as one page; the configuration utility's
  // chapter has its own anchor there.
  const std::wstring page = programFolder_ + L"Tarnvale.html";
  if (reinterpret_cast<INT_PTR>(::ShellExecuteW(GetHwnd(), L"open", page.c_str(), nullptr, nullptr, SW_SHOWNORMAL)) <= 32)
    MsgLastError(GetHwnd(), 0xFFFFFFFF, L"%ls", page.c_str());
}

void DlgMain::ShowAbout() {
  const ProductInfo* product = GetMyProductInfo();
  std::wstring text = std::wstring(L"<b>") + product->GetName() + L"</b>\n" + product->GetVersionStrRev(TRUE) +
                      L"\n\nCopyright \u00A9 " + product->GetCopyrightYear() + L" Brellick.";
  ShowMsg(MB_OK | MB_ICONINFORMATION | msgex::kMarkup, text);
}

void DlgMain::CheckForUpdates() {
  if (!updates_) return;
  // A file share or a server may take seconds to answer, and the check waits for it here.
  HCURSOR previous = ::SetCursor(::LoadCursorW(nullptr, IDC_WAIT));
  (void)updates_->CheckForUpdates(GetHwnd());
  ::SetCursor(previous);
}

void DlgMain::StartService() {
  DWORD state = 0;
  if (service_.QueryState(state) && state == svc::kRunning) return;
  HCURSOR previous = ::SetCursor(::LoadCursorW(nullptr, IDC_WAIT));
  (void)StartServiceAndWait(service_, [](DWORD ms) { ::Sleep(ms); });
  ::SetCursor(previous);
  RefreshStatus();
}

}  // namespace tv
