// Sources other than input that keep a session at its idle mark, on virtual time: listed programs
// from the session's own process list, and a kiosk's idle clock that waits for the first input.
#include "service/keep_alive.h"

#include <gtest/gtest.h>

#include "foundation/service_log.h"
#include "service_world.h"
#include "settings/my_opts.h"
#include "settings/reg_key.h"
#include "settings/watch_reasons.h"

namespace tv {
namespace {

using test::ServiceWorld;
using Strings = std::vector<std::wstring>;

std::size_t Sparings(const ServiceWorld& w, const std::wstring& account) {
  std::size_t n = 0;
  for (const auto& e : w.log.Entries()) {
    if (e.eventId == evt::kKeptAlive && !e.strings.empty() && e.strings[0] == account) ++n;
  }
  return n;
}

TEST(KeepAlive, AListedProgramKeepsOnlyItsOwnSessionAndItsEndLetsTheTimeoutAndWarningRun) {
  ServiceWorld w;
  w.Configure([](MyOpts& o) { o.KeepAliveProcesses = {L"notes.exe", L"render*"}; });
  w.sessions.AddSession(1, L"", L"alice");
  w.sessions.AddSession(2, L"", L"bob");
  w.sessions.AddSession(3, L"", L"carol");
  const int job = w.sessions.RunProgram(1, L"RENDER64.EXE");
  w.sessions.RunProgram(2, L"other.exe");
  w.sessions.RunProgram(3, L"render64.exe");
  auto s = w.Start();
  w.sessions.Disconnect(3);  // a disconnected session is logged off unwarned at its mark, unless kept

  s->Run(420);
  EXPECT_EQ(w.LoggedOff(), Strings{L"bob"});
  EXPECT_EQ(w.Starts(1, L"/msg"), 0u);
  EXPECT_EQ(w.StringsOf(evt::kKeptAlive),
            (Strings{L"alice", L"the listed program 'RENDER64.EXE' runs in it (KeepAliveProcesses)"}));
  // Asked at the deadlines only: one look per session at its mark, one more at bob's warning's end.
  EXPECT_EQ(w.sessions.ProcessListings(), 4);

  s->Run(1200);  // four more marks for each: still kept, written once for the whole idle stretch
  EXPECT_EQ(Sparings(w, L"alice"), 1u);
  EXPECT_EQ(Sparings(w, L"carol"), 1u);
  s->SignalActivity(1);  // a new stretch is written again
  s->Run(301);
  EXPECT_EQ(Sparings(w, L"alice"), 2u);

  // The job ends: the next mark warns, and the countdown ends in the log-off.
  w.sessions.EndProcess(job);
  DWORD seconds = 0;
  ASSERT_TRUE(s->RunUntil([&] { return w.LoggedOff().size() == 2; }, 3600, &seconds));
  EXPECT_EQ(seconds, 300u + 120u);
  EXPECT_EQ(w.LoggedOff(), (Strings{L"bob", L"alice"}));
  EXPECT_EQ(w.Starts(1, L"/msg"), 1u);
}

TEST(KeepAlive, AProcessListThatCannotBeReadOrAStaleOrderSparesNothing) {
  ServiceWorld w;
  w.Configure([](MyOpts& o) { o.KeepAliveProcesses = {L"render.exe"}; });
  w.sessions.AddSession(1, L"", L"alice");
  w.sessions.RunProgram(1, L"render.exe");
  w.sessions.FailOp(SimulatedSessions::Op::kEnumProcesses, 5, kFailAlways);
  auto s = w.Start();
  s->Run(420);
  EXPECT_EQ(w.LoggedOff(), Strings{L"alice"});
  EXPECT_EQ(w.Count(evt::kKeptAlive), 0u);

  // The cap on the number of sessions is not an idle rule: a running job does not lift it.
  ServiceWorld v;
  v.Configure([](MyOpts& o) {
    o.KeepAliveProcesses = {L"render.exe"};
    o.LogoffStale = 1;
    o.LogoffStaleCount = 1;
  });
  v.sessions.AddSession(1, L"", L"alice");
  v.sessions.RunProgram(1, L"render.exe");
  auto t = v.Start();
  t->Run(10);
  v.sessions.AddSession(2, L"", L"bob");
  t->Run(3);
  EXPECT_EQ(v.LoggedOff(), Strings{L"alice"});
}

TEST(KeepAlive, AStoredEntryThatCannotNameAProgramIsReportedAndTheRestStillKeeps) {
  ServiceWorld w;
  w.Configure([](MyOpts& o) { o.KeepAliveProcesses = {L"C:\\Tools\\render.exe", L"*", L"notes.exe"}; });
  w.sessions.AddSession(1, L"", L"alice");
  w.sessions.AddSession(2, L"", L"bob");
  w.sessions.RunProgram(1, L"notes.exe");
  w.sessions.RunProgram(2, L"render.exe");
  auto s = w.Start();
  std::vector<std::wstring> reported;
  for (const auto& e : w.log.Entries()) {
    if (e.eventId == evt::kSettingUnusable) reported.push_back(e.strings.at(0) + L": " + e.strings.at(1));
  }
  ASSERT_EQ(reported.size(), 2u);
  EXPECT_NE(reported[0].find(L"KeepAliveProcesses: \"C:\\Tools\\render.exe\" holds a folder"), std::wstring::npos);
  EXPECT_NE(reported[1].find(L"every program"), std::wstring::npos);
  s->Run(420);
  EXPECT_EQ(w.LoggedOff(), Strings{L"bob"});
}

TEST(KeepAlive, AKiosksIdleClockStartsAtItsFirstInput) {
  ServiceWorld w;
  w.Configure([](MyOpts& o) { o.IdleFromFirstInput = 1; });
  w.sessions.AddSession(1, L"", L"kiosk");
  w.sessions.AddSession(2, L"", L"clerk");
  auto s = w.Start();
  s->SignalActivity(2);
  s->Run(3600);
  // Neither warned nor logged off before the first input, with one trace for the wait.
  EXPECT_EQ(w.Starts(1, L"/msg"), 0u);
  EXPECT_EQ(Sparings(w, L"kiosk"), 1u);
  EXPECT_EQ(w.LoggedOff(), Strings{L"clerk"});

  s->SignalActivity(1);
  DWORD seconds = 0;
  ASSERT_TRUE(s->RunUntil([&] { return w.Starts(1, L"/msg") == 1; }, 3600, &seconds));
  EXPECT_EQ(seconds, 301u);  // the round that takes the input, then the whole time-out
  s->Run(120);
  EXPECT_EQ(w.LoggedOff(), (Strings{L"clerk", L"kiosk"}));

  // Off (the default), a session idle from its log-on goes the usual way.
  ServiceWorld v;
  v.Configure();
  v.sessions.AddSession(1, L"", L"kiosk");
  auto t = v.Start();
  t->Run(420);
  EXPECT_EQ(v.LoggedOff(), Strings{L"kiosk"});
  EXPECT_EQ(v.Count(evt::kKeptAlive), 0u);
}

// The record of `session`'s latest sparing where the session's utility reads it; "" when none.
std::wstring KeptRecord(ServiceWorld& w, SessionId session) {
  std::wstring text;
  RegKey key(kWatchReasonsKey, false, w.keys);
  if (!key.IsOpen() || !key.GetStr(KeptAliveValueName(session).c_str(), &text)) return {};
  return text;
}

TEST(KeepAlive, EverySparingIsRecordedForTheSessionsUtilityUntilTheSessionEnds) {
  ServiceWorld w;
  w.Configure([](MyOpts& o) {
    o.KeepAliveProcesses = {L"render*"};
    o.IdleFromFirstInput = 1;
  });
  w.sessions.AddSession(1, L"", L"alice");
  w.sessions.AddSession(2, L"", L"bob");
  w.sessions.AddSession(3, L"", L"kiosk");
  const int job = w.sessions.RunProgram(1, L"Render 64.exe");
  w.sessions.RunProgram(2, L"notes.exe");
  auto s = w.Start();
  s->SignalActivity(1);
  s->SignalActivity(2);
  s->Run(302);

  KeptAliveRecord first;
  ASSERT_TRUE(ParseKeptAlive(KeptRecord(w, 1), first)) << KeptRecord(w, 1);
  EXPECT_EQ(first.source, KeepSource::kProgram);
  EXPECT_EQ(first.program, L"Render 64.exe") << "the name as the session's process list gives it, blank and all";
  EXPECT_EQ(KeptRecord(w, 2), L"") << "a session nothing spares has no record";
  KeptAliveRecord kiosk;
  ASSERT_TRUE(ParseKeptAlive(KeptRecord(w, 3), kiosk)) << KeptRecord(w, 3);
  EXPECT_EQ(kiosk.source, KeepSource::kNoInputYet);
  EXPECT_EQ(kiosk.program, L"");

  // The next sparing of the same stretch is logged no more, but recorded again, later.
  s->Run(300);
  KeptAliveRecord second;
  ASSERT_TRUE(ParseKeptAlive(KeptRecord(w, 1), second));
  EXPECT_EQ(second.at - first.at, 300000u);
  EXPECT_EQ(second.program, first.program);
  EXPECT_EQ(Sparings(w, L"alice"), 1u);

  // The job ends: the session goes the usual way, and its record with it.
  w.sessions.EndProcess(job);
  ASSERT_TRUE(s->RunUntil([&] { return w.LoggedOff().size() == 2; }, 3600));
  EXPECT_EQ(w.LoggedOff(), (Strings{L"bob", L"alice"}));
  s->Run(2);
  EXPECT_EQ(KeptRecord(w, 1), L"");
  EXPECT_NE(KeptRecord(w, 3), L"");
}

TEST(KeepAlive, TheRecordReadsBackAndOddTextIsNoRecord) {
  const KeptAliveRecord records[] = {
      {0, KeepSource::kNoInputYet, L""},
      {4294967295u, KeepSource::kProgram, L"my render job.exe"},
      {77, KeepSource::kPresentation, L""},
  };
  for (const auto& r : records) {
    KeptAliveRecord back;
    ASSERT_TRUE(ParseKeptAlive(FormatKeptAlive(r), back)) << FormatKeptAlive(r);
    EXPECT_EQ(back.at, r.at);
    EXPECT_EQ(back.source, r.source);
    EXPECT_EQ(back.program, r.program);
  }
  KeptAliveRecord untouched{5, KeepSource::kAudio, L""};
  for (const wchar_t* odd : {L"", L"12", L"12 2", L"12 2 ", L"12 3 render.exe", L"12 9 ", L"x 2 a.exe",
                             L"4294967296 2 a.exe", L" 2 a.exe", L"-1 2 a.exe"}) {
    EXPECT_FALSE(ParseKeptAlive(odd, untouched)) << testing::PrintToString(std::wstring(odd));
  }
  EXPECT_EQ(untouched.at, 5u);
}

TEST(KeepAlive, EachSourceIsWrittenOncePerStretchAndAgainWhenItChanges) {
  KeepAlive k;
  const struct {
    KeepSource source;
    const wchar_t* program;
    bool written;
  } steps[] = {
      {KeepSource::kProgram, L"a.exe", true},   {KeepSource::kProgram, L"a.exe", false},
      {KeepSource::kProgram, L"b.exe", true},   {KeepSource::kAudio, L"", true},
      {KeepSource::kAudio, L"", false},         {KeepSource::kPresentation, L"", true},
      {KeepSource::kProgram, L"b.exe", true},
  };
  for (const auto& step : steps) EXPECT_EQ(k.TakeReport(step.source, step.program), step.written) << step.program;
  k.OnInput();
  EXPECT_TRUE(k.TakeReport(KeepSource::kProgram, L"b.exe"));
}

}  // namespace
}  // namespace tv
