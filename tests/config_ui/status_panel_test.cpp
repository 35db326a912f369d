#include "config_ui/status_panel.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "config_ui/main_dialog_ids.h"
#include "foundation/string_table.h"
#include "platform/registry.h"
#include "platform/service_manager.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

// A running, enabled service with this session monitored.
StatusSnapshot Running(Tick now) {
  StatusSnapshot s;
  s.now = now;
  s.serviceState = svc::kRunning;
  s.enabled = true;
  s.sessionsMonitoring = 3;
  s.monitorWindowExists = true;
  return s;
}

TEST(StatusPanel, ServiceAndEnableStatesComeFirst) {
  StatusPanel panel(0);
  StatusSnapshot s = Running(0);
  s.serviceState = 0;  // could not be read
  panel.Refresh(s);
  EXPECT_EQ(panel.Line1(), L"The Tarnvale service is <red>NOT running</red>. <a>Start the service...</a>");
  EXPECT_EQ(panel.Line2(), L"");
  s.serviceState = svc::kStartPending;
  s.enabled = false;
  panel.Refresh(s);
  EXPECT_EQ(panel.Line1(), L"The Tarnvale service is <red>NOT running</red>. <a>Start the service...</a>")
      << "not running wins over not enabled";

  s.serviceState = svc::kRunning;
  panel.NoteSaved(15);
  panel.Refresh(s);
  EXPECT_EQ(panel.Line1(),
            L"Tarnvale is <red>NOT enabled</red>. Check the <b>Enable Tarnvale</b> box and press <b>Apply</b>.");
  EXPECT_EQ(panel.NoticeRefreshesLeft(), 15) << "the notice waits for a monitoring line";

  s.policyManaged = true;
  panel.Refresh(s);
  EXPECT_EQ(panel.Line1(), L"Tarnvale is <red>NOT enabled</red>. ");
  EXPECT_EQ(panel.Line2(), LoadStr(IDS_POLICY_MANAGED));
  EXPECT_FALSE(panel.Line2().empty());

  s.gpoMode = true;
  s.gpoPath = L"LDAP://CN={31B2F340},CN=Policies,DC=corp";
  panel.Refresh(s);
  EXPECT_EQ(panel.Line1(), L"Managing the GPO:");
  EXPECT_EQ(panel.Line2(), s.gpoPath);

  EXPECT_EQ(panel.OnActivityReport(7, 0), 0);
  EXPECT_EQ(panel.OnActivityReport(0, 0), 0);
  EXPECT_STREQ(ActivityText(4), L"Activity detected: User session change.");
  EXPECT_STREQ(ActivityText(5), L"Activity detected: Audio.");
  EXPECT_STREQ(ActivityText(6), L"Activity detected: Presentation.");
}

TEST(StatusPanel, NoticeThenLastLogoffThenSessionCount) {
  StatusPanel panel(0);
  StatusSnapshot s = Running(0);
  s.lastLogoff = L"CORP\\bob";
  s.monitorCpuTicked = true;
  s.cpuLoad = 42;
  panel.NoteSaved(15);
  for (int i = 0; i < 15; ++i) {
    EXPECT_FALSE(panel.Refresh(s).deleteLastLogoff);
    // Control 128 reaches the open sessions: nobody has to log on again.
    EXPECT_EQ(panel.Line1(), L"The new settings apply at once, also in the sessions that are already open.") << i;
  }
  // Nine refreshes of the log-off, the tenth deletes it and counts sessions again.
  for (int i = 0; i < 9; ++i) {
    EXPECT_FALSE(panel.Refresh(s).deleteLastLogoff) << i;
    EXPECT_EQ(panel.Line1(), L"Logged off the user 'CORP\\bob'.");
  }
  EXPECT_TRUE(panel.Refresh(s).deleteLastLogoff);
  EXPECT_EQ(panel.Line1(), L"Monitoring 3 user session(s) on this computer. CPU load: 42%");

  // The next log-off starts a fresh count.
  s.lastLogoff = L"carol";
  for (int i = 0; i < 9; ++i) EXPECT_FALSE(panel.Refresh(s).deleteLastLogoff);
  EXPECT_TRUE(panel.Refresh(s).deleteLastLogoff);
  s.lastLogoff.clear();
  s.monitorCpuTicked = false;
  s.sessionsMonitoring = 0;
  EXPECT_FALSE(panel.Refresh(s).deleteLastLogoff);
  EXPECT_EQ(panel.Line1(), L"Monitoring 0 user session(s) on this computer. ");
  // A policy greys every control out; the line says why, and still how many sessions are watched.
  s.policyManaged = true;
  panel.Refresh(s);
  EXPECT_EQ(panel.Line1(), L"Monitoring 0 user session(s) on this computer, as a group policy sets. ");

  // A value longer than the registry buffer is shown cut.
  s.lastLogoff = std::wstring(300, L'x');
  panel.Refresh(s);
  EXPECT_EQ(panel.Line1(), L"Logged off the user '" + std::wstring(255, L'x') + L"'.");
}

// Refreshes every second on virtual time, starting just before the tick count wraps.
TEST(StatusPanel, IdleLineMovesInFiveSecondStepsAndRestartsAfterActivity) {
  const Tick start = 0xFFFFFFFFu - 20500u;
  StatusPanel panel(start);
  std::vector<std::pair<int, std::wstring>> changes;
  std::wstring last;
  for (int second = 0; second <= 35; ++second) {
    const Tick now = start + static_cast<Tick>(second) * 1000u;
    if (second == 23) panel.OnActivityReport(2, now - 400u);
    panel.Refresh(Running(now));
    if (panel.Line2() != last) changes.emplace_back(second, last = panel.Line2());
  }
  const std::vector<std::pair<int, std::wstring>> expected = {
      {5, L"No activity for 5 seconds."},    {10, L"No activity for 10 seconds."},
      {15, L"No activity for 15 seconds."},  {20, L"No activity for 20 seconds."},
      {23, L"Activity detected: Keyboard."}, {28, L"No activity for 5 seconds."},
      {33, L"No activity for 10 seconds."},
  };
  EXPECT_EQ(changes, expected);
}

// The service's record of this session's sparings changes under a panel refreshed every second.
TEST(StatusPanel, EachNewSparingTheServiceRecordsIsShownOnceAsActivity) {
  const std::map<int, std::wstring> records = {
      {0, L"100 2 old.exe"},     // found at the first refresh: before the panel's time
      {12, L"200 2 render.exe"}, {25, L"300 3 "}, {28, L"400 4 "},
      {31, L"500 1 "},           // a kiosk waiting for its first input: no activity
      {33, L"junk"},             {34, L""},  // the session's record gone
  };
  StatusPanel panel(0);
  StatusSnapshot s = Running(0);
  std::vector<std::pair<int, std::wstring>> changes;
  std::wstring last;
  for (int second = 0; second <= 38; ++second) {
    s.now = static_cast<Tick>(second) * 1000u;
    if (const auto r = records.find(second); r != records.end()) s.keptAlive = r->second;
    panel.Refresh(s);
    if (panel.Line2() != last) changes.emplace_back(second, last = panel.Line2());
  }
  const std::vector<std::pair<int, std::wstring>> expected = {
      {5, L"No activity for 5 seconds."},
      {10, L"No activity for 10 seconds."},
      {12, L"Activity detected: Program render.exe."},
      {17, L"No activity for 5 seconds."},
      {22, L"No activity for 10 seconds."},
      {25, L"Activity detected: Audio."},
      {28, L"Activity detected: Presentation."},
      {33, L"No activity for 5 seconds."},
      {38, L"No activity for 10 seconds."},
  };
  EXPECT_EQ(changes, expected);
}

TEST(StatusPanel, ScheduleHoldsOffOnlyWhenInUseReadableAndInactive) {
  MemKeyStore none;
  MyOpts o(none);
  o.SetSchedule(L"Mon 8:00-18:00");
  SystemTime monday{2024, 1, 1, 1, 20};  // Monday 1 January 2024, 20:00
  EXPECT_FALSE(ScheduleHoldsOff(o, monday)) << "a schedule not in use holds nothing off";
  o.UseSchedule = 1;
  EXPECT_TRUE(ScheduleHoldsOff(o, monday));
  monday.hour = 9;
  EXPECT_FALSE(ScheduleHoldsOff(o, monday));
  for (const wchar_t* always : {L"", L"*", L"Mon 8:00-nonsense"}) {
    o.SetSchedule(always);
    monday.hour = 20;
    EXPECT_FALSE(ScheduleHoldsOff(o, monday)) << testing::PrintToString(std::wstring(always));
  }
}

TEST(StatusPanel, IdleLineAfterLongGapsAndWithoutAMonitorWindow) {
  StatusPanel panel(1000);
  StatusSnapshot s = Running(1000 + 3 * 3600 * 1000u + 62 * 1000u);
  panel.Refresh(s);
  EXPECT_EQ(panel.Line2(), L"No activity for 3 hours 1 minutes and 2 seconds.");
  s.now += 3000;  // 3:01:05 reaches the next step
  panel.Refresh(s);
  EXPECT_EQ(panel.Line2(), L"No activity for 3 hours 1 minutes and 5 seconds.");
  s.now += 4000;
  panel.Refresh(s);
  EXPECT_EQ(panel.Line2(), L"No activity for 3 hours 1 minutes and 5 seconds.");

  panel.OnActivityReport(1, s.now);
  s.now += 61 * 1000u;
  panel.Refresh(s);
  EXPECT_EQ(panel.Line2(), L"Activity detected: Mouse.") << "a report is shown once, whatever the time";
  panel.Refresh(s);
  EXPECT_EQ(panel.Line2(), L"No activity for 1 minutes and 1 seconds.");

  // Outside the schedule the idle line says that the time-out does nothing now.
  s.scheduleHoldsOff = true;
  s.now += 4000;
  panel.Refresh(s);
  EXPECT_EQ(panel.Line2(), L"No activity for 1 minutes and 5 seconds. Outside the schedule: nobody is logged off now.");

  // Without a monitor window, the reason the service recorded for the session (its first, one
  // between and its last, and one it does not know).
  s.monitorWindowExists = false;
  const struct {
    DWORD reason;
    const wchar_t* line;
  } reasons[] = {
      {0, L"Tarnvale has not examined this session yet."},
      {3, L"Not monitoring the current user: the account is in the <b>Do not apply to</b> list."},
      {8, L"Not monitoring the current user: the session's monitor process kept ending (see the event log)."},
      {99, L"Not monitoring the current user."},
  };
  for (const auto& r : reasons) {
    s.watchReason = r.reason;
    panel.Refresh(s);
    EXPECT_EQ(panel.Line2(), r.line) << r.reason;
  }

  // A report that arrives while the service is down waits for a monitoring line.
  panel.OnActivityReport(3, s.now);
  s.serviceState = svc::kStopped;
  panel.Refresh(s);
  s.serviceState = svc::kRunning;
  panel.Refresh(s);
  EXPECT_EQ(panel.Line2(), L"Activity detected: CPU.");
}

}  // namespace
}  // namespace tv
