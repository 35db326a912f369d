// The real agent: TV64.EXE "/monitor:<n>" under the service's events, driven by injected input,
// ended every way it can end, and refusing to run without its hook library.
#include <gtest/gtest.h>

#ifdef _WIN32

#include <functional>
#include <string>
#include <vector>

#include "entry/launcher_location.h"
#include "foundation/event.h"
#include "platform/win32/windows_include.h"
#include "synthetic_input.h"

namespace tv {
namespace {

constexpr DWORD kStartLimitMs = 20000;
constexpr DWORD kExitLimitMs = 15000;
constexpr wchar_t kProductKey[] = L"SOFTWARE\\Brellick\\Tarnvale";
constexpr wchar_t kMonitorClass[] = L"TARNVALE_MONITOR";

bool Eventually(const std::function<bool()>& condition, DWORD limitMs) {
  const ULONGLONG end = ::GetTickCount64() + limitMs;
  for (;;) {
    if (condition()) return true;
    if (::GetTickCount64() >= end) return false;
    ::Sleep(50);
  }
}

// A process of the launcher, ended and closed when it goes out of scope.
class Launched {
 public:
  Launched(const std::wstring& folder, const std::wstring& arguments) {
    const std::wstring exe = folder + L"TV64.EXE";
    std::wstring line = L"\"" + exe + L"\" " + arguments;
    STARTUPINFOW si{};
    si.cb = sizeof(si);
    if (::CreateProcessW(exe.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi_))
      ::CloseHandle(pi_.hThread);
  }
  ~Launched() {
    if (!pi_.hProcess) return;
    if (::WaitForSingleObject(pi_.hProcess, 0) != WAIT_OBJECT_0) ::TerminateProcess(pi_.hProcess, 99);
    ::WaitForSingleObject(pi_.hProcess, kExitLimitMs);
    ::CloseHandle(pi_.hProcess);
  }
  bool Started() const { return pi_.hProcess != nullptr; }
  DWORD Pid() const { return pi_.dwProcessId; }
  // The exit code, or -1 when the process is still running after `limitMs`.
  int ExitCode(DWORD limitMs = kExitLimitMs) const {
    if (::WaitForSingleObject(pi_.hProcess, limitMs) != WAIT_OBJECT_0) return -1;
    ::DWORD code = 0;
    ::GetExitCodeProcess(pi_.hProcess, &code);
    return static_cast<int>(code);
  }

 private:
  PROCESS_INFORMATION pi_{};
};

HWND AgentWindow() { return ::FindWindowW(kMonitorClass, nullptr); }

DWORD WindowPid(HWND hwnd) {
  ::DWORD pid = 0;
  ::GetWindowThreadProcessId(hwnd, &pid);
  return pid;
}

// A message box of process `pid`, or null.
HWND FindMessageBox(DWORD pid) {
  struct Search {
    DWORD pid;
    HWND found;
  } search{pid, nullptr};
  ::EnumWindows(
      [](HWND hwnd, LPARAM p) -> BOOL {
        auto* s = reinterpret_cast<Search*>(p);
        wchar_t cls[64] = {};
        ::GetClassNameW(hwnd, cls, 64);
        if (WindowPid(hwnd) == s->pid && std::wstring(cls) == L"#32770") {
          s->found = hwnd;
          return FALSE;
        }
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&search));
  return search.found;
}

// The text of a message box (its static control has the id 0xFFFF).
std::wstring MessageBoxText(HWND box) {
  wchar_t text[1024] = {};
  ::SendMessageW(::GetDlgItem(box, 0xFFFF), WM_GETTEXT, std::size(text), reinterpret_cast<LPARAM>(text));
  return text;
}

class MonitorAgent : public ::testing::Test {
 protected:
  void SetUp() override {
    // A session number of this run's own, so that no other agent or service meets its events.
    session_ = 7000 + ::GetCurrentProcessId() % 1000;
    const std::wstring n = std::to_wstring(session_);
    // Made as the service makes them: interactive users may only set (or wait on) them.
    ASSERT_TRUE(idle_.CreateNewForUser((L"TarnvaleEventIdle-" + n).c_str(), kTrue, L"IU", kEventModifyState, kFalse,
                                       kFalse));
    ASSERT_TRUE(cancel_.CreateNewForUser((L"TarnvaleEventCancel-" + n).c_str(), kTrue, L"IU", kEventModifyState,
                                         kFalse, kFalse));
    ASSERT_TRUE(quit_.CreateNewForUser(L"TarnvaleEventQuit", kTrue, L"IU", kSynchronize, kTrue, kFalse));
    ASSERT_EQ(AgentWindow(), nullptr) << "an agent of an earlier run is still there";
    ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kProductKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key_,
                                nullptr),
              ERROR_SUCCESS);
    SetValue(L"Enable", 1);
  }
  void TearDown() override {
    for (const std::wstring& name : written_) ::RegDeleteValueW(key_, name.c_str());
    if (key_) ::RegCloseKey(key_);
  }

  void SetValue(const wchar_t* name, DWORD value) {
    ::RegSetValueExW(key_, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
    written_.push_back(name);
  }

  std::wstring Switch() const { return L"/monitor:" + std::to_wstring(session_); }

  // Waits for the agent's window and checks it belongs to `agent`.
  HWND WaitForWindow(const Launched& agent) {
    HWND hwnd = nullptr;
    EXPECT_TRUE(Eventually([&] { return (hwnd = AgentWindow()) != nullptr; }, kStartLimitMs));
    EXPECT_EQ(WindowPid(hwnd), agent.Pid());
    return hwnd;
  }

  // Drives input with `send` every 20 ms for `ms` and answers the ticks at which the idle event
  // was seen set.
  std::vector<ULONGLONG> SignalsDuring(DWORD ms, bool (*send)()) {
    std::vector<ULONGLONG> seen;
    const ULONGLONG end = ::GetTickCount64() + ms;
    while (::GetTickCount64() < end) {
      EXPECT_TRUE(send());
      if (idle_.Wait(20)) seen.push_back(::GetTickCount64());
    }
    return seen;
  }

  DWORD session_ = 0;
  Event idle_, cancel_, quit_;
  HKEY key_ = nullptr;
  std::vector<std::wstring> written_;
};

TEST_F(MonitorAgent, TypingSignalsTheIdleEventAboutOncePerSecond) {
  Launched agent(test::LauncherFolder(), Switch());
  ASSERT_TRUE(agent.Started());
  HWND hwnd = WaitForWindow(agent);
  ASSERT_NE(hwnd, nullptr);
  EXPECT_FALSE(::IsWindowVisible(hwnd));

  const auto seen = SignalsDuring(4500, &test::TypeKey);
  // One at once, then one each second: 5 in 4.5 s, give or take the edges.
  EXPECT_GE(seen.size(), 4u);
  EXPECT_LE(seen.size(), 6u);
  for (size_t i = 1; i < seen.size(); ++i) {
    // 1000 ms apart at the agent; this side may wake up to a scheduling slice late for one.
    EXPECT_GE(seen[i] - seen[i - 1], 900u) << "signals " << i - 1 << " and " << i;
  }

  quit_.Set();
  EXPECT_EQ(agent.ExitCode(), 0);
  EXPECT_EQ(AgentWindow(), nullptr);
  quit_.Clear();
}

TEST_F(MonitorAgent, WithKeyboardOffOnlyTheMouseCounts) {
  SetValue(L"MonitorKB", 0);
  Launched agent(test::LauncherFolder(), Switch());
  ASSERT_TRUE(agent.Started());
  HWND hwnd = WaitForWindow(agent);
  ASSERT_NE(hwnd, nullptr);

  EXPECT_TRUE(SignalsDuring(2000, &test::TypeKey).empty());
  EXPECT_FALSE(SignalsDuring(2000, &test::NudgeMouse).empty());

  ::PostMessageW(hwnd, ::RegisterWindowMessageW(L"BrellickMessage"), 301, 0);
  EXPECT_EQ(agent.ExitCode(), 0);
  EXPECT_EQ(AgentWindow(), nullptr);
}

TEST_F(MonitorAgent, OneAgentPerDesktopAndEachWayOfEndingIsClean) {
  const std::wstring folder = test::LauncherFolder();
  const UINT appMessage = ::RegisterWindowMessageW(L"BrellickMessage");

  // Command 301, with a second agent turned away meanwhile.
  {
    Launched agent(folder, Switch());
    HWND hwnd = WaitForWindow(agent);
    ASSERT_NE(hwnd, nullptr);
    Launched second(folder, Switch());
    EXPECT_EQ(second.ExitCode(), 0);
    EXPECT_EQ(AgentWindow(), hwnd);
    ::PostMessageW(hwnd, appMessage, 301, 0);
    EXPECT_EQ(agent.ExitCode(), 0);
    EXPECT_EQ(AgentWindow(), nullptr);
  }
  // The service's quit event.
  {
    Launched agent(folder, Switch());
    ASSERT_NE(WaitForWindow(agent), nullptr);
    quit_.Set();
    EXPECT_EQ(agent.ExitCode(), 0);
    EXPECT_EQ(AgentWindow(), nullptr);
    quit_.Clear();
  }
  // The session ends: the service is told to stop watching it, and the agent goes.
  {
    Launched agent(folder, Switch());
    HWND hwnd = WaitForWindow(agent);
    ASSERT_NE(hwnd, nullptr);
    EXPECT_FALSE(cancel_.Wait(0));
    DWORD_PTR result = 0;
    ::SendMessageTimeoutW(hwnd, WM_ENDSESSION, TRUE, 0, SMTO_ABORTIFHUNG, 5000, &result);
    EXPECT_TRUE(cancel_.Wait(5000));
    EXPECT_EQ(agent.ExitCode(), 0);
    EXPECT_EQ(AgentWindow(), nullptr);
  }
}

TEST_F(MonitorAgent, BadSessionNumbersEndAtOnce) {
  const std::wstring folder = test::LauncherFolder();
  for (const wchar_t* arguments : {L"/monitor:abc", L"/monitor:", L"/monitor:-1", L"/monitor=99999999999"}) {
    Launched agent(folder, arguments);
    EXPECT_EQ(agent.ExitCode(), 87) << testing::PrintToString(std::wstring(arguments));
  }
  Launched bare(folder, L"/monitor");
  EXPECT_EQ(bare.ExitCode(), 0) << "no number is no request";
  EXPECT_EQ(AgentWindow(), nullptr);
}

// A folder with the launcher and its library but `hookFile` (or nothing) as the hook library.
class ScratchFolder {
 public:
  explicit ScratchFolder(const wchar_t* hookSource) {
    wchar_t temp[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, temp);
    path_ = std::wstring(temp) + L"tv-agent-" + std::to_wstring(::GetCurrentProcessId()) + L"\\";
    ::CreateDirectoryW(path_.c_str(), nullptr);
    const std::wstring bin = test::LauncherFolder();
    ok_ = ::CopyFileW((bin + L"TV64.EXE").c_str(), (path_ + L"TV64.EXE").c_str(), FALSE) &&
          ::CopyFileW((bin + L"TV64.DLL").c_str(), (path_ + L"TV64.DLL").c_str(), FALSE) &&
          (!hookSource || ::CopyFileW((bin + hookSource).c_str(), (path_ + L"TVH64.DLL").c_str(), FALSE));
  }
  ~ScratchFolder() {
    for (const wchar_t* file : {L"TV64.EXE", L"TV64.DLL", L"TVH64.DLL"}) ::DeleteFileW((path_ + file).c_str());
    ::RemoveDirectoryW(path_.c_str());
  }
  bool ok() const { return ok_; }
  const std::wstring& path() const { return path_; }

 private:
  std::wstring path_;
  bool ok_ = false;
};

TEST_F(MonitorAgent, MissingOrDamagedHookLibraryIsReportedAndNoWindowStays) {
  struct Case {
    const wchar_t* hookSource;  // what is copied as TVH64.DLL
    const wchar_t* expected;
  };
  // The product library itself stands in for a damaged hook library: it loads, but lacks the export.
  for (const Case& c : {Case{nullptr, L"Cannot load "}, Case{L"TV64.DLL", L"Cannot use "}}) {
    ScratchFolder folder(c.hookSource);
    ASSERT_TRUE(folder.ok());
    Launched agent(folder.path(), Switch());
    ASSERT_TRUE(agent.Started());
    HWND box = nullptr;
    std::wstring text;
    // The box's window exists a moment before its text is set: wait for what a person would read.
    ASSERT_TRUE(Eventually(
        [&] {
          box = FindMessageBox(agent.Pid());
          if (box) text = MessageBoxText(box);
          return !text.empty();
        },
        kStartLimitMs));
    EXPECT_EQ(text.rfind(c.expected, 0), 0u) << testing::PrintToString(text);
    EXPECT_NE(text.find(folder.path() + L"TVH64.DLL"), std::wstring::npos) << testing::PrintToString(text);
    if (c.hookSource) {
      EXPECT_NE(text.find(L"(corrupted file?)"), std::wstring::npos);
    }
    EXPECT_EQ(AgentWindow(), nullptr);
    ::PostMessageW(box, WM_COMMAND, IDOK, 0);
    EXPECT_EQ(agent.ExitCode(), 1);
    EXPECT_EQ(AgentWindow(), nullptr);
  }
}

}  // namespace
}  // namespace tv

#else

TEST(MonitorAgent, WindowsOnly) { GTEST_SKIP() << "the agent runs on Windows only"; }

#endif  // _WIN32
