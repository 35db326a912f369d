// The real agent: TV64.EXE "/monitor:<n>" under the service's events, driven by injected input,
// ended every way it can end, and refusing to run without its hook library.
#include <gtest/gtest.h>

#ifdef _WIN32

#include <string>
#include <vector>

#include "agent_process.h"
#include "synthetic_input.h"

namespace tv {
namespace {

using namespace test;

constexpr DWORD kStartLimitMs = 20000;

class MonitorAgent : public ::testing::Test {
 protected:
  void SetUp() override {
    // A session number of this run's own, so that no other agent or service meets its events.
    session_ = 7000 + ::GetCurrentProcessId() % 1000;
    ASSERT_TRUE(events_.Create(session_));
    ASSERT_EQ(AgentWindow(), nullptr) << "an agent of an earlier run is still there";
    ASSERT_TRUE(key_.Open());
    key_.Set(L"Enable", 1);
  }

  std::wstring Switch() const { return L"/monitor:" + std::to_wstring(session_); }

  // Waits for the agent's window and checks it belongs to `agent`.
  HWND WaitForWindow(const Launched& agent) {
    HWND hwnd = nullptr;
    EXPECT_TRUE(Eventually([&] { return (hwnd = AgentWindow()) != nullptr; }, kStartLimitMs));
    EXPECT_EQ(WindowPid(hwnd), agent.Pid());
    return hwnd;
  }

  // Drives input with `send` every 20 ms for `ms`; answers the ticks the idle event was seen set.
  std::vector<ULONGLONG> SignalsDuring(DWORD ms, bool (*send)()) {
    std::vector<ULONGLONG> seen;
    const ULONGLONG end = ::GetTickCount64() + ms;
    while (::GetTickCount64() < end) {
      EXPECT_TRUE(send());
      if (events_.idle.Wait(20)) seen.push_back(::GetTickCount64());
    }
    return seen;
  }

  DWORD session_ = 0;
  SessionEvents events_;
  ProductKey key_;
};

// How often input becomes a signal, and which kinds count, are activity_gate_test's; here, that
// the hook's input reaches the session's idle event and the switches are read from the registry.
TEST_F(MonitorAgent, InputSignalsTheIdleEventAndWithKeyboardOffOnlyTheMouseCounts) {
  key_.Set(L"MonitorKB", 0);
  Launched agent(Switch());
  HWND hwnd = WaitForWindow(agent);
  ASSERT_NE(hwnd, nullptr);
  EXPECT_FALSE(::IsWindowVisible(hwnd));

  EXPECT_TRUE(SignalsDuring(2000, &TypeKey).empty());
  EXPECT_FALSE(SignalsDuring(2000, &NudgeMouse).empty());

  ::PostMessageW(hwnd, ::RegisterWindowMessageW(L"BrellickMessage"), 301, 0);
  EXPECT_EQ(agent.ExitCode(), 0);
  EXPECT_EQ(AgentWindow(), nullptr);
}

TEST_F(MonitorAgent, OneAgentPerDesktopAndEachWayOfEndingIsClean) {
  const UINT appMessage = ::RegisterWindowMessageW(L"BrellickMessage");

  // Command 301, with a second agent turned away meanwhile.
  {
    Launched agent(Switch());
    HWND hwnd = WaitForWindow(agent);
    ASSERT_NE(hwnd, nullptr);
    Launched second(Switch());
    EXPECT_EQ(second.ExitCode(), 0);
    EXPECT_EQ(AgentWindow(), hwnd);
    ::PostMessageW(hwnd, appMessage, 301, 0);
    EXPECT_EQ(agent.ExitCode(), 0);
    EXPECT_EQ(AgentWindow(), nullptr);
  }
  // The service's quit event.
  {
    Launched agent(Switch());
    ASSERT_NE(WaitForWindow(agent), nullptr);
    events_.quit.Set();
    EXPECT_EQ(agent.ExitCode(), 0);
    EXPECT_EQ(AgentWindow(), nullptr);
    events_.quit.Clear();
  }
  // The session ends: the service is told to stop watching it, and the agent goes.
  {
    Launched agent(Switch());
    HWND hwnd = WaitForWindow(agent);
    ASSERT_NE(hwnd, nullptr);
    EXPECT_FALSE(events_.cancel.Wait(0));
    DWORD_PTR result = 0;
    ::SendMessageTimeoutW(hwnd, WM_ENDSESSION, TRUE, 0, SMTO_ABORTIFHUNG, 5000, &result);
    EXPECT_TRUE(events_.cancel.Wait(5000));
    EXPECT_EQ(agent.ExitCode(), 0);
    EXPECT_EQ(AgentWindow(), nullptr);
  }
}

// Which numbers are refused is dispatch_test's; here, the exit code a refusal ends with.
TEST_F(MonitorAgent, BadSessionNumbersEndAtOnce) {
  Launched bad(L"/monitor:-1");
  EXPECT_EQ(bad.ExitCode(), 87);
  Launched bare(L"/monitor");
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
    const std::wstring bin = LauncherFolder();
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
    Launched agent(Switch(), folder.path());
    ASSERT_TRUE(agent.Started());
    HWND box = nullptr;
    std::wstring text;
    // The box's window exists a moment before its text is set: wait for what a person would read.
    ASSERT_TRUE(Eventually(
        [&] {
          box = FindBox(agent.Pid());
          if (box) text = ItemText(box, 0xFFFF);  // the box's static control
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
