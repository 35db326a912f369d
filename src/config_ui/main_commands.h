// The main dialog's smaller decisions: the target label and menu, where export and import start,
// which notices follow an Apply, the messages of stopping the service on close, and which
// registered messages concern this dialog.
#pragma once

#include <string>
#include <vector>

#include "platform/types.h"
#include "settings/import_checks.h"

namespace tv {

class MyConfig;

// The mark-up label naming what is edited: "<B>name</b> (This Computer)" or "<B>path</b> (GPO)".
std::wstring TargetLabel(bool gpoMode, const std::wstring& computerName, const std::wstring& gpoPath);

// What a list box shows for `list` (ApplyTo when `applyTo`, else Exclude). While a policy manages
// the computer an empty list is not the default but really empty, so it shows one line that says
// what that means instead of nothing; the line is never read back as an entry.
std::vector<std::wstring> ListLinesShown(const std::vector<std::wstring>& list, bool applyTo, bool policyManaged);

// The question after an import whose file holds what the service cannot use as written
// (`findings` from MyOpts::Import, `file` as the person chose it): the findings with their lines,
// then whether to keep the imported settings. No brings back the settings as they were.
std::wstring ImportFindingsQuestion(const std::vector<ImportFinding>& findings, const std::wstring& file);

// The target menu's commands.
enum class TargetCommand { kThisComputer, kChooseGpo };
struct TargetMenuItem {
  TargetCommand command;
  int stringId;
};
// "This computer" (only while a GPO is edited), then "GPO...".
std::vector<TargetMenuItem> TargetMenuItems(bool gpoMode);

// Whether a chosen GPO is another one than the one edited (paths compared case aside): only then
// are unsaved changes asked about and the settings loaded from it.
bool IsOtherGpo(const std::wstring& current, const std::wstring& chosen);

// The file the export and import dialogs start on: the last one used, or "Tarnvale.cfg" in the
// user's documents folder.
std::wstring ExportImportStartFile(const wchar_t* lastPath, const std::wstring& documentsFolder);
// The folder part of `file` (up to its last backslash or slash), where the file dialog opens.
std::wstring FolderOf(const std::wstring& file);

// Whether ticking the power-action box is allowed on Windows `osMajor`; before 6.0 string 3 is
// shown and the tick cleared.
bool ShutdownTickAllowed(DWORD osMajor);

// Whether Apply ends with string 24 ("you may close the utility"): only Apply, not OK, and only
// until the administrator asked not to see it again.
bool ShowMayCloseNotice(bool isOkButton, const MyConfig& config);

// Closing with Ctrl and Alt held down stops the service.
bool StopServiceOnClose(bool ctrlDown, bool altDown);
// The message after stopping the service (`stopped` and the error code left by the attempt):
// string 13 when stopped, 10 when there is no such service, 11 when it is marked for deletion,
// else 8 with the system's error text and Retry/Cancel.
int StopServiceMessage(BOOL stopped, ErrorCode error);
// Whether that message offers Retry.
bool StopServiceMessageOffersRetry(int stringId);

// "BrellickMessage" commands the dialog answers.
inline constexpr unsigned kMsgSettingsChanged = 2;
inline constexpr unsigned kMsgActivityReport = 303;
// Whether (wParam, lParam) announces that another instance changed this product's settings:
// command 2 with the low 16 bits of the product's id.
bool IsSettingsChangedNotice(unsigned wParam, long long lParam, DWORD productId);

}  // namespace tv
