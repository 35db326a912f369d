#include "simulator/scenario_generator.h"

#include <gtest/gtest.h>

#include <set>

#include "sim_fixture.h"

namespace tv {
namespace {

using test::MustParse;

// Same-seed determinism and the shape of a generated week are pinned by timeline_golden_test,
// which runs generated weeks; here, any start, seed and length gives a consistent scenario.
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


// The week with calls and jobs: every call is sat through without input and ends before lunch,
// and every job starts in a session its user leaves open and ends by the next morning.
TEST(Generator, OfficeWithCallsAndJobsIsConsistentAndHasEveryKind) {
  for (int seed : {1, 2}) {
    const Scenario s =
        MustParse(L"start 2024-01-08\ndays 7\ngenerate sessions=80 seed=" + std::to_wstring(seed) + L" kind=office-calls\n");
    int audio = 0, presents = 0, runs = 0;
    for (std::size_t i = 0; i < s.events.size(); ++i) {
      const ScenarioEvent& e = s.events[i];
      const SystemTime t = ScenarioTime(s, e.at);
      if (e.verb == ScenarioVerb::kAudio || e.verb == ScenarioVerb::kPresent) {
        ++(e.verb == ScenarioVerb::kAudio ? audio : presents);
        EXPECT_TRUE(t.hour >= 7 && t.hour <= 9) << t.hour;
      }
      if (e.verb == ScenarioVerb::kAudioEnd || e.verb == ScenarioVerb::kPresentEnd) EXPECT_LT(t.hour * 60 + t.minute, 11 * 60 + 45);
      if (e.verb == ScenarioVerb::kRun) {
        ++runs;
        EXPECT_GE(t.hour, 15);
      }
      if (e.verb == ScenarioVerb::kRunEnd) EXPECT_TRUE(t.hour >= 17 || t.hour < 5) << t.hour;
    }
    EXPECT_GT(audio, presents);
    EXPECT_GT(presents, 0);
    EXPECT_GT(runs, 0);
    EXPECT_EQ(s.programs.size(), 3u);
  }
}

}  // namespace
}  // namespace tv
