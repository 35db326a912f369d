#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "platform/portable/sessions.h"

#ifdef _WIN32
#include "platform/win32/windows_include.h"

#include <userenv.h>

#include "support/ui_driver.h"
#endif

namespace tv {
namespace {

using Change = SessionChange;
using Op = SimulatedSessions::Op;

ErrorCode ErrorOf(BOOL ok) { return ok ? err::kSuccess : GetLastErrorCode(); }

// The simulated table stands in for the terminal services in the service's and the simulator's
// tests; what is checked here is what those tests could not tell apart from a fault of their own.
TEST(SimulatedSessions, TableChangesQueueTheNotificationsAndQueriesAnswerLikeTheSystem) {
  SimulatedSessions s;
  s.SetConsoleSession(1);
  s.SetTimeSource([] { return std::int64_t{777}; });
  s.AddSession(1, L"", L"");  // the console's logon screen: no log-on yet
  s.AddSession(3, L"CORP", L"ann");
  s.LogOn(1, L"PC", L"bob");
  s.Lock(3);
  s.Unlock(3);
  s.Disconnect(3);
  s.Reconnect(3);
  s.Disconnect(1);
  s.EndSession(3);
  s.EndSession(99);  // unknown: nothing happens
  std::vector<std::pair<Change, SessionId>> seen;
  for (const auto& n : s.TakeNotifications()) seen.emplace_back(n.change, n.id);
  EXPECT_EQ(seen, (std::vector<std::pair<Change, SessionId>>{
                      {Change::kLogon, 3}, {Change::kLogon, 1}, {Change::kLock, 3}, {Change::kUnlock, 3},
                      {Change::kRemoteDisconnect, 3}, {Change::kRemoteConnect, 3}, {Change::kConsoleDisconnect, 1},
                      {Change::kLogoff, 3}}));
  EXPECT_TRUE(s.TakeNotifications().empty());

  s.AddSession(2, L"CORP", L"ann", SessionState::kActive);
  s.AddSession(4, L"", L"", SessionState::kConnected);
  SessionInfo info;
  ASSERT_TRUE(s.QuerySessionInfo(2, info));
  EXPECT_EQ(info.domain + L"\\" + info.user + L" " + info.winStation, L"CORP\\ann RDP-Tcp#2");
  EXPECT_EQ(info.logonTime, 777);
  // Nobody logged on: the name is empty (not an error), but there is no token to start with.
  std::wstring user = L"untouched";
  ASSERT_TRUE(s.QueryUserName(4, user));
  EXPECT_EQ(user, L"");
  EXPECT_EQ(ErrorOf(s.StartInSession(4, L"agent /monitor:4")), err::kNoToken);
  SessionState state = SessionState::kIdle;
  EXPECT_EQ(ErrorOf(s.QueryConnectState(9, state)), err::kFileNotFound);
  EXPECT_EQ(state, SessionState::kIdle) << "a failure leaves the out-parameter alone";
  DWORD response = 0;
  ASSERT_TRUE(s.SendSessionMessage(2, L"Tarnvale", L"text", 0x250030, 120, false, response));
  EXPECT_EQ(response, kMessageAsync);

  s.SetAvailable(false);
  EXPECT_EQ(ErrorOf(s.QueryUserName(2, user)), err::kProcNotFound);
  EXPECT_EQ(ErrorOf(s.StartInSession(2, L"x")), err::kProcNotFound);
}

TEST(SimulatedSessions, FaultsHitOnlyTheChosenSessionAndStartsRetryElevenTimes) {
  SimulatedSessions s;
  s.AddSession(5, L"", L"ann");
  s.AddSession(6, L"", L"bob");
  const ErrorCode kBusy = 1455;
  s.FailOp(Op::kStartAttempt, kBusy, 3, 0, 5);
  EXPECT_TRUE(s.StartInSession(5, L"a"));
  s.FailOp(Op::kStartAttempt, kBusy, kFailAlways, 0, 6);
  EXPECT_EQ(ErrorOf(s.StartInSession(6, L"b")), kBusy);
  EXPECT_TRUE(s.StartInSession(5, L"c"));
  const auto starts = s.ProcessStarts();
  ASSERT_EQ(starts.size(), 3u);
  EXPECT_EQ(starts[0].attempts, 4);
  EXPECT_EQ(starts[1].attempts, kStartAttempts);
  EXPECT_EQ(starts[2].attempts, 1);
  // The user's own environment, not the starter's (local system's in the service).
  EXPECT_TRUE(starts[2].request.userEnvironment);
  EXPECT_EQ(starts[2].request.desktop, L"winsta0\\default");
  EXPECT_EQ(s.OpenTokens(), 0);  // every token handed out was closed again

  s.FailOp(Op::kLogoff, err::kAccessDenied, 1, 0, 5);
  EXPECT_TRUE(s.LogoffSession(6));
  EXPECT_EQ(ErrorOf(s.LogoffSession(5)), err::kAccessDenied);
  EXPECT_TRUE(s.LogoffSession(5));  // "once": the second try goes through
  EXPECT_EQ(ErrorOf(s.LogoffSession(5)), err::kFileNotFound);
  // A log-off that the system carries out later leaves the session listed.
  s.AddSession(7, L"", L"cy");
  s.SetLogoffRemovesSession(false);
  EXPECT_TRUE(s.LogoffSession(7));
  EXPECT_TRUE(s.HasSession(7));
}

TEST(SimulatedSessions, TokenGroupsFollowTheUserNotTheSessionNumber) {
  SimulatedSessions s;
  s.AddSession(2, L"CORP", L"ann");
  s.AddSession(4, L"", L"");
  std::vector<TokenGroup> groups{{L"kept", L"on failure"}};
  EXPECT_EQ(ErrorOf(s.QueryTokenGroups(2, groups)), err::kNotFound);  // none given: unreadable
  EXPECT_EQ(groups.size(), 1u);
  s.SetTokenGroups(L"corp", L"ANN", {{L"CORP", L"Sales"}});
  s.AddSession(3, L"CORP", L"ann");  // her second session carries the same groups
  for (SessionId id : {2u, 3u}) {
    ASSERT_TRUE(s.QueryTokenGroups(id, groups));
    EXPECT_EQ(groups, (std::vector<TokenGroup>{{L"CORP", L"Sales"}}));
  }
  s.LogOn(2, L"CORP", L"bob");  // another user's logon: his groups are not hers
  EXPECT_EQ(ErrorOf(s.QueryTokenGroups(2, groups)), err::kNotFound);
  EXPECT_EQ(ErrorOf(s.QueryTokenGroups(4, groups)), err::kNoToken);
}

TEST(SessionLockFlags, WindowsSevenReportsTheTwoValuesTheOtherWayRound) {
  const struct {
    long flags;
    DWORD major, minor;
    bool read, locked;
  } rows[] = {
      {0, 10, 0, true, true},  {1, 10, 0, true, false}, {0, 6, 2, true, true},
      {0, 6, 1, true, false},  {1, 6, 1, true, true},   {-1, 10, 0, false, false},
      {-1, 6, 1, false, false}, {2, 10, 0, false, false},
  };
  for (const auto& r : rows) {
    bool locked = !r.locked;
    EXPECT_EQ(LockedFromSessionFlags(r.flags, r.major, r.minor, locked), r.read) << r.flags << " " << r.major << "." << r.minor;
    if (r.read) {
      EXPECT_EQ(locked, r.locked) << r.flags << " " << r.major << "." << r.minor;
    }
  }
}

TEST(SimulatedSessions, WhetherAnySessionIsActiveAgreesWithTheListAndFailsLikeIt) {
  SimulatedSessions s;
  auto agree = [&](bool expected) {
    std::vector<SessionEntry> list;
    bool any = !expected;
    EXPECT_TRUE(s.EnumerateSessions(list) && s.HasActiveSession(any));
    EXPECT_EQ(any, expected);
    EXPECT_EQ(any, std::any_of(list.begin(), list.end(), [](const SessionEntry& e) {
                return e.state == SessionState::kActive;
              }));
  };
  agree(false);
  s.AddSession(2, L"CORP", L"ann");
  s.AddSession(9, L"CORP", L"bob");
  s.Disconnect(2);
  agree(true);
  s.Disconnect(9);
  agree(false);
  // It counts as a listing for the injected faults, and without terminal services it is refused.
  s.FailOp(Op::kEnumerate, err::kGenFailure, 1, 1);
  std::vector<SessionEntry> list;
  bool any = false;
  EXPECT_TRUE(s.EnumerateSessions(list));
  EXPECT_EQ(ErrorOf(s.HasActiveSession(any)), err::kGenFailure);
  s.SetAvailable(false);
  EXPECT_EQ(ErrorOf(s.HasActiveSession(any)), err::kProcNotFound);
}

TEST(SimulatedSessions, ASessionsEndStopsItsOwnProcessesOnly) {
  SimulatedSessions s;
  s.AddSession(1, L"CORP", L"ann");
  s.AddSession(2, L"CORP", L"bob");
  const int annJob = s.RunProgram(1, L"RENDER64.EXE");
  const int bobJob = s.RunProgram(2, L"RENDER64.EXE");
  s.EndSession(1);
  EXPECT_FALSE(s.ProcessRunning(annJob));
  EXPECT_TRUE(s.ProcessRunning(bobJob));
  // A new log-on to the number starts with none of the old session's programs.
  s.AddSession(1, L"CORP", L"cy");
  s.RunProgram(1, L"EXCEL.EXE");
  std::vector<std::wstring> names;
  ASSERT_TRUE(s.EnumerateSessionProcesses(1, names));
  EXPECT_EQ(names, std::vector<std::wstring>{L"EXCEL.EXE"});
  s.AddSession(2, L"CORP", L"dan");  // a log-on over a live session replaces it
  EXPECT_FALSE(s.ProcessRunning(bobJob));
}

#ifdef _WIN32
TEST(Win32Sessions, MissingEntryPointsAnswerNotAvailable) {
  int pauses = 0;
  // kernel32 loads but has none of the terminal-services entry points.
  auto s = CreateWin32Sessions({L"kernel32.dll", [&](DWORD) { ++pauses; }});
  EXPECT_TRUE(s->IsAvailable());
  std::vector<SessionEntry> list;
  EXPECT_EQ(ErrorOf(s->EnumerateSessions(list)), err::kProcNotFound);
  EXPECT_EQ(ErrorOf(s->LogoffSession(1)), err::kProcNotFound);
  EXPECT_EQ(ErrorOf(s->StartInSession(1, L"cmd.exe /c exit 0")), err::kProcNotFound);
  EXPECT_EQ(pauses, 0);  // no token: no attempts, no waiting

  auto none = CreateWin32Sessions({L"tv-no-such-library.dll", nullptr});
  EXPECT_FALSE(none->IsAvailable());
  std::wstring name;
  EXPECT_EQ(ErrorOf(none->QueryUserName(1, name)), err::kProcNotFound);
}

TEST(Win32Sessions, OwnSessionIsQueryableAndFailuresCarryAnErrorCode) {
  auto s = CreateWin32Sessions();
  ASSERT_TRUE(s->IsAvailable());
  ::DWORD mine = 0;
  ASSERT_TRUE(::ProcessIdToSessionId(::GetCurrentProcessId(), &mine));
  std::vector<SessionEntry> list;
  EXPECT_TRUE(s->EnumerateSessions(list));  // may be empty on a system that keeps no list

  std::wstring user;
  ASSERT_TRUE(s->QueryUserName(mine, user));
  wchar_t expected[256];
  ::DWORD size = 256;
  ASSERT_TRUE(::GetUserNameW(expected, &size));
  EXPECT_EQ(_wcsicmp(user.c_str(), expected), 0);

  // Whatever a query cannot answer, it must not report "failed with success".
  SessionState state;
  SessionInfo info;
  auto answeredOrSaidWhy = [](BOOL ok) { return ok || GetLastErrorCode() != err::kSuccess; };
  EXPECT_TRUE(answeredOrSaidWhy(s->QueryConnectState(mine, state)));
  EXPECT_TRUE(answeredOrSaidWhy(s->QuerySessionInfo(mine, info)));
  EXPECT_NE(ErrorOf(s->LogoffSession(0xFFFF0)), err::kSuccess);  // no such session
}

// These need the session's user token, which only a service may have on Windows; Wine hands it out.
TEST(Win32Sessions, StartsRetryThenFailAndCarryTheUsersGroupsAndEnvironment) {
  std::vector<DWORD> pauses;
  auto s = CreateWin32Sessions({L"wtsapi32.dll", [&](DWORD ms) { pauses.push_back(ms); }});
  ::DWORD mine = 0;
  ASSERT_TRUE(::ProcessIdToSessionId(::GetCurrentProcessId(), &mine));
  UserToken token;
  if (!s->QueryUserToken(mine, token)) GTEST_SKIP() << "only a service may have a session's user token here";

  EXPECT_TRUE(s->StartInSession(mine, L"cmd.exe /c exit 0"));
  EXPECT_TRUE(pauses.empty());
  EXPECT_NE(ErrorOf(s->StartInSession(mine, L"C:\\tv-no-such-dir\\no-such-program.exe")), err::kSuccess);
  EXPECT_EQ(pauses, std::vector<DWORD>(static_cast<size_t>(kStartAttempts - 1), kStartRetryDelayMs));

  // Groups are named without the logon SID or the integrity label.
  std::vector<TokenGroup> groups;
  ASSERT_TRUE(s->QueryTokenGroups(mine, groups)) << GetLastErrorCode();
  bool everyone = false;
  for (const TokenGroup& g : groups) {
    everyone = everyone || _wcsicmp(g.name.c_str(), L"Everyone") == 0;
    EXPECT_EQ(g.name.rfind(L"LogonSessionId", 0), std::wstring::npos) << g.name;
    EXPECT_NE(_wcsicmp(g.domain.c_str(), L"Mandatory Label"), 0) << g.name;
  }
  EXPECT_TRUE(everyone);  // in every logon token

  // A started program gets the user's environment, not the starter's: only this process has the
  // variable, so a program handed the starter's environment sees it.
  wchar_t profile[MAX_PATH] = {}, name[256] = {};
  ::DWORD profileChars = MAX_PATH, nameChars = 256;
  ASSERT_TRUE(::GetUserProfileDirectoryW(static_cast<HANDLE>(token.get().handle), profile, &profileChars));
  ASSERT_TRUE(::GetUserNameW(name, &nameChars));
  ASSERT_TRUE(::SetEnvironmentVariableW(L"TV_STARTER_ONLY", L"1"));
  const std::wstring check = L"cmd.exe /c if defined TV_STARTER_ONLY (exit 1) else if /i not \"%USERPROFILE%\"==\"" +
                             std::wstring(profile) + L"\" (exit 2) else if /i not \"%USERNAME%\"==\"" + name +
                             L"\" (exit 3) else exit 0";
  std::unique_ptr<SessionProcess> started;
  ASSERT_TRUE(s->StartTrackedInSession(mine, check, started)) << GetLastErrorCode();
  (void)::SetEnvironmentVariableW(L"TV_STARTER_ONLY", nullptr);
  ASSERT_TRUE(test::Eventually([&] { return !started->Running(); }, 30000));
  EXPECT_EQ(started->ExitCode(), 0u) << "1: the starter's variables, 2: another profile, 3: another user name";
}
#endif

}  // namespace
}  // namespace tv
