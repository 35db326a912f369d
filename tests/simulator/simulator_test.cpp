// End to end: scenarios run through the real service on virtual time, judged by the timeline.
#include "simulator/simulator.h"

#include <gtest/gtest.h>

#include "settings/my_opts.h"
#include "sim_fixture.h"

namespace tv {
namespace {

using test::CountLines;
using test::FindLine;
using test::Lines;
using test::MustParse;
using test::Simulate;
using test::WriteSettings;

constexpr const wchar_t* kTwoUsers =
    L"session 1 user=alice domain=CORP\n"
    L"session 2 user=bob domain=CORP\n";

TEST(Simulator, WarnsAtTheTimeoutAndLogsOffWhenTheWarningRunsOut) {
  MemKeyStore keys;
  WriteSettings(keys, 5, 2);
  const Scenario s = MustParse(std::wstring(kTwoUsers) +
                               L"Mon 08:00 logon 1\n"
                               L"Mon 08:00 logon 2\n"
                               L"Mon 08:10 idle 1\n"               // nobody comes back
                               L"Mon 08:10 idle 2 until 08:16\n"   // back during the countdown
                               L"Mon 08:30 active 1\n");           // back after the log-off
  SimulatorOptions options;
  options.seconds = 11 * 3600;
  const auto result = Simulate(s, keys, options);
  const auto lines = Lines(s, result);

  EXPECT_NE(FindLine(lines, {L"Mon 08:00:00 #1 Tarnvale started monitoring the user 'CORP\\alice'."}), L"");
  EXPECT_NE(FindLine(lines, {L"Mon 08:15:00 #1 Warning with countdown: \"Press OK to keep your session active. "
                             L"Otherwise, you will be logged off in less than 2 minute(s)"}),
            L"");
  EXPECT_NE(FindLine(lines, {L"Mon 08:17:00 #1 Tarnvale logged off the user 'CORP\\alice'."}), L"");
  EXPECT_NE(FindLine(lines, {L"Mon 08:15:00 #2 Warning with countdown"}), L"");
  // Bob came back in time: his next warning is a whole time-out after his last input, not before.
  EXPECT_EQ(FindLine(lines, {L"#2 Tarnvale logged off"}), L"");
  EXPECT_EQ(CountLines(lines, L"#2 Warning"), 1);
  // Alice finds a logon screen and starts again: a new watch with a new idle clock.
  EXPECT_NE(FindLine(lines, {L"Mon 08:30:00 #1 comes back: the session is gone, so logs on again"}), L"");
  EXPECT_EQ(CountLines(lines, L"#1 Tarnvale started monitoring"), 2);
  EXPECT_EQ(result.summary.warnings, 2);
  EXPECT_EQ(result.summary.logoffs, 1);
  EXPECT_EQ(result.summary.userLogons, 3);
}

TEST(Simulator, DisconnectedSessionsGoWithoutWarningLockedOnesGetAMessageBox) {
  MemKeyStore keys;
  WriteSettings(keys, 10, 3);
  const Scenario s = MustParse(std::wstring(kTwoUsers) +
                               L"Mon 09:00 logon 1\nMon 09:00 logon 2\n"
                               L"Mon 09:05 disconnect 1\n"
                               L"Mon 09:05 lock 2\n");
  SimulatorOptions options;
  options.seconds = 11 * 3600;
  const auto lines = Lines(s, Simulate(s, keys, options));
  EXPECT_NE(FindLine(lines, {L"Mon 09:15:00 #1 Tarnvale logged off the user 'CORP\\alice'."}), L"");
  EXPECT_EQ(FindLine(lines, {L"#1 Warning"}), L"");
  EXPECT_NE(FindLine(lines, {L"Mon 09:15:00 #2 Warning on the locked screen (system message box): \"Unlock the "
                             L"screen to keep your session active."}),
            L"");
  EXPECT_NE(FindLine(lines, {L"Mon 09:18:00 #2 Tarnvale logged off the user 'CORP\\bob'."}), L"");
}

TEST(Simulator, SkippingQuietSecondsGivesTheSameTimelineAsRunningEverySecond) {
  MemKeyStore keys;
  WriteSettings(keys, 3, 1, [](MyOpts& o) {
    o.KeepLastActiveUser = 1;
    o.LogoffStale = 1;
    o.LogoffStaleCount = 2;
  });
  const Scenario s = MustParse(std::wstring(kTwoUsers) +
                               L"session 3 user=carl\n"
                               L"Mon 00:01 logon 1\n"
                               L"Mon 00:02 logon 2\n"
                               L"Mon 00:02:30 idle 1 until 00:05:40\n"
                               L"Mon 00:04 lock 2 until 00:20\n"
                               L"Mon 00:09:07 logon 3\n"          // the third session: one must go
                               L"Mon 00:12 disconnect 3\n"
                               L"Mon 00:30 busy 1\n"              // processor load is not watched
                               L"Mon 00:50 active 1\n");
  SimulatorOptions exact;
  exact.exact = true;
  exact.seconds = 3600;
  SimulatorOptions fast;
  fast.seconds = 3600;
  MemKeyStore keys2;
  WriteSettings(keys2, 3, 1, [](MyOpts& o) {
    o.KeepLastActiveUser = 1;
    o.LogoffStale = 1;
    o.LogoffStaleCount = 2;
  });
  const auto slow = Simulate(s, keys, exact);
  const auto quick = Simulate(s, keys2, fast);
  EXPECT_EQ(Lines(s, quick), Lines(s, slow));
  EXPECT_EQ(slow.rounds, 3600);
  EXPECT_LT(quick.rounds, 200);
  // The run did exercise what it claims to.
  const auto lines = Lines(s, slow);
  EXPECT_GT(CountLines(lines, L"Warning"), 1);
  EXPECT_GT(CountLines(lines, L"stale session"), 0);
  EXPECT_GT(CountLines(lines, L"most recent active user"), 0);
}

TEST(Simulator, SummaryCountsWhatTheTimelineShows) {
  MemKeyStore keys;
  WriteSettings(keys, 30, 5, [](MyOpts& o) {
    o.Exclude = {L"Domain Admins"};
    o.ApplyTo = {L"Users"};
    o.UseSchedule = 1;
    o.SetSchedule(L"Mon 7:00-18:00, ");
    o.Shutdown = 1;
    o.ShutdownTimeout = 20;
    o.ShutdownAction = kActionShutdown;
  });
  const Scenario s = MustParse(std::wstring(kTwoUsers) +
                               L"session 3 user=root domain=CORP groups=\"Domain Admins\"\n"
                               L"session 4 user=svc local=Services\n"
                               L"Mon 08:00 logon 1\nMon 08:00 logon 2\nMon 08:05 logon 3\nMon 08:06 logon 4\n"
                               L"Mon 09:00 idle 1\n"            // warned and logged off
                               L"Mon 12:00 logoff 3\nMon 12:01 logoff 4\n"
                               L"Mon 17:50 idle 2\n"            // the schedule has ended by the time-out
                               L"Tue 08:00 active 2\n"          // his session kept the server up
                               L"Tue 09:00 logoff 2\n");
  const auto result = Simulate(s, keys);
  const auto lines = Lines(s, result);
  const SimulationSummary& sum = result.summary;
  EXPECT_EQ(sum.sessions, 4);
  EXPECT_EQ(sum.warnings, CountLines(lines, L"Warning"));
  EXPECT_EQ(sum.logoffs, CountLines(lines, L"Tarnvale logged off the user"));
  EXPECT_EQ(sum.notMonitored, 2);
  EXPECT_NE(FindLine(lines, {L"#3", L"member of the group 'Domain Admins'"}), L"");
  EXPECT_NE(FindLine(lines, {L"#4", L"the user was not included in it."}), L"");
  EXPECT_EQ(sum.sparedSchedule, 1);
  EXPECT_NE(FindLine(lines, {L"Mon 18:20:00 #2", L"according to its schedule"}), L"");
  // Nobody at midnight: down at 00:20 and up again for alice. Bob's idle session keeps the
  // server up overnight (the schedule spares it); it shuts down 20 minutes after he has gone.
  EXPECT_EQ(sum.shutdowns, CountLines(lines, L"initiated a shutdown"));
  EXPECT_EQ(sum.PowerActions(), sum.shutdowns);
  EXPECT_NE(FindLine(lines, {L"Tue 09:20:00", L"initiated a shutdown"}), L"");
  EXPECT_EQ(sum.starts, CountLines(lines, L"The computer starts."));
  EXPECT_EQ(sum.userLogons, 4);
  EXPECT_EQ(sum.userLogoffs, 3);
  EXPECT_EQ(sum.errors, 0);
  EXPECT_EQ(sum.shutdowns, 2);
  EXPECT_EQ(sum.starts, 1);
  int counted = 0;
  for (const auto& [id, n] : sum.eventCounts) counted += n;
  int logged = 0;
  for (const TimelineEntry& e : result.timeline) logged += e.kind == TimelineEntry::Kind::kService;
  EXPECT_EQ(counted, logged);
}

TEST(Simulator, AnEmptyServerSleepsAndWakesForTheNextUser) {
  MemKeyStore keys;
  WriteSettings(keys, 30, 5, [](MyOpts& o) {
    o.Shutdown = 1;
    o.ShutdownTimeout = 15;
    o.ShutdownAction = kActionSleep;
  });
  const Scenario s = MustParse(L"days 1\nsession 1 user=ann\nMon 10:00 logon 1\nMon 10:30 logoff 1\n");
  const auto result = Simulate(s, keys);
  const auto lines = Lines(s, result);
  // Nobody at midnight: asleep a quarter of an hour later; woken by ann, asleep again after her.
  // The service writes its entry when the suspend request returns: after the wake-up. The next
  // deadline counts from then, so ann's log-on finds it pending and calls it off.
  EXPECT_NE(FindLine(lines, {L"Mon 00:15:00 - The computer goes to sleep."}), L"");
  EXPECT_NE(FindLine(lines, {L"Mon 09:59:59 - The computer wakes up."}), L"");
  EXPECT_NE(FindLine(lines, {L"Mon 09:59:59 - Tarnvale service initiated a suspend"}), L"");
  EXPECT_NE(FindLine(lines, {L"Mon 10:45:00 - The computer goes to sleep."}), L"");
  EXPECT_EQ(CountLines(lines, L"goes to sleep"), 2);
  EXPECT_EQ(result.summary.suspends, 2);
  EXPECT_EQ(result.summary.wakes, 1);
  EXPECT_EQ(result.summary.starts, 0);
}

TEST(Simulator, ServiceSwitchedOffWatchesNobody) {
  MemKeyStore keys;
  WriteSettings(keys, 5, 1, [](MyOpts& o) { o.Enable = 0; });
  const Scenario s = MustParse(L"days 1\nsession 1 user=ann\nMon 10:00 logon 1\nMon 10:01 idle 1\n");
  const auto result = Simulate(s, keys);
  const auto lines = Lines(s, result);
  EXPECT_NE(FindLine(lines, {L"Tarnvale did not start monitoring because Tarnvale was not enabled"}), L"");
  EXPECT_NE(FindLine(lines, {L"Tarnvale did not process a logon event"}), L"");
  EXPECT_EQ(result.summary.warnings + result.summary.logoffs, 0);
}

}  // namespace
}  // namespace tv
