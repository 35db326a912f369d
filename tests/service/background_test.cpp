// The background work on virtual time: the delayed power action armed, disarmed and re-armed,
// the fallbacks between the kinds of suspend and the shutdown, and what is reported on failure.
#include <gtest/gtest.h>

#include "service/service_log.h"
#include "service/virtual_service.h"
#include "service_world.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

using test::ServiceWorld;
using Kind = SimulatedPower::Request::Kind;

std::vector<Kind> Kinds(const SimulatedPower& power) {
  std::vector<Kind> kinds;
  for (const auto& r : power.Requests()) kinds.push_back(r.kind);
  return kinds;
}

bool Requested(const SimulatedPower& power, Kind kind) {
  for (const auto& r : power.Requests()) {
    if (r.kind == kind && r.error == 0) return true;
  }
  return false;
}

void ConfigurePower(ServiceWorld& w, DWORD action) {
  w.Configure([action](MyOpts& o) {
    o.Shutdown = 1;
    o.ShutdownTimeout = 30;
    o.ShutdownAction = action;
    o.Timeout = 600;  // users stay until they leave
  });
}

TEST(DelayedShutdown, ArmedAtStartDisarmedByALogonAndReArmedByTheLastLogoff) {
  ServiceWorld w;
  ConfigurePower(w, kActionShutdown);
  VirtualService s(w.env, w.clock, w.sessions);
  s.Start();  // nobody logged on
  ASSERT_TRUE(s.Background().DeadlinePending());
  EXPECT_EQ(s.Background().Deadline(), w.clock.GetTickCount() + 30 * 60000);

  s.Run(10 * 60);
  w.sessions.AddSession(1, L"", L"ann");
  s.Step();
  EXPECT_FALSE(s.Background().DeadlinePending());
  EXPECT_EQ(Kinds(w.power), std::vector<Kind>{Kind::kAbort});  // nothing was pending: harmless
  s.Run(30 * 60);
  EXPECT_FALSE(Requested(w.power, Kind::kShutdown));

  // Ann leaves; the deadline runs from her log-off, to the second.
  w.sessions.EndSession(1);
  s.Step();
  const Tick armedAt = w.clock.GetTickCount();
  EXPECT_EQ(s.Background().Deadline(), armedAt + 30 * 60000);
  s.Run(30 * 60 - 1);
  EXPECT_FALSE(Requested(w.power, Kind::kShutdown));
  s.Step();
  ASSERT_TRUE(Requested(w.power, Kind::kShutdown));
  const auto requests = w.power.Requests();
  const ShutdownRequest& r = requests[requests.size() - 2].shutdown;
  EXPECT_TRUE(r.message.empty());
  EXPECT_EQ(r.timeoutSeconds, 1u);
  EXPECT_FALSE(r.forceAppsClosed);
  EXPECT_FALSE(r.reboot);
  EXPECT_EQ(r.reason, kShutdownReasonPlanned);
  EXPECT_EQ(w.Count(evt::kShutdownInitiated), 1u);
  EXPECT_FALSE(w.power.PrivilegeEnabled());
  EXPECT_FALSE(s.Background().DeadlinePending());
}

TEST(DelayedShutdown, ConsoleConnectToALogonScreenDoesNotDisarm) {
  ServiceWorld w;
  ConfigurePower(w, kActionShutdown);
  w.sessions.SetConsoleSession(1);
  w.sessions.AddSession(1, L"", L"", SessionState::kDisconnected);
  VirtualService s(w.env, w.clock, w.sessions);
  s.Start();
  w.sessions.Reconnect(1);  // the console, nobody logged on
  s.Step();
  EXPECT_TRUE(s.Background().DeadlinePending());
  // Switched off: neither armed at the next log-off nor carried out.
  w.Configure([](MyOpts& o) { o.Shutdown = 0; });
  s.Control(svc::kControlSettingsChanged);
  s.Run(30 * 60);
  EXPECT_FALSE(Requested(w.power, Kind::kShutdown));
  EXPECT_TRUE(w.power.Requests().empty());
}

TEST(DelayedShutdown, SleepReArmsAfterTheWakeUpAndHibernateFallsBackToSleep) {
  ServiceWorld w;
  ConfigurePower(w, kActionHibernate);
  PowerCapabilities caps;
  caps.canSleep = true;
  caps.canHibernate = false;
  caps.canShutdown = true;
  w.power.SetCapabilities(caps);
  VirtualService s(w.env, w.clock, w.sessions);
  s.Start();
  s.Run(30 * 60);
  EXPECT_EQ(Kinds(w.power), (std::vector<Kind>{Kind::kPrivilegeOn, Kind::kHibernate, Kind::kSleep, Kind::kPrivilegeOff}));
  EXPECT_NE(w.power.Requests()[1].error, 0u);
  EXPECT_EQ(w.Count(evt::kSuspendInitiated), 1u);
  EXPECT_EQ(w.Count(evt::kSuspendFailed), 0u);
  // Still nobody there after the wake-up: another full period, then the computer sleeps again.
  EXPECT_TRUE(s.Background().DeadlinePending());
  EXPECT_EQ(s.Background().Deadline(), w.clock.GetTickCount() + 30 * 60000);
  s.Run(30 * 60);
  EXPECT_EQ(w.Count(evt::kSuspendInitiated), 2u);
}

TEST(DelayedShutdown, FailuresFallBackToShutdownAndAreReportedWithTheirCode) {
  ServiceWorld w;
  ConfigurePower(w, kActionSleep);
  w.power.FailOp(SimulatedPower::Op::kSuspend, 50, 2);  // both kinds of suspend
  VirtualService s(w.env, w.clock, w.sessions);
  s.Start();
  EXPECT_TRUE(s.Background().DoShutdown());
  EXPECT_EQ(w.StringsOf(evt::kSuspendFailed), std::vector<std::wstring>{L"50"});
  EXPECT_EQ(w.Count(evt::kShutdownInitiated), 1u);
  EXPECT_TRUE(w.power.ShutdownPending());
  EXPECT_FALSE(s.Background().Resumed());

  w.power.FailOp(SimulatedPower::Op::kShutdown, 1115);
  w.Configure([](MyOpts& o) {
    o.Shutdown = 1;
    o.ShutdownAction = kActionShutdown;
  });
  s.Control(svc::kControlSettingsChanged);
  EXPECT_FALSE(s.Background().DoShutdown());
  EXPECT_EQ(w.StringsOf(evt::kShutdownFailed), std::vector<std::wstring>{L"1115"});

  // Without the privilege nothing is tried and nothing is written.
  w.power.SetPrivilegeHeld(false);
  const std::size_t before = w.log.Entries().size();
  EXPECT_FALSE(s.Background().DoShutdown());
  EXPECT_EQ(w.log.Entries().size(), before);
}

TEST(DelayedShutdown, FailedEnumerationIsRetriedFifteenSecondsLater) {
  ServiceWorld w;
  w.Configure();
  w.sessions.AddSession(1, L"", L"ann");
  w.sessions.FailOp(SimulatedSessions::Op::kEnumerate, 1722, 2);
  VirtualService s(w.env, w.clock, w.sessions);
  s.Start();
  EXPECT_FALSE(s.IsMonitoring(1));
  EXPECT_FALSE(s.Background().DeadlinePending());  // an enumeration that failed proves nobody absent
  s.Run(14);
  EXPECT_FALSE(s.IsMonitoring(1));
  s.Step();
  EXPECT_TRUE(s.IsMonitoring(1));
}

}  // namespace
}  // namespace tv
