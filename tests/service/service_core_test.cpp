// The service-wide behaviour on virtual time: whom the rules apply to, the stale-session rule,
// the statistics in the registry, settings refreshes and the start, stop and quit sequences.
#include <gtest/gtest.h>

#include <algorithm>

#include "foundation/service_log.h"
#include "service_world.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

using test::ServiceWorld;
using Strings = std::vector<std::wstring>;

TEST(ServiceMembership, ListsDecideByAccountGlobalAndLocalGroups) {
  ServiceWorld w;
  w.accounts.SetMachineName(L"PC1");
  w.accounts.AddDomainController(L"CORP", L"\\\\DC1");
  w.accounts.SetGlobalGroups(L"bob", {L"Domain Users", L"Sales"});
  w.accounts.SetGlobalGroups(L"carl", {L"Domain Users"});
  w.accounts.SetLocalGroups(L"dora", {L"Users", L"Kiosk"});
  w.accounts.SetLocalGroups(L"EXT\\erin", {L"Users"});
  w.Configure([](MyOpts& o) {
    o.Exclude = {L"ann", L"sales", L"kiosk"};
    o.ApplyTo = {L"Domain Users", L"FRED"};
  });
  w.sessions.AddSession(1, L"pc1", L"Ann");    // excluded by name, any case
  w.sessions.AddSession(2, L"CORP", L"bob");   // excluded by a global group
  w.sessions.AddSession(3, L"CORP", L"carl");  // applied by a global group
  w.sessions.AddSession(4, L"", L"dora");      // excluded by a local group
  w.sessions.AddSession(5, L"EXT", L"erin");   // no controller for EXT: her domain groups are unknown
  w.sessions.AddSession(6, L"PC1", L"fred");   // the computer's own domain: listed bare
  auto s = w.Start();

  EXPECT_EQ(w.StringsOf(evt::kSkippedExcluded), Strings{L"Ann"});
  std::vector<Strings> groupSkips;
  for (const auto& e : w.log.Entries()) {
    if (e.eventId == evt::kSkippedExcludedGroup) groupSkips.push_back(e.strings);
  }
  EXPECT_EQ(groupSkips, (std::vector<Strings>{{L"CORP\\bob", L"Sales"}, {L"dora", L"Kiosk"}}));
  EXPECT_EQ(w.StringsOf(evt::kSkippedGroupsUnknown), (Strings{L"EXT\\erin", L"2453"}));
  // The domain without a controller was asked of this computer.
  EXPECT_EQ(w.accounts.LastGlobalGroupServer(), L"\\\\PC1");
  EXPECT_EQ(w.Count(evt::kMonitoringStarted), 2u);
  EXPECT_TRUE(s->IsMonitoring(3) && s->IsMonitoring(6));
  EXPECT_EQ(w.StringsOf(evt::kMonitoringStarted), Strings{L"CORP\\carl"});
}

TEST(ServiceMembership, EmptyApplyToTakesEverybodyAndLogonScreensAreLookedAtAgain) {
  ServiceWorld w;
  w.Configure();
  w.sessions.AddSession(1, L"", L"");  // a logon screen
  w.sessions.AddSession(2, L"", L"bob");
  w.sessions.FailOp(SimulatedSessions::Op::kQueryInfo, 50, 1, 0, 2);  // bob's record: the single queries serve
  auto s = w.Start();
  EXPECT_TRUE(s->IsMonitoring(2));
  EXPECT_FALSE(s->IsMonitoring(1));
  // Somebody logs on at the logon screen unheard: the rescan 15 s later finds the user.
  w.sessions.LogOn(1, L"", L"ann");
  (void)w.sessions.TakeNotifications();
  s->Run(14);
  EXPECT_FALSE(s->IsMonitoring(1));
  s->Step();
  EXPECT_TRUE(s->IsMonitoring(1));
  EXPECT_EQ(s->Background().RescanTime(), 0u);
}

TEST(ServiceStaleSessions, LeastRecentlyActiveAreLoggedOffBeyondTheKeepCount) {
  // The idle clocks straddle the tick wrap: raw tick values would sort them wrongly.
  ServiceWorld w(0xFFFFFFFFu - 25000u);
  w.Configure([](MyOpts& o) {
    o.LogoffStale = 1;
    o.LogoffStaleCount = 2;
  });
  for (SessionId id = 1; id <= 4; ++id) w.sessions.AddSession(id, L"", L"user" + std::to_wstring(id));
  auto s = w.Start();
  // Activity: 1 at +10 s, 2 at +20 s (before the wrap), 4 at +30 s (after it); 3 never.
  for (SessionId id : {1, 2, 4}) {
    s->Run(id == 1 ? 9 : 10);
    s->SignalActivity(id);
  }
  s->Run(10);
  // Session 3 unlocks: the last active session, kept whatever its idle clock says.
  w.sessions.Unlock(3);
  s->Run(2);
  auto off = w.LoggedOff();
  std::sort(off.begin(), off.end());
  EXPECT_EQ(off, (Strings{L"user1", L"user2"}));
  EXPECT_EQ(w.Count(evt::kStaleLoggedOff), 2u);
  EXPECT_EQ(w.Count(evt::kLoggedOff), 0u);

  // Not more sessions than the count: nothing happens.
  w.sessions.Unlock(4);
  s->Run(2);
  EXPECT_EQ(w.LoggedOff().size(), 2u);

  // A keep count of 0 cannot be meant (it would log everyone off at every log-on): it is taken as
  // the default of 5 and named in the event log.
  w.Configure([](MyOpts& o) {
    o.LogoffStale = 1;
    o.LogoffStaleCount = 0;
  });
  s->Control(svc::kControlSettingsChanged);
  ASSERT_EQ(w.Count(evt::kSettingUnusable), 1u);
  EXPECT_EQ(w.StringsOf(evt::kSettingUnusable)[0], L"LogoffStaleCount");
  w.sessions.Unlock(4);
  s->Run(2);
  EXPECT_EQ(s->MonitorCount(), 2u);

  // A keep count of 1 keeps the last active session only; a failure is reported as stale.
  w.Configure([](MyOpts& o) {
    o.LogoffStale = 1;
    o.LogoffStaleCount = 1;
  });
  s->Control(svc::kControlSettingsChanged);
  w.sessions.FailOp(SimulatedSessions::Op::kLogoff, 87, 1, 0, 3);
  w.sessions.Unlock(4);
  s->Run(2);
  EXPECT_EQ(w.Count(evt::kStaleLoggedOff), 2u);
  EXPECT_EQ(w.StringsOf(evt::kStaleLogoffFailed), (Strings{L"user3", L"87"}));
  EXPECT_EQ(s->MonitorCount(), 1u);
}

TEST(ServiceStatistics, CountsPeakAndLastLogoffAreKept) {
  ServiceWorld w;
  w.env.formatDateTime = [](const SystemTime& t) { return L"day " + std::to_wstring(t.day) + L" " + std::to_wstring(t.hour); };
  w.Configure();
  w.sessions.AddSession(1, L"", L"ann");
  w.sessions.AddSession(2, L"", L"bob");
  w.sessions.AddSession(3, L"", L"", SessionState::kDisconnected);
  auto s = w.Start();
  EXPECT_EQ(w.RegDword(L"SessionsTotal"), 2u);
  EXPECT_EQ(w.RegDword(L"SessionsMonitoring"), 2u);

  // Later in the day (the wall clock alone), a third user: a new peak. Then bob leaves by
  // himself and ann is logged off by the service: the counts fall, the peak stays.
  w.clock.SetLocalTime(test::MondayAt(1, 0));
  w.sessions.AddSession(4, L"", L"cid");
  s->Step();
  w.sessions.EndSession(2);
  ASSERT_TRUE(s->RunUntil([&] { return !w.LoggedOff().empty(); }, 420));
  EXPECT_EQ(w.RegText(L"LastLogoff"), L"ann");
  EXPECT_EQ(w.RegDword(L"SessionsMaximum"), 3u);
  EXPECT_EQ(w.RegText(L"SessionsMaximumTime"), L"day 1 1");
  EXPECT_EQ(w.RegDword(L"SessionsMonitoring"), 1u);
  EXPECT_EQ(w.RegDword(L"SessionsTotal"), 1u);
}

TEST(ServiceRefresh, PolicyRefreshActsOnlyWhenTheSettingsChanged) {
  ServiceWorld w;
  w.Configure();
  w.sessions.AddSession(1, L"", L"ann");
  auto s = w.Start();
  w.sessions.AddSession(2, L"", L"bob");  // the service is not told
  (void)w.sessions.TakeNotifications();
  s->SignalPolicyChange();
  s->Step();
  EXPECT_FALSE(s->IsMonitoring(2));

  w.Configure([](MyOpts& o) { o.Timeout = 6; });
  s->SignalPolicyChange();
  s->Step();
  EXPECT_TRUE(s->IsMonitoring(2));
  // The change reaches ann's watch, which began under the old settings: 6 minutes for both,
  // each from the start of its own watch (bob's began two seconds later).
  s->Run(298);
  EXPECT_EQ(w.Starts(1, L"/msg") + w.Starts(2, L"/msg"), 0u);
  s->Run(60);
  EXPECT_EQ(w.Starts(1, L"/msg"), 1u);
  EXPECT_EQ(w.Starts(2, L"/msg"), 0u);
  s->Run(2);
  EXPECT_EQ(w.Starts(2, L"/msg"), 1u);

  // Control 128 re-reads unconditionally; KeepLastActiveUser off forgets the last active session.
  s->SetLastActiveSession(1);
  s->Control(svc::kControlSettingsChanged);
  EXPECT_EQ(s->LastActiveSession(), kNoSession);

  // Switched off and told so: nobody new is watched, and the refusal is logged.
  w.Configure([](MyOpts& o) { o.Enable = 0; });
  s->Control(svc::kControlSettingsChanged);
  w.sessions.AddSession(3, L"", L"cid");  // a log-on the service is told of
  s->Step();
  EXPECT_FALSE(s->IsMonitoring(3));
  EXPECT_EQ(w.Count(evt::kNotEnabledAtLogon), 1u);
}

TEST(ServiceSequences, StartStopAndCallbackForwarding) {
  ServiceWorld w;
  w.Configure();
  w.sessions.AddSession(1, L"", L"ann");
  VirtualService s(w.env, w.clock, w.sessions);
  EXPECT_EQ(ServiceEventCallback(svc::kControlInitialise, 0, nullptr, nullptr), 0u);  // nobody installed
  SetServiceInstance(&s);
  ServiceStatusRecord status;
  status.controlsAccepted = svc::kAcceptStop;
  ServiceEventCallback(svc::kControlInitialise, 0, nullptr, &status);
  EXPECT_EQ(status.controlsAccepted, svc::kAcceptStop | svc::kAcceptSessionChange);
  ServiceEventCallback(svc::kControlRun, 0, nullptr, &status);
  EXPECT_TRUE(s.IsMonitoring(1));

  // Session changes arrive with their notification record; a missing record is ignored.
  w.sessions.AddSession(2, L"", L"bob");
  (void)w.sessions.TakeNotifications();
  SessionNotification note;
  note.sessionId = 2;
  ServiceEventCallback(svc::kControlSessionChange, svc::kSessionLogon, &note, &status);
  ServiceEventCallback(svc::kControlSessionChange, svc::kSessionLogon, nullptr, &status);
  EXPECT_EQ(s.LastActiveSession(), 2u);
  ServiceEventCallback(svc::kControlSessionChange, svc::kSessionLock, &note, &status);
  EXPECT_TRUE(s.FindMonitor(2)->IsLocked());
  EXPECT_EQ(ServiceEventCallback(200, 0, nullptr, &status), 0u);

  ServiceEventCallback(svc::kControlStop, 0, nullptr, &status);
  SetServiceInstance(nullptr);
  EXPECT_EQ(s.MonitorCount(), 0u);
  EXPECT_FALSE(s.BackgroundRunning());
  const auto entries = w.log.Entries();
  ASSERT_GE(entries.size(), 3u);
  EXPECT_EQ(entries.front().eventId, evt::kServiceStarted);
  EXPECT_EQ(entries[entries.size() - 2].eventId, evt::kStopInitiated);
  EXPECT_EQ(entries.back().eventId, evt::kServiceStopped);
  EXPECT_TRUE(w.sessions.PolicyEvents().empty());
}

}  // namespace
}  // namespace tv
