#include "simulator/scenario.h"

#include <gtest/gtest.h>

#include "sim_fixture.h"

namespace tv {
namespace {

using test::MustParse;

// The error ParseScenario gives for `text` read as "t.txt"; "" when it parsed.
std::wstring ParseError(const std::wstring& text) {
  Scenario scenario;
  std::wstring error;
  return ParseScenario(text, L"t.txt", &scenario, &error) ? std::wstring() : error;
}

// `text` is refused with an error that begins with `expected`.
void ExpectError(const std::wstring& text, const std::wstring& expected) {
  const std::wstring error = ParseError(text);
  EXPECT_EQ(error.rfind(expected, 0), 0u) << testing::PrintToString(text) << " gave " << testing::PrintToString(error);
}

TEST(Scenario, ReadsDeclarationsTimesAndUntilInAnyOrderOfLines) {
  const Scenario s = MustParse(
      L"# a comment line\n"
      L"Wed 09:00 logon 7   # events may come before the settings they depend on\n"
      L"start 2024-01-10\r\n"  // a Wednesday; CR LF line ends are fine
      L"days 9\n"
      L"computer TS9\n"
      L"session 7 user=alice domain=CORP groups=\"Domain Users, Sales \" console\n"
      L"session 2 user=svc local=\"Remote Desktop Users\"\n"
      L"Mon 08:00:30 logon 2\n"
      L"2024-01-18 23:59:59 logoff 2\n"
      L"Wed 12:00 lock 7 until 13:15\n"
      L"Wed 13:30 idle 7 until Thu 08:00\n"
      L"session 4 user=kim domain=CORP token\n"
      L"Thu 08:00 domain down until 08:45\n"
      L"Wed 23:30 domain down until Thu 00:15\n");
  EXPECT_EQ(s.days, 9);
  EXPECT_EQ(s.computer, L"TS9");
  EXPECT_EQ(s.start.dayOfWeek, 3);
  const ScenarioSession* alice = s.FindSession(7);
  ASSERT_NE(alice, nullptr);
  EXPECT_EQ(alice->domain, L"CORP");
  EXPECT_EQ(alice->globalGroups, (std::vector<std::wstring>{L"Domain Users", L"Sales"}));
  EXPECT_EQ(alice->localGroups, std::vector<std::wstring>{L"Users"});  // the default
  EXPECT_TRUE(alice->console);
  EXPECT_EQ(s.FindSession(2)->localGroups, std::vector<std::wstring>{L"Remote Desktop Users"});

  // Sorted by time; a weekday means its first day on or after the start (Mon is day 5 here).
  ASSERT_EQ(s.events.size(), 7u);
  EXPECT_EQ(s.events[0].at, 9 * 3600);
  EXPECT_EQ(s.events[0].line, 2);
  EXPECT_EQ(s.events[2].verb, ScenarioVerb::kUnlock);
  EXPECT_TRUE(s.events[2].implied);
  EXPECT_EQ(s.events[2].at, 13 * 3600 + 15 * 60);
  EXPECT_EQ(s.events[4].verb, ScenarioVerb::kActive);  // "idle ... until" ends in activity
  EXPECT_EQ(s.events[4].at, 86400 + 8 * 3600);
  EXPECT_EQ(s.events[5].at, 5 * 86400 + 8 * 3600 + 30);
  EXPECT_EQ(s.events[6].at, 9 * 86400 - 1);  // the last second of the last day
  EXPECT_EQ(ScenarioTime(s, s.events[6].at).day, 18);
  // Outages by start; the domain is down from the first second up to, not including, the last.
  EXPECT_TRUE(s.FindSession(4)->token);
  EXPECT_FALSE(alice->token);
  ASSERT_EQ(s.outages.size(), 2u);
  EXPECT_EQ(s.outages[0].from, 23 * 3600 + 30 * 60);
  EXPECT_TRUE(s.DomainDownAt(86400 + 15 * 60 - 1));
  EXPECT_FALSE(s.DomainDownAt(86400 + 15 * 60));
  EXPECT_TRUE(s.DomainDownAt(86400 + 8 * 3600));
  EXPECT_FALSE(s.DomainDownAt(86400 + 8 * 3600 + 45 * 60));
  // An empty scenario is valid: a week with nobody on the server.
  EXPECT_EQ(MustParse(L"").Seconds(), 7 * 86400);
}

TEST(Scenario, EventsOfOneSecondKeepTheirOrder) {
  const Scenario s = MustParse(
      L"session 1 user=a\n"
      L"Mon 09:00 logoff 1\n"
      L"Mon 08:00 logon 1\n"
      L"Mon 09:00 logon 1\n"  // same second as the log-off above it: after it
      L"Mon 09:00 lock 1\n");
  ASSERT_EQ(s.events.size(), 4u);
  EXPECT_EQ(s.events[1].verb, ScenarioVerb::kLogoff);
  EXPECT_EQ(s.events[2].verb, ScenarioVerb::kLogon);
  EXPECT_EQ(s.events[3].verb, ScenarioVerb::kLock);
}

TEST(Scenario, SpansOfSoundPresentationAndProgramsEndWithTheirOwnVerbAndProgram) {
  const Scenario s = MustParse(L"session 3 user=bob\nMon 08:00 logon 3\nMon 18:00 runs render.exe 3 until Tue 02:00\n"
                               L"Mon 10:00 plays audio 3 until 11:00\nMon 10:00 presents 3\n"
                               L"Mon 19:00 runs backup.exe 3 until 20:00\nTue 09:00 runs Render.exe 3\n");
  ASSERT_EQ(s.programs, (std::vector<std::wstring>{L"render.exe", L"backup.exe"}));
  const struct {
    std::int64_t at;
    ScenarioVerb verb;
    std::uint16_t program;
  } expected[] = {
      {28800, ScenarioVerb::kLogon, 0},       {36000, ScenarioVerb::kAudio, 0},  {36000, ScenarioVerb::kPresent, 0},
      {39600, ScenarioVerb::kAudioEnd, 0},  {64800, ScenarioVerb::kRun, 0},    {68400, ScenarioVerb::kRun, 1},
      {72000, ScenarioVerb::kRunEnd, 1},    {93600, ScenarioVerb::kRunEnd, 0}, {118800, ScenarioVerb::kRun, 0},
  };
  ASSERT_EQ(s.events.size(), std::size(expected));
  for (std::size_t i = 0; i < s.events.size(); ++i) {
    EXPECT_EQ(s.events[i].at, expected[i].at) << i;
    EXPECT_EQ(s.events[i].verb, expected[i].verb) << i;
    if (s.events[i].verb == ScenarioVerb::kRun || s.events[i].verb == ScenarioVerb::kRunEnd)
      EXPECT_EQ(s.events[i].program, expected[i].program) << i;
  }
}

TEST(Scenario, SyntaxErrorsNameTheLine) {
  const std::wstring head = L"session 3 user=bob\n";  // line 1
  const struct Case {
    std::wstring line, expected;
  } cases[] = {
      {L"Mon 08:30 lgon 3", L"t.txt:2: unknown verb 'lgon'"},
      {L"Mon 24:00 logon 3", L"t.txt:2: bad time '24:00'"},
      {L"Mon 8:60 logon 3", L"t.txt:2: bad time '8:60'"},
      {L"Mon 08:30 logon 4", L"t.txt:2: session 4 is not declared"},
      {L"Mon 08:30 logon x", L"t.txt:2: bad session number 'x'"},
      {L"Mon 08:30 logon", L"t.txt:2: an event needs a verb"},
      {L"Mon 08:30 logon 3 until 09:00", L"t.txt:2: 'until' does not go with logon"},
      {L"Mon 08:30 idle 3 until 08:30", L"t.txt:2: 'until' must be later"},
      {L"Mon 08:30 idle 3 later", L"t.txt:2: unexpected 'later'"},
      {L"Tues 08:30 logon 3", L"t.txt:2: unknown directive 'Tues'"},
      {L"2023-12-31 08:30 logon 3", L"t.txt:2: the date 2023-12-31 is before the start"},
      {L"2024-02-30 08:30 logon 3", L"t.txt:2: bad day '2024-02-30'"},
      {L"2024-01-08 00:00 logon 3", L"t.txt:2: 2024-01-08 00:00 is after the end"},  // day 8 of 7
      {L"Sun 23:00 idle 3 until 2024-01-08 01:00", L"t.txt:2: 2024-01-08 01:00 is after the end"},
      {L"Sun 23:00 idle 3 until Mon 01:00", L"t.txt:2: 'until' must be later"},  // Mon is the first day
      {L"session 3 user=eve", L"t.txt:2: session 3 is declared twice (first on line 1)"},
      {L"session 4 domain=CORP", L"t.txt:2: session 4 needs user=NAME"},
      {L"session 4 user=CORP\\eve", L"t.txt:2: give the domain as domain=NAME"},
      {L"session 0 user=eve", L"t.txt:2: session needs a number from 1 to 65535"},
      {L"session 4 user=\"eve", L"t.txt:2: a quote is not closed"},
      {L"days 0", L"t.txt:2: days needs a number from 1 to 366"},
      {L"start 2024-13-01", L"t.txt:2: start needs a date"},
      {L"computer ABCDEFGHIJKLMNOPQ", L"t.txt:2: computer needs one name of at most 15 characters"},
      {L"generate seed=4", L"t.txt:2: generate needs sessions=N"},
      {L"generate sessions=50001", L"t.txt:2: generate takes sessions=1..50000"},
      {L"generate sessions=10 days=8", L"t.txt:2: generate takes sessions=1..50000"},
      {L"generate sessions=10 kind=kiosk", L"t.txt:2: generate takes sessions=1..50000"},
      {L"Mon 08:00 domain down", L"t.txt:2: a domain outage reads 'Mon 08:00 domain down until 08:45'"},
      {L"Mon 08:00 domain up until 09:00", L"t.txt:2: a domain outage reads"},
      {L"Mon 08:00 domain down until 07:00", L"t.txt:2: 'until' must be later than the outage's start"},
      {L"Mon 08:00 plays video 3", L"t.txt:2: 'plays' goes with audio"},
      {L"Mon 08:00 plays audio", L"t.txt:2: 'plays' needs a session number"},
      {L"Mon 08:00 runs C:\\bin\\render.exe 3", L"t.txt:2: 'C:\\bin\\render.exe' is not a program's file name"},
      {L"Mon 08:00 runs render* 3", L"t.txt:2: 'render*' is not a program's file name such as render.exe (a running"},
      {L"Mon 08:00 runs render.exe 3 until 07:00", L"t.txt:2: 'until' must be later"},
      {L"Mon 08:00 presents 3 for 09:00", L"t.txt:2: unexpected 'for'"},
  };
  for (const Case& c : cases) ExpectError(head + c.line + L"\n", c.expected);
  // The limits that keep a generated scenario small are checked before anything is generated.
  ExpectError(L"days 60\ngenerate sessions=10000\n", L"t.txt:2: generate: sessions times days");
  ExpectError(L"generate sessions=1\ngenerate sessions=2\n", L"t.txt:2: only one generate line");
}

TEST(Scenario, VerbsOutOfOrderForTheirSessionNameTheLine) {
  const std::wstring head = L"session 1 user=a\nsession 2 user=b\n";
  const struct Case {
    std::wstring body, expected;
  } cases[] = {
      {L"Mon 08:00 lock 1\n", L"t.txt:3: lock: session 1 is not logged on"},
      {L"Mon 08:00 logon 1\nMon 09:00 logon 1\n", L"t.txt:4: logon: session 1 is already logged on (line 3)"},
      {L"Mon 08:00 logon 1\nMon 09:00 unlock 1\n", L"t.txt:4: unlock: session 1 is not locked"},
      {L"Mon 08:00 logon 1\nMon 09:00 lock 1\nMon 09:30 idle 1\n", L"t.txt:5: idle: session 1 is locked (line 4)"},
      {L"Mon 08:00 logon 1\nMon 09:00 reconnect 1\n", L"t.txt:4: reconnect: session 1 is not disconnected"},
      {L"Mon 08:00 logon 1\nMon 09:00 disconnect 1\nMon 09:10 active 1\n",
       L"t.txt:5: active: session 1 is disconnected (line 4)"},
      // The order is the order in time, not in the file: the lock comes after the logoff.
      {L"Mon 10:00 lock 1\nMon 08:00 logon 1\nMon 09:00 logoff 1\n", L"t.txt:3: lock: session 1 is not logged on"},
      // An implied event is checked at its own time and blamed on the line that asked for it.
      {L"Mon 08:00 logon 1\nMon 09:00 lock 1 until 10:00\nMon 09:30 logoff 1\n",
       L"t.txt:4: unlock: session 1 is not locked"},
      // Sound and a presentation start at a screen in view; a program in any session logged on.
      {L"Mon 08:00 logon 1\nMon 09:00 lock 1\nMon 09:30 presents 1\n", L"t.txt:5: presents: session 1 is locked (line 4)"},
      {L"Mon 08:00 logon 1\nMon 09:00 disconnect 1\nMon 09:30 plays audio 1\n",
       L"t.txt:5: plays audio: session 1 is disconnected (line 4)"},
      {L"Mon 09:00 runs render.exe 1\n", L"t.txt:3: runs: session 1 is not logged on"},
      {L"Mon 08:00 logon 1\nMon 09:00 plays audio 1 until 10:00\nMon 09:30 plays audio 1\n",
       L"t.txt:5: plays audio: session 1 already plays audio (line 4)"},
      {L"Mon 08:00 logon 1\nMon 09:00 runs render.exe 1 until 11:00\nMon 09:50 runs RENDER.EXE 1\n",
       L"t.txt:5: runs: session 1 already runs render.exe (line 4)"},
  };
  for (const Case& c : cases) ExpectError(head + c.body, c.expected);
  // A disconnected, locked session may be reconnected and unlocked, and logged off from any state.
  // Sound from a locked screen, a program in a disconnected session, another program beside it,
  // and the same source again once its span is over.
  EXPECT_EQ(ParseError(head + L"Mon 08:00 logon 1\nMon 08:10 plays audio 1 until 09:00\nMon 08:20 lock 1\n"
                              L"Mon 08:30 runs render.exe 1 until Tue 02:00\nMon 08:31 disconnect 1\n"
                              L"Mon 08:40 runs export.exe 1\nMon 09:30 reconnect 1\nMon 09:31 unlock 1\n"
                              L"Mon 09:32 plays audio 1\n"),
            L"");
  EXPECT_EQ(ParseError(head + L"Mon 08:00 logon 1\nMon 09:00 lock 1\nMon 09:01 disconnect 1\n"
                              L"Mon 09:02 reconnect 1\nMon 09:03 unlock 1\nMon 09:04 disconnect 1\nMon 09:05 logoff 1\n"),
            L"");
}

}  // namespace
}  // namespace tv
