// The real agent: TV64.EXE "/monitor:<n>" under the service's events, driven by injected input,
// ended every way it can end, and refusing to run without its hook library.
#include <gtest/gtest.h>

#ifdef _WIN32

#include <string>

#include "agent_process.h"
#include "synthetic_input.h"

namespace tv {
namespace {

using namespace test;

class MonitorAgent : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(events_.Create(session_));
    ASSERT_EQ(AgentWindow(), nullptr) << "an agent of an earlier run is still there";
    ASSERT_TRUE(key_.Open());
    key_.Set(L"Enable", 1);
  }
  // Starts an agent for this test's session and waits for its window.
  HWND Start(Launched& agent) {
    HWND hwnd = WaitForAgent(0, kUiLimitMs);
    EXPECT_EQ(WindowPid(hwnd), agent.Pid());
    return hwnd;
  }
  // Whether the idle event is seen set while `send` makes input every 20 ms for two seconds.
  bool Signalled(bool (*send)()) {
    for (const ULONGLONG end = ::GetTickCount64() + 2000; ::GetTickCount64() < end;) {
      EXPECT_TRUE(send());
      if (events_.idle.Wait(20)) return true;
    }
    return false;
  }

  const DWORD session_ = OwnSession(7000);
  const std::wstring switch_ = L"/monitor:" + std::to_wstring(session_);
  const UINT appMessage_ = ::RegisterWindowMessageW(L"BrellickMessage");
  SessionEvents events_;
  ProductKey key_;
};

// How often input becomes a signal, and which kinds count, are activity_gate_test's; here, that
// the hook's input reaches the session's idle event and the switches are read from the registry.
TEST_F(MonitorAgent, InputSignalsTheIdleEventAndWithKeyboardOffOnlyTheMouseCounts) {
  key_.Set(L"MonitorKB", 0);
  Launched agent(switch_);
  HWND hwnd = Start(agent);
  ASSERT_NE(hwnd, nullptr);
  EXPECT_FALSE(::IsWindowVisible(hwnd));
  EXPECT_FALSE(Signalled(&TypeKey));
  EXPECT_TRUE(Signalled(&NudgeMouse));
  ::PostMessageW(hwnd, appMessage_, 301, 0);
  EXPECT_EQ(agent.ExitCode(), 0);
}

// Which numbers are refused is dispatch_test's; here, the exit code a refusal ends with.
TEST_F(MonitorAgent, OneAgentPerDesktopAndEachWayOfEndingIsClean) {
  Launched bad(L"/monitor:-1");
  EXPECT_EQ(bad.ExitCode(), 87);
  Launched bare(L"/monitor");
  EXPECT_EQ(bare.ExitCode(), 0) << "no number is no request";

  for (const char* way : {"command 301", "quit event", "session end"}) {
    SCOPED_TRACE(way);
    Launched agent(switch_);
    HWND hwnd = Start(agent);
    ASSERT_NE(hwnd, nullptr);
    if (way[0] == 'c') {
      Launched second(switch_);
      EXPECT_EQ(second.ExitCode(), 0);
      EXPECT_EQ(AgentWindow(), hwnd) << "a second agent is turned away";
      ::PostMessageW(hwnd, appMessage_, 301, 0);
    } else if (way[0] == 'q') {
      events_.quit.Set();
    } else {
      // The session ends: the service is told to stop watching it, and the agent goes.
      EXPECT_FALSE(events_.cancel.Wait(0));
      DWORD_PTR result = 0;
      ::SendMessageTimeoutW(hwnd, WM_ENDSESSION, TRUE, 0, SMTO_ABORTIFHUNG, 5000, &result);
      EXPECT_TRUE(events_.cancel.Wait(5000));
    }
    EXPECT_EQ(agent.ExitCode(), 0);
    EXPECT_EQ(AgentWindow(), nullptr);
    events_.quit.Clear();
  }
}

TEST_F(MonitorAgent, MissingOrDamagedHookLibraryIsReportedAndNoWindowStays) {
  wchar_t temp[MAX_PATH] = {};
  ::GetTempPathW(MAX_PATH, temp);
  const std::wstring folder = std::wstring(temp) + L"tv-agent-" + std::to_wstring(::GetCurrentProcessId()) + L"\\";
  const std::wstring bin = LauncherFolder();
  ::CreateDirectoryW(folder.c_str(), nullptr);
  // The product library itself stands in for a damaged hook library: it loads, but lacks the export.
  for (const wchar_t* hookSource : {static_cast<const wchar_t*>(nullptr), L"TV64.DLL"}) {
    for (const wchar_t* file : {L"TV64.EXE", L"TV64.DLL"})
      ASSERT_TRUE(::CopyFileW((bin + file).c_str(), (folder + file).c_str(), FALSE));
    ::DeleteFileW((folder + L"TVH64.DLL").c_str());
    if (hookSource) ASSERT_TRUE(::CopyFileW((bin + hookSource).c_str(), (folder + L"TVH64.DLL").c_str(), FALSE));

    Launched agent(switch_, folder);
    ASSERT_TRUE(agent.Started());
    HWND box = nullptr;
    std::wstring text;
    // The box's window exists a moment before its text is set: wait for what a person would read.
    ASSERT_TRUE(Eventually([&] {
      box = FindBox(agent.Pid());
      if (box) text = ItemText(box, 0xFFFF);  // the box's static control
      return !text.empty();
    }));
    EXPECT_EQ(text.rfind(hookSource ? L"Cannot use " : L"Cannot load ", 0), 0u) << testing::PrintToString(text);
    EXPECT_NE(text.find(folder + L"TVH64.DLL"), std::wstring::npos) << testing::PrintToString(text);
    EXPECT_EQ(text.find(L"(corrupted file?)") != std::wstring::npos, hookSource != nullptr);
    EXPECT_EQ(AgentWindow(), nullptr);
    ::PostMessageW(box, WM_COMMAND, IDOK, 0);
    EXPECT_EQ(agent.ExitCode(), 1);
  }
  for (const wchar_t* file : {L"TV64.EXE", L"TV64.DLL", L"TVH64.DLL"}) ::DeleteFileW((folder + file).c_str());
  ::RemoveDirectoryW(folder.c_str());
}

}  // namespace
}  // namespace tv

#else

TEST(MonitorAgent, WindowsOnly) { GTEST_SKIP() << "the agent runs on Windows only"; }

#endif  // _WIN32
