// RunMonitor: the "/monitor" run mode. Loads the hook library, makes the agent window and runs
// its message loop until the session's quit event, command 301 or the session's end.
#include "agent/monitor_wnd.h"  // first, see there

#include <cstdio>
#include <cwchar>
#include <iterator>
#include <string>

#include "agent/hook_library.h"
#include "agent/monitor.h"
#include "agent/quit_watcher.h"
#include "foundation/event.h"
#include "platform/message_box.h"
#include "platform/win32/handles.h"

namespace tv {
namespace {

// The module this code is linked into (TV64.DLL), whose folder also holds the hook library.
HMODULE OwnModule() {
  HMODULE module = nullptr;
  ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&OwnModule), &module);
  return module;
}

std::wstring HookLibraryPath(HMODULE own) {
  wchar_t buffer[MAX_PATH * 4] = {};
  const DWORD n = ::GetModuleFileNameW(own, buffer, static_cast<DWORD>(std::size(buffer)));
  std::wstring path(buffer, n < std::size(buffer) ? n : 0);
  const size_t slash = path.find_last_of(L"\\/");
  // Only ever beside the product's own library: a copy found on the search path could be anyone's.
  return (slash == std::wstring::npos ? std::wstring() : path.substr(0, slash + 1)) + kHookLibraryName;
}

// Keeps the hook library reporting to the window for as long as it lives; declared after the
// window, so the reports stop before the window object goes, whichever way the scope is left.
class HookReporting {
 public:
  HookReporting(DoDllHookFn doDllHook, Monitor_Wnd& window) : doDllHook_(doDllHook) {
    (void)doDllHook_(&Monitor_Wnd::OnActivity, &window);
  }
  ~HookReporting() { (void)doDllHook_(nullptr, nullptr); }
  HookReporting(const HookReporting&) = delete;
  HookReporting& operator=(const HookReporting&) = delete;

 private:
  DoDllHookFn doDllHook_;
};

std::wstring FormatText(const wchar_t* format, const std::wstring& name) {
  std::wstring text(std::wcslen(format) + name.size() + 1, L'\0');
  const int n = std::swprintf(text.data(), text.size(), format, name.c_str());
  text.resize(n > 0 ? static_cast<size_t>(n) : 0);
  return text;
}

// Pumps until the quit message: posted when the window goes (command 301, the session's end)
// or by the quit watcher, which reaches this loop through any loop nested in it.
void RunMessageLoop() {
  MSG msg;
  for (;;) {
    const BOOL got = ::GetMessageW(&msg, nullptr, 0, 0);
    if (got <= 0) return;
    ::TranslateMessage(&msg);
    ::DispatchMessageW(&msg);
  }
}

int RunAgent(DWORD session, const std::wstring& tag) {
  if (::FindWindowW(kMonitorClassName, nullptr)) return 0;

  // Registered as ever; the window has nothing to redo when the taskbar comes back.
  (void)::RegisterWindowMessageW(L"TaskbarCreated");
  HWND desktop = ::GetDesktopWindow();
  const HMODULE own = OwnModule();

  const std::wstring hookPath = HookLibraryPath(own);
  UniqueModule hooks(::LoadLibraryW(hookPath.c_str()));
  if (!hooks.valid()) {
    PreserveLastError keep;
    (void)ShowMessage(desktop, FormatText(L"Cannot load %ls", hookPath), MsgIcon::kError);
    return 1;
  }
  auto doDllHook = reinterpret_cast<DoDllHookFn>(reinterpret_cast<void*>(::GetProcAddress(hooks.get(), kHookExportName)));
  if (!doDllHook) {
    PreserveLastError keep;
    (void)ShowMessage(desktop, FormatText(L"Cannot use %ls (corrupted file?)", hookPath), MsgIcon::kError);
    return 1;
  }

  // Closed late at system shutdown, after the programs whose windows the user still works in.
  ::SetProcessShutdownParameters(0x100, 0);

  auto clock = CreateSystemClock();
  auto cpu = CreateSystemCpuUsage();
  auto sessions = CreateSystemSessions();
  int code = 0;
  {
    Monitor_Wnd window(session, tag, *clock, *cpu, *sessions);
    if (!window.Prepare(own)) return 1;
    window.SetHookLibrary(doDllHook);
    // Without hooks the agent still reports CPU load and session changes.
    HookReporting reporting(doDllHook, window);
    if (window.CreateMonitorWindow(own, desktop)) {
      // The session's own quit event, created by the service for this session's user with
      // synchronise access only: asking for more would be refused.
      Event quit;
      Event reload;
      QuitWatcher watcher;
      // The service's word that the settings changed reaches every session's agent this way,
      // whichever desktop the configuration utility runs on.
      if (!tag.empty() && reload.Open(AgentReloadEventName(session, tag).c_str(), kTrue, kSynchronize, kFalse)) {
        const HWND hwnd = window.GetHwnd();
        const UINT message = GetAppMessage();
        watcher.WatchReload(static_cast<HANDLE>(static_cast<void*>(reload)),
                            [hwnd, message] { ::PostMessageW(hwnd, message, kCmdReloadAgent, 0); });
      }
      if (quit.Open(AgentQuitEventName(tag).c_str(), kTrue, kSynchronize, kFalse)) {
        // The window hears first, so that no queued warning opens on the way out. Without the
        // event (an agent started by hand) the loop only pumps.
        (void)watcher.Start(static_cast<HANDLE>(static_cast<void*>(quit)), ::GetCurrentThreadId(),
                            [&window] { window.SetQuitting(); });
      }
      RunMessageLoop();
    } else {
      code = 1;
    }
    ::UnregisterClassW(kMonitorClassName, own);
  }
  return code;
}

}  // namespace

int RunMonitor(DWORD session, const std::wstring& tag) {
  try {
    return RunAgent(session, tag);
  } catch (...) {
    // Out of memory on the way in; the service treats a session without agent as idle.
    return 1;
  }
}

}  // namespace tv
