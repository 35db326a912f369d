#include "simulator/scenario_generator.h"

#include <gtest/gtest.h>

#include <set>

#include "sim_fixture.h"

namespace tv {
namespace {

using test::MustParse;

// The users, their groups and every event, as one comparable text.
std::wstring Week(const Scenario& s) {
  std::wstring out;
  for (const ScenarioSession& x : s.sessions) {
    out += x.user + L":";
    for (const std::wstring& g : x.globalGroups) out += g + L",";
  }
  for (const ScenarioEvent& e : s.events)
    out += L" " + std::to_wstring(e.at) + L"/" + std::to_wstring(e.session) + L"/" + std::to_wstring(int(e.verb));
  return out;
}

TEST(Generator, TheSameSeedGivesTheSameWeekAndAnotherSeedAnother) {
  const std::wstring text = L"start 2024-01-08\ngenerate sessions=200 seed=42\n";
  const Scenario a = MustParse(text);
  const Scenario b = MustParse(text);
  EXPECT_EQ(Week(a), Week(b));
  EXPECT_NE(Week(a), Week(MustParse(L"start 2024-01-08\ngenerate sessions=200 seed=43\n")));
  ASSERT_EQ(a.sessions.size(), 200u);
  EXPECT_GT(a.events.size(), 200u * 5 * 6);
  EXPECT_LT(a.events.size(), 200u * 7 * 16);
}

TEST(Generator, MakesConsistentOfficeDaysForAnyStartSeedAndLength) {
  for (const wchar_t* start : {L"2024-01-12", L"2024-02-29"}) {
    for (int seed : {0, 99}) {
      const std::wstring text = std::wstring(L"start ") + start + L"\ndays 10\nsession 5 user=kept\n" +
                                L"generate sessions=60 seed=" + std::to_wstring(seed) + L" days=9 domain=ACME\n";
      // ParseScenario checks every session's verbs in order: a generator slip fails here.
      const Scenario s = MustParse(text);
      ASSERT_EQ(s.sessions.size(), 61u);
      std::set<std::wstring> names;
      int admins = 0;
      for (const ScenarioSession& session : s.sessions) {
        EXPECT_TRUE(names.insert(session.user).second) << "duplicate user " << testing::PrintToString(session.user);
        if (session.id == 5) continue;
        EXPECT_TRUE(session.id >= 6u && session.id <= 65u) << session.id;  // after the declared ones
        EXPECT_EQ(session.domain, L"ACME");
        for (const std::wstring& g : session.globalGroups) admins += g == L"Domain Admins";
      }
      EXPECT_LT(admins, 10);
      for (const ScenarioEvent& e : s.events) {
        EXPECT_TRUE(e.at >= 0 && e.at < 9 * 86400) << e.at;  // days=9 of the scenario's 10
        EXPECT_EQ(e.at % 60, 0);                               // on whole minutes
        const int hour = ScenarioTime(s, e.at).hour;
        EXPECT_TRUE(hour >= 7 && hour <= 20) << hour;  // office hours, weekends included
      }
    }
  }
}

TEST(Generator, WorkdaysAreBusyAndWeekendsQuiet) {
  const Scenario s = MustParse(L"start 2024-01-08\ngenerate sessions=300 seed=5\n");
  int logonsByDay[7] = {};
  for (const ScenarioEvent& e : s.events) {
    if (e.verb == ScenarioVerb::kLogon) ++logonsByDay[e.at / 86400];
  }
  // Monday: nearly everyone comes in, most by logging on.
  EXPECT_GT(logonsByDay[0], 250);
  for (int weekend : {5, 6}) EXPECT_LT(logonsByDay[weekend], 30) << weekend;
  EXPECT_GT(logonsByDay[5] + logonsByDay[6], 0);
}

}  // namespace
}  // namespace tv
