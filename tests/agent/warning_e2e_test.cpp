// The warning as a person meets it: TV64.EXE "/msg" counts down in a box that OK, the activity
// press or the session's quit event closes, or hands the request to the session's running agent.
#include <gtest/gtest.h>

#ifdef _WIN32
#include <string>

#include "agent/warning.h"
#include "agent_process.h"
#include "foundation/app_message.h"
#include "settings/my_opts.h"
#include "synthetic_input.h"
#include "ui/msg_box.h"
#include "ui/msg_box_ids.h"

namespace tv {
namespace {

using namespace test;

std::wstring BoxText(HWND box) { return ItemText(box, IDC_MSGEX_TEXT); }

// The countdown's texts are warning_countdown_test's; here, the settings read from the registry,
// the text moving on in the box, and what each way of closing it tells the service.
TEST(WarningE2E, MessageModeAloneCountsDownTheStoredTextTurnsOkIntoActivityAndEndsOnTheQuitEvent) {
  const std::wstring n = std::to_wstring(OwnSession(8400));
  const std::wstring tagged = L"/msg:" + n + L" /tag:" + NewObjectTag();
  SessionEvents events;
  ASSERT_TRUE(events.Create(OwnSession(8400), tagged.substr(tagged.find(L"/tag:") + 5)));
  ASSERT_EQ(AgentWindow(), nullptr);
  ProductKey key;
  key.Set(L"MessageTimeout", 5);
  key.SetText(L"MessageText", L"Idle. Log-off in %d, that is in %d.");
  ::SetCursorPos(0, 0);  // a box mapped under the pointer would see a real mouse move
  {
    Launched run(tagged);
    HWND box = WaitForBox(run.Pid());
    ASSERT_NE(box, nullptr) << "no warning box appeared";
    // Counting down below the stored five minutes, both %d filled. Not one exact second: on a
    // loaded machine a tick can pass unpainted.
    EXPECT_TRUE(Eventually(
        [&] {
          const std::wstring text = BoxText(box);
          return text.find(L"Idle. Log-off in 4:") == 0 && text.find(L", that is in 4:") != std::wstring::npos;
        },
        kAgentLimitMs))
        << testing::PrintToString(BoxText(box));
    EXPECT_FALSE(events.idle.Wait(0));
    ASSERT_TRUE(PostPress(box, IDC_MSGEX_BUTTON1));
    EXPECT_EQ(run.ExitCode(kAgentLimitMs), 0);
    EXPECT_TRUE(events.idle.Wait(0)) << "OK pressed is the user's sign of life";
  }
  {
    Launched run(tagged);
    HWND box = WaitForBox(run.Pid());
    ASSERT_NE(box, nullptr);
    events.quit.Set();
    EXPECT_EQ(run.ExitCode(kAgentLimitMs), 0) << "the box outlived its session's quit event";
    EXPECT_FALSE(::IsWindow(box));
    EXPECT_FALSE(events.idle.Wait(0)) << "ended by the service, not answered by the user";
  }
  Launched refused(tagged + L"X");
  EXPECT_EQ(refused.ExitCode(kAgentLimitMs), 87);
  Launched unnumbered(L"/msg:abc");
  EXPECT_EQ(unnumbered.ExitCode(kAgentLimitMs), 0) << "no session number: nothing shown";
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
  ::GetWindowRect(g_backdrop, &g_backdropRect);
  g_backdropOwnsBox = ::GetWindow(box, GW_OWNER) == g_backdrop && ::IsWindowVisible(g_backdrop);
  ::KillTimer(nullptr, id);
  ::PostMessageW(box, GetAppMessage(), kCmdPressControl, IDOK);
}

TEST(WarningE2E, FullScreenBackdropIsTakenForTheBoxAndGivenBack) {
  HMODULE module = ::LoadLibraryW((LauncherFolder() + L"TV64.DLL").c_str());
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
}

// With an agent in the session "/msg" hands over and ends. A request while the agent's box is
// open waits for that box and is then shown; nothing is lost and nothing stays stuck; and the
// session's quit event ends the agent with its box open, or it would hold the session's objects
// (and its box) for hours.
TEST(WarningE2E, TheAgentShowsHandedOverRequestsInTurnAndLeavesOnTheQuitEventWithItsBoxOpen) {
  const ::DWORD session = OwnSession(8200);
  const std::wstring tag = NewObjectTag();
  const std::wstring msg = L"/msg:" + std::to_wstring(session) + L" /tag:" + tag;
  SessionEvents events;
  ASSERT_TRUE(events.Create(session, tag));
  // Only the keyboard counts: a box mapped under the X pointer makes a real mouse move, which
  // would close it at once. Shift is let go whichever way the test ends.
  ProductKey key;
  key.Set(L"Enable", 1);
  key.Set(L"MonitorKB", 1);
  key.Set(L"MonitorMouse", 0);
  ::SetCursorPos(0, 0);
  struct ShiftUp {
    ~ShiftUp() { ShiftDown(false); }
  } shiftUp;

  Launched agent(L"/monitor:" + std::to_wstring(session) + L" /tag:" + tag);
  ASSERT_NE(WaitForAgent(), nullptr);
  Launched first(msg);
  EXPECT_EQ(first.ExitCode(kAgentLimitMs), 0) << "the warning process hands over and ends";
  HWND box1 = WaitForBox(agent.Pid());
  ASSERT_NE(box1, nullptr) << "the agent shows the box";
  Launched second(msg);
  EXPECT_EQ(second.ExitCode(kAgentLimitMs), 0) << "handed over while the box is open";

  // The user presses a key: the agent's activity press closes the first box, and the request
  // that waited shows the second. The tagged idle event is the one the agent sets.
  ASSERT_TRUE(ShiftDown(true));
  HWND box2 = WaitForBox(agent.Pid(), box1);
  ASSERT_NE(box2, nullptr) << "the queued request was lost";
  EXPECT_TRUE(events.idle.Wait(kAgentLimitMs)) << "the key press was activity";
  ASSERT_TRUE(ShiftDown(false));
  ASSERT_TRUE(Eventually([&] { return !::IsWindow(box2); }, kAgentLimitMs)) << "the second box closes on activity too";

  Launched third(msg);
  EXPECT_EQ(third.ExitCode(kAgentLimitMs), 0);
  HWND box3 = WaitForBox(agent.Pid(), box2);
  ASSERT_NE(box3, nullptr) << "the agent no longer shows warnings";
  ::PostMessageW(box3, GetAppMessage(), kCmdPressControl, IDOK);
  EXPECT_TRUE(Eventually([&] { return !::IsWindow(box3); }, kAgentLimitMs));
  EXPECT_EQ(FindBox(agent.Pid(), L"Tarnvale"), nullptr) << "no request was left over";

  Launched fourth(msg);
  EXPECT_EQ(fourth.ExitCode(kAgentLimitMs), 0);
  HWND box4 = WaitForBox(agent.Pid(), box3);
  ASSERT_NE(box4, nullptr);
  events.quit.Set();
  EXPECT_EQ(agent.ExitCode(kAgentLimitMs), 0) << "the agent outlived its session's quit event";
  EXPECT_FALSE(::IsWindow(box4));
  EXPECT_EQ(AgentWindow(), nullptr);
}

}  // namespace
}  // namespace tv

#else
TEST(WarningE2E, WindowsOnly) { GTEST_SKIP() << "the warning box exists on Windows only"; }
#endif
