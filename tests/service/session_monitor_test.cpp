// The decisions of one session's monitor, on virtual time.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>

#include "foundation/string_table.h"
#include "foundation/service_log.h"
#include "service/tv_thread.h"
#include "service_world.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

using test::ServiceWorld;
using Strings = std::vector<std::wstring>;

class SessionMonitorTest : public testing::Test {
 protected:
  // Settings as `edit` leaves them, alice logged on in session 1, the service running.
  void Begin(const std::function<void(MyOpts&)>& edit = {}) {
    w.Configure(edit);
    w.sessions.AddSession(1, L"", L"alice");
    s = w.Start();
  }
  DWORD SecondsUntil(const std::function<bool()>& done) {
    DWORD n = 0;
    s->RunUntil(done, 3600, &n);
    return n;
  }
  DWORD SecondsToWarning(std::size_t nth = 1) { return SecondsUntil([&] { return w.Starts(1, L"/msg") >= nth; }); }
  DWORD SecondsToLogoff() { return SecondsUntil([&] { return !w.LoggedOff().empty(); }); }

  ServiceWorld w;
  std::unique_ptr<VirtualService> s;
};

TEST_F(SessionMonitorTest, WarnsAfterTimeoutAndLogsOffAfterTheWarningToTheSecondAcrossTheTickWrap) {
  w.clock.SetTickCount(0xFFFFFFFFu - 100000u);  // wraps 100 s into the idle time
  Begin();
  EXPECT_EQ(w.Starts(1, L"TV64.EXE /monitor:1"), 1u);
  EXPECT_EQ(SecondsToWarning(), 300u);
  EXPECT_EQ(w.Starts(1, L"TV64.EXE /msg:1"), 1u);
  EXPECT_EQ(SecondsToLogoff(), 120u);
  EXPECT_EQ(w.StringsOf(evt::kLoggedOff), Strings{L"alice"});
  EXPECT_FALSE(s->IsMonitoring(1));
}

TEST_F(SessionMonitorTest, ActivityRestartsTheFullTimeoutAndEndsAWarning) {
  Begin();
  s->Run(299);
  s->SignalActivity(1);  // a second before the warning: taken in the next round
  EXPECT_EQ(SecondsToWarning(), 301u);

  s->Run(60);
  s->SignalActivity(1);
  s->Step();
  EXPECT_FALSE(s->FindMonitor(1)->InWarning());
  EXPECT_EQ(SecondsToWarning(2), 300u);
  // Activity and the round's own time-out arriving in the same second: the activity wins.
  s->Run(119);
  s->SignalActivity(1);
  s->Step();
  EXPECT_TRUE(w.LoggedOff().empty());
}

TEST_F(SessionMonitorTest, DisconnectedGoesWithoutWarningLockedGetsTheSystemBoxNeverTheWarningProcess) {
  w.sessions.AddSession(2, L"CORP", L"bob");
  Begin([](MyOpts& o) {
    wcscpy(o.MessageText, L"unlocked text");
    // Only %d is filled in; anything else that looks like a format stays text.
    wcscpy(o.MessageTextIfLocked, L"Locked: %d min, %d again, %s %n");
  });
  w.sessions.Lock(1);
  w.sessions.Disconnect(2);
  s->Run(299);
  EXPECT_TRUE(w.LoggedOff().empty());
  s->Step();
  EXPECT_EQ(w.StringsOf(evt::kLoggedOff), Strings{L"CORP\\bob"});
  EXPECT_EQ(w.Starts(1, L"/msg") + w.Starts(2, L"/msg"), 0u);
  const auto shown = w.sessions.MessagesShown();
  ASSERT_EQ(shown.size(), 1u);
  EXPECT_EQ(shown[0].caption, L"Tarnvale");
  EXPECT_EQ(shown[0].text, L"Locked: 2 min, 2 again, %s %n");
  EXPECT_EQ(shown[0].style, 0x250030u);
  EXPECT_EQ(shown[0].timeoutSeconds, 120u);
  EXPECT_FALSE(shown[0].wait);

  // Unlocked, no text of its own and the warning process refused: the box, with the built-in text.
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

TEST_F(SessionMonitorTest, RulesThatRefuseRestartTheIdleClock) {
  Begin([](MyOpts& o) { o.KeepLastActiveUser = 1; });
  w.sessions.AddSession(2, L"", L"bob");  // logs on after the start: the last active user
  s->Step();
  s->Run(300);  // bob's monitor began a second after alice's
  EXPECT_EQ(w.StringsOf(evt::kSparedLastActive), Strings{L"bob"});
  EXPECT_EQ(w.Starts(2, L"/msg"), 0u);
  s->Run(300);
  EXPECT_EQ(w.Count(evt::kSparedLastActive), 2u);  // every Timeout anew
  EXPECT_EQ(w.LoggedOff(), Strings{L"alice"});

  // Idle past the whole warning time: the refused log-off step restarts bob's agent, and its
  // failure after the first start is ignored.
  w.sessions.FailOp(SimulatedSessions::Op::kStartAttempt, 5, kFailAlways, 0, 2);
  w.clock.SetTickCount(w.clock.GetTickCount() + 8 * 60000);
  s->Step();
  EXPECT_EQ(w.Count(evt::kSparedLastActive), 3u);
  EXPECT_EQ(w.Count(evt::kAgentStartFailed), 0u);

  // Switched off while running: reported at every Timeout, nobody warned.
  w.Configure([](MyOpts& o) { o.Enable = 0; });
  s->Control(svc::kControlSettingsChanged);
  EXPECT_EQ(w.Count(evt::kNotEnabledAtStart), 1u);
  s->Run(600);
  EXPECT_EQ(w.Count(evt::kNotEnabledAtTimeout), 2u);
  EXPECT_EQ(w.StringsOf(evt::kNotEnabledAtTimeout), Strings{L"bob"});
  EXPECT_EQ(w.Starts(2, L"/msg"), 0u);
  EXPECT_TRUE(s->IsMonitoring(2));
}

TEST(SessionMonitor, ScheduleIsAskedAboutTheMomentTheLogoffWouldCome) {
  const struct {
    int hour, minute;
    const wchar_t* schedule;
    DWORD logoffAfter;  // 900: none
    std::size_t warnings, inactiveReports;
  } cases[] = {
      {8, 24, L"Mon 8:00-8:30", 900, 0, 1},  // warned at 8:29, the log-off would fall at 8:31
      {8, 20, L"Mon 8:00-8:30", 420, 1, 0},  // warned at 8:25, logged off at 8:27
      {20, 0, L"Mon 8:00-nonsense", 420, 1, 0},  // unreadable: never stops the log-off
  };
  for (const auto& c : cases) {
    ServiceWorld w(5000, test::MondayAt(c.hour, c.minute));
    w.Configure([&](MyOpts& o) {
      o.UseSchedule = 1;
      o.SetSchedule(c.schedule);
    });
    w.sessions.AddSession(1, L"", L"alice");
    auto s = w.Start();
    DWORD n = 0;
    s->RunUntil([&] { return !w.LoggedOff().empty(); }, 900, &n);
    EXPECT_EQ(n, c.logoffAfter) << c.minute;
    EXPECT_EQ(w.Starts(1, L"/msg"), c.warnings) << c.minute;
    // Three refusals in one inactive stretch are reported once.
    EXPECT_EQ(w.Count(evt::kScheduleInactive), c.inactiveReports) << c.minute;
  }
}

TEST_F(SessionMonitorTest, SleepLongerThanTheWholeWarningLogsOffAtOnceWithoutWarning) {
  w.sessions.AddSession(2, L"", L"bob");
  Begin();
  const Tick start = w.clock.GetTickCount();
  // Bob's clock restarts a second later; then the tick count jumps as after a sleep, leaving
  // alice idle exactly 7 minutes and bob a second less.
  s->SignalActivity(2);
  s->Step();
  w.clock.SetTickCount(start + 7 * 60000 - 1000);
  s->Step();
  EXPECT_EQ(w.LoggedOff(), Strings{L"alice"});
  EXPECT_EQ(w.Starts(1, L"/msg"), 0u);
  EXPECT_EQ(w.Starts(2, L"/msg"), 1u);
}

TEST_F(SessionMonitorTest, FailuresAreReportedWithTheirCode) {
  w.sessions.AddSession(2, L"CORP", L"bob");
  // Bob's agent cannot start on any of its attempts: reported, and bob is not watched.
  w.sessions.FailOp(SimulatedSessions::Op::kStartAttempt, 1450, kStartAttempts, 0, 2);
  w.sessions.FailOp(SimulatedSessions::Op::kLogoff, 5, 1, 0, 1);
  Begin();
  EXPECT_EQ(w.StringsOf(evt::kAgentStartFailed), (Strings{L"CORP\\bob", L"1450"}));
  EXPECT_FALSE(s->IsMonitoring(2));

  // Alice's log-off fails: that is final too, the session stays.
  s->Run(420);
  EXPECT_EQ(w.StringsOf(evt::kLogoffFailed), (Strings{L"alice", L"5"}));
  EXPECT_EQ(w.Count(evt::kLoggedOff), 0u);
  EXPECT_FALSE(s->IsMonitoring(1));
  EXPECT_EQ(w.RegText(L"LastLogoff"), L"<missing>");
}

TEST_F(SessionMonitorTest, CancelEndsTheWatchAndQuitEndsEveryMonitor) {
  w.sessions.AddSession(2, L"", L"bob");
  w.sessions.AddSession(3, L"", L"carol");
  Begin();
  ASSERT_TRUE(s->SignalCancel(1));
  w.sessions.EndSession(2);  // its agent cancels, the count goes down
  s->Step();
  EXPECT_FALSE(s->IsMonitoring(1) || s->IsMonitoring(2));
  EXPECT_EQ(s->ActiveSessionCount(), 2);
  EXPECT_TRUE(w.LoggedOff().empty());
  ASSERT_TRUE(s->IsMonitoring(3));
  s->Control(svc::kControlQuitWork);
  EXPECT_EQ(s->MonitorCount(), 0u);
  EXPECT_FALSE(s->BackgroundRunning());
}

TEST_F(SessionMonitorTest, SessionThreadSleepsUntilTheNextDeadlineAcrossTheTickWrap) {
  w.clock.SetTickCount(0xFFFFFFFFu - 100000u);
  Begin([](MyOpts& o) {
    o.Timeout = 5;
    o.MessageTimeout = 2;
  });
  const SessionMonitor& m = *s->FindMonitor(1);
  auto wait = [&] { return TVThread::NextWaitMs(m, w.clock.GetTickCount(), 1000); };
  // A whole time-out ahead: the longest sleep, however the tick count wraps meanwhile.
  EXPECT_EQ(m.MsUntilDue(w.clock.GetTickCount()), 300000u);
  EXPECT_EQ(wait(), 30000u);
  s->Run(299);
  EXPECT_EQ(m.MsUntilDue(w.clock.GetTickCount()), 1000u);
  w.clock.Advance(999);
  EXPECT_EQ(wait(), 1000u) << "never less than a round";
  w.clock.Advance(1);
  EXPECT_EQ(m.MsUntilDue(w.clock.GetTickCount()), 0u);
  s->Step();
  // In the warning the countdown is the mark.
  ASSERT_TRUE(m.InWarning());
  EXPECT_EQ(m.MsUntilDue(w.clock.GetTickCount()), 120000u);
}

// What a user's "I was logged off without a warning" is checked against: every warning and every
// log-off with its session, the idle minutes since the last activity, the state and the way the
// warning reached the session. Five idle minutes, two of warning.
TEST(SessionMonitorAudit, WarningsAndLogoffsSayHowIdleTheSessionWasAndHowItWasWarned) {
  const Strings none;
  const struct {
    const char* name;
    std::function<void(MyOpts&)> edit;
    std::function<void(ServiceWorld&, VirtualService&)> act;
    Strings warned, notShown, details;
  } cases[] = {
      {"activity a minute in", {},
       [](ServiceWorld&, VirtualService& s) {
         s.Run(60);
         s.SignalActivity(1);
       },
       {L"alice", L"1", L"5", L"the warning process with its countdown", L"not locked", L"2"}, none,
       {L"alice", L"1", L"7", L"active", L"not locked", L"a warning had been shown"}},
      {"locked", {}, [](ServiceWorld& w, VirtualService&) { w.sessions.Lock(1); },
       {L"alice", L"1", L"5", L"a system message box", L"locked", L"2"}, none,
       {L"alice", L"1", L"7", L"active", L"locked", L"a warning had been shown"}},
      {"warning process refused", {},
       [](ServiceWorld& w, VirtualService&) {
         w.sessions.FailOp(SimulatedSessions::Op::kStartAttempt, 5, kFailAlways, 0, 1);
       },
       {L"alice", L"1", L"5", L"a system message box, as the warning process could not be started", L"not locked",
        L"2"},
       none, {L"alice", L"1", L"7", L"active", L"not locked", L"a warning had been shown"}},
      {"nothing could be shown", {},
       [](ServiceWorld& w, VirtualService&) {
         w.sessions.FailOp(SimulatedSessions::Op::kStartAttempt, 5, kFailAlways, 0, 1);
         w.sessions.FailOp(SimulatedSessions::Op::kSendMessage, 1722, 1, 0, 1);
       },
       none, {L"alice", L"1", L"1722"},
       {L"alice", L"1", L"7", L"active", L"not locked", L"no warning had been shown"}},
      {"disconnected", {}, [](ServiceWorld& w, VirtualService&) { w.sessions.Disconnect(1); }, none, none,
       {L"alice", L"1", L"5", L"disconnected", L"not locked", L"no warning had been shown"}},
      {"stale while in use",
       [](MyOpts& o) {
         o.LogoffStale = 1;
         o.LogoffStaleCount = 1;
       },
       [](ServiceWorld& w, VirtualService& s) {
         s.Run(150);
         s.SignalActivity(1);
         s.Run(30);
         w.sessions.AddSession(2, L"", L"bob");
       },
       none, none, {L"alice", L"1", L"0", L"active", L"not locked", L"no warning had been shown"}},
  };
  for (const auto& c : cases) {
    ServiceWorld w;
    w.Configure(c.edit);
    w.sessions.AddSession(1, L"", L"alice");
    auto s = w.Start();
    c.act(w, *s);
    ASSERT_TRUE(s->RunUntil([&] { return !w.LoggedOff().empty(); }, 900)) << c.name;
    EXPECT_EQ(w.StringsOf(evt::kWarningShown), c.warned) << c.name;
    EXPECT_EQ(w.StringsOf(evt::kWarningNotShown), c.notShown) << c.name;
    EXPECT_EQ(w.StringsOf(evt::kLogoffDetails), c.details) << c.name;
    // The details sit right after the log-off entry they belong to.
    const auto& entries = w.log.Entries();
    const auto details = std::find_if(entries.begin(), entries.end(),
                                      [](const auto& e) { return e.eventId == evt::kLogoffDetails; });
    ASSERT_NE(details, entries.begin()) << c.name;
    const DWORD before = std::prev(details)->eventId;
    EXPECT_TRUE(before == evt::kLoggedOff || before == evt::kStaleLoggedOff) << c.name;
  }
}

}  // namespace
}  // namespace tv
