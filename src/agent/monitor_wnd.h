// Monitor_Wnd: the agent's hidden window (Windows only). It owns the rate rule, takes the hook
// library's input reports, the one-second timer, session notifications and the product's
// commands, and sets the session's idle event.
#pragma once

#ifdef _WIN32

// First: window.h names DWORD unqualified inside namespace tv, and must see the system's type,
// not tv::DWORD, or its members get other link names than window.cpp gives them.
#include "foundation/win32/window.h"

#include "agent/activity_gate.h"
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
  Monitor_Wnd(DWORD session, const Clock& clock, CpuUsage& cpu, Sessions& sessions);
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

  ActivityGate& Gate() { return gate_; }
  DWORD Session() const { return session_; }

 protected:
  LRESULT OnWndMessage(UINT message, WPARAM wParam, LPARAM lParam) override;

 private:
  void OnTimer();
  void OnSessionEnding();
  LRESULT OnAppCommand(WPARAM command, LPARAM argument);

  UINT messageId_ = 0;
  DWORD session_;
  UINT_PTR timerId_ = kTimerId;
  bool timerOn_ = false;
  bool notificationsOn_ = false;
  MyOpts settings_;
  ActivityGate gate_;
  CpuUsage& cpu_;
  Sessions& sessions_;
};

}  // namespace tv

#endif  // _WIN32
