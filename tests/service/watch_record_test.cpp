// What the service records per session about why it watches it or not, where the configuration
// utility reads it.
#include <gtest/gtest.h>

#include "service/service_log.h"
#include "service_world.h"
#include "settings/my_opts.h"
#include "settings/reg_key.h"
#include "settings/watch_reasons.h"

namespace tv {
namespace {

using test::ServiceWorld;
constexpr DWORD kNone = 0;

DWORD Recorded(ServiceWorld& w, SessionId session) {
  RegKey key(kWatchReasonsKey, false, w.keys);
  return key.IsOpen() ? key.GetInt(WatchReasonValueName(session).c_str(), kNone) : kNone;
}

DWORD Code(WatchReason r) { return static_cast<DWORD>(r); }

TEST(WatchRecord, EachSessionSaysWhyItIsWatchedOrNotUntilItEnds) {
  ServiceWorld w;
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
