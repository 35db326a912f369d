// What the Windows agent tests share: the launcher started as a process of its own, the
// session's events made as the service makes them, the product key's values set for one test,
// and the boxes a process shows.
#pragma once

#ifdef _WIN32

#include <gtest/gtest.h>

#include <cwchar>
#include <string>
#include <vector>

#include "entry/launcher_location.h"
#include "foundation/event.h"
#include "foundation/object_names.h"
#include "platform/win32/windows_include.h"
#include "support/ui_driver.h"

namespace tv::test {

// TV64.EXE of `folder` with `arguments`, ended and closed when it goes out of scope.
class Launched : public ChildProcess {
 public:
  explicit Launched(const std::wstring& arguments, const std::wstring& folder = LauncherFolder())
      : started_(Start(folder + L"TV64.EXE", arguments) != FALSE) {}
  bool Started() const { return started_; }
  DWORD Pid() const { return Id(); }
  // The exit code, or -1 when the process is still running after `limitMs`.
  int ExitCode(DWORD limitMs = 15000) { return Wait(limitMs); }

 private:
  bool started_;
};

inline DWORD WindowPid(HWND hwnd) {
  ::DWORD pid = 0;
  ::GetWindowThreadProcessId(hwnd, &pid);
  return pid;
}

inline HWND AgentWindow() { return ::FindWindowW(L"TARNVALE_MONITOR", nullptr); }

// A visible dialog of process `pid` (with `caption`, when given), or null.
inline HWND FindBox(DWORD pid, const wchar_t* caption = nullptr) { return FindTopWindow(pid, L"#32770", caption); }

// How long a step of another process (a window, a box, an exit) may take under a slow Wine.
inline constexpr DWORD kAgentLimitMs = 60000;

// A session number of this test process's own, above `base`, so that no other agent or service
// meets its events.
inline DWORD OwnSession(DWORD base) { return base + ::GetCurrentProcessId() % 100; }

// The agent window of a process other than `notPid`, once there is one (null after the limit).
inline HWND WaitForAgent(DWORD notPid = 0, DWORD limitMs = kAgentLimitMs) {
  HWND found = nullptr;
  Eventually([&] { return (found = AgentWindow()) != nullptr && WindowPid(found) != notPid; }, limitMs);
  return found;
}

// A visible "Tarnvale" box of `pid` other than `before`, once `before` has gone.
inline HWND WaitForBox(DWORD pid, HWND before = nullptr) {
  HWND box = nullptr;
  Eventually([&] { return !::IsWindow(before) && (box = FindBox(pid, L"Tarnvale")) != nullptr && box != before; },
             kAgentLimitMs);
  return box;
}

// The idle, cancel and quit events of session `session` (under `tag`, or the plain names), made
// as the service makes them: interactive users may only set (or wait on) them.
struct SessionEvents {
  Event idle, cancel, quit;
  bool Create(DWORD session, const std::wstring& tag = L"") {
    return idle.CreateNewForUser(IdleEventName(L"Tarnvale", session, tag).c_str(), kTrue, L"IU", kEventModifyState,
                                 kFalse, kFalse) &&
           cancel.CreateNewForUser(CancelEventName(L"Tarnvale", session, tag).c_str(), kTrue, L"IU",
                                   kEventModifyState, kFalse, kFalse) &&
           quit.CreateNewForUser(QuitEventName(L"Tarnvale", tag).c_str(), kTrue, L"IU", kSynchronize, kTrue, kFalse);
  }
};

// The product key; values set through it are deleted again when it goes out of scope.
class ProductKey {
 public:
  ProductKey() {
    ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Brellick\\Tarnvale", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                      &key_, nullptr);
  }
  ~ProductKey() {
    for (const std::wstring& name : written_) ::RegDeleteValueW(key_, name.c_str());
    if (key_) ::RegCloseKey(key_);
  }
  bool Open() const { return key_ != nullptr; }
  void Set(const wchar_t* name, DWORD value) {
    ::RegSetValueExW(key_, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
    written_.push_back(name);
  }
  void SetText(const wchar_t* name, const wchar_t* text) {
    ::RegSetValueExW(key_, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                     static_cast<DWORD>((std::wcslen(text) + 1) * sizeof(wchar_t)));
    written_.push_back(name);
  }

 private:
  HKEY key_ = nullptr;
  std::vector<std::wstring> written_;
};

}  // namespace tv::test

#endif  // _WIN32
