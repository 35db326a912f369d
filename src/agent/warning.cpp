// The forced-log-off warning: the countdown box, its full-screen backdrop and the "/msg" mode.
#include "agent/warning.h"

#include <chrono>

#include "agent/warning_countdown.h"
#include "config_ui/msg_box.h"
#include "settings/my_opts.h"

#ifdef _WIN32
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

// Lets a warning already open finish first: its state is the process's only one.
void WaitForOpenWarning() {
  MSG msg;
  while (g_warning.open) {
    const BOOL got = ::GetMessageW(&msg, nullptr, 0, 0);
    if (got <= 0) {
      if (got == 0) ::PostQuitMessage(static_cast<int>(msg.wParam));
      return;
    }
    ::TranslateMessage(&msg);
    ::DispatchMessageW(&msg);
  }
}
#endif

}  // namespace

int ShowWarning(void* owner, const MyOpts& opts) {
#ifdef _WIN32
  WaitForOpenWarning();
  HWND backdrop = opts.FullScreen ? TakeBackdrop() : nullptr;
  if (backdrop) owner = backdrop;
#endif
  if (g_warning.open) return 0;  // a nested request the wait above could not serve
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

int RunMessageMode(DWORD session) {
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
  (void)ShowWarning(nullptr, opts);
  return 0;
}

}  // namespace tv
