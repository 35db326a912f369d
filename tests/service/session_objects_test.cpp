// What a session's monitor shares with the session's own processes, on a terminal server where any
// user may open a named object or kill his own agent: who may touch the session's events, what
// happens when the agent goes, and that a session's monitor ends with the session.
#include <gtest/gtest.h>

#include <cwchar>

#include "foundation/event.h"
#include "foundation/object_names.h"
#include "service/agent_restart.h"
#include "foundation/service_log.h"
#include "service/session_signals.h"
#include "service_world.h"
#include "settings/my_opts.h"
#include "support/sddl_aces.h"

namespace tv {
namespace {

using test::ServiceWorld;
using Strings = std::vector<std::wstring>;

// The allow entries of the access list of `e`, read back from the object itself: (rights, SID)
// pairs, rights as a mask. The system spells some masks with letters when it writes the list
// back ("DC" for 0x2, "GA"); anything else is more than the agent needs.
std::vector<std::pair<DWORD, std::wstring>> AllowEntries(const Event& e) {
  std::wstring sddl;
  EXPECT_TRUE(e.QuerySecurity(sddl));
  std::vector<std::pair<DWORD, std::wstring>> out;
  for (const test::SddlAce& ace : test::SddlAces(sddl)) {
    if (ace.type != L"A") continue;
    const std::wstring& r = ace.rights;
    const DWORD mask = r == L"DC"                ? 0x2
                       : r == L"GA"              ? 0x10000000
                       : r.rfind(L"0x", 0) == 0 ? static_cast<DWORD>(std::stoul(r.substr(2), nullptr, 16))
                                                 : 0xFFFFFFFF;
    out.emplace_back(mask, ace.trustee);
  }
  return out;
}

class SessionObjectsTest : public testing::Test {
 protected:
  void Begin(const std::function<void(MyOpts&)>& edit = {}, VirtualOptions options = {}) {
    w.Configure(edit);
    w.sessions.AddSession(1, L"", L"alice");
    s = std::make_unique<VirtualService>(w.env, w.clock, w.sessions, options);
    s->Start();
  }
  // The simulated process of the latest agent started in session 1.
  int LatestAgent() const {
    int p = -1;
    for (const auto& start : w.sessions.ProcessStarts()) {
      if (start.id == 1 && start.started && start.commandLine.find(L"/monitor:1") != std::wstring::npos)
        p = start.process;
    }
    return p;
  }
  std::size_t Restarts() const { return w.Count(evt::kAgentRestarted); }

  ServiceWorld w;
  std::unique_ptr<VirtualService> s;
};

TEST_F(SessionObjectsTest, OnlyTheSessionsOwnLogonAndLocalSystemGetTheEvents) {
  w.sessions.AddSession(2, L"", L"bob");
  Begin();
  for (SessionId id : {SessionId(1), SessionId(2)}) {
    std::wstring sid;
    ASSERT_TRUE(w.sessions.QueryLogonSid(id, sid));
    const std::wstring tag = s->FindMonitor(id)->Tag();
    ASSERT_TRUE(IsValidObjectTag(tag));
    // The agent is told the names; they are not the plain, guessable ones.
    EXPECT_EQ(w.Starts(id, (L"/monitor:" + std::to_wstring(id) + L" /tag:" + tag).c_str()), 1u);
    const SessionSignals& signals = *s->FindSignals(id);
    const struct {
      const Event& event;
      DWORD access;
    } objects[] = {
        {signals.Idle(), kEventModifyState},
        {signals.Cancel(), kEventModifyState},
        {signals.Quit(), kSynchronize},
    };
    for (const auto& o : objects) {
      // Exactly two entries: the one right for this logon, everything for local system; no
      // group of users, so no other session's user, may touch them.
      const auto entries = AllowEntries(o.event);
      ASSERT_EQ(entries.size(), 2u);
      EXPECT_EQ(entries[0], std::make_pair(o.access, sid));
      EXPECT_EQ(entries[1].second, L"SY");
    }
  }
  // Another session's logon is not this one's.
  std::wstring sid1, sid2;
  ASSERT_TRUE(w.sessions.QueryLogonSid(1, sid1) && w.sessions.QueryLogonSid(2, sid2));
  EXPECT_NE(sid1, sid2);
}

TEST_F(SessionObjectsTest, NoLogonSidMeansNoMonitorAndTheQuitRequestIsLoggedAndReachesEveryAgent) {
  w.sessions.AddSession(2, L"CORP", L"bob");
  w.sessions.FailOp(SimulatedSessions::Op::kQueryToken, err::kNoToken, 1, 0, 2);
  // Alice's logon is everybody here, so that this test may wait on her quit event as her agent
  // would, under the system's access checks too.
  w.sessions.SetLogonSid(1, L"S-1-1-0");
  Begin();
  // Without its logon SID nobody but the service could set bob's events: he is not watched,
  // rather than watched by an agent that cannot report.
  EXPECT_EQ(w.StringsOf(evt::kAgentStartFailed), (Strings{L"CORP\\bob", std::to_wstring(err::kNoToken)}));
  EXPECT_FALSE(s->IsMonitoring(2));
  ASSERT_TRUE(s->IsMonitoring(1));

  Event quit;
  ASSERT_TRUE(quit.Open(QuitEventName(w.env.objectPrefix, s->FindMonitor(1)->Tag()).c_str(), kTrue, kSynchronize, kFalse));
  EXPECT_FALSE(quit.Wait(0));
  s->Control(svc::kControlQuitWork);
  EXPECT_EQ(w.Count(evt::kQuitWorkReceived), 1u);
  EXPECT_EQ(s->MonitorCount(), 0u);
  EXPECT_TRUE(quit.Wait(0)) << "the agent is told to leave";
  // A restarted service makes new objects under new names; the old, signalled quit event is
  // nobody's business any more.
  s->Start();
  ASSERT_TRUE(s->IsMonitoring(1));
  Event fresh;
  ASSERT_TRUE(fresh.Open(QuitEventName(w.env.objectPrefix, s->FindMonitor(1)->Tag()).c_str(), kTrue, kSynchronize, kFalse));
  EXPECT_FALSE(fresh.Wait(0));
  EXPECT_TRUE(quit.Wait(0));
}

TEST_F(SessionObjectsTest, AGoneAgentIsStartedAgainWithBackOffUntilTheMonitorGivesUpNeverLoggingOff) {
  Begin();  // five idle minutes, two of warning
  s->Run(200);
  // Killed in Task Manager 200 s into an idle stretch: seen at the next round, started again
  // five seconds later, and the idle time counts from the agent's return.
  w.sessions.EndProcess(LatestAgent(), 1);
  DWORD waited = 0;
  ASSERT_TRUE(s->RunUntil([&] { return Restarts() == 1; }, 60, &waited));
  EXPECT_EQ(waited, 6u);
  EXPECT_EQ(w.StringsOf(evt::kAgentRestarted), (Strings{L"alice", L"1"}));
  EXPECT_EQ(w.Starts(1, L"/monitor:1"), 2u);
  ASSERT_TRUE(s->RunUntil([&] { return w.Starts(1, L"/msg") == 1; }, 600, &waited));
  EXPECT_EQ(waited, 300u) << "the full time-out, not the 100 s that were left before the loss";

  // Gone during the warning: the warning is void, nobody is logged off while no agent watches.
  w.sessions.EndProcess(LatestAgent(), 1);
  s->Run(130);
  EXPECT_TRUE(w.LoggedOff().empty());
  EXPECT_EQ(Restarts(), 2u);
  EXPECT_FALSE(s->FindMonitor(1)->InWarning());

  // It keeps dying at once: restarts come 20, 40 and 80 s apart, then the monitor gives up and
  // says so, with the last exit code.
  DWORD gaps[3] = {};
  for (DWORD& gap : gaps) {
    w.sessions.EndProcess(LatestAgent(), 0xC0000005);
    const std::size_t before = Restarts();
    ASSERT_TRUE(s->RunUntil([&] { return Restarts() > before; }, 600, &gap));
  }
  EXPECT_EQ(gaps[0], 21u);
  EXPECT_EQ(gaps[1], 41u);
  EXPECT_EQ(gaps[2], 81u);
  w.sessions.EndProcess(LatestAgent(), 0xC0000005);
  s->Step();
  EXPECT_EQ(w.StringsOf(evt::kAgentGaveUp), (Strings{L"alice", std::to_wstring(0xC0000005u)}));
  EXPECT_FALSE(s->IsMonitoring(1));
  s->Run(3600);
  EXPECT_TRUE(w.LoggedOff().empty());
  EXPECT_EQ(w.Starts(1, L"/msg"), 1u);
}

TEST_F(SessionObjectsTest, ALockedSessionIsKnownAtStartAndControl128ReachesARunningWatchAndItsAgent) {
  // Locked before the service started: no notification will say so.
  w.sessions.AddSession(2, L"", L"bob");
  w.sessions.Lock(2);
  w.sessions.SetLogonSid(1, L"S-1-1-0");  // so that the test may wait on alice's reload event
  auto lockedText = [](MyOpts& o) { std::wcscpy(o.MessageTextIfLocked, L"Locked: %d minutes left"); };
  Begin(lockedText);
  Event reload;
  ASSERT_TRUE(reload.Open(ReloadEventName(w.env.objectPrefix, 1, s->FindMonitor(1)->Tag()).c_str(), kTrue,
                          kSynchronize, kFalse));
  s->Run(100);
  // Alice's watch is 100 s old when the time-out goes from 5 to 10 minutes: her agent is told,
  // and her warning comes ten minutes after her watch began, not five.
  w.Configure([&](MyOpts& o) {
    lockedText(o);
    o.Timeout = 10;
  });
  EXPECT_FALSE(reload.Wait(0));
  s->Control(svc::kControlSettingsChanged);
  EXPECT_TRUE(reload.Wait(0));
  DWORD waited = 0;
  ASSERT_TRUE(s->RunUntil([&] { return w.Starts(1, L"/msg") == 1; }, 3600, &waited));
  EXPECT_EQ(100 + waited, 600u);
  // Bob's warning is the lock screen's box with the locked text; no warning process.
  EXPECT_EQ(w.Starts(2, L"/msg"), 0u);
  const auto boxes = w.sessions.MessagesShown();
  ASSERT_EQ(boxes.size(), 1u);
  EXPECT_EQ(boxes[0].id, 2u);
  EXPECT_EQ(boxes[0].text, L"Locked: 2 minutes left");
}

TEST(AgentRestartPolicy, AnAgentThatRanLongStartsTheCountAfreshAcrossTheTickWrap) {
  AgentRestartPolicy p;
  Tick now = 0xFFFFFFFFu - 60000u;
  p.OnStarted(now);
  for (int i = 1; i <= AgentRestartPolicy::kMaxRestarts; ++i) {
    ASSERT_EQ(p.OnEnded(now), AgentRestartPolicy::Verdict::kRestartLater);
    EXPECT_EQ(p.MsUntilDue(now), std::uint64_t(AgentRestartPolicy::kFirstDelayMs) << (i - 1));
    now += static_cast<Tick>(p.MsUntilDue(now));
    EXPECT_TRUE(p.Due(now));
    p.OnStarted(now);
  }
  // The last restart ran eleven minutes, across the wrap: its end is a first failure again.
  now += 11 * 60 * 1000;
  ASSERT_EQ(p.OnEnded(now), AgentRestartPolicy::Verdict::kRestartLater);
  EXPECT_EQ(p.Attempts(), 1);
  // One that keeps failing to start gives up after the fifth.
  for (int i = 2; i <= AgentRestartPolicy::kMaxRestarts; ++i) ASSERT_EQ(p.OnEnded(now + 1), AgentRestartPolicy::Verdict::kRestartLater);
  EXPECT_EQ(p.OnEnded(now + 2), AgentRestartPolicy::Verdict::kGiveUp);
}

TEST_F(SessionObjectsTest, ASessionsMonitorEndsWithItAndTheNextLogonIsExaminedAfresh) {
  // The agent was gone and could not cancel: the log-off notification alone ends the monitor.
  VirtualOptions quietAgents;
  quietAgents.agentCancelsOnLogoff = false;
  Begin([](MyOpts& o) { o.Exclude = {L"CORP\\eve"}; }, quietAgents);
  const std::wstring firstTag = s->FindMonitor(1)->Tag();
  w.sessions.EndSession(1);
  s->Step();
  EXPECT_FALSE(s->IsMonitoring(1));
  EXPECT_EQ(s->MonitorCount(), 0u);

  // Session 1 again, another user: a new membership check (eve is excluded)...
  w.sessions.AddSession(1, L"CORP", L"eve");
  s->Step();
  EXPECT_FALSE(s->IsMonitoring(1));
  EXPECT_EQ(w.StringsOf(evt::kSkippedExcluded), Strings{L"CORP\\eve"});
  // ...and the next, watched one gets its own account, idle clock, names and agent.
  w.sessions.EndSession(1);
  s->Step();
  // His groups come from his logon token: with no domain controller in this world, a user whose
  // groups could not be read at all might be in an excluding group and would not be watched.
  w.sessions.SetTokenGroups(L"CORP", L"frank", {{L"CORP", L"Domain Users"}});
  w.sessions.AddSession(1, L"CORP", L"frank");
  s->Step();
  ASSERT_TRUE(s->IsMonitoring(1));
  const SessionMonitor& m = *s->FindMonitor(1);
  EXPECT_EQ(m.Account(), L"CORP\\frank");
  EXPECT_NE(m.Tag(), firstTag);
  EXPECT_EQ(m.LastActivity(), w.clock.GetTickCount());
  EXPECT_EQ(w.Starts(1, L"/monitor:1"), 2u);
}

}  // namespace
}  // namespace tv
