// Monitor_Wnd: the agent's window and its activity signals.
#include "agent/monitor_wnd.h"

#include <vector>

#include "agent/monitor.h"
#include "agent/warning.h"
#include "foundation/app_message.h"
#include "foundation/event.h"
#include "platform/event_log.h"
#include "platform/win32/handles.h"
#include "foundation/service_log.h"

namespace tv {
namespace {

// The session's last input as the system counts it: every device, and the system's own desktops
// too. `fallback` when the system cannot say.
Tick LastInputTick(Tick fallback) {
  LASTINPUTINFO info{};
  info.cbSize = sizeof(info);
  return ::GetLastInputInfo(&info) ? static_cast<Tick>(info.dwTime) : fallback;
}

// The account this agent runs as, "DOMAIN\user", or "user" for an account of this computer,
// as the service names accounts in its entries. Empty when the token cannot be read.
std::wstring CurrentAccountName() {
  HANDLE raw = nullptr;
  if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &raw)) return {};
  UniqueKernelHandle token(raw);
  ::DWORD size = 0;
  ::GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
  if (size == 0) return {};
  std::vector<unsigned char> buffer(size);
  if (!::GetTokenInformation(token.get(), TokenUser, buffer.data(), size, &size)) return {};
  const PSID sid = reinterpret_cast<TOKEN_USER*>(buffer.data())->User.Sid;
  wchar_t user[256] = {}, domain[256] = {}, computer[MAX_COMPUTERNAME_LENGTH + 1] = {};
  ::DWORD userChars = 256, domainChars = 256, computerChars = MAX_COMPUTERNAME_LENGTH + 1;
  SID_NAME_USE use{};
  if (!::LookupAccountSidW(nullptr, sid, user, &userChars, domain, &domainChars, &use)) return {};
  const bool local = !*domain || (::GetComputerNameW(computer, &computerChars) && ::lstrcmpiW(domain, computer) == 0);
  return local ? std::wstring(user) : std::wstring(domain) + L"\\" + user;
}

}  // namespace

Monitor_Wnd::Monitor_Wnd(DWORD session, const std::wstring& tag, const Clock& clock, CpuUsage& cpu,
                         Sessions& sessions)
    : session_(session),
      tag_(tag),
      gate_(clock),
      watchdog_(clock, LastInputTick(clock.GetTickCount())),
      cpu_(cpu),
      sessions_(sessions),
      clock_(clock) {}

Monitor_Wnd::~Monitor_Wnd() {
  // The hooks are stopped before the window object goes; anything still posted is dropped with
  // the window.
  (void)Destroy();
}

BOOL Monitor_Wnd::Prepare(HINSTANCE instance) {
  LoadSettings();
  messageId_ = GetAppMessage();
  return RegisterWndClass(kMonitorClassName, instance);
}

BOOL Monitor_Wnd::CreateMonitorWindow(HINSTANCE instance, HWND owner) {
  return Create(kMonitorClassName, kMonitorClassName, 0, 0, 300, 300, 0, 0, owner, nullptr, instance);
}

void Monitor_Wnd::LoadSettings() {
  // A missing key keeps the defaults, in which nothing is enabled: the agent then signals nothing.
  (void)settings_.Load();
  gate_.SetRules(settings_.Enable, settings_.MonitorKB, settings_.MonitorMouse, settings_.MonitorCPU,
                 settings_.PercentCPU);
  sources_.SetRules(settings_.KeepAliveAudio, settings_.KeepAlivePresentation, settings_.Timeout);
}

void Monitor_Wnd::OnActivity(int kind, void* window) {
  auto* self = static_cast<Monitor_Wnd*>(window);
  if (!self) return;
  // Every report proves the hooks alive, whatever the rate rule and the settings make of it.
  self->watchdog_.OnHookInput();
  const int signal = self->gate_.OnActivity(kind);
  if (signal != kActivityNone) (void)self->SignalActivity(signal);
}

BOOL Monitor_Wnd::SignalActivity(int kind) {
  Event idle;
  const BOOL opened = idle.Open(AgentIdleEventName(session_, tag_).c_str(), kTrue, kEventModifyState, kFalse);
  if (opened) idle.Set();
  // Posted, never sent: this runs on the hook library's thread, and a send to a window whose
  // thread is stopping the hooks would wait for ever.
  if (messageId_) {
    if (HWND report = static_cast<HWND>(GetActivityReportWindow()))
      ::PostMessageW(report, messageId_, kCmdActivityReport, static_cast<LPARAM>(kind));
    if (HWND box = static_cast<HWND>(GetOpenWarningBox())) ::PostMessageW(box, messageId_, kCmdPressControl, IDOK);
  }
  return opened;
}

void Monitor_Wnd::OnTimer() {
  WatchHooks();
  FeedSources();
  const DWORD load = gate_.WantsCpuLoad() ? cpu_.GetCpuUsage() : 0;
  const int signal = gate_.OnTick(load);
  if (signal != kActivityNone) (void)SignalActivity(signal);
}

void Monitor_Wnd::WatchHooks() {
  LASTINPUTINFO info{};
  info.cbSize = sizeof(info);
  if (!::GetLastInputInfo(&info)) return;
  const HookWatchdog::Verdict verdict = watchdog_.OnTick(static_cast<Tick>(info.dwTime));
  if (verdict.missedInput) {
    // Through the rate rule like the hooks' own reports: once a second, and only when watched.
    const int kind = HookWatchdog::MissedInputKind(settings_.MonitorKB, settings_.MonitorMouse);
    const int signal = gate_.OnActivity(kind);
    if (signal != kActivityNone) (void)SignalActivity(signal);
  }
  if (verdict.reinstall) ReinstallHooks();
}

void Monitor_Wnd::FeedSources() {
  if (!settings_.Enable || !sources_.WantsProbe()) return;
  if (!probe_) probe_ = CreateSessionActivityProbe(session_);
  const Tick now = clock_.GetTickCount();
  // The system's last-input time starts each idle stretch, whatever the hooks caught.
  const Tick input = LastInputTick(lastInputSeen_);
  if (input != lastInputSeen_) {
    lastInputSeen_ = input;
    sources_.OnInput(input);
  }
  const ActivitySources::Verdict verdict = sources_.OnTick(now, *probe_);
  if (verdict.kind == kActivityNone) return;
  // Through the rate rule like input: at most one signal a second, whatever the sources say.
  const int signal = gate_.OnActivity(verdict.kind);
  if (signal != kActivityNone) (void)SignalActivity(signal);
  if (!verdict.report) return;
  // The service sees these sources as input, so the agent writes the sparing itself.
  const std::wstring why = verdict.kind == kActivityAudio
                               ? L"sound is being played or recorded in it (KeepAliveAudio)"
                               : L"it is presenting or shows a full-screen program (KeepAlivePresentation)";
  if (auto log = CreateSystemEventLog())
    (void)log->Report(EventTypeOf(evt::kKeptAlive), evt::kKeptAlive, {CurrentAccountName(), why});
}

void Monitor_Wnd::ReinstallHooks() {
  if (!doDllHook_) return;
  // The library may still hold one of the two hooks: both go before both come back.
  (void)doDllHook_(nullptr, nullptr);
  if (!doDllHook_(&Monitor_Wnd::OnActivity, this)) return;
  // The administrator learns that this computer drops hooks: it is too busy for its users.
  if (auto log = CreateSystemEventLog())
    (void)log->Report(EventTypeOf(evt::kHooksReinstalled), evt::kHooksReinstalled, {CurrentAccountName()});
}

void Monitor_Wnd::OnShowWarning(LPARAM session) {
  if (quitting_.load(std::memory_order_acquire)) return;
  if (warningOpen_) {
    // Asked again while the box is open, from inside its loop: nesting a second box (or a wait
    // for the first) here would stop the first frame from ever returning.
    warningQueued_ = true;
    queuedSession_ = session;
    return;
  }
  warningOpen_ = true;
  // Shown with the settings already loaded; the box pumps this window's messages meanwhile.
  (void)ShowWarning(GetHwnd(), settings_);
  warningOpen_ = false;
  if (warningQueued_ && !quitting_.load(std::memory_order_acquire) && GetHwnd()) {
    warningQueued_ = false;
    // Posted, so the queued box opens from the window's own loop, not inside this frame.
    ::PostMessageW(GetHwnd(), messageId_, kCmdShowWarning, queuedSession_);
  }
}

void Monitor_Wnd::OnSessionEnding() {
  gate_.SetEnding();
  Event cancel;
  if (cancel.Open(AgentCancelEventName(session_, tag_).c_str(), kTrue, kEventModifyState, kFalse)) cancel.Set();
  // Nothing is left to watch: the agent goes with the session rather than waiting to be killed.
  ::PostMessageW(GetHwnd(), messageId_, kCmdEndAgent, 0);
}

LRESULT Monitor_Wnd::OnAppCommand(WPARAM command, LPARAM argument) {
  switch (command) {
    case kCmdEndAgent:
      (void)Destroy();
      return 0;
    case kCmdReloadAgent:
      LoadSettings();
      return 0;
    case kCmdShowWarning:
      OnShowWarning(argument);
      return 0;
    default:
      return 0;
  }
}

LRESULT Monitor_Wnd::OnWndMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  if (messageId_ && message == messageId_) return OnAppCommand(wParam, lParam);
  switch (message) {
    case WM_CREATE:
      notificationsOn_ = sessions_.RegisterSessionNotification(GetHwnd()) != 0;
      timerOn_ = ::SetTimer(GetHwnd(), timerId_, kTimerMs, nullptr) != 0;
      return 0;
    case WM_DESTROY:
      if (timerOn_) ::KillTimer(GetHwnd(), timerId_);
      if (notificationsOn_) (void)sessions_.UnregisterSessionNotification(GetHwnd());
      timerOn_ = notificationsOn_ = false;
      ::PostQuitMessage(0);
      return 0;
    case WM_ENDSESSION:
      if (wParam) OnSessionEnding();
      return 0;
    case WM_WTSSESSION_CHANGE:
      if (static_cast<DWORD>(lParam) != session_) return 0;
      if (wParam == WTS_CONSOLE_CONNECT || wParam == WTS_REMOTE_CONNECT || wParam == WTS_SESSION_UNLOCK) {
        gate_.MarkPending(kActivitySessionChange);
        sources_.OnInput(clock_.GetTickCount());
      }
      // Typing on the lock screen reaches the session's last-input time but never the hooks.
      if (wParam == WTS_SESSION_LOCK) watchdog_.Suspend();
      if (wParam == WTS_SESSION_UNLOCK) watchdog_.Resume(LastInputTick(0));
      return 0;
    case WM_TIMER:
      if (wParam == timerId_) {
        OnTimer();
        return 0;
      }
      break;
    default:
      break;
  }
  return DefaultProc(message, wParam, lParam);
}

}  // namespace tv
