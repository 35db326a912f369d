// The warning as a person meets it: TV64.EXE started with "/msg" shows a box that counts down
// from the configured time, in every placeholder of a custom text, and closes when the monitor
// window's activity press (application message 6, control 1) reaches it. A "/msg" without a
// session number shows nothing; a "/msg" while the session's agent runs hands the request over,
// and the box that appears is the agent's. In-process, the full-screen backdrop is taken and given back.
#include <gtest/gtest.h>

#ifdef _WIN32
#include <string>

#include "agent/warning.h"
#include "config_ui/msg_box.h"
#include "config_ui/msg_box_ids.h"
#include "entry/launcher_location.h"
#include "foundation/app_message.h"
#include "foundation/event.h"
#include "platform/win32/windows_include.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

constexpr wchar_t kProductKey[] = L"SOFTWARE\\Brellick\\Tarnvale";
constexpr ::DWORD kLimitMs = 60000;

void SetSettings(::DWORD timeout, const wchar_t* text) {
  HKEY key = nullptr;
  ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kProductKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  ::RegSetValueExW(key, L"MessageTimeout", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&timeout), sizeof(timeout));
  if (text)
    ::RegSetValueExW(key, L"MessageText", 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                     static_cast<DWORD>((std::wcslen(text) + 1) * sizeof(wchar_t)));
  else
    ::RegDeleteValueW(key, L"MessageText");
  ::RegCloseKey(key);
}

class Launched {
 public:
  explicit Launched(const std::wstring& arguments) {
    const std::wstring exe = test::LauncherFolder() + L"TV64.EXE";
    std::wstring line = L"\"" + exe + L"\" " + arguments;
    STARTUPINFOW si{};
    si.cb = sizeof(si);
    started_ = ::CreateProcessW(exe.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi_);
  }
  ~Launched() {
    if (!started_) return;
    if (::WaitForSingleObject(pi_.hProcess, 0) == WAIT_TIMEOUT) ::TerminateProcess(pi_.hProcess, 99);
    ::CloseHandle(pi_.hThread);
    ::CloseHandle(pi_.hProcess);
  }
  bool Started() const { return started_ != FALSE; }
  // The exit code, or -1 when the process has not ended within `ms`.
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

struct BoxSearch {
  ::DWORD process;
  HWND found;
};

BOOL CALLBACK FindBox(HWND hwnd, LPARAM context) {
  auto* search = reinterpret_cast<BoxSearch*>(context);
  ::DWORD process = 0;
  ::GetWindowThreadProcessId(hwnd, &process);
  wchar_t className[16] = {}, caption[32] = {};
  ::GetClassNameW(hwnd, className, 16);
  ::GetWindowTextW(hwnd, caption, 32);
  if (process == search->process && std::wcscmp(className, L"#32770") == 0 && std::wcscmp(caption, L"Tarnvale") == 0 &&
      ::IsWindowVisible(hwnd)) {
    search->found = hwnd;
    return FALSE;
  }
  return TRUE;
}

// The warning box of process `process`, waiting up to the limit for it to appear.
HWND WaitForBox(::DWORD process) {
  const ULONGLONG end = ::GetTickCount64() + kLimitMs;
  do {
    BoxSearch search{process, nullptr};
    ::EnumWindows(&FindBox, reinterpret_cast<LPARAM>(&search));
    if (search.found) return search.found;
    ::Sleep(100);
  } while (::GetTickCount64() < end);
  return nullptr;
}

std::wstring BoxText(HWND box) {
  wchar_t text[1024] = {};
  ::SendMessageW(::GetDlgItem(box, IDC_MSGEX_TEXT), WM_GETTEXT, std::size(text), reinterpret_cast<LPARAM>(text));
  return text;
}

// Watches the box's text until it holds `part` (the countdown moves on in another process).
bool WaitForText(HWND box, const wchar_t* part) {
  const ULONGLONG end = ::GetTickCount64() + kLimitMs;
  do {
    if (BoxText(box).find(part) != std::wstring::npos) return true;
    ::Sleep(50);
  } while (::GetTickCount64() < end && ::IsWindow(box));
  return false;
}

TEST(WarningE2E, MessageModeCountsDownAndClosesOnTheActivityPress) {
  SetSettings(5, nullptr);
  Launched run(L"/msg:7");
  ASSERT_TRUE(run.Started());
  HWND box = WaitForBox(run.Id());
  ASSERT_NE(box, nullptr) << "no warning box appeared";
  const std::wstring first = BoxText(box);
  EXPECT_NE(first.find(L"in less than 5:00 minute(s)"), std::wstring::npos) << testing::PrintToString(first);
  EXPECT_NE(first.find(L"Press OK to stop the automatic log off."), std::wstring::npos);
  EXPECT_TRUE(WaitForText(box, L"in less than 4:59 minute(s)"));

  ::PostMessageW(box, GetAppMessage(), kCmdPressControl, IDOK);
  EXPECT_EQ(run.Wait(kLimitMs), 0) << "the box closed and the process ended";
}

TEST(WarningE2E, CustomTextCountsDownInBothPlaceholders) {
  SetSettings(5, L"Idle. Log-off in %d, that is in %d.");
  Launched run(L"/msg=7");
  ASSERT_TRUE(run.Started());
  HWND box = WaitForBox(run.Id());
  ASSERT_NE(box, nullptr);
  EXPECT_TRUE(WaitForText(box, L"Idle. Log-off in 4:59, that is in 4:59."));
  ::PostMessageW(box, WM_CLOSE, 0, 0);
  EXPECT_EQ(run.Wait(kLimitMs), 0);
  SetSettings(5, nullptr);
}

TEST(WarningE2E, MessageModeWithoutASessionNumberShowsNothing) {
  for (const wchar_t* arguments : {L"/msg", L"/msg:", L"/msg:abc", L"/msg:-1", L"/msg:99999999999"}) {
    Launched run(arguments);
    ASSERT_TRUE(run.Started());
    EXPECT_EQ(run.Wait(kLimitMs), 0) << testing::PrintToString(std::wstring(arguments));
  }
}

// In-process: the box is answered from a thread-less timer that runs inside its message loop.
HWND g_backdrop = nullptr;
RECT g_backdropRect{};
bool g_backdropOwnsBox = false;
std::wstring g_text;

void CALLBACK AnswerWarning(HWND, UINT, UINT_PTR id, ::DWORD) {
  HWND box = static_cast<HWND>(GetOpenWarningBox());
  if (!box) return;
  g_text = BoxText(box);
  if (g_backdrop) {
    ::GetWindowRect(g_backdrop, &g_backdropRect);
    g_backdropOwnsBox = ::GetWindow(box, GW_OWNER) == g_backdrop && ::IsWindowVisible(g_backdrop);
  }
  ::KillTimer(nullptr, id);
  ::PostMessageW(box, GetAppMessage(), kCmdPressControl, IDOK);
}

TEST(WarningE2E, FullScreenBackdropIsTakenForTheBoxAndGivenBack) {
  HMODULE module = ::LoadLibraryW((test::LauncherFolder() + L"TV64.DLL").c_str());
  ASSERT_NE(module, nullptr);
  MsgSetResourceModule(module);
  WNDCLASSW wc{};
  wc.lpfnWndProc = ::DefWindowProcW;
  wc.hInstance = ::GetModuleHandleW(nullptr);
  wc.lpszClassName = L"TARNVALE_MONITOR";
  ::RegisterClassW(&wc);
  g_backdrop = ::CreateWindowExW(WS_EX_TOOLWINDOW, L"TARNVALE_MONITOR", L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr,
                                 wc.hInstance, nullptr);
  ASSERT_NE(g_backdrop, nullptr);

  MyOpts opts;
  opts.MessageTimeout = 3;
  opts.FullScreen = 1;
  ::SetTimer(nullptr, 0, 200, &AnswerWarning);
  EXPECT_EQ(ShowWarning(nullptr, opts), 1) << "the activity press answers OK";
  EXPECT_NE(g_text.find(L"3:00"), std::wstring::npos) << testing::PrintToString(g_text);
  EXPECT_TRUE(g_backdropOwnsBox);
  EXPECT_EQ(g_backdropRect.right - g_backdropRect.left, ::GetSystemMetrics(SM_CXSCREEN));
  EXPECT_EQ(g_backdropRect.bottom - g_backdropRect.top, ::GetSystemMetrics(SM_CYSCREEN));

  RECT after{};
  ::GetWindowRect(g_backdrop, &after);
  EXPECT_FALSE(::IsWindowVisible(g_backdrop));
  EXPECT_EQ(after.right - after.left, 1);
  EXPECT_FALSE(::GetWindowLongW(g_backdrop, GWL_EXSTYLE) & WS_EX_TOPMOST);
  EXPECT_EQ(GetOpenWarningBox(), nullptr);
  ::DestroyWindow(g_backdrop);
  g_backdrop = nullptr;
}

TEST(WarningE2E, MessageModeLetsARunningAgentShowTheWarning) {
  const ::DWORD session = 8000 + ::GetCurrentProcessId() % 1000;
  const std::wstring n = std::to_wstring(session);
  Event idle, cancel, quit;
  ASSERT_TRUE(idle.CreateNewForUser((L"TarnvaleEventIdle-" + n).c_str(), kTrue, L"IU", kEventModifyState, kFalse,
                                    kFalse));
  ASSERT_TRUE(cancel.CreateNewForUser((L"TarnvaleEventCancel-" + n).c_str(), kTrue, L"IU", kEventModifyState, kFalse,
                                      kFalse));
  ASSERT_TRUE(quit.CreateNewForUser(L"TarnvaleEventQuit", kTrue, L"IU", kSynchronize, kTrue, kFalse));
  SetSettings(5, nullptr);
  HKEY key = nullptr;
  ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kProductKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  const ::DWORD one = 1;
  ::RegSetValueExW(key, L"Enable", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&one), sizeof(one));
  // A box mapped under the pointer would see a real mouse move and close at once.
  ::SetCursorPos(0, 0);

  Launched agent(L"/monitor:" + n);
  ASSERT_TRUE(agent.Started());
  HWND monitor = nullptr;
  const ULONGLONG end = ::GetTickCount64() + kLimitMs;
  while (!(monitor = ::FindWindowW(L"TARNVALE_MONITOR", nullptr)) && ::GetTickCount64() < end) ::Sleep(50);
  ASSERT_NE(monitor, nullptr);

  Launched message(L"/msg:" + n);
  ASSERT_TRUE(message.Started());
  EXPECT_EQ(message.Wait(kLimitMs), 0) << "the warning process hands over and ends";
  HWND box = WaitForBox(agent.Id());
  EXPECT_NE(box, nullptr) << "the agent shows the box";
  if (box) ::PostMessageW(box, GetAppMessage(), kCmdPressControl, IDOK);

  ::PostMessageW(monitor, GetAppMessage(), kCmdEndAgent, 0);
  EXPECT_NE(agent.Wait(kLimitMs), -1);
  ::RegDeleteValueW(key, L"Enable");
  ::RegCloseKey(key);
}

}  // namespace
}  // namespace tv

#else
TEST(WarningE2E, WindowsOnly) { GTEST_SKIP() << "the warning box exists on Windows only"; }
#endif
