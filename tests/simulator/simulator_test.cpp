// End to end: scenarios run through the real service on virtual time, judged by the timeline.
#include "simulator/simulator.h"

#include <gtest/gtest.h>

#include "settings/my_opts.h"
#include "simulator/report.h"
#include "sim_fixture.h"

namespace tv {
namespace {

using test::RunScenario;

const std::wstring kTwoUsers = L"session 1 user=alice domain=CORP\nsession 2 user=bob domain=CORP\n";

// Whom the service warns or logs off, and when, is the service's tests' (session_monitor_test);
// here, how the simulator shows it and what the scenario's users do about it.
TEST(Simulator, TimelineShowsTheWarningAndLogoffAndAUserComingBackLogsOnAgain) {
  const auto r = RunScenario(kTwoUsers +
                                 L"Mon 08:00 logon 1\nMon 08:00 logon 2\nMon 08:05 lock 2\n"
                                 L"Mon 08:10 idle 1\n"
                                 L"Mon 08:30 active 1\n",  // back after the log-off
                             5, 2);
  EXPECT_TRUE(r.Has({L"Mon 08:15:00 #1 Warning with countdown: \"Press OK to keep your session active. "
                     L"Otherwise, you will be logged off in less than 2 minute(s)"}));
  EXPECT_TRUE(r.Has({L"Mon 08:17:00 #1 Tarnvale logged off the user 'CORP\\alice'."}));
  EXPECT_TRUE(r.Has({L"Mon 08:10:00 #2 Warning on the locked screen (system message box): \"Unlock the screen to "
                     L"keep your session active."}));
  EXPECT_TRUE(r.Has({L"Mon 08:30:00 #1 comes back: the session is gone, so logs on again"}));
  EXPECT_TRUE(r.Has({L"Mon 08:30:00 #1 Tarnvale started monitoring the user 'CORP\\alice'."}));
  EXPECT_EQ(r.result.summary.logoffs, 2);
  EXPECT_EQ(r.result.summary.userLogons, 3);
}

TEST(Simulator, SkippingQuietSecondsGivesTheSameTimelineAsRunningEverySecond) {
  const std::wstring text = kTwoUsers +
                            L"session 3 user=carl\n"
                            L"Mon 00:01 logon 1\n"
                            L"Mon 00:02 logon 2\n"
                            L"Mon 00:02:30 idle 1 until 00:05:40\n"
                            L"Mon 00:04 lock 2 until 00:20\n"
                            L"Mon 00:09:07 logon 3\n"  // the third session: one must go
                            L"Mon 00:12 disconnect 3\n"
                            L"Mon 00:30 busy 1\n"  // processor load is not watched
                            L"Mon 00:50 active 1\n";
  const auto edit = [](MyOpts& o) {
    o.KeepLastActiveUser = 1;
    o.LogoffStale = 1;
    o.LogoffStaleCount = 2;
  };
  SimulatorOptions options;
  options.seconds = 3600;
  const auto quick = RunScenario(text, 3, 1, edit, options);
  options.exact = true;
  const auto slow = RunScenario(text, 3, 1, edit, options);
  EXPECT_EQ(quick.lines, slow.lines);
  EXPECT_EQ(slow.result.rounds, 3600);
  EXPECT_LT(quick.result.rounds, 200);
  // The run did exercise what it claims to.
  EXPECT_GT(slow.Count(L"Warning"), 1);
  EXPECT_GT(slow.Count(L"stale session"), 0);
  EXPECT_GT(slow.Count(L"most recent active user"), 0);
}

TEST(Simulator, SummaryCountsWhatTheTimelineShows) {
  const auto r = RunScenario(kTwoUsers +
                                 L"Mon 08:00 logon 1\nMon 08:00 logon 2\n"
                                 L"Mon 09:00 idle 1\n"    // warned and logged off
                                 L"Mon 17:50 idle 2\n"    // the schedule has ended by the time-out
                                 L"Tue 08:00 active 2\n"  // his session kept the server up
                                 L"Tue 09:00 logoff 2\n",
                             30, 5, [](MyOpts& o) {
                               o.UseSchedule = 1;
                               o.SetSchedule(L"Mon 7:00-18:00, ");
                               o.Shutdown = 1;
                               o.ShutdownTimeout = 20;
                               o.ShutdownAction = kActionShutdown;
                             });
  const SimulationSummary& sum = r.result.summary;
  EXPECT_EQ(sum.warnings, r.Count(L"Warning"));
  EXPECT_EQ(sum.logoffs, r.Count(L"Tarnvale logged off the user"));
  EXPECT_EQ(sum.sparedSchedule, r.Count(L"according to its schedule"));
  EXPECT_EQ(sum.shutdowns, r.Count(L"initiated a shutdown"));
  EXPECT_EQ(sum.starts, r.Count(L"The computer starts."));
  EXPECT_EQ(sum.userLogoffs, 1);
  // Bob's spared session keeps the server up overnight: down at 00:20, and after he has gone.
  EXPECT_EQ(sum.sparedSchedule, 1);
  EXPECT_EQ(sum.shutdowns, 2);
  EXPECT_EQ(sum.starts, 1);
  int counted = 0;
  for (const auto& [id, n] : sum.eventCounts) counted += n;
  int logged = 0;
  for (const TimelineEntry& e : r.result.timeline) logged += e.kind == TimelineEntry::Kind::kService;
  EXPECT_EQ(counted, logged);
}

// The stale rule is a cap on sessions by recency: the summary says how many of its log-offs
// ended a session that was in use, as the user guide and the templates warn.
TEST(Simulator, SummaryCountsStaleLogoffsOfSessionsInUse) {
  const auto r = RunScenario(kTwoUsers +
                                 L"session 3 user=carl domain=CORP\n"
                                 L"Mon 08:00 logon 1\nMon 08:01 idle 1\n"  // spared, the most recent log-on
                                 L"Mon 08:30 logon 2\n"                    // alice, idle for 29 minutes, goes
                                 L"Mon 08:35 logon 3\n",                   // bob, at his keyboard, goes too
                             10, 2, [](MyOpts& o) {
                               o.LogoffStale = 1;
                               o.LogoffStaleCount = 1;
                               o.KeepLastActiveUser = 1;
                             });
  EXPECT_EQ(r.result.summary.staleLogoffs, 2);
  EXPECT_EQ(r.result.summary.staleInUse, 1);
  EXPECT_TRUE(r.Has({L"Mon 08:30:01 #1 At the log-off of the user 'CORP\\alice', session 1 had been idle for 29 "
                     L"minute(s); it was active and not locked, and no warning had been shown."}));
  const std::string summary = FormatSummary(test::MustParse(kTwoUsers), r.result);
  const std::size_t row = summary.find("Stale sessions logged off by Tarnvale");
  ASSERT_NE(row, std::string::npos) << summary;
  EXPECT_EQ(summary.substr(summary.find("   (", row), summary.find('\n', row) - summary.find("   (", row)),
            "   (1 had input in the last 10 minutes)")
      << summary;
}


// Sound and a presentation reach the service as the agent's activity, a listed program through
// the session's process list; each keeps its session only while its setting is on and while it
// can be seen (no sound to a disconnected client, no presentation on a locked screen), says so
// once per idle stretch, and lets the time-out run once it ends.
TEST(Simulator, SoundPresentationsAndProgramsKeepTheirOwnSessionsWhileCounted) {
  const std::wstring text =
      L"session 1 user=alice\nsession 2 user=bob\nsession 3 user=carl\nsession 4 user=dora\nsession 5 user=eve\n"
      L"Mon 08:00 logon 1\nMon 08:00 logon 2\nMon 08:00 logon 3\nMon 08:00 logon 4\nMon 08:00 logon 5\n"
      L"Mon 09:00 plays audio 1 until 10:30\nMon 09:00 idle 1 until 10:30\n"
      L"Mon 09:00 presents 2 until 10:00\nMon 09:00 idle 2\n"
      L"Mon 17:00 runs render.exe 3 until 19:40\nMon 17:00 disconnect 3\n"
      L"Mon 09:00 plays audio 4 until 11:00\nMon 09:05 disconnect 4\n"
      L"Mon 09:00 presents 5 until 11:00\nMon 09:01 lock 5\n";
  const struct Case {
    const char* name;
    test::EditOpts edit;
    int audio, presentation, program;
    std::vector<std::wstring> loggedOff;  // "<when> #<session>", in order
  } cases[] = {
      {"all counted",
       [](MyOpts& o) {
         o.KeepAliveAudio = o.KeepAlivePresentation = 1;
         o.KeepAliveProcesses = {L"render*"};
       },
       1, 1, 1, {L"Mon 09:35:00 #4", L"Mon 09:36:00 #5", L"Mon 10:35:00 #2", L"Mon 20:00:00 #3"}},
      {"none counted", {}, 0, 0, 0,
       {L"Mon 09:35:00 #1", L"Mon 09:35:00 #2", L"Mon 09:35:00 #4", L"Mon 09:36:00 #5", L"Mon 17:30:00 #3"}},
      {"another program listed", [](MyOpts& o) { o.KeepAliveProcesses = {L"export.exe"}; }, 0, 0, 0,
       {L"Mon 09:35:00 #1", L"Mon 09:35:00 #2", L"Mon 09:35:00 #4", L"Mon 09:36:00 #5", L"Mon 17:30:00 #3"}},
  };
  for (const Case& c : cases) {
    SimulatorOptions options;
    options.seconds = 86400;
    const auto r = RunScenario(text, 30, 5, c.edit, options);
    const SimulationSummary& sum = r.result.summary;
    EXPECT_EQ(sum.keptAudio, c.audio) << c.name;
    EXPECT_EQ(sum.keptPresentation, c.presentation) << c.name;
    EXPECT_EQ(sum.keptProgram, c.program) << c.name;
    EXPECT_EQ(sum.Kept(), r.Count(L"did not warn or log off")) << c.name;
    std::vector<std::wstring> off;
    for (const std::wstring& line : r.lines) {
      if (line.find(L"Tarnvale logged off the user") != std::wstring::npos) off.push_back(line.substr(0, 15));
    }
    EXPECT_EQ(off, c.loggedOff) << c.name;
    // The agent's sparings are written on their own schedule: running every second changes nothing.
    options.exact = true;
    EXPECT_EQ(RunScenario(text, 30, 5, c.edit, options).lines, r.lines) << c.name;
  }
}

}  // namespace
}  // namespace tv
