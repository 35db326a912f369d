// The main dialog's smaller decisions.
#include "config_ui/main_commands.h"

#include "config_ui/account_list.h"
#include "config_ui/main_dialog_ids.h"
#include "platform/last_error.h"
#include "settings/my_config.h"

namespace tv {

std::wstring TargetLabel(bool gpoMode, const std::wstring& computerName, const std::wstring& gpoPath) {
  return gpoMode ? L"<B>" + gpoPath + L"</b> (GPO)" : L"<B>" + computerName + L"</b> (This Computer)";
}

std::vector<std::wstring> ListLinesShown(const std::vector<std::wstring>& list, bool applyTo, bool policyManaged) {
  if (!list.empty() || !policyManaged) return list;
  return {applyTo ? L"(not set by the policy: applies to everyone)"
                  : L"(not set by the policy: nobody is spared)"};
}

std::wstring ImportFindingsQuestion(const std::vector<ImportFinding>& findings, const std::wstring& file) {
  std::wstring text = L"The service cannot use everything in this file:\n\n";
  for (const ImportFinding& f : findings) text += FormatImportFinding(f, file) + L"\n";
  text += L"\nKeep the imported settings? No puts back the settings as they were before the import.";
  return text;
}

std::vector<TargetMenuItem> TargetMenuItems(bool gpoMode) {
  std::vector<TargetMenuItem> items;
  if (gpoMode) items.push_back({TargetCommand::kThisComputer, IDS_MENU_THIS_COMPUTER});
  items.push_back({TargetCommand::kChooseGpo, IDS_MENU_GPO});
  return items;
}

bool IsOtherGpo(const std::wstring& current, const std::wstring& chosen) { return !SameAccountName(current, chosen); }

std::wstring ExportImportStartFile(const wchar_t* lastPath, const std::wstring& documentsFolder) {
  if (lastPath && lastPath[0] != L'\0') return lastPath;
  return documentsFolder + L"\\Tarnvale.cfg";
}

std::wstring FolderOf(const std::wstring& file) {
  const std::size_t at = file.find_last_of(L"\\/");
  return at == std::wstring::npos ? std::wstring() : file.substr(0, at);
}

bool ShutdownTickAllowed(DWORD osMajor) { return osMajor >= 6; }

bool ShowMayCloseNotice(bool isOkButton, const MyConfig& config) {
  return !isOkButton && !config.IsOn(kConfigHideCloseMsg);
}

bool StopServiceOnClose(bool ctrlDown, bool altDown) { return ctrlDown && altDown; }

int StopServiceMessage(BOOL stopped, ErrorCode error) {
  if (stopped) return 13;
  if (error == err::kServiceDoesNotExist) return 10;
  if (error == err::kServiceMarkedForDelete) return 11;
  return 8;
}

bool StopServiceMessageOffersRetry(int stringId) { return stringId == 8; }

bool IsSettingsChangedNotice(unsigned wParam, long long lParam, DWORD productId) {
  return wParam == kMsgSettingsChanged && lParam == static_cast<long long>(productId & 0xFFFFu);
}

}  // namespace tv
