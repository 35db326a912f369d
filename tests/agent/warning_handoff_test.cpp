// "/msg" while the session's agent runs: the warning process hands the request to the agent's
// window and ends; the box that appears belongs to the agent, and none to the "/msg" process.
#include <gtest/gtest.h>

#ifdef _WIN32
#include <string>

#include "config_ui/msg_box_ids.h"
#include "entry/launcher_location.h"
#include "foundation/app_message.h"
#include "foundation/event.h"
#include "platform/win32/windows_include.h"

namespace tv {
namespace {

constexpr ::DWORD kLimitMs = 30000;
constexpr wchar_t kProductKey[] = L"SOFTWARE\\Brellick\\Tarnvale";

class Process {
 public:
  explicit Process(const std::wstring& arguments) {
    const std::wstring exe = test::LauncherFolder() + L"TV64.EXE";
    std::wstring line = L"\"" + exe + L"\" " + arguments;
    STARTUPINFOW si{};
    si.cb = sizeof(si);
    started_ = ::CreateProcessW(exe.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi_);
  }
  ~Process() {
    if (!started_) return;
    if (::WaitForSingleObject(pi_.hProcess, 0) == WAIT_TIMEOUT) ::TerminateProcess(pi_.hProcess, 99);
    ::CloseHandle(pi_.hThread);
    ::CloseHandle(pi_.hProcess);
  }
  bool Started() const { return started_ != FALSE; }
  int Wait(::DWORD ms) {
    if (::WaitForSingleObject(pi_.hProcess, ms) != WAIT_OBJECT_0) return -1;
    ::DWORD code = 0;
    ::GetExitCodeProcess(pi_.hProcess, &code);
    return static_cast<int>(code);
  }
  ::DWORD Id() const { return pi_.dwProcessId; }

 private:
  BOOL started_ = FALSE;
  PROCESS_INFORMATION pi_{};
};

struct Search {
  ::DWORD process;
  HWND found;
};

BOOL CALLBACK FindWarning(HWND hwnd, LPARAM context) {
  auto* s = reinterpret_cast<Search*>(context);
  ::DWORD process = 0;
  ::GetWindowThreadProcessId(hwnd, &process);
  wchar_t className[16] = {};
  ::GetClassNameW(hwnd, className, 16);
  if (process == s->process && std::wcscmp(className, L"#32770") == 0 && ::GetDlgItem(hwnd, IDC_MSGEX_TEXT)) {
    s->found = hwnd;
    return FALSE;
  }
  return TRUE;
}

HWND WarningOf(::DWORD process) {
  Search s{process, nullptr};
  ::EnumWindows(&FindWarning, reinterpret_cast<LPARAM>(&s));
  return s.found;
}

template <typename F>
bool Eventually(F condition) {
  const ULONGLONG end = ::GetTickCount64() + kLimitMs;
  while (!condition()) {
    if (::GetTickCount64() >= end) return false;
    ::Sleep(50);
  }
  return true;
}

TEST(WarningHandoff, MessageModeLetsTheAgentShowTheWarning) {
  const ::DWORD session = 8000 + ::GetCurrentProcessId() % 1000;
  const std::wstring n = std::to_wstring(session);
  Event idle, cancel, quit;
  ASSERT_TRUE(idle.CreateNewForUser((L"TarnvaleEventIdle-" + n).c_str(), kTrue, L"IU", kEventModifyState, kFalse,
                                    kFalse));
  ASSERT_TRUE(cancel.CreateNewForUser((L"TarnvaleEventCancel-" + n).c_str(), kTrue, L"IU", kEventModifyState, kFalse,
                                      kFalse));
  ASSERT_TRUE(quit.CreateNewForUser(L"TarnvaleEventQuit", kTrue, L"IU", kSynchronize, kTrue, kFalse));
  HKEY key = nullptr;
  ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kProductKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  const ::DWORD one = 1;
  ::RegSetValueExW(key, L"Enable", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&one), sizeof(one));
  // A box mapped under the pointer would see a real mouse move and close at once.
  ::SetCursorPos(0, 0);

  Process agent(L"/monitor:" + n);
  ASSERT_TRUE(agent.Started());
  HWND monitor = nullptr;
  ASSERT_TRUE(Eventually([&] { return (monitor = ::FindWindowW(L"TARNVALE_MONITOR", nullptr)) != nullptr; }));

  Process message(L"/msg:" + n);
  ASSERT_TRUE(message.Started());
  EXPECT_EQ(message.Wait(kLimitMs), 0) << "the warning process hands over and ends";
  HWND box = nullptr;
  EXPECT_TRUE(Eventually([&] { return (box = WarningOf(agent.Id())) != nullptr; })) << "the agent shows the box";
  EXPECT_EQ(WarningOf(message.Id()), nullptr);
  if (box) ::PostMessageW(box, GetAppMessage(), kCmdPressControl, IDOK);

  ::PostMessageW(monitor, GetAppMessage(), kCmdEndAgent, 0);
  EXPECT_NE(agent.Wait(kLimitMs), -1);
  ::RegDeleteValueW(key, L"Enable");
  ::RegCloseKey(key);
}

}  // namespace
}  // namespace tv

#else
TEST(WarningHandoff, WindowsOnly) { GTEST_SKIP() << "the agent's window exists on Windows only"; }
#endif
