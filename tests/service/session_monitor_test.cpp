// The decisions of one session's monitor, on virtual time: when the warning and the log-off come,
// what activity, disconnection, locking, the schedule and the other rules change, and what is
// reported when things fail.
#include <gtest/gtest.h>

#include "foundation/string_table.h"
#include "service/service_log.h"
#include "service/virtual_service.h"
#include "service_world.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

using test::ServiceWorld;

std::unique_ptr<VirtualService> Launch(ServiceWorld& w) {
  auto service = std::make_unique<VirtualService>(w.env, w.clock, w.sessions);
  service->Start();
  return service;
}

// Seconds stepped until `done` holds (or `limit`).
DWORD SecondsUntil(VirtualService& s, const std::function<bool()>& done, DWORD limit = 3600) {
  DWORD n = 0;
  s.RunUntil(done, limit, &n);
  return n;
}

TEST(SessionMonitor, WarnsAfterTimeoutAndLogsOffAfterTheWarningToTheSecond) {
  ServiceWorld w;
  w.Configure();
  w.sessions.AddSession(1, L"", L"alice");
  auto s = Launch(w);
  ASSERT_TRUE(s->IsMonitoring(1));
  EXPECT_EQ(w.Starts(1, L"TV64.EXE /monitor:1"), 1u);

  EXPECT_EQ(SecondsUntil(*s, [&] { return w.Starts(1, L"/msg") > 0; }), 300u);
  EXPECT_EQ(w.Starts(1, L"TV64.EXE /msg:1"), 1u);
  EXPECT_TRUE(s->FindMonitor(1)->InWarning());
  EXPECT_TRUE(w.sessions.MessagesShown().empty());

  EXPECT_EQ(SecondsUntil(*s, [&] { return !w.sessions.LoggedOffSessions().empty(); }), 120u);
  EXPECT_EQ(w.StringsOf(evt::kLoggedOff), std::vector<std::wstring>{L"alice"});
  EXPECT_FALSE(s->IsMonitoring(1));
  EXPECT_EQ(w.RegText(L"LastLogoff"), L"alice");
}

TEST(SessionMonitor, ActivityRestartsTheFullTimeoutAndEndsAWarning) {
  ServiceWorld w;
  w.Configure();
  w.sessions.AddSession(1, L"", L"alice");
  auto s = Launch(w);
  s->Run(299);
  s->SignalActivity(1);  // a second before the warning: taken in the next round
  EXPECT_EQ(SecondsUntil(*s, [&] { return w.Starts(1, L"/msg") > 0; }), 301u);

  s->Run(60);
  s->SignalActivity(1);  // in the middle of the warning
  s->Step();
  EXPECT_FALSE(s->FindMonitor(1)->InWarning());
  // The next warning is a whole Timeout after the activity, and no log-off comes before it.
  EXPECT_EQ(SecondsUntil(*s, [&] { return w.Starts(1, L"/msg") > 1; }), 300u);
  EXPECT_TRUE(w.sessions.LoggedOffSessions().empty());
  // Activity and the round's own time-out arriving in the same second: the activity wins.
  s->Run(119);
  s->SignalActivity(1);
  s->Step();
  EXPECT_TRUE(w.sessions.LoggedOffSessions().empty());
}

TEST(SessionMonitor, DisconnectedSessionIsLoggedOffWithoutWarning) {
  ServiceWorld w;
  w.Configure();
  w.sessions.AddSession(1, L"CORP", L"bob");
  auto s = Launch(w);
  w.sessions.Disconnect(1);
  EXPECT_EQ(SecondsUntil(*s, [&] { return !w.sessions.LoggedOffSessions().empty(); }), 300u);
  EXPECT_EQ(w.Starts(1, L"/msg"), 0u);
  EXPECT_TRUE(w.sessions.MessagesShown().empty());
  EXPECT_EQ(w.StringsOf(evt::kLoggedOff), std::vector<std::wstring>{L"CORP\\bob"});
}

TEST(SessionMonitor, LockedSessionGetsTheSystemBoxWithTheLockedTextNeverTheWarningProcess) {
  ServiceWorld w;
  w.Configure([](MyOpts& o) {
    wcscpy(o.MessageText, L"unlocked text");
    // Only %d is filled in; anything else that looks like a format stays text.
    wcscpy(o.MessageTextIfLocked, L"Locked: %d min, %d again, %s %n");
  });
  w.sessions.AddSession(1, L"", L"alice");
  auto s = Launch(w);
  w.sessions.Lock(1);
  s->Run(300);
  EXPECT_EQ(w.Starts(1, L"/msg"), 0u);
  const auto shown = w.sessions.MessagesShown();
  ASSERT_EQ(shown.size(), 1u);
  EXPECT_EQ(shown[0].caption, L"Tarnvale");
  EXPECT_EQ(shown[0].text, L"Locked: 2 min, 2 again, %s %n");
  EXPECT_EQ(shown[0].style, 0x250030u);
  EXPECT_EQ(shown[0].timeoutSeconds, 120u);
  EXPECT_FALSE(shown[0].wait);

  // Unlocked again with no text of its own and the warning process refused: the box is the
  // fallback, with the built-in text.
  w.Configure([](MyOpts& o) { o.MessageText[0] = 0; });
  s->Control(svc::kControlSettingsChanged);
  w.sessions.Unlock(1);
  s->SignalActivity(1);
  w.sessions.FailOp(SimulatedSessions::Op::kStartAttempt, 5, kStartAttempts, 0, 1);
  s->Run(301);
  const auto again = w.sessions.MessagesShown();
  ASSERT_EQ(again.size(), 2u);
  std::wstring expected = LoadStr(kStrWarning);
  expected.replace(expected.find(L"%d"), 2, L"2");
  EXPECT_EQ(again[1].text, expected);
}

TEST(SessionMonitor, RulesThatRefuseRestartTheIdleClock) {
  ServiceWorld w;
  w.Configure([](MyOpts& o) { o.KeepLastActiveUser = 1; });
  w.sessions.AddSession(1, L"", L"alice");
  auto s = Launch(w);
  w.sessions.AddSession(2, L"", L"bob");  // logs on after the start: the last active user
  s->Step();
  s->Run(300);  // bob's monitor began a second after alice's
  EXPECT_EQ(w.StringsOf(evt::kSparedLastActive), std::vector<std::wstring>{L"bob"});
  EXPECT_EQ(w.Starts(2, L"/msg"), 0u);
  EXPECT_EQ(w.Starts(1, L"/msg"), 1u);
  s->Run(300);
  EXPECT_EQ(w.Count(evt::kSparedLastActive), 2u);  // every Timeout anew
  ASSERT_EQ(w.sessions.LoggedOffSessions().size(), 1u);
  EXPECT_EQ(w.sessions.LoggedOffSessions()[0].user, L"alice");

  // Switched off while running: reported at every Timeout, nobody warned.
  w.Configure([](MyOpts& o) { o.Enable = 0; });
  s->Control(svc::kControlSettingsChanged);
  EXPECT_EQ(w.Count(evt::kNotEnabledAtStart), 1u);
  s->Run(600);
  EXPECT_EQ(w.Count(evt::kNotEnabledAtTimeout), 2u);
  EXPECT_EQ(w.StringsOf(evt::kNotEnabledAtTimeout), std::vector<std::wstring>{L"bob"});
  EXPECT_EQ(w.Starts(2, L"/msg"), 0u);
  EXPECT_TRUE(s->IsMonitoring(2));
}

TEST(SessionMonitor, ScheduleIsAskedAboutTheMomentTheLogoffWouldCome) {
  // In force until 8:30. Idle from 8:24: at 8:29 the log-off would fall at 8:31, outside.
  ServiceWorld w(5000, test::MondayAt(8, 24));
  w.Configure([](MyOpts& o) {
    o.UseSchedule = 1;
    o.SetSchedule(L"Mon 8:00-8:30");
  });
  w.sessions.AddSession(1, L"", L"alice");
  auto s = Launch(w);
  s->Run(300);
  EXPECT_EQ(w.Starts(1, L"/msg"), 0u);
  EXPECT_EQ(w.StringsOf(evt::kScheduleInactive), std::vector<std::wstring>{L"alice"});
  s->Run(600);  // two more refusals in the same inactive stretch: reported once
  EXPECT_EQ(w.Count(evt::kScheduleInactive), 1u);
  EXPECT_TRUE(w.sessions.LoggedOffSessions().empty());

  // Idle from 8:20: warned at 8:25, logged off at 8:27, both inside.
  ServiceWorld v(5000, test::MondayAt(8, 20));
  v.Configure([](MyOpts& o) {
    o.UseSchedule = 1;
    o.SetSchedule(L"Mon 8:00-8:30");
  });
  v.sessions.AddSession(1, L"", L"alice");
  auto t = Launch(v);
  EXPECT_EQ(SecondsUntil(*t, [&] { return !v.sessions.LoggedOffSessions().empty(); }), 420u);
  EXPECT_EQ(v.Starts(1, L"/msg"), 1u);
  EXPECT_EQ(v.Count(evt::kScheduleInactive), 0u);

  // A schedule that cannot be read never stops the log-off, in force or not.
  ServiceWorld u(5000, test::MondayAt(20, 0));
  u.Configure([](MyOpts& o) {
    o.UseSchedule = 1;
    o.SetSchedule(L"Mon 8:00-nonsense");
  });
  u.sessions.AddSession(1, L"", L"alice");
  auto r = Launch(u);
  EXPECT_EQ(SecondsUntil(*r, [&] { return !u.sessions.LoggedOffSessions().empty(); }), 420u);
  EXPECT_EQ(u.Count(evt::kScheduleInactive), 0u);
}

TEST(SessionMonitor, TimesSurviveTheTickCounterWrap) {
  // The tick count wraps 100 s into the idle time.
  ServiceWorld w(0xFFFFFFFFu - 100000u);
  w.Configure();
  w.sessions.AddSession(1, L"", L"alice");
  auto s = Launch(w);
  EXPECT_EQ(SecondsUntil(*s, [&] { return w.Starts(1, L"/msg") > 0; }), 300u);
  EXPECT_EQ(SecondsUntil(*s, [&] { return !w.sessions.LoggedOffSessions().empty(); }), 120u);
}

TEST(SessionMonitor, SleepLongerThanTheWholeWarningLogsOffAtOnceWithoutWarning) {
  ServiceWorld w;
  w.Configure();
  w.sessions.AddSession(1, L"", L"alice");
  w.sessions.AddSession(2, L"", L"bob");
  auto s = Launch(w);
  const Tick start = w.clock.GetTickCount();
  // The computer sleeps: the tick count jumps. Bob's clock restarted a second later, so after
  // the next step alice has been idle exactly 7 minutes and bob a second less.
  s->SignalActivity(2);
  s->Step();
  w.clock.SetTickCount(start + 7 * 60000 - 1000);
  s->Step();
  ASSERT_EQ(w.sessions.LoggedOffSessions().size(), 1u);
  EXPECT_EQ(w.sessions.LoggedOffSessions()[0].user, L"alice");
  EXPECT_EQ(w.Starts(1, L"/msg"), 0u);
  // Bob, a second short of the whole warning time, is warned instead.
  EXPECT_EQ(w.Starts(2, L"/msg"), 1u);
}

TEST(SessionMonitor, FailuresAreReportedWithTheirCode) {
  ServiceWorld w;
  w.Configure();
  w.sessions.AddSession(1, L"", L"alice");
  w.sessions.AddSession(2, L"CORP", L"bob");
  // Bob's agent cannot start on any of its attempts: reported, and bob is not watched.
  w.sessions.FailOp(SimulatedSessions::Op::kStartAttempt, 1450, kStartAttempts, 0, 2);
  w.sessions.FailOp(SimulatedSessions::Op::kLogoff, 5, 1, 0, 1);
  auto s = Launch(w);
  EXPECT_EQ(w.StringsOf(evt::kAgentStartFailed), (std::vector<std::wstring>{L"CORP\\bob", L"1450"}));
  EXPECT_FALSE(s->IsMonitoring(2));
  EXPECT_TRUE(s->IsMonitoring(1));

  // Alice's log-off fails: that is final too, the session stays.
  s->Run(420);
  EXPECT_EQ(w.StringsOf(evt::kLogoffFailed), (std::vector<std::wstring>{L"alice", L"5"}));
  EXPECT_EQ(w.Count(evt::kLoggedOff), 0u);
  EXPECT_FALSE(s->IsMonitoring(1));
  EXPECT_TRUE(w.sessions.HasSession(1));
  EXPECT_EQ(w.RegText(L"LastLogoff"), L"<missing>");
}

TEST(SessionMonitor, AgentFailureAfterTheFirstStartIsIgnored) {
  ServiceWorld w;
  w.Configure([](MyOpts& o) { o.KeepLastActiveUser = 1; });
  w.sessions.AddSession(1, L"", L"alice");
  auto s = Launch(w);
  w.sessions.LogOn(1, L"", L"alice");  // alice is the last active user: always spared
  s->Step();
  w.sessions.FailOp(SimulatedSessions::Op::kStartAttempt, 5, kFailAlways, 0, 1);
  // Idle for the whole warning time: the log-off step refuses and restarts the agent, which fails.
  w.clock.SetTickCount(w.clock.GetTickCount() + 8 * 60000);
  s->Step();
  EXPECT_EQ(w.Count(evt::kSparedLastActive), 1u);
  EXPECT_EQ(w.Count(evt::kAgentStartFailed), 0u);
  EXPECT_TRUE(s->IsMonitoring(1));
}

TEST(SessionMonitor, CancelEndsTheWatchAndQuitEndsEveryMonitor) {
  ServiceWorld w;
  w.Configure();
  w.sessions.AddSession(1, L"", L"alice");
  w.sessions.AddSession(2, L"", L"bob");
  auto s = Launch(w);
  ASSERT_TRUE(s->SignalCancel(1));
  s->Step();
  EXPECT_FALSE(s->IsMonitoring(1));
  EXPECT_TRUE(s->IsMonitoring(2));
  // A session that ends on its own: its agent cancels, the count goes down.
  w.sessions.EndSession(2);
  s->Step();
  EXPECT_FALSE(s->IsMonitoring(2));
  EXPECT_EQ(s->ActiveSessionCount(), 1);
  EXPECT_TRUE(w.sessions.LoggedOffSessions().empty());

  w.sessions.AddSession(3, L"", L"carol");
  s->Step();
  EXPECT_TRUE(s->IsMonitoring(3));
  s->Control(svc::kControlQuitWork);
  EXPECT_EQ(s->MonitorCount(), 0u);
  EXPECT_FALSE(s->BackgroundRunning());
}

}  // namespace
}  // namespace tv
