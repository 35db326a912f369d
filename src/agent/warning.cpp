// The forced-log-off warning: the countdown box, its full-screen backdrop and the "/msg" mode.
#include "agent/warning.h"

#include <chrono>

#include "agent/monitor.h"
#include "agent/warning_countdown.h"
#include "ui/msg_box.h"
#include "foundation/event.h"
#include "settings/my_opts.h"

#ifdef _WIN32
#include "agent/quit_watcher.h"
#include "foundation/app_message.h"
#include "platform/win32/windows_include.h"
#endif

namespace tv {
namespace {

constexpr unsigned kTickMs = 1000;
// OK only, warning icon, brought to the foreground, topmost.
constexpr std::uint32_t kWarningFlags = 0x50030;
constexpr const wchar_t* kMonitorClass = L"TARNVALE_MONITOR";

// One warning per process; the box and the monitor window live on the one UI thread.
struct WarningState {
  WarningCountdown countdown;
  void* box = nullptr;
  bool open = false;
};
WarningState g_warning;

std::int64_t NowSeconds() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

int CountdownTick(void* box, int tick, void*) {
  if (tick == 0) {
    g_warning.box = box;
    return 0;
  }
  std::wstring text;
  if (g_warning.countdown.TextAt(NowSeconds(), text)) MsgExSetText(box, text.c_str());
  return 0;
}

#ifdef _WIN32
// The monitor window stretched over the primary screen behind the box, or null.
HWND TakeBackdrop() {
  HWND monitor = ::FindWindowW(kMonitorClass, nullptr);
  if (!monitor) return nullptr;
  ::SetWindowPos(monitor, HWND_TOPMOST, 0, 0, ::GetSystemMetrics(SM_CXSCREEN), ::GetSystemMetrics(SM_CYSCREEN),
                 SWP_SHOWWINDOW);
  ::SetForegroundWindow(monitor);
  ::BringWindowToTop(monitor);
  return monitor;
}

void ReleaseBackdrop(HWND monitor) {
  if (monitor && ::IsWindow(monitor))
    ::SetWindowPos(monitor, HWND_NOTOPMOST, 0, 0, 1, 1, SWP_HIDEWINDOW | SWP_NOACTIVATE);
}

#endif

}  // namespace

int ShowWarning(void* owner, const MyOpts& opts) {
  // Refused, never waited for: a wait here would run inside the open box's loop, and the open
  // box could not return before the wait did. The monitor window queues its requests instead.
  if (g_warning.open) return 0;
#ifdef _WIN32
  HWND backdrop = opts.FullScreen ? TakeBackdrop() : nullptr;
  if (backdrop) owner = backdrop;
#endif
  g_warning.open = true;
  g_warning.countdown.Start(opts, NowSeconds());
  const std::wstring text = g_warning.countdown.InitialText();
  MsgExSetTimerCallback(kTickMs, &CountdownTick, nullptr);
  const int result = MsgEx(owner, kWarningFlags, text.c_str());
  g_warning.box = nullptr;
  g_warning.open = false;
  MsgExSetTimerCallback(0, nullptr, nullptr);
#ifdef _WIN32
  ReleaseBackdrop(backdrop);
#endif
  return result;
}

void* GetOpenWarningBox() { return g_warning.box; }

int RunMessageMode(DWORD session, const std::wstring& tag) {
#ifdef _WIN32
  if (HWND monitor = ::FindWindowW(kMonitorClass, nullptr)) {
    // The agent shows the warning with the settings it already holds.
    ::PostMessageW(monitor, GetAppMessage(), kCmdShowWarning, static_cast<LPARAM>(session));
    return 0;
  }
#endif
  MyOpts opts;
  opts.Reset();
  (void)opts.Load();  // a computer without settings warns with the defaults
  // Only the session's own quit event: the plain one is the whole service's, and a box started
  // by hand has no session the service could let go.
  Event quit;
  const BOOL watched = !tag.empty() && quit.Open(AgentQuitEventName(tag).c_str(), kTrue, kSynchronize, kFalse);
#ifdef _WIN32
  // The service has let the session go: the box must not outlive it for hours. The watcher
  // posts WM_QUIT to this thread, whose queue must exist before it starts.
  QuitWatcher watcher;
  if (watched) {
    MSG msg;
    ::PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);
    (void)watcher.Start(static_cast<HANDLE>(static_cast<void*>(quit)), ::GetCurrentThreadId());
  }
  const int answer = ShowWarning(nullptr, opts);
  const bool ended = watcher.Fired();
#else
  const int answer = ShowWarning(nullptr, opts);
  const bool ended = watched && quit.Wait(0);
#endif
  if (answer == 1 && !ended) {
    // No agent watches this session's input, so the answer itself is the sign of life: the
    // service restarts the idle clock and ends the warning. Set-only access is all the
    // service grants the user.
    Event idle;
    if (idle.Open(AgentIdleEventName(session, tag).c_str(), kTrue, kEventModifyState, kFalse)) idle.Set();
  }
  return 0;
}

}  // namespace tv
