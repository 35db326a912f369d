#include "foundation/event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "foundation/message_pump.h"
#include "foundation/thread.h"
#include "foundation/thread_test_support.h"
#include "platform/last_error.h"

#ifdef _WIN32
#include "platform/win32/windows_include.h"
#endif

namespace tv {
namespace {

using namespace test;

std::wstring Prepared(size_t size, const wchar_t* name, BOOL global) {
  wchar_t buffer[kObjectNameChars] = L"?";
  Synch::PrepareName(buffer, size, name, global);
  return buffer;
}

TEST(Synch, PrepareNameAddsTheNamespaceAndCutsToTheBuffer) {
  EXPECT_EQ(Prepared(kObjectNameChars, nullptr, kTrue), L"");
  EXPECT_EQ(Prepared(kObjectNameChars, L"Quit", kTrue), L"Global\\Quit");
  EXPECT_EQ(Prepared(kObjectNameChars, L"Quit", kFalse), L"Local\\Quit");
  EXPECT_EQ(Prepared(10, L"abcdef", kTrue), L"Global\\ab");  // nine characters and the terminator
  EXPECT_EQ(Prepared(1, L"abcdef", kFalse), L"");

  // Two long names that differ only beyond the cut name the same event.
  const std::wstring stem = UniqueName(L"Long") + std::wstring(260, L'y');
  Event a, b;
  ASSERT_TRUE(a.CreateNew((stem + L"1").c_str(), kFalse, kTrue, kFalse));
  EXPECT_FALSE(b.CreateNew((stem + L"2").c_str(), kFalse, kTrue, kFalse));
  EXPECT_EQ(GetLastErrorCode(), err::kAlreadyExists);
}

TEST(Event, NamedEventsAreSharedByTheirFullName) {
  const std::wstring name = UniqueName(L"Shared");
  const wchar_t* n = name.c_str();
  {
    Event a, b, c, global;
    ASSERT_TRUE(a.CreateNew(n, kFalse, kTrue, kFalse));
    // A second creation meets the first: CreateNew refuses and keeps nothing, CreateOrOpen joins.
    EXPECT_FALSE(b.CreateNew(n, kFalse, kTrue, kFalse));
    EXPECT_EQ(GetLastErrorCode(), err::kAlreadyExists);
    EXPECT_FALSE(b.IsReady());
    ASSERT_TRUE(b.CreateOrOpen(n, kFalse, kTrue, kFalse));
    ASSERT_TRUE(c.Open(n, kFalse, kSynchronize | kEventModifyState, kFalse));
    a.Set();
    EXPECT_TRUE(b.IsSet() && c.Wait(0));
    b.Clear();
    EXPECT_FALSE(a.IsSet());

    // The other namespace is another name; EventSimple takes the name as it stands.
    EXPECT_TRUE(global.CreateNew(n, kTrue, kTrue, kFalse));
    EventSimple simple((L"Local\\" + name).c_str(), kTrue, kFalse);
    EXPECT_TRUE(simple.IsAreadyExists());
    a.Clear();
    simple.Set();
    EXPECT_TRUE(a.IsSet());
    EXPECT_FALSE(global.IsSet());
  }
  Event again;  // every handle closed: the name is free again
  EXPECT_TRUE(again.CreateNew(n, kFalse, kTrue, kFalse));
}

TEST(Event, ManualResetStaysSetAutoResetReleasesOneWaitPerSet) {
  Event manual, automatic;
  ASSERT_TRUE(manual.CreateOrOpen(nullptr, kFalse, kTrue, kTrue));
  EXPECT_TRUE(manual.Wait(0) && manual.Wait(0));
  manual.Clear();
  EXPECT_FALSE(manual.Wait(150));
  EXPECT_EQ(manual.GetLastWaitResult(), 258u);  // WAIT_TIMEOUT
  EXPECT_FALSE(manual.MsgWait(150, kWakeAllInput));
  ASSERT_TRUE(automatic.CreateOrOpen(nullptr, kFalse, kFalse, kTrue));
  EXPECT_TRUE(automatic.IsSet() && !automatic.IsSet());  // the first look takes the initial signal

  // Two threads wait on it: each set releases one of them and is used up.
  std::atomic<int> released{0};
  Gate one_out;
  auto wait_once = [&] {
    if (automatic.Wait(kPatience)) ++released;
    one_out.Set();
  };
  std::thread first(wait_once), second(wait_once);
  automatic.Set();
  ASSERT_TRUE(one_out.Wait(kPatience));
  EXPECT_FALSE(automatic.IsSet());
  automatic.Set();
  first.join();
  second.join();
  EXPECT_EQ(released, 2);

  // A pulse with nobody waiting leaves the event clear.
  manual.Set();
  manual.Pulse();
  EXPECT_FALSE(manual.IsSet());
}

TEST(Event, CreateNewForUserAcceptsASidAndRefusesABadOne) {
  const std::wstring name = UniqueName(L"ForUser"), refused = UniqueName(L"Refused");
  Event owner, user, bad;
  ASSERT_TRUE(owner.CreateNewForUser(name.c_str(), kFalse, L"IU", kEventModifyState, kFalse, kFalse));
  ASSERT_TRUE(user.Open(name.c_str(), kFalse, kEventModifyState, kFalse));  // the right to set it
  user.Set();
  EXPECT_TRUE(owner.IsSet());

  // A SID that would smuggle in another grant, or none at all, creates nothing.
  EXPECT_FALSE(bad.CreateNewForUser(refused.c_str(), kFalse, L")(A;;GA;;;WD", kEventModifyState, kFalse, kFalse));
  EXPECT_NE(GetLastErrorCode(), err::kSuccess);
  EXPECT_FALSE(bad.CreateNewForUser(refused.c_str(), kFalse, nullptr, kEventModifyState, kFalse, kFalse));
  EXPECT_FALSE(bad.IsReady() || bad.Open(refused.c_str(), kFalse, kSynchronize, kFalse));
}

TEST(EventSimple, CreatesOrOpensTellsWhichAndPumpsTheGivenWindowBetweenSlices) {
  const std::wstring name = UniqueName(L"Simple");
  EventSimple first(name.c_str(), kTrue, kFalse), second(name.c_str(), kTrue, kFalse), opener;
  EXPECT_FALSE(first.IsAreadyExists());
  EXPECT_TRUE(second.IsAreadyExists());
  EXPECT_TRUE(first.Set(kTrue) && second.WaitSignalled(0) && second.WaitSignalled(0));  // manual reset
  EXPECT_TRUE(second.Clear());
  EXPECT_FALSE(first.WaitSignalled(50));
  EXPECT_TRUE(opener.OpenEventW(kSynchronize, kFalse, name.c_str()) && opener.IsAreadyExists());
  EXPECT_FALSE(opener.OpenEventW(kSynchronize, kFalse, UniqueName(L"Absent").c_str()) || opener.IsAreadyExists());

  EventSimple e;  // unnamed, auto-reset, clear
  void* const window = reinterpret_cast<void*>(std::uintptr_t{0x1234});
  void* pumped = nullptr;
  ScopedPumpHook hook([&](int n, void* hwnd) {
    pumped = hwnd;
    if (n == 2) e.Set();
  });
  EXPECT_TRUE(e.WaitProcessAllMessages(window, kInfinite, kTrue));
  EXPECT_TRUE(hook->count == 2 && pumped == window);
  EXPECT_FALSE(e.WaitProcessAllMessages(nullptr, 250, kFalse));  // the signal was taken
  EXPECT_EQ(hook->count, 4);
  e.Close();  // the wait fails, which counts as signalled rather than hanging
  EXPECT_TRUE(e.WaitProcessAllMessages(nullptr, kInfinite, kFalse));
}

#ifdef _WIN32
EventSimple* g_timer_event = nullptr;
void CALLBACK OnTimer(HWND, UINT, UINT_PTR, ::DWORD) { g_timer_event->Set(); }
#endif

TEST(MessagePump, ProcessAllMessagesReportsAQuitMessage) {
  ScopedPumpHook hook;
  EXPECT_TRUE(ProcessAllMessages(nullptr));  // nothing waiting
  hook->answer = kFalse;
  EXPECT_FALSE(CSThread::ProcessAllMessages(nullptr));
  hook->answer = kTrue;
#ifdef _WIN32
  ::PostQuitMessage(0);
  EXPECT_FALSE(ProcessAllMessages(nullptr));
  EXPECT_TRUE(ProcessAllMessages(nullptr));  // the quit message was taken

  // A pumping wait keeps the thread's timers running: only a dispatched timer sets the event.
  EventSimple fired;
  g_timer_event = &fired;
  const UINT_PTR timer = ::SetTimer(nullptr, 0, 10, &OnTimer);
  ASSERT_NE(timer, 0u);
  EXPECT_TRUE(fired.WaitProcessAllMessages(nullptr, kPatience, kTrue));
  ::KillTimer(nullptr, timer);
#endif
}

TEST(Event, WaitForAnyTakesOnlyTheEventThatEndsTheWaitAndWakesOnALaterSet) {
  Event a, b, unopened;
  ASSERT_TRUE(a.CreateOrOpen(nullptr, kFalse, kFalse, kFalse));
  ASSERT_TRUE(b.CreateOrOpen(nullptr, kFalse, kFalse, kFalse));
  Event* both[2] = {&a, &b};
  EXPECT_EQ(WaitForAnyEvent(both, 2, 0), 258u);

  // Both set: the first in order wins and the other keeps its signal for the next wait.
  a.Set();
  b.Set();
  EXPECT_EQ(WaitForAnyEvent(both, 2, 0), 0u);
  EXPECT_EQ(WaitForAnyEvent(both, 2, 0), 1u);
  EXPECT_EQ(WaitForAnyEvent(both, 2, 0), 258u);

  // A set from another thread ends a wait that is already sleeping on both.
  Event started;
  ASSERT_TRUE(started.CreateOrOpen(nullptr, kFalse, kTrue, kFalse));
  std::thread setter([&] {
    ASSERT_TRUE(started.Wait(kInfinite));
    b.Set();
  });
  started.Set();
  EXPECT_EQ(WaitForAnyEvent(both, 2, 0xFFFFFFFF), 1u);
  setter.join();

  Event* broken[2] = {&a, &unopened};
  EXPECT_EQ(WaitForAnyEvent(broken, 2, 0), 0xFFFFFFFFu);
}

}  // namespace
}  // namespace tv
