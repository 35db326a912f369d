// Monitor_Wnd: the agent's hidden window (Windows only). It owns the rate rule and the hook
// watchdog, takes the hook library's input reports, the one-second timer, session notifications
// and the product's commands, shows the warning (one at a time, a request meanwhile queued), and
// sets the session's idle event.
#pragma once

#ifdef _WIN32

// First: window.h names DWORD unqualified inside namespace tv, and must see the system's type,
// not tv::DWORD, or its members get other link names than window.cpp gives them.
#include "ui/win32/window.h"

#include <atomic>
#include <memory>
#include <string>

#include "agent/activity_gate.h"
#include "agent/activity_sources.h"
#include "agent/hook_library.h"
#include "agent/hook_watchdog.h"
#include "platform/clock.h"
#include "platform/cpu.h"
#include "platform/sessions.h"
#include "settings/my_opts.h"

namespace tv {

class Monitor_Wnd : public CSWnd {
 public:
  // The timer's id and period.
  static constexpr UINT_PTR kTimerId = 1;
  static constexpr UINT kTimerMs = 1000;

  // All three seams must outlive the window; `sessions` registers the session notifications.
  // The session's events are the ones of `tag` (empty: the plain names).
  Monitor_Wnd(DWORD session, const std::wstring& tag, const Clock& clock, CpuUsage& cpu, Sessions& sessions);
  ~Monitor_Wnd() override;

  // Loads the settings, registers "BrellickMessage" and the window class. 0 with the system's
  // error code when the class cannot be registered.
  BOOL Prepare(HINSTANCE instance);

  // Creates the hidden window "TARNVALE_MONITOR" owned by `owner`.
  BOOL CreateMonitorWindow(HINSTANCE instance, HWND owner);

  // The hook library's callback (`window` is the Monitor_Wnd); any thread, never blocks on the
  // window's thread.
  static void OnActivity(int kind, void* window);

  // Sets the session's idle event and reports `kind` to the registered utility window and to an
  // open warning box. TRUE if the idle event could be opened (the service is there).
  BOOL SignalActivity(int kind);

  // Reloads the settings from the registry and applies them to the rate rule.
  void LoadSettings();

  // The hook library's export, used to install the hooks again when the watchdog finds them
  // gone; the caller installs them the first time.
  void SetHookLibrary(DoDllHookFn doDllHook) { doDllHook_ = doDllHook; }

  // The quit event is set: no warning is shown any more, queued or new. Any thread.
  void SetQuitting() { quitting_.store(true, std::memory_order_release); }

  ActivityGate& Gate() { return gate_; }
  DWORD Session() const { return session_; }

 protected:
  LRESULT OnWndMessage(UINT message, WPARAM wParam, LPARAM lParam) override;

 private:
  void OnTimer();
  void WatchHooks();
  // Sound and presentations, when their settings are on: fed to the rate rule like input.
  void FeedSources();
  void ReinstallHooks();
  void OnSessionEnding();
  void OnShowWarning(LPARAM session);
  LRESULT OnAppCommand(WPARAM command, LPARAM argument);

  UINT messageId_ = 0;
  DWORD session_;
  std::wstring tag_;
  UINT_PTR timerId_ = kTimerId;
  bool timerOn_ = false;
  bool notificationsOn_ = false;
  MyOpts settings_;
  ActivityGate gate_;
  HookWatchdog watchdog_;
  DoDllHookFn doDllHook_ = nullptr;
  // The warning box runs its loop inside OnShowWarning; a request that arrives meanwhile waits
  // here (one is enough: both would show the same countdown) and is posted again afterwards.
  bool warningOpen_ = false;
  bool warningQueued_ = false;
  LPARAM queuedSession_ = 0;
  std::atomic<bool> quitting_{false};
  CpuUsage& cpu_;
  Sessions& sessions_;
  const Clock& clock_;
  ActivitySources sources_;
  std::unique_ptr<SessionActivityProbe> probe_;
  Tick lastInputSeen_ = 0;
};

}  // namespace tv

#endif  // _WIN32
