// The background work on virtual time: the delayed power action armed, disarmed and re-armed,
// the fallbacks between the kinds of suspend and the shutdown, and what is reported on failure.
#include <gtest/gtest.h>

#include "foundation/service_log.h"
#include "service_world.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

using test::ServiceWorld;
using Kind = SimulatedPower::Request::Kind;

class DelayedShutdown : public testing::Test {
 protected:
  // `action` 30 minutes after the last user has gone; users stay until they leave.
  void Begin(DWORD action) {
    w.Configure([action](MyOpts& o) {
      o.Shutdown = 1;
      o.ShutdownTimeout = 30;
      o.ShutdownAction = action;
      o.Timeout = 600;
    });
    s = w.Start();
  }
  bool Requested(Kind kind) const {
    for (const auto& r : w.power.Requests()) {
      if (r.kind == kind && r.error == 0) return true;
    }
    return false;
  }
  Tick FullPeriodFromNow() const { return w.clock.GetTickCount() + 30 * 60000; }

  ServiceWorld w;
  std::unique_ptr<VirtualService> s;
};

TEST_F(DelayedShutdown, ArmedAtStartDisarmedByALogonAndReArmedByTheLastLogoff) {
  Begin(kActionShutdown);  // nobody logged on
  ASSERT_TRUE(s->Background().DeadlinePending());
  EXPECT_EQ(s->Background().Deadline(), FullPeriodFromNow());

  s->Run(10 * 60);
  w.sessions.AddSession(1, L"", L"ann");
  s->Step();
  EXPECT_FALSE(s->Background().DeadlinePending());
  s->Run(30 * 60);
  EXPECT_FALSE(Requested(Kind::kShutdown));

  // Ann leaves; the deadline runs from her log-off, to the second.
  w.sessions.EndSession(1);
  s->Step();
  EXPECT_EQ(s->Background().Deadline(), FullPeriodFromNow());
  s->Run(30 * 60 - 1);
  EXPECT_FALSE(Requested(Kind::kShutdown));
  s->Step();
  ASSERT_TRUE(Requested(Kind::kShutdown));
  const auto requests = w.power.Requests();
  const ShutdownRequest& r = requests[requests.size() - 2].shutdown;
  EXPECT_TRUE(r.message.empty());
  EXPECT_EQ(r.timeoutSeconds, 1u);
  EXPECT_FALSE(r.forceAppsClosed);
  EXPECT_FALSE(r.reboot);
  EXPECT_EQ(r.reason, kShutdownReasonPlanned);
  EXPECT_EQ(w.Count(evt::kShutdownInitiated), 1u);
  EXPECT_FALSE(w.power.PrivilegeEnabled());
  EXPECT_FALSE(s->Background().DeadlinePending());
}

TEST_F(DelayedShutdown, SleepReArmsAfterTheWakeUpAndHibernateFallsBackToSleep) {
  w.power.SetCapabilities({.canSleep = true, .canHibernate = false, .canShutdown = true});
  Begin(kActionHibernate);
  s->Run(30 * 60);
  std::vector<Kind> kinds;
  for (const auto& r : w.power.Requests()) kinds.push_back(r.kind);
  EXPECT_EQ(kinds, (std::vector<Kind>{Kind::kPrivilegeOn, Kind::kHibernate, Kind::kSleep, Kind::kPrivilegeOff}));
  EXPECT_EQ(w.Count(evt::kSuspendInitiated), 1u);
  EXPECT_EQ(w.Count(evt::kSuspendFailed), 0u);
  // Still nobody there after the wake-up: another full period, then the computer sleeps again.
  EXPECT_EQ(s->Background().Deadline(), FullPeriodFromNow());
  s->Run(30 * 60);
  EXPECT_EQ(w.Count(evt::kSuspendInitiated), 2u);
}

TEST_F(DelayedShutdown, ADeadlineArmedJustBeforeTheTickWrapComesOnTimeAndARemoteReconnectCallsItOff) {
  // Armed ten minutes before the tick count wraps (49.7 days after boot), due twenty minutes
  // after the wrap: a due time compared by value came at the next round.
  w.clock.SetTickCount(0xFFFFFFFFu - 10 * 60000u);
  w.sessions.AddSession(1, L"CORP", L"ann");
  Begin(kActionShutdown);
  w.sessions.Disconnect(1);  // ann leaves her remote session without logging off...
  w.sessions.AddSession(2, L"CORP", L"bob");
  s->Step();
  w.sessions.EndSession(2);  // ...and bob logs off: nobody is active
  s->Step();
  ASSERT_TRUE(s->Background().DeadlinePending());
  s->Run(30 * 60 - 1);
  EXPECT_FALSE(Requested(Kind::kShutdown)) << "fired early across the wrap";
  // Ann reconnects over RDP (a remote connect, never a console one) a second before it is due.
  w.sessions.Reconnect(1);
  s->Step();
  EXPECT_FALSE(s->Background().DeadlinePending());
  EXPECT_TRUE(s->IsMonitoring(1));
  s->Run(60 * 60);
  EXPECT_FALSE(Requested(Kind::kShutdown));
  // Without the reconnect the same deadline comes to the second.
  w.sessions.Disconnect(1);
  s->Step();
  w.sessions.AddSession(3, L"", L"cy");
  s->Step();
  w.sessions.EndSession(3);
  s->Step();
  s->Run(30 * 60 - 1);
  EXPECT_FALSE(Requested(Kind::kShutdown));
  s->Step();
  EXPECT_TRUE(Requested(Kind::kShutdown));
}

TEST_F(DelayedShutdown, ConsoleConnectToALogonScreenDoesNotDisarmAndSwitchingOffDoes) {
  w.sessions.SetConsoleSession(1);
  w.sessions.AddSession(1, L"", L"", SessionState::kDisconnected);
  Begin(kActionShutdown);
  w.sessions.Reconnect(1);  // the console, nobody logged on
  s->Step();
  EXPECT_TRUE(s->Background().DeadlinePending());
  w.Configure([](MyOpts& o) { o.Shutdown = 0; });
  s->Control(svc::kControlSettingsChanged);
  s->Run(30 * 60);
  EXPECT_TRUE(w.power.Requests().empty());
}

TEST_F(DelayedShutdown, FailuresFallBackToShutdownAndAreReportedWithTheirCode) {
  w.power.FailOp(SimulatedPower::Op::kSuspend, 50, 2);  // both kinds of suspend
  Begin(kActionSleep);
  EXPECT_TRUE(s->Background().DoShutdown());
  EXPECT_EQ(w.StringsOf(evt::kSuspendFailed), std::vector<std::wstring>{L"50"});
  EXPECT_EQ(w.Count(evt::kShutdownInitiated), 1u);
  EXPECT_FALSE(s->Background().Resumed());

  w.power.FailOp(SimulatedPower::Op::kShutdown, 1115);
  w.Configure([](MyOpts& o) {
    o.Shutdown = 1;
    o.ShutdownAction = kActionShutdown;
  });
  s->Control(svc::kControlSettingsChanged);
  EXPECT_FALSE(s->Background().DoShutdown());
  EXPECT_EQ(w.StringsOf(evt::kShutdownFailed), std::vector<std::wstring>{L"1115"});

  // Without the privilege nothing is tried and nothing is written.
  w.power.SetPrivilegeHeld(false);
  const std::size_t before = w.log.Entries().size();
  EXPECT_FALSE(s->Background().DoShutdown());
  EXPECT_EQ(w.log.Entries().size(), before);
}

TEST(Background, FailedEnumerationIsRetriedFifteenSecondsLater) {
  ServiceWorld w;
  w.Configure();
  w.sessions.AddSession(1, L"", L"ann");
  w.sessions.FailOp(SimulatedSessions::Op::kEnumerate, 1722, 2);
  auto s = w.Start();
  EXPECT_FALSE(s->IsMonitoring(1));
  EXPECT_FALSE(s->Background().DeadlinePending());  // an enumeration that failed proves nobody absent
  s->Run(14);
  EXPECT_FALSE(s->IsMonitoring(1));
  s->Step();
  EXPECT_TRUE(s->IsMonitoring(1));
}

}  // namespace
}  // namespace tv
