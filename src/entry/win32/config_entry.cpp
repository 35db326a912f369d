// Tarnvale64.EXE's way in: rights first (the settings live under HKLM\SOFTWARE), then one
// instance, then the main dialog over the service plumbing of this computer.
#include "entry/config_entry.h"

#include "platform/win32/windows_include.h"

#include <commctrl.h>
#include <objbase.h>
#include <shellapi.h>
#include <shlobj.h>

#include <string>

#include "ui/msg_box.h"
#include "config_ui/win32/dlg_main.h"
#include "foundation/cmdline.h"
#include "entry/process_paths.h"
#include "entry/service_install.h"
#include "update/update_command.h"

namespace tv {
namespace {

constexpr int kExitNoRights = 2;

// The service as this computer's service manager has it.
class InstalledService : public ServiceAccess {
 public:
  BOOL QueryState(DWORD& state) override { return QueryServiceState(state); }
  BOOL Start() override { return InstallAndStartService(TRUE); }
  BOOL StopAndRemove() override { return UninstallService(FALSE); }
  BOOL SendControl(DWORD code) override { return SendServiceControl(code); }
};

// The check of "/CHECK4UPDATES", shown over the utility.
class SystemUpdates : public UpdateAccess {
 public:
  int CheckForUpdates(void* owner) override { return RunSystemUpdateCommand(UpdateAction::kOffer, owner); }
};

bool HasFullSoftwareAccess() {
  HKEY key = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE", 0, KEY_ALL_ACCESS, &key) != ERROR_SUCCESS) return false;
  ::RegCloseKey(key);
  return true;
}

// A token without a split (no UAC, or UAC off) can only gain rights through another account.
bool IsPlainNonAdministrator() {
  HANDLE token = nullptr;
  if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token)) return false;
  TOKEN_ELEVATION_TYPE type = TokenElevationTypeDefault;
  ::DWORD size = 0;
  const bool known = ::GetTokenInformation(token, TokenElevationType, &type, sizeof(type), &size) != 0;
  ::CloseHandle(token);
  return known && type == TokenElevationTypeDefault && !::IsUserAnAdmin();
}


int RestartElevated(const wchar_t* commandLine) {
  if (IsPlainNonAdministrator() &&
      Msg(nullptr, MB_YESNO | MB_ICONINFORMATION,
          L"The Administrator rights are required for this action.\n\nRestart as Administrator?") != IDYES)
    return kExitNoRights;
  std::wstring folder;
  (void)GetLibraryFolder(folder);  // TV64.DLL sits beside the utility's launcher
  const std::wstring program = folder + L"Tarnvale64.EXE";
  const wchar_t* rest = commandLine ? ParseCmdLn(commandLine, nullptr, 0) : nullptr;
  const std::wstring arguments = rest ? rest : L"";
  SHELLEXECUTEINFOW info{};
  info.cbSize = sizeof(info);
  info.fMask = SEE_MASK_NOASYNC;
  info.lpVerb = L"runas";
  info.lpFile = program.c_str();
  info.lpParameters = arguments.empty() ? nullptr : arguments.c_str();
  info.nShow = SW_SHOWNORMAL;
  return ::ShellExecuteExW(&info) ? 0 : kExitNoRights;
}

// The taskbar groups the utility's windows under the product, whichever program shows them;
// the call is missing before Windows 7.
void SetUserModelId() {
  using SetIdFn = HRESULT(WINAPI*)(PCWSTR);
  HMODULE shell = ::GetModuleHandleW(L"shell32.dll");
  auto set = shell ? reinterpret_cast<SetIdFn>(
                         reinterpret_cast<void*>(::GetProcAddress(shell, "SetCurrentProcessExplicitAppUserModelID")))
                   : nullptr;
  if (set) (void)set(L"Brellick.Tarnvale");
}

}  // namespace

int DoWinMainCFG(void* instance, const wchar_t* commandLine, int showCommand) {
  if (!HasFullSoftwareAccess()) return RestartElevated(commandLine);

  INITCOMMONCONTROLSEX controls{sizeof(controls), ICC_WIN95_CLASSES | ICC_STANDARD_CLASSES};
  ::InitCommonControlsEx(&controls);
  const HRESULT com = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
  SetUserModelId();

  if (HWND previous = static_cast<HWND>(MsgExFindPrevious(kConfigInstanceId))) {
    ::SetForegroundWindow(previous);
  } else {
    InstalledService service;
    SystemUpdates updates;
    std::wstring folder;
    (void)GetLibraryFolder(folder);
    DlgMain dialog(static_cast<HINSTANCE>(MsgGetResourceModule()), service, folder, &updates);
    (void)dialog.Run(showCommand);
  }
  if (SUCCEEDED(com)) ::CoUninitialize();
  return 0;
}

}  // namespace tv
