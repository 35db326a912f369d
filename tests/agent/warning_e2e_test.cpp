// The warning as a person meets it: TV64.EXE "/msg" counts down in a box that the monitor window's
// activity press closes, or hands the request to the session's running agent.
#include <gtest/gtest.h>

#ifdef _WIN32
#include <string>

#include "agent/warning.h"
#include "agent_process.h"
#include "foundation/object_names.h"
#include "synthetic_input.h"
#include "ui/msg_box.h"
#include "ui/msg_box_ids.h"
#include "foundation/app_message.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

using namespace test;

constexpr ::DWORD kLimitMs = 60000;

HWND WaitForBox(::DWORD process) {
  HWND box = nullptr;
  Eventually([&] { return (box = FindBox(process, L"Tarnvale")) != nullptr; }, kLimitMs);
  return box;
}

std::wstring BoxText(HWND box) { return ItemText(box, IDC_MSGEX_TEXT); }

// The countdown moves on in another process.
bool WaitForText(HWND box, const wchar_t* part) {
  return Eventually([&] { return BoxText(box).find(part) != std::wstring::npos; }, kLimitMs);
}

// The countdown's texts are warning_countdown_test's; here, the settings read from the registry,
// the text moving on in the box, and the activity press ending the process.
TEST(WarningE2E, MessageModeCountsDownTheStoredTextAndClosesOnTheActivityPress) {
  ProductKey key;
  key.Set(L"MessageTimeout", 5);
  key.SetText(L"MessageText", L"Idle. Log-off in %d, that is in %d.");
  Launched run(L"/msg:7");
  HWND box = WaitForBox(run.Pid());
  ASSERT_NE(box, nullptr) << "no warning box appeared";
  EXPECT_TRUE(WaitForText(box, L"Idle. Log-off in 4:59, that is in 4:59."));
  ::PostMessageW(box, GetAppMessage(), kCmdPressControl, IDOK);
  EXPECT_EQ(run.ExitCode(kLimitMs), 0) << "the box closed and the process ended";

  Launched unnumbered(L"/msg:abc");
  EXPECT_EQ(unnumbered.ExitCode(kLimitMs), 0) << "no session number: nothing shown";
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
  g_backdrop = nullptr;
}

TEST(WarningE2E, MessageModeLetsARunningAgentShowTheWarning) {
  const ::DWORD session = 8000 + ::GetCurrentProcessId() % 1000;
  const std::wstring n = std::to_wstring(session);
  SessionEvents events;
  ASSERT_TRUE(events.Create(session));
  ProductKey key;
  key.Set(L"Enable", 1);
  // A box mapped under the pointer would see a real mouse move and close at once.
  ::SetCursorPos(0, 0);

  Launched agent(L"/monitor:" + n);
  ASSERT_TRUE(agent.Started());
  HWND monitor = nullptr;
  ASSERT_TRUE(Eventually([&] { return (monitor = AgentWindow()) != nullptr; }, kLimitMs));

  Launched message(L"/msg:" + n);
  ASSERT_TRUE(message.Started());
  EXPECT_EQ(message.ExitCode(kLimitMs), 0) << "the warning process hands over and ends";
  HWND box = WaitForBox(agent.Pid());
  EXPECT_NE(box, nullptr) << "the agent shows the box";
  if (box) ::PostMessageW(box, GetAppMessage(), kCmdPressControl, IDOK);

  ::PostMessageW(monitor, GetAppMessage(), kCmdEndAgent, 0);
  EXPECT_NE(agent.ExitCode(kLimitMs), -1);
}

// The session's events under a tag, made as the service makes them: the session's user may set
// the idle and cancel events and wait on the quit event, nothing more.
struct TaggedEvents {
  Event idle, cancel, quit;
  bool Create(::DWORD session, const std::wstring& tag) {
    return idle.CreateNewForUser(IdleEventName(L"Tarnvale", session, tag).c_str(), kTrue, L"IU", kEventModifyState,
                                 kFalse, kFalse) &&
           cancel.CreateNewForUser(CancelEventName(L"Tarnvale", session, tag).c_str(), kTrue, L"IU",
                                   kEventModifyState, kFalse, kFalse) &&
           quit.CreateNewForUser(QuitEventName(L"Tarnvale", tag).c_str(), kTrue, L"IU", kSynchronize, kTrue, kFalse);
  }
};

// Only the keyboard counts: a box mapped under the X pointer makes a real mouse move, which
// would close it at once. Shift is let go whichever way the test ends.
class KeyboardOnly {
 public:
  KeyboardOnly() {
    key_.Set(L"Enable", 1);
    key_.Set(L"MonitorKB", 1);
    key_.Set(L"MonitorMouse", 0);
    ::SetCursorPos(0, 0);
  }
  ~KeyboardOnly() { ShiftDown(false); }

 private:
  ProductKey key_;
};

// A box of `process` other than `before`, once `before` has gone.
HWND WaitForNextBox(::DWORD process, HWND before) {
  HWND box = nullptr;
  Eventually([&] { return !::IsWindow(before) && (box = FindBox(process, L"Tarnvale")) != nullptr && box != before; },
             kLimitMs);
  return box;
}

// A request while the agent's box is open waits for that box and is then shown; nothing is lost
// and nothing stays stuck, so a third request later shows its box as the first did.
TEST(WarningE2E, ARequestWhileTheBoxIsOpenIsShownAfterItAndLaterOnesStillShow) {
  const ::DWORD session = 8200 + ::GetCurrentProcessId() % 100;
  const std::wstring n = std::to_wstring(session);
  SessionEvents events;
  ASSERT_TRUE(events.Create(session));
  KeyboardOnly keyboard;
  Launched agent(L"/monitor:" + n);
  HWND monitor = nullptr;
  ASSERT_TRUE(Eventually([&] { return (monitor = AgentWindow()) != nullptr; }, kLimitMs));

  Launched first(L"/msg:" + n);
  EXPECT_EQ(first.ExitCode(kLimitMs), 0);
  HWND box1 = WaitForBox(agent.Pid());
  ASSERT_NE(box1, nullptr);
  Launched second(L"/msg:" + n);
  EXPECT_EQ(second.ExitCode(kLimitMs), 0) << "handed over while the box is open";

  // The user presses a key: the agent's activity press closes the first box, and the request
  // that waited shows the second.
  ASSERT_TRUE(ShiftDown(true));
  HWND box2 = WaitForNextBox(agent.Pid(), box1);
  ASSERT_NE(box2, nullptr) << "the queued request was lost";
  EXPECT_TRUE(events.idle.Wait(kLimitMs)) << "the key press was activity";
  ASSERT_TRUE(ShiftDown(false));
  ASSERT_TRUE(Eventually([&] { return !::IsWindow(box2); }, kLimitMs)) << "the second box closes on activity too";

  Launched third(L"/msg:" + n);
  EXPECT_EQ(third.ExitCode(kLimitMs), 0);
  HWND box3 = WaitForNextBox(agent.Pid(), box2);
  ASSERT_NE(box3, nullptr) << "the agent no longer shows warnings";
  ::PostMessageW(box3, GetAppMessage(), kCmdPressControl, IDOK);
  EXPECT_TRUE(Eventually([&] { return !::IsWindow(box3); }, kLimitMs));
  EXPECT_EQ(FindBox(agent.Pid(), L"Tarnvale"), nullptr) << "no request was left over";

  ::PostMessageW(monitor, GetAppMessage(), kCmdEndAgent, 0);
  EXPECT_EQ(agent.ExitCode(kLimitMs), 0);
}

// The service lets a session go by setting its quit event; the agent must go with its box
// open, or it would hold the session's objects (and its box) for hours.
TEST(WarningE2E, TheSessionsQuitEventEndsTheTaggedAgentWithItsBoxOpen) {
  const ::DWORD session = 8300 + ::GetCurrentProcessId() % 100;
  const std::wstring n = std::to_wstring(session);
  const std::wstring tag = NewObjectTag();
  TaggedEvents events;
  ASSERT_TRUE(events.Create(session, tag));
  KeyboardOnly keyboard;
  Launched agent(L"/monitor:" + n + L" /tag:" + tag);
  HWND monitor = nullptr;
  ASSERT_TRUE(Eventually([&] { return (monitor = AgentWindow()) != nullptr; }, kLimitMs));
  // The tagged idle event is the one the agent sets (one event only, so nothing is left
  // pending to close the box below).
  ASSERT_TRUE(ShiftDown(true));
  EXPECT_TRUE(events.idle.Wait(kLimitMs));

  Launched message(L"/msg:" + n + L" /tag:" + tag);
  EXPECT_EQ(message.ExitCode(kLimitMs), 0);
  HWND box = WaitForBox(agent.Pid());
  ASSERT_NE(box, nullptr);

  events.quit.Set();
  EXPECT_EQ(agent.ExitCode(kLimitMs), 0) << "the agent outlived its session's quit event";
  EXPECT_FALSE(::IsWindow(box));
  EXPECT_EQ(AgentWindow(), nullptr);
}

// Without an agent the "/msg" process shows the box itself: OK is the session's activity, and
// the session's quit event ends the box without it.
TEST(WarningE2E, MessageModeAloneTurnsOkIntoActivityAndEndsOnTheQuitEvent) {
  const ::DWORD session = 8400 + ::GetCurrentProcessId() % 100;
  const std::wstring n = std::to_wstring(session);
  const std::wstring tag = NewObjectTag();
  TaggedEvents events;
  ASSERT_TRUE(events.Create(session, tag));
  ASSERT_EQ(AgentWindow(), nullptr);
  ::SetCursorPos(0, 0);

  {
    Launched run(L"/msg:" + n + L" /tag:" + tag);
    HWND box = WaitForBox(run.Pid());
    ASSERT_NE(box, nullptr);
    EXPECT_FALSE(events.idle.Wait(0));
    ASSERT_TRUE(PostPress(box, IDC_MSGEX_BUTTON1));
    EXPECT_EQ(run.ExitCode(kLimitMs), 0);
    EXPECT_TRUE(events.idle.Wait(0)) << "OK pressed is the user's sign of life";
  }
  {
    Launched run(L"/msg:" + n + L" /tag:" + tag);
    HWND box = WaitForBox(run.Pid());
    ASSERT_NE(box, nullptr);
    events.quit.Set();
    EXPECT_EQ(run.ExitCode(kLimitMs), 0) << "the box outlived its session's quit event";
    EXPECT_FALSE(::IsWindow(box));
    EXPECT_FALSE(events.idle.Wait(0)) << "ended by the service, not answered by the user";
  }
  Launched refused(L"/msg:" + n + L" /tag:" + tag + L"X");
  EXPECT_EQ(refused.ExitCode(kLimitMs), 87);
}

}  // namespace
}  // namespace tv

#else
TEST(WarningE2E, WindowsOnly) { GTEST_SKIP() << "the warning box exists on Windows only"; }
#endif
