// DlgMain: the configuration utility's one window. It moves values between its controls and the
// settings record and hands every decision (validation, enabling, status text, list entries,
// message trimming) to the portable classes beside it; what remains here is Win32 plumbing.
#pragma once

// First, so that the window wrapper's declarations see the system's own integer types.
#include "ui/win32/dialog.h"

#include <memory>
#include <string>

#include "config_ui/service_access.h"
#include "config_ui/status_panel.h"
#include "config_ui/update_access.h"
#include "ui/win32/static_html.h"
#include "platform/cpu.h"
#include "settings/my_config.h"
#include "settings/my_opts.h"

namespace tv {

// The activate-previous id the dialog answers to, and the low 16 bits of the product's id that
// another instance's "settings changed" notice carries.
inline constexpr std::uint16_t kConfigInstanceId = 309;

class DlgMain : public CSDlg {
 public:
  // `resources`: the module holding the templates (TV64.DLL). `service` outlives the dialog.
  // `programFolder` (with its trailing separator) holds the installed user guide. `updates`
  // (may be null: no "Check for updates..." then) outlives the dialog.
  DlgMain(HINSTANCE resources, ServiceAccess& service, std::wstring programFolder, UpdateAccess* updates = nullptr);
  ~DlgMain() override;

  // Loads the settings, builds the dialog and runs it until it closes; answers 1 (OK) or 2
  // (closed by the close box), 0 when the dialog could not be made.
  int Run(int showCommand);

  BOOL IsKindOf(const wchar_t* className) const override;

 protected:
  BOOL OnInit() override;
  BOOL OnCommand(int id, int code, HWND control) override;
  BOOL OnDlgMessage(UINT message, WPARAM wParam, LPARAM lParam, INT_PTR& result) override;

 private:
  // ---- between the controls and the edited settings
  void LoadControls();
  void ReadControls();
  void ApplyEnabling();
  void FillList(int id, const StrList& list);
  void ReadList(int id, StrList& list) const;
  int ReadNumber(int id) const;
  bool IsTicked(int id) const;
  void SetTicked(int id, BOOL on);

  // ---- the commands
  BOOL Apply(bool isOkButton);
  BOOL Save();
  // Asks about unsaved changes; FALSE when the pending action must be abandoned.
  BOOL ConfirmLeave();
  void OnClose();
  // The window's place is kept with the utility's own preferences.
  void RestorePlacement();
  void StoreConfig();
  void OnEnableTicked();
  void OnShutdownTicked();
  void AddAccounts(int listId);
  void RemoveAccount(int listId);
  void RestoreDefaults();
  void EditMessage(bool locked);
  void EditSchedule();
  void EditActivity();
  void CheckForUpdates();
  void ExportOrImport(bool isExport);
  void ShowTargetMenu();
  void SwitchToThisComputer();
  void ChooseGpo();
  void ShowHelp();
  void ShowAbout();
  void StartService();

  // ---- the status panel
  void RefreshStatus();
  DWORD ServiceState();

  // Loads this computer's settings (or the GPO's when `gpoPath` is set) into both records.
  BOOL LoadSettings(const std::wstring& gpoPath);
  bool GpoMode() const { return !gpoPath_.empty(); }
  bool PolicyManaged() const { return !GpoMode() && loaded_.policyInForce; }
  int ShowMsg(std::uint32_t flags, const std::wstring& text, int* dontShowAgain = nullptr);
  // An information box with "Don't show this message again"; ticking it sets `hideBit` of the
  // utility's preferences for good.
  void ShowNotice(int stringId, std::uint32_t hideBit);

  HINSTANCE resources_;
  ServiceAccess& service_;
  UpdateAccess* updates_;
  std::wstring programFolder_;
  MyOpts loaded_;
  MyOpts edited_;
  MyConfig config_;
  std::wstring gpoPath_;
  std::wstring computerName_;
  std::wstring builtInText_;
  std::wstring builtInTextLocked_;
  bool reloadRequested_ = false;
  bool closingByCloseBox_ = false;
  StatusPanel status_;
  std::unique_ptr<CpuUsage> cpu_;
  CSStaticHTML targetLabel_;
  CSStaticHTML scheduleLink_;
  CSStaticHTML activityLink_;
  CSStaticHTML updatesLink_;
  CSStaticHTML messageLink_;
  CSStaticHTML lockedMessageLink_;
  CSStaticHTML statusLine1_;
  CSStaticHTML statusLine2_;
};

}  // namespace tv
