#include "simulator/html_report.h"

#include <gtest/gtest.h>

#include "sim_fixture.h"

namespace tv {
namespace {

using State = ActivityState;

TimelineEntry Entry(std::int64_t at, TimelineEntry::Kind kind, SessionId id, DWORD eventId, const wchar_t* text) {
  TimelineEntry e;
  e.at = at;
  e.kind = kind;
  e.session = id;
  e.eventId = eventId;
  e.text = text;
  return e;
}

std::size_t Count(const std::string& text, const std::string& what) {
  std::size_t n = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

constexpr std::int64_t kHour = 3600;

TEST(HtmlReport, StretchesFollowTheUserAndEndAtAForcedLogoff) {
  const Scenario s = test::MustParse(
      L"days 1\nsession 1 user=alice\nsession 2 user=bob\n"
      L"Mon 08:00 logon 1\nMon 09:00 idle 1 until 10:00\nMon 12:00 lock 1 until 13:00\nMon 17:00 logoff 1\n"
      L"Mon 08:00 logon 2\nMon 08:30 idle 2\nMon 11:00 active 2\nMon 23:00 disconnect 2\n");
  SimulationResult r;
  r.timeline.push_back(Entry(9 * kHour, TimelineEntry::Kind::kService, 2, 0x6000000a, L"logged off"));
  r.timeline.push_back(Entry(8 * kHour + 1800 + 600, TimelineEntry::Kind::kWarning, 2, 0, L"warned"));

  const auto alice = SessionStretches(s, r, 1);
  ASSERT_EQ(alice.size(), 5u);
  const std::int64_t bounds[][2] = {{8, 9}, {9, 10}, {10, 12}, {12, 13}, {13, 17}};
  const State states[] = {State::kActive, State::kIdle, State::kActive, State::kLocked, State::kActive};
  for (std::size_t i = 0; i < alice.size(); ++i) {
    EXPECT_EQ(alice[i].from, bounds[i][0] * kHour) << i;
    EXPECT_EQ(alice[i].to, bounds[i][1] * kHour) << i;
    EXPECT_EQ(alice[i].state, states[i]) << i;
  }

  // Bob is logged off while away; coming back at 11:00 is a new session, disconnected at 23:00
  // and still there when the day (the run) ends.
  const auto bob = SessionStretches(s, r, 2);
  ASSERT_EQ(bob.size(), 4u);
  EXPECT_EQ(bob[1].state, State::kIdle);
  EXPECT_EQ(bob[1].to, 9 * kHour) << "the forced log-off ends the session";
  EXPECT_EQ(bob[2].from, 11 * kHour);
  EXPECT_EQ(bob[2].state, State::kActive);
  EXPECT_EQ(bob[3].state, State::kDisconnected);
  EXPECT_EQ(bob[3].to, 24 * kHour) << "clipped to the run";
}

TEST(HtmlReport, PageIsSelfContainedWithARowPerSessionAndEveryMark) {
  const Scenario s = test::MustParse(
      L"days 2\ncomputer TS<9>\nsession 1 user=a&b domain=CORP\nsession 2 user=c\n"
      L"Mon 08:00 logon 1\nMon 08:00 logon 2\nMon 09:00 idle 1\n");
  SimulationResult r;
  r.timeline.push_back(Entry(9 * kHour + 600, TimelineEntry::Kind::kWarning, 1, 0, L"warned <now>"));
  r.timeline.push_back(Entry(9 * kHour + 900, TimelineEntry::Kind::kService, 1, 0x6000000a, L"logged off"));
  r.timeline.push_back(Entry(20 * kHour, TimelineEntry::Kind::kService, 2, 0x60000017, L"stale"));
  r.timeline.push_back(Entry(30 * kHour, TimelineEntry::Kind::kComputer, kNoSession, 0, L"The computer shuts down."));
  r.summary.sessions = 2;
  r.summary.warnings = 1;
  r.summary.logoffs = 1;
  const std::string page = FormatHtmlReport(s, r, {L"Timeout 10 minutes"}, L"Week & more");

  EXPECT_EQ(page.rfind("<!DOCTYPE html>", 0), 0u);
  EXPECT_EQ(page.find("<script"), std::string::npos);
  EXPECT_EQ(page.find(" src="), std::string::npos);
  EXPECT_EQ(page.find("href="), std::string::npos) << "nothing fetched or linked";
  EXPECT_EQ(Count(page, "http"), 1u) << "only the SVG namespace";
  EXPECT_EQ(Count(page, "</svg>"), 1u);
  EXPECT_EQ(Count(page, "class=\"dayname\""), 2u);
  EXPECT_EQ(Count(page, "<path class=\"warn\""), 1u);
  EXPECT_EQ(Count(page, "<rect class=\"off\""), 1u);
  EXPECT_EQ(Count(page, "<rect class=\"stale\""), 1u);
  EXPECT_EQ(Count(page, "<path class=\"power\""), 1u);
  EXPECT_NE(page.find("CORP\\a&amp;b"), std::string::npos);
  EXPECT_NE(page.find("TS&lt;9&gt;"), std::string::npos);
  EXPECT_NE(page.find("warned &lt;now&gt;"), std::string::npos);
  EXPECT_NE(page.find("<title>Week &amp; more</title>"), std::string::npos);
  EXPECT_NE(page.find("<li>Timeout 10 minutes</li>"), std::string::npos);
  EXPECT_NE(page.find("Warnings shown</td><td class=\"n\">1<"), std::string::npos);
  // Every mark is also a row of the list under the chart, readable without hovering; no
  // schedule, no shading.
  EXPECT_EQ(Count(page, "<table class=\"events\">"), 1u);
  EXPECT_EQ(Count(page, "</td><td>warned &lt;now&gt;</td></tr>"), 1u);
  EXPECT_EQ(Count(page, "<td>TS&lt;9&gt;</td><td>The computer shuts down.</td>"), 1u);
  EXPECT_LT(page.find("<h2>Events</h2>"), page.find("<h2>Summary</h2>"));
  EXPECT_EQ(Count(page, "class=\"night\""), 0u);
}

TEST(HtmlReport, OnlyTheHalfHoursOutsideTheScheduleAreShaded) {
  SimulationResult r;
  PeriodList periods;
  ASSERT_EQ(Schedule::ParseText(L"Mon 7:30-19:00, Tue 0:00-12:00, Tue 13:00-24:00", periods), nullptr);
  r.schedule = GridFromPeriods(periods);
  using Runs = std::vector<std::pair<std::int64_t, std::int64_t>>;
  EXPECT_EQ(OffScheduleRuns(r, 1), (Runs{{0, 7 * kHour + 1800}, {19 * kHour, 24 * kHour}}));
  EXPECT_EQ(OffScheduleRuns(r, 2), (Runs{{12 * kHour, 13 * kHour}}));
  EXPECT_EQ(OffScheduleRuns(r, 0), (Runs{{0, 24 * kHour}}));  // Sunday: not in force at all
  r.schedule.reset();
  EXPECT_TRUE(OffScheduleRuns(r, 1).empty());
  const Scenario s = test::MustParse(L"days 2\nsession 1 user=a\nMon 08:00 logon 1\n");
  r.schedule = GridFromPeriods(periods);
  // Monday two runs, Tuesday one: the chart shades exactly those.
  EXPECT_EQ(Count(FormatHtmlReport(s, r, {}, L"t"), "class=\"night\""), 3u);
}

TEST(HtmlReport, LargeScenariosAreCutToTheRowLimitWithANote) {
  Scenario s = test::MustParse(L"days 1\n");
  for (SessionId id = 1; id <= kMaxReportRows + 5; ++id) {
    ScenarioSession session;
    session.id = id;
    session.user = L"u" + std::to_wstring(id);
    s.sessions.push_back(session);
  }
  const std::string page = FormatHtmlReport(s, SimulationResult{}, {}, L"big");
  EXPECT_EQ(Count(page, "class=\"label\""), kMaxReportRows + 1) << "the computer's row and the first sessions";
  EXPECT_NE(page.find("The first " + std::to_string(kMaxReportRows) + " of " + std::to_string(kMaxReportRows + 5)),
            std::string::npos);
}


// A stretch away from the keyboard is drawn as kept in use only while a source runs that the
// run's settings count, and where it can be seen: sound on a locked screen too, a presentation
// only on one in view, a listed program even in a disconnected session.
TEST(HtmlReport, StretchesKeptInUseFollowTheSourcesTheSettingsCount) {
  const Scenario s = test::MustParse(
      L"days 1\nsession 1 user=alice\n"
      L"Mon 08:00 logon 1\nMon 09:00 plays audio 1 until 10:00\nMon 09:00 idle 1\nMon 09:30 lock 1\n"
      L"Mon 11:00 unlock 1\nMon 11:00 presents 1 until 13:00\nMon 11:00 idle 1\nMon 12:00 lock 1\n"
      L"Mon 14:00 runs render.exe 1\nMon 14:00 disconnect 1\nMon 16:00 runs backup.exe 1\n");
  KeepAliveInForce all;
  all.audio = all.presentation = true;
  all.programs = {L"render*"};
  const struct Case {
    const char* name;
    KeepAliveInForce rules;
    std::vector<std::pair<std::int64_t, State>> starts;  // each stretch's start (hours) and state
  } cases[] = {
      {"all counted", all,
       {{8, State::kActive}, {9, State::kKept}, {10, State::kLocked}, {11, State::kKept}, {12, State::kLocked},
        {14, State::kKept}}},
      {"none counted", {},
       {{8, State::kActive}, {9, State::kIdle}, {9, State::kLocked}, {11, State::kIdle}, {12, State::kLocked},
        {14, State::kDisconnected}}},
  };
  for (const Case& c : cases) {
    SimulationResult r;
    r.keepAlive = c.rules;
    const auto stretches = SessionStretches(s, r, 1);
    ASSERT_EQ(stretches.size(), c.starts.size()) << c.name;
    for (std::size_t i = 0; i < stretches.size(); ++i) {
      EXPECT_EQ(stretches[i].from / kHour, c.starts[i].first) << c.name << " " << i;
      EXPECT_EQ(stretches[i].state, c.starts[i].second) << c.name << " " << i;
    }
  }
}

}  // namespace
}  // namespace tv
