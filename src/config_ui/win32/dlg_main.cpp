// DlgMain's life: building the dialog, moving values between controls and the edited settings,
// the enabling rules, the registered messages and closing. The commands are in
// dlg_main_commands.cpp, the status panel in dlg_main_status.cpp.
#include "config_ui/win32/dlg_main.h"

#include <algorithm>

#include <commctrl.h>

#include <cstring>
#include <iterator>
#include <utility>

#include "config_ui/main_commands.h"
#include "config_ui/main_dialog_ids.h"
#include "config_ui/main_enabling.h"
#include "config_ui/main_validation.h"
#include "ui/msg_box.h"
#include "foundation/app_message.h"
#include "foundation/string_table.h"
#include "platform/accounts.h"

namespace tv {
namespace {

constexpr UINT_PTR kStatusTimer = 1;
constexpr UINT kStatusTimerMs = 1000;

struct CheckBinding {
  int id;
  BOOL MyOpts::*field;
};
// Enable is not here: in GPO mode the tri-state combo stands in for its check box.
constexpr CheckBinding kChecks[] = {
    {IDC_USE_SCHEDULE, &MyOpts::UseSchedule},  {IDC_MONITOR_KB, &MyOpts::MonitorKB},
    {IDC_MONITOR_MOUSE, &MyOpts::MonitorMouse}, {IDC_MONITOR_CPU, &MyOpts::MonitorCPU},
    {IDC_KEEP_LAST_USER, &MyOpts::KeepLastActiveUser}, {IDC_FULL_SCREEN, &MyOpts::FullScreen},
    {IDC_LOGOFF_STALE, &MyOpts::LogoffStale},  {IDC_SHUTDOWN, &MyOpts::Shutdown},
};

struct NumberBinding {
  int edit;
  int spin;
  DWORD MyOpts::*field;
  int low;
  int high;
};
constexpr NumberBinding kNumbers[] = {
    {IDC_PERCENT_CPU, IDC_PERCENT_CPU_SPIN, &MyOpts::PercentCPU, 1, 100},
    {IDC_TIMEOUT, IDC_TIMEOUT_SPIN, &MyOpts::Timeout, kMinTimeout, kMaxMinutes},
    {IDC_MSG_TIMEOUT, IDC_MSG_TIMEOUT_SPIN, &MyOpts::MessageTimeout, kMinMessageTimeout, kMaxMinutes},
    {IDC_STALE_COUNT, IDC_STALE_COUNT_SPIN, &MyOpts::LogoffStaleCount, kMinStaleCount, kMaxMinutes},
    {IDC_SHUTDOWN_TIMEOUT, IDC_SHUTDOWN_TIMEOUT_SPIN, &MyOpts::ShutdownTimeout, kMinShutdownTimeout, kMaxMinutes},
};

constexpr const wchar_t* kTriStateItems[] = {L"Not Configured", L"Enabled", L"Disabled"};

Tick NowTick() { return static_cast<Tick>(::GetTickCount()); }


}  // namespace

DlgMain::DlgMain(HINSTANCE resources, ServiceAccess& service, std::wstring programFolder, UpdateAccess* updates)
    : resources_(resources), service_(service), updates_(updates), programFolder_(std::move(programFolder)), status_(NowTick()), cpu_(CreateSystemCpuUsage()) {}

DlgMain::~DlgMain() { SetActivityReportWindow(nullptr); }

BOOL DlgMain::IsKindOf(const wchar_t* className) const {
  return std::wcscmp(className, L"DlgMain") == 0 || CSDlg::IsKindOf(className);
}

int DlgMain::Run(int showCommand) {
  (void)config_.Load();
  if (!LoadSettings(std::wstring())) {
    // A computer that was never configured has nothing to load: the defaults are what it runs.
    loaded_.Reset();
    edited_.CopyFrom(loaded_);
  }
  if (!Create(resources_, IDD_MAIN, nullptr)) return 0;
  ::ShowWindow(GetHwnd(), showCommand == SW_HIDE ? SW_SHOWNORMAL : showCommand);
  ::SetForegroundWindow(GetHwnd());
  return RunModeless(nullptr, 2);
}

BOOL DlgMain::LoadSettings(const std::wstring& gpoPath) {
  loaded_.gpoPath[0] = L'\0';
  if (!gpoPath.empty()) gpoPath.copy(loaded_.gpoPath, kGpoPathChars - 1);
  loaded_.gpoPath[std::min(gpoPath.size(), kGpoPathChars - 1)] = L'\0';
  const BOOL ok = loaded_.Load();
  edited_.CopyFrom(loaded_);
  edited_.CopyGPOFrom(loaded_);
  if (ok || gpoPath.empty()) gpoPath_ = gpoPath;
  return ok;
}

BOOL DlgMain::OnInit() {
  HWND hwnd = GetHwnd();
  ::SetWindowTextW(hwnd, L"Tarnvale Lite");
  // Without a name every picked user keeps its domain, which only makes the entries longer.
  if (auto accounts = CreateSystemAccounts(); !accounts || !accounts->QueryComputerName(computerName_))
    computerName_.clear();
  builtInText_ = LoadStr(100);
  builtInTextLocked_ = LoadStr(101);
  SetActivityReportWindow(hwnd);

  for (const wchar_t* item : kTriStateItems)
    ::SendDlgItemMessageW(hwnd, IDC_ENABLE_TRISTATE, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(item));
  for (DWORD action = kActionSleep; action <= kActionShutdown; ++action)
    ::SendDlgItemMessageW(hwnd, IDC_SHUTDOWN_ACTION, CB_ADDSTRING, 0,
                          reinterpret_cast<LPARAM>(MyOpts::GetShutdownActionText(action)));
  for (const NumberBinding& n : kNumbers) {
    ::SendDlgItemMessageW(hwnd, n.spin, UDM_SETRANGE32, static_cast<WPARAM>(n.low), n.high);
    ::SendDlgItemMessageW(hwnd, n.edit, EM_LIMITTEXT, 6, 0);
  }

  (void)targetLabel_.Attach(Item(IDC_TARGET_LABEL));
  (void)scheduleLink_.Attach(Item(IDC_EDIT_SCHEDULE));
  (void)scheduleLink_.MakeLink();
  (void)activityLink_.Attach(Item(IDC_ACTIVITY_LINK));
  (void)activityLink_.MakeLink();
  (void)updatesLink_.Attach(Item(IDC_CHECK_UPDATES));
  (void)updatesLink_.MakeLink();
  (void)messageLink_.Attach(Item(IDC_MSG_LINK));
  messageLink_.SetLinkCmdID(IDC_MSG_LINK);
  (void)messageLink_.SetHTMLText(L"Before logging off, show <a>this message</a> to the user for:");
  (void)lockedMessageLink_.Attach(Item(IDC_MSG_LOCKED_LINK));
  lockedMessageLink_.SetLinkCmdID(IDC_MSG_LOCKED_LINK);
  (void)lockedMessageLink_.SetHTMLText(L"If the screen is locked, show <a>this message</a> instead, if possible.");
  (void)statusLine1_.Attach(Item(IDC_STATUS_LINE1));
  statusLine1_.SetLinkCmdID(IDC_STATUS_LINE1);
  (void)statusLine2_.Attach(Item(IDC_STATUS_LINE2));

  LoadControls();
  RestorePlacement();
  RefreshStatus();
  ::SetTimer(hwnd, kStatusTimer, kStatusTimerMs, nullptr);
  return TRUE;
}

static_assert(sizeof(WINDOWPLACEMENT) == kDlgPlacementBytes, "the stored placement is the system's record");

void DlgMain::RestorePlacement() {
  WINDOWPLACEMENT placement{};
  std::memcpy(&placement, config_.DlgMain, sizeof(placement));
  if (placement.length != sizeof(placement)) return;  // never stored, or by something else
  // A window minimised when last closed opens normally; one on a monitor that has gone comes
  // back onto a visible one, which SetWindowPlacement sees to.
  placement.showCmd = SW_HIDE;
  placement.flags = 0;
  ::SetWindowPlacement(GetHwnd(), &placement);
}

void DlgMain::StoreConfig() {
  WINDOWPLACEMENT placement{};
  placement.length = sizeof(placement);
  if (::GetWindowPlacement(GetHwnd(), &placement)) std::memcpy(config_.DlgMain, &placement, sizeof(placement));
  (void)config_.Store();
}

// ---- between the controls and the edited settings

bool DlgMain::IsTicked(int id) const { return ::IsDlgButtonChecked(GetHwnd(), id) == BST_CHECKED; }

void DlgMain::SetTicked(int id, BOOL on) { ::CheckDlgButton(GetHwnd(), id, on ? BST_CHECKED : BST_UNCHECKED); }

int DlgMain::ReadNumber(int id) const {
  BOOL translated = FALSE;
  // Text that is no number reads as 0, which every check but the CPU percentage refuses.
  return static_cast<int>(::GetDlgItemInt(GetHwnd(), id, &translated, TRUE));
}

void DlgMain::FillList(int id, const StrList& list) {
  HWND control = Item(id);
  ::SendMessageW(control, LB_RESETCONTENT, 0, 0);
  for (const std::wstring& entry : list) ::SendMessageW(control, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(entry.c_str()));
  // A long account name (or a policy's note in place of its list) scrolls instead of being cut.
  int widest = 0;
  if (HDC dc = ::GetDC(control)) {
    const HGDIOBJ old = ::SelectObject(dc, reinterpret_cast<HGDIOBJ>(::SendMessageW(control, WM_GETFONT, 0, 0)));
    for (const std::wstring& entry : list) {
      SIZE size{};
      if (::GetTextExtentPoint32W(dc, entry.c_str(), static_cast<int>(entry.size()), &size)) widest = std::max<int>(widest, size.cx);
    }
    ::SelectObject(dc, old);
    ::ReleaseDC(control, dc);
  }
  ::SendMessageW(control, LB_SETHORIZONTALEXTENT, widest ? widest + 2 * ::GetSystemMetrics(SM_CXEDGE) : 0, 0);
}

void DlgMain::ReadList(int id, StrList& list) const {
  HWND control = Item(id);
  list.clear();
  const int count = static_cast<int>(::SendMessageW(control, LB_GETCOUNT, 0, 0));
  for (int i = 0; i < count; ++i) {
    const int length = static_cast<int>(::SendMessageW(control, LB_GETTEXTLEN, i, 0));
    if (length < 0) continue;
    std::wstring entry(static_cast<std::size_t>(length) + 1, L'\0');
    ::SendMessageW(control, LB_GETTEXT, i, reinterpret_cast<LPARAM>(entry.data()));
    entry.resize(static_cast<std::size_t>(length));
    list.push_back(entry);
  }
}

void DlgMain::LoadControls() {
  HWND hwnd = GetHwnd();
  // Setting the text hands it to the system's static control as well, which on some systems paints
  // it at once as plain text over the mark-up; Restore defaults and Import reload every control,
  // so the header is set only when it really changes.
  const std::wstring label = TargetLabel(GpoMode(), computerName_, gpoPath_);
  if (targetLabel_.GetHTMLText() != label) (void)targetLabel_.SetHTMLText(label.c_str());
  SetTicked(IDC_ENABLE, edited_.Enable);
  ::SendDlgItemMessageW(hwnd, IDC_ENABLE_TRISTATE, CB_SETCURSEL, TriStateItem(edited_), 0);
  for (const CheckBinding& c : kChecks) SetTicked(c.id, edited_.*c.field);
  for (const NumberBinding& n : kNumbers) ::SetDlgItemInt(hwnd, n.edit, static_cast<UINT>(edited_.*n.field), TRUE);
  FillList(IDC_APPLY_TO, ListLinesShown(edited_.ApplyTo, true, PolicyManaged()));
  FillList(IDC_EXCLUDE, ListLinesShown(edited_.Exclude, false, PolicyManaged()));
  ::SendDlgItemMessageW(hwnd, IDC_SHUTDOWN_ACTION, CB_SETCURSEL, ShutdownActionItem(edited_.ShutdownAction), 0);
  ApplyEnabling();
}

void DlgMain::ReadControls() {
  HWND hwnd = GetHwnd();
  if (GpoMode())
    ReadTriState(edited_, static_cast<int>(::SendDlgItemMessageW(hwnd, IDC_ENABLE_TRISTATE, CB_GETCURSEL, 0, 0)));
  else
    edited_.Enable = IsTicked(IDC_ENABLE) ? 1 : 0;
  for (const CheckBinding& c : kChecks) edited_.*c.field = IsTicked(c.id) ? 1 : 0;
  for (const NumberBinding& n : kNumbers) edited_.*n.field = static_cast<DWORD>(ReadNumber(n.edit));
  // Under a policy the boxes cannot be edited and may show an explanation instead of entries.
  if (!PolicyManaged()) {
    ReadList(IDC_APPLY_TO, edited_.ApplyTo);
    ReadList(IDC_EXCLUDE, edited_.Exclude);
  }
  const int item = static_cast<int>(::SendDlgItemMessageW(hwnd, IDC_SHUTDOWN_ACTION, CB_GETCURSEL, 0, 0));
  edited_.ShutdownAction = ShutdownActionFromItem(item, edited_.ShutdownAction);
}

void DlgMain::ApplyEnabling() {
  // The rules read the boxes as they stand, not as last saved.
  MyOpts shown;
  shown.CopyFrom(edited_);
  shown.Shutdown = IsTicked(IDC_SHUTDOWN);
  shown.MonitorCPU = IsTicked(IDC_MONITOR_CPU);
  shown.LogoffStale = IsTicked(IDC_LOGOFF_STALE);
  const MainEnabling rules(shown, GpoMode(), PolicyManaged());
  for (const ControlState& c : rules.Controls()) {
    HWND control = Item(c.id);
    if (!control) continue;
    // Without a check handed in there is nothing for the link to run.
    const bool visible = c.visible && (c.id != IDC_CHECK_UPDATES || updates_);
    ::ShowWindow(control, visible ? SW_SHOWNA : SW_HIDE);
    ::EnableWindow(control, c.enabled ? TRUE : FALSE);
  }
}

// ---- messages

BOOL DlgMain::OnDlgMessage(UINT message, WPARAM wParam, LPARAM lParam, INT_PTR& result) {
  const UINT appMessage = GetAppMessage();
  if (appMessage != 0 && message == appMessage) {
    const auto command = static_cast<unsigned>(wParam);
    if (command == kCmdActivatePrevious) {
      result = LOWORD(lParam) == kConfigInstanceId ? 1 : 0;
      if (result) {
        if (::IsIconic(GetHwnd())) ::ShowWindow(GetHwnd(), SW_RESTORE);
        ::SetForegroundWindow(::GetLastActivePopup(GetHwnd()));
      }
    } else if (IsSettingsChangedNotice(command, static_cast<long long>(lParam), kConfigInstanceId)) {
      (void)LoadSettings(gpoPath_);
      // Until the next save, leaving asks first: what is shown is no longer what this window
      // last saved.
      reloadRequested_ = true;
      LoadControls();
      RefreshStatus();
      result = 1;
    } else if (command == kCmdActivityReport) {
      result = status_.OnActivityReport(static_cast<int>(lParam), NowTick());
    }
    ::SetWindowLongPtrW(GetHwnd(), DWLP_MSGRESULT, result);
    return TRUE;
  }
  switch (message) {
    case WM_TIMER:
      if (wParam != kStatusTimer) return FALSE;
      RefreshStatus();
      return TRUE;
    case WM_SYSCOMMAND:
      if ((wParam & 0xFFF0) != SC_CLOSE) return FALSE;
      closingByCloseBox_ = true;
      OnClose();
      closingByCloseBox_ = false;
      result = 0;
      return TRUE;
    case WM_CLOSE:
      // Escape and the dialog manager's own cancel arrive here or as IDCANCEL: neither closes.
      result = 0;
      return TRUE;
    case WM_DESTROY:
      ::KillTimer(GetHwnd(), kStatusTimer);
      SetActivityReportWindow(nullptr);
      return FALSE;
    default:
      return FALSE;
  }
}

void DlgMain::OnClose() {
  ReadControls();
  if (!ConfirmLeave()) return;
  StoreConfig();
  if (StopServiceOnClose(::GetKeyState(VK_CONTROL) < 0, ::GetKeyState(VK_MENU) < 0)) {
    HCURSOR previous = ::SetCursor(::LoadCursorW(nullptr, IDC_WAIT));
    // The service plumbing tells the administrator how the stop went and offers Retry.
    (void)service_.StopAndRemove();
    ::SetCursor(previous);
  }
  End(2);
}

BOOL DlgMain::ConfirmLeave() {
  if (!HasUnsavedChanges(loaded_, edited_, reloadRequested_)) return TRUE;
  const int answer = ShowMsg(MB_YESNOCANCEL | MB_ICONWARNING, LoadStr(IDS_APPLY_CHANGES));
  switch (OnUnsavedChangesAnswer(answer)) {
    case UnsavedChangesAction::kSaveThenGoOn: return Save();
    case UnsavedChangesAction::kGoOn: return TRUE;
    case UnsavedChangesAction::kAbort: return FALSE;
  }
  return FALSE;
}

int DlgMain::ShowMsg(std::uint32_t flags, const std::wstring& text, int* dontShowAgain) {
  return MsgEx(GetHwnd(), flags, text.c_str(), dontShowAgain);
}

}  // namespace tv
