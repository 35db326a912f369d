// DlgMain's status panel: gathers what one refresh looks at and shows what StatusPanel makes of
// it. The statistics and the session's records are the service's, read from where it writes them.
#include "config_ui/win32/dlg_main.h"

#include "config_ui/main_dialog_ids.h"
#include "settings/kept_alive_record.h"
#include "settings/options.h"
#include "settings/reg_key.h"
#include "settings/watch_reasons.h"

namespace tv {

DWORD DlgMain::ServiceState() {
  DWORD state = 0;
  return service_.QueryState(state) ? state : 0;
}

void DlgMain::RefreshStatus() {
  HWND hwnd = GetHwnd();
  if (!hwnd) return;
  StatusSnapshot snapshot;
  snapshot.now = static_cast<Tick>(::GetTickCount());
  snapshot.gpoMode = GpoMode();
  snapshot.gpoPath = gpoPath_;
  snapshot.policyManaged = PolicyManaged();
  snapshot.serviceState = ServiceState();
  snapshot.enabled = GpoMode() ? ::SendDlgItemMessageW(hwnd, IDC_ENABLE_TRISTATE, CB_GETCURSEL, 0, 0) == 1
                               : IsTicked(IDC_ENABLE);
  snapshot.monitorCpuTicked = IsTicked(IDC_MONITOR_CPU);
  snapshot.monitorWindowExists = ::FindWindowW(L"TARNVALE_MONITOR", nullptr) != nullptr;
  RegKey product(kAppRootKey, false);
  if (product.IsOpen()) {
    (void)product.GetStr(L"LastLogoff", &snapshot.lastLogoff);
    snapshot.sessionsMonitoring = product.GetInt(L"SessionsMonitoring", 0);
  }
  // Why the service watches this very session or not, as it recorded it.
  ::DWORD session = 0;
  if (::ProcessIdToSessionId(::GetCurrentProcessId(), &session)) {
    RegKey reasons(kWatchReasonsKey, false);
    if (reasons.IsOpen()) {
      snapshot.watchReason = reasons.GetInt(WatchReasonValueName(session).c_str(), 0);
      (void)reasons.GetStr(KeptAliveValueName(session).c_str(), &snapshot.keptAlive);
    }
  }
  // The saved schedule is the one the service follows, not what is being edited.
  SYSTEMTIME local{};
  ::GetLocalTime(&local);
  snapshot.scheduleHoldsOff =
      ScheduleHoldsOff(loaded_, SystemTime{local.wYear, local.wMonth, local.wDayOfWeek, local.wDay, local.wHour,
                                           local.wMinute, local.wSecond, local.wMilliseconds});
  // The load is only shown with the CPU box ticked, and each reading measures from the one
  // before, so it is not read otherwise.
  if (snapshot.monitorCpuTicked && cpu_) snapshot.cpuLoad = static_cast<int>(cpu_->GetCpuUsage());

  const StatusActions actions = status_.Refresh(snapshot);
  if (actions.deleteLastLogoff) {
    RegKey writable(kAppRootKey, true);
    if (writable.IsOpen()) (void)writable.DelValue(L"LastLogoff");
  }
  // Setting an unchanged text would repaint (and flicker) every second.
  if (statusLine1_.GetHTMLText() != status_.Line1()) (void)statusLine1_.SetHTMLText(status_.Line1().c_str());
  if (statusLine2_.GetHTMLText() != status_.Line2()) (void)statusLine2_.SetHTMLText(status_.Line2().c_str());
}

}  // namespace tv
