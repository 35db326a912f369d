// Monitor_Wnd: the agent's window and its activity signals.
#include "agent/monitor_wnd.h"

#include "agent/monitor.h"
#include "agent/warning.h"
#include "foundation/app_message.h"
#include "foundation/event.h"

namespace tv {

Monitor_Wnd::Monitor_Wnd(DWORD session, const Clock& clock, CpuUsage& cpu, Sessions& sessions)
    : session_(session), gate_(clock), cpu_(cpu), sessions_(sessions) {}

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
}

void Monitor_Wnd::OnActivity(int kind, void* window) {
  auto* self = static_cast<Monitor_Wnd*>(window);
  if (!self) return;
  const int signal = self->gate_.OnActivity(kind);
  if (signal != kActivityNone) (void)self->SignalActivity(signal);
}

BOOL Monitor_Wnd::SignalActivity(int kind) {
  Event idle;
  const BOOL opened = idle.Open(AgentIdleEventName(session_).c_str(), kTrue, kEventModifyState, kFalse);
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
  const DWORD load = gate_.WantsCpuLoad() ? cpu_.GetCpuUsage() : 0;
  const int signal = gate_.OnTick(load);
  if (signal != kActivityNone) (void)SignalActivity(signal);
}

void Monitor_Wnd::OnSessionEnding() {
  gate_.SetEnding();
  Event cancel;
  if (cancel.Open(AgentCancelEventName(session_).c_str(), kTrue, kEventModifyState, kFalse)) cancel.Set();
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
      // Shown with the settings already loaded; the box pumps this window's messages meanwhile.
      (void)ShowWarning(GetHwnd(), settings_);
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
      if (static_cast<DWORD>(lParam) == session_ &&
          (wParam == WTS_CONSOLE_CONNECT || wParam == WTS_REMOTE_CONNECT || wParam == WTS_SESSION_UNLOCK)) {
        gate_.MarkPending(kActivitySessionChange);
      }
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
