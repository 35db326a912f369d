// Whom the lists take when the groups come from the logon token, from the directory, or from
// neither: the verdict table, the service acting on it, and the reason it records per session.
#include "service/membership.h"

#include <gtest/gtest.h>

#include <optional>

#include "platform/portable/accounts.h"
#include "platform/portable/event_log.h"
#include "platform/portable/sessions.h"
#include "foundation/service_log.h"
#include "service_world.h"
#include "settings/my_opts.h"
#include "settings/reg_key.h"
#include "settings/watch_reasons.h"

namespace tv {
namespace {

using Strings = std::vector<std::wstring>;
using Groups = std::vector<TokenGroup>;
constexpr ErrorCode kRpcUnavailable = 1722;  // RPC_S_SERVER_UNAVAILABLE

// The directory's side of a row: 0 means the look-up answers, any other value is its error.
struct Directory {
  ErrorCode findController = 0;
  ErrorCode globalGroups = 0;
  ErrorCode localGroups = 0;
};

struct Row {
  const char* name;
  Strings exclude, applyTo;
  std::optional<Groups> token;  // none: the token cannot be read
  Directory dir;
  bool monitor;
  DWORD eventId;
  std::wstring group;
  ErrorCode groupsUnknown;
};

TEST(Membership, TheTokenDecidesTheDirectoryStandsInAndWhatNeitherTellsNeverLogsOffWhomExcludeMayCover) {
  // CORP\bob: in the directory a member of "Domain Users" and locally of "Users"; his token also
  // holds "Helpdesk" through a group nested in another, which the directory's answer misses.
  const Groups token = {{L"CORP", L"Domain Users"}, {L"CORP", L"Helpdesk"}, {L"BUILTIN", L"Users"}, {L"", L"Everyone"}};
  const Row rows[] = {
      {"nested group in the token excludes", {L"helpdesk"}, {}, token, {}, false, evt::kSkippedExcludedGroup,
       L"CORP\\Helpdesk", 0},
      {"qualified entry matches", {L"corp\\HELPDESK"}, {}, token, {}, false, evt::kSkippedExcludedGroup,
       L"CORP\\Helpdesk", 0},
      {"another domain's group of that name does not", {L"EXT\\Helpdesk"}, {}, token, {}, true,
       evt::kMonitoringStarted, L"", 0},
      {"token group applies", {L"Administrators"}, {L"Everyone"}, token, {}, true, evt::kMonitoringStarted, L"", 0},
      {"token read: a dead controller does not matter", {L"Sales"}, {L"Users"}, token,
       {kRpcUnavailable, kRpcUnavailable, kRpcUnavailable}, true, evt::kMonitoringStarted, L"", 0},
      {"excluded by name asks nobody", {L"CORP\\bob"}, {}, std::nullopt, {kRpcUnavailable, kRpcUnavailable, 5},
       false, evt::kSkippedExcluded, L"", 0},
      {"no token, controller unreachable", {L"Administrators"}, {}, std::nullopt, {0, kRpcUnavailable, 0}, false,
       evt::kSkippedGroupsUnknown, L"", kRpcUnavailable},
      {"no token, no logon servers, this computer knows no domain user", {L"Administrators"}, {L"Users"},
       std::nullopt, {err::kNoLogonServers, err::kUserNotFound, 0}, false, evt::kSkippedGroupsUnknown, L"",
       err::kNoLogonServers},
      {"no token, the groups that were read still exclude", {L"Users"}, {}, std::nullopt,
       {err::kDcNotFound, err::kUserNotFound, 0}, false, evt::kSkippedExcludedGroup, L"Users", 0},
      {"no token, the domain does not know him: no domain groups", {L"Administrators"}, {}, std::nullopt,
       {0, err::kUserNotFound, 0}, true, evt::kMonitoringStarted, L"", 0},
      {"no token, only Apply to left: applied without the groups", {}, {L"Domain Users"}, std::nullopt,
       {err::kDcNotFound, err::kUserNotFound, 0}, false, evt::kSkippedNotApplied, L"", err::kDcNotFound},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    SimulatedSessions sessions;
    sessions.AddSession(3, L"CORP", L"bob");
    if (r.token) sessions.SetTokenGroups(L"corp", L"BOB", *r.token);
    SimulatedAccounts accounts;
    accounts.SetMachineName(L"PC1");
    accounts.AddDomainController(L"CORP", L"\\\\DC1");
    accounts.SetGlobalGroups(L"bob", {L"Domain Users"});
    accounts.SetLocalGroups(L"CORP\\bob", {L"Users"});
    using AOp = SimulatedAccounts::Op;
    if (r.dir.findController) accounts.FailOp(AOp::kFindController, r.dir.findController, kFailAlways);
    if (r.dir.globalGroups) accounts.FailOp(AOp::kGlobalGroups, r.dir.globalGroups, kFailAlways);
    if (r.dir.localGroups) accounts.FailOp(AOp::kLocalGroups, r.dir.localGroups, kFailAlways);

    const MembershipVerdict v =
        CheckMembership(sessions, accounts, {3, L"PC1", L"CORP", L"bob", L"CORP\\bob"}, r.applyTo, r.exclude);
    EXPECT_EQ(v.monitor, r.monitor);
    EXPECT_EQ(v.eventId, r.eventId) << std::hex << v.eventId;
    EXPECT_EQ(v.group, r.group);
    EXPECT_EQ(v.groupsUnknown, r.groupsUnknown);
    // A token that was read leaves the directory alone.
    if (r.token) {
      EXPECT_EQ(accounts.LastGlobalGroupServer(), L"");
    }
    EXPECT_EQ(sessions.OpenTokens(), 0);
  }
}

TEST(Membership, AVerdictWithoutTheGroupsIsLoggedWithItsReason) {
  SimulatedEventLog log;
  LogMembershipVerdict(log, L"CORP\\bob", {false, evt::kSkippedGroupsUnknown, L"", 1722});
  LogMembershipVerdict(log, L"CORP\\ann", {false, evt::kSkippedNotApplied, L"", 2453});
  LogMembershipVerdict(log, L"CORP\\eve", {false, evt::kSkippedExcludedGroup, L"CORP\\Helpdesk", 0});
  std::vector<std::pair<DWORD, Strings>> got;
  for (const auto& e : log.Entries()) got.push_back({e.eventId, e.strings});
  EXPECT_EQ(got, (std::vector<std::pair<DWORD, Strings>>{
                     {evt::kSkippedGroupsUnknown, {L"CORP\\bob", L"1722"}},
                     {evt::kDecidedWithoutGroups, {L"CORP\\ann", L"2453"}},
                     {evt::kSkippedNotApplied, {L"CORP\\ann"}},
                     {evt::kSkippedExcludedGroup, {L"CORP\\eve", L"CORP\\Helpdesk"}},
                 }));
}

TEST(ServiceMembership, EachSessionIsJudgedByItsOwnTokenAndAnUnreachableDomainSparesTheUser) {
  test::ServiceWorld w;
  w.accounts.SetMachineName(L"PC1");
  w.accounts.AddDomainController(L"CORP", L"\\\\DC1");
  w.accounts.FailOp(SimulatedAccounts::Op::kGlobalGroups, kRpcUnavailable, kFailAlways);
  w.Configure([](MyOpts& o) { o.Exclude = {L"Administrators"}; });
  w.sessions.AddSession(1, L"CORP", L"ann");  // an administrator through a nested group
  w.sessions.AddSession(2, L"CORP", L"bob");  // no token to read, and the domain does not answer
  w.sessions.AddSession(3, L"CORP", L"carl");
  w.sessions.SetTokenGroups(L"CORP", L"ann", {{L"CORP", L"Domain Users"}, {L"BUILTIN", L"Administrators"}});
  w.sessions.SetTokenGroups(L"CORP", L"carl", {{L"CORP", L"Domain Users"}, {L"BUILTIN", L"Users"}});
  w.sessions.SetTokenGroups(L"CORP", L"bob", {{L"BUILTIN", L"Users"}});
  w.sessions.FailOp(SimulatedSessions::Op::kQueryGroups, err::kAccessDenied, kFailAlways, 0, 2);
  auto s = w.Start();

  EXPECT_FALSE(s->IsMonitoring(1));
  EXPECT_EQ(w.StringsOf(evt::kSkippedExcludedGroup), (Strings{L"CORP\\ann", L"BUILTIN\\Administrators"}));
  EXPECT_FALSE(s->IsMonitoring(2));
  EXPECT_EQ(w.StringsOf(evt::kSkippedGroupsUnknown), (Strings{L"CORP\\bob", L"1722"}));
  EXPECT_TRUE(s->IsMonitoring(3));
  EXPECT_EQ(w.StringsOf(evt::kMonitoringStarted), Strings{L"CORP\\carl"});
  // Nobody watched is logged off, however long the sessions stay idle.
  s->Run(30 * 60);
  EXPECT_EQ(w.LoggedOff(), Strings{L"carl"});
}

// What the service records per session about why it watches it or not, where the configuration
// utility reads it.
constexpr DWORD kNone = 0;

DWORD Recorded(test::ServiceWorld& w, SessionId session) {
  RegKey key(kWatchReasonsKey, false, w.keys);
  return key.IsOpen() ? key.GetInt(WatchReasonValueName(session).c_str(), kNone) : kNone;
}

DWORD Code(WatchReason r) { return static_cast<DWORD>(r); }

TEST(WatchRecord, EachSessionSaysWhyItIsWatchedOrNotUntilItEnds) {
  test::ServiceWorld w;
  w.accounts.SetLocalGroups(L"dora", {L"Users", L"Kiosk"});
  w.Configure([](MyOpts& o) {
    o.Exclude = {L"ann", L"Kiosk"};
    o.ApplyTo = {L"carl", L"fred", L"gus"};
  });
  w.sessions.AddSession(1, L"", L"ann");
  w.sessions.AddSession(2, L"", L"dora");
  w.sessions.AddSession(3, L"", L"erin");
  w.sessions.AddSession(4, L"", L"carl");
  w.sessions.AddSession(5, L"", L"fred");
  w.sessions.AddSession(6, L"", L"gus");
  w.sessions.AddSession(7, L"", L"");  // a logon screen: not examined yet
  w.sessions.FailOp(SimulatedSessions::Op::kStartAttempt, 5, kFailAlways, 0, 5);
  auto s = w.Start();

  const struct {
    SessionId session;
    DWORD expected;
  } atStart[] = {
      {1, Code(WatchReason::kExcludedAccount)}, {2, Code(WatchReason::kExcludedGroup)},
      {3, Code(WatchReason::kNotApplied)},      {4, Code(WatchReason::kWatched)},
      {5, Code(WatchReason::kAgentNotStarted)}, {6, Code(WatchReason::kWatched)},
      {7, kNone},
  };
  for (const auto& row : atStart) EXPECT_EQ(Recorded(w, row.session), row.expected) << row.session;

  // gus's agent dies and cannot be started again: the watch is given up, and said so.
  w.sessions.FailOp(SimulatedSessions::Op::kStartAttempt, 5, kFailAlways, 0, 6);
  for (const auto& start : w.sessions.ProcessStarts()) {
    if (start.id == 6 && start.started) w.sessions.EndProcess(start.process, 1);
  }
  ASSERT_TRUE(s->RunUntil([&] { return !s->IsMonitoring(6); }, 600));
  EXPECT_EQ(w.Count(evt::kAgentGaveUp), 1u);
  EXPECT_EQ(Recorded(w, 6), Code(WatchReason::kAgentKeptEnding));

  // carl logs off: his record goes with the session. A log-on while Enable is off says so.
  w.sessions.EndSession(4);
  s->Step();
  EXPECT_EQ(Recorded(w, 4), kNone);
  w.Configure([](MyOpts& o) { o.Enable = 0; });
  w.sessions.AddSession(8, L"", L"hal");
  s->Step();
  EXPECT_EQ(Recorded(w, 8), Code(WatchReason::kNotEnabled));

  // A stop leaves nothing that a later run could be taken for.
  s->Stop();
  EXPECT_FALSE(RegKey(kWatchReasonsKey, false, w.keys).IsOpen());
}

}  // namespace
}  // namespace tv
