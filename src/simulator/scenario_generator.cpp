#include "simulator/scenario_generator.h"

#include <set>

namespace tv {

namespace {

// SplitMix64: tiny, fast, and the same numbers everywhere.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}
  std::uint64_t Next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  // A whole number in [lo, hi].
  int Between(int lo, int hi) { return lo + static_cast<int>(Next() % static_cast<std::uint64_t>(hi - lo + 1)); }
  // True with `percent` per cent.
  bool Chance(int percent) { return Between(1, 100) <= percent; }

 private:
  std::uint64_t state_;
};

constexpr const wchar_t* kFirstNames[] = {
    L"anna", L"ben",   L"carla", L"david", L"eva",   L"felix", L"greta", L"hugo",  L"ida",   L"jonas",
    L"kira", L"lars",  L"maja",  L"nils",  L"olga",  L"paul",  L"rosa",  L"sven",  L"tina",  L"uwe",
    L"vera", L"wim",   L"xenia", L"yusuf", L"zoe",   L"amir",  L"britt", L"chen",  L"dora",  L"emil",
    L"fiona", L"gus",  L"hanna", L"ivan",  L"julia", L"karl",  L"lena",  L"marco", L"nora",  L"omar"};
constexpr const wchar_t* kLastNames[] = {
    L"berg",   L"holm",   L"lind",  L"strand", L"dahl",   L"falk",  L"hart",   L"koch",   L"lang",  L"moser",
    L"nagel",  L"ohm",    L"pohl",  L"quist",  L"roth",   L"stein", L"thal",   L"ulm",    L"vogt",  L"wolf",
    L"adler",  L"bauer",  L"cruz",  L"dietz",  L"eck",    L"frey",  L"gross",  L"haas",   L"iles",  L"jung",
    L"kraus",  L"lorenz", L"marx",  L"neri",   L"otto",   L"price", L"reyes",  L"sauer",  L"torres", L"vidal"};
constexpr const wchar_t* kDepartments[] = {L"Sales", L"Finance", L"Support", L"Engineering", L"HR", L"Marketing"};

// What a user left behind at the end of a day.
enum class Left { kNothing, kDisconnected, kOpenIdle };

class DayWriter {
 public:
  DayWriter(Scenario* scenario, SessionId id, std::int64_t dayStart)
      : scenario_(scenario), id_(id), dayStart_(dayStart) {}
  void At(int minuteOfDay, ScenarioVerb verb, std::uint16_t program = 0) {
    scenario_->events.push_back({dayStart_ + std::int64_t(minuteOfDay) * 60, id_, verb, 0, false, program});
  }
  // Job `which` of kJobs runs from minute `from` to `until` of the day (past midnight too), cut
  // short by the scenario's end.
  void Job(int from, int until, int which) {
    static constexpr const wchar_t* kJobs[] = {L"render.exe", L"export.exe", L"backup.exe"};
    const auto program = static_cast<std::uint16_t>(scenario_->ProgramIndex(kJobs[which]));
    At(from, ScenarioVerb::kRun, program);
    if (dayStart_ + std::int64_t(until) * 60 < scenario_->Seconds()) At(until, ScenarioVerb::kRunEnd, program);
  }

 private:
  Scenario* scenario_;
  SessionId id_;
  std::int64_t dayStart_;
};

// One pause away from the keyboard in [from, to) minutes: idle, or locked.
void Pause(DayWriter& out, Random& rnd, int from, int length, int lockPercent) {
  if (rnd.Chance(lockPercent)) {
    out.At(from, ScenarioVerb::kLock);
    out.At(from + length, ScenarioVerb::kUnlock);
  } else {
    out.At(from, ScenarioVerb::kIdle);
    out.At(from + length, ScenarioVerb::kActive);
  }
}

int PauseLength(Random& rnd) {
  const int kind = rnd.Between(1, 100);
  if (kind <= 60) return rnd.Between(5, 20);   // coffee
  if (kind <= 90) return rnd.Between(20, 45);  // a talk with a colleague
  return rnd.Between(45, 90);                  // a meeting
}

// Pauses between `from` and `to` (minutes of the day), each after some work.
void Pauses(DayWriter& out, Random& rnd, int from, int to) {
  int t = from;
  const int count = rnd.Between(0, 2);
  for (int i = 0; i < count; ++i) {
    t += rnd.Between(30, 100);
    const int length = PauseLength(rnd);
    if (t + length + 10 > to) return;
    Pause(out, rnd, t, length, 25);
    t += length;
  }
}

// Coming in: back to whatever was left the day before.
void Arrive(DayWriter& out, int minute, Left left) {
  switch (left) {
    case Left::kNothing: out.At(minute, ScenarioVerb::kLogon); break;
    case Left::kDisconnected: out.At(minute, ScenarioVerb::kReconnect); break;
    case Left::kOpenIdle: out.At(minute, ScenarioVerb::kActive); break;
  }
}

// How people leave their sessions at lunch and at the end of the day: in an office most lock or
// log off; on a terminal server many simply close the remote window and come back to it.
// Thresholds on one roll of 1-100, so that both kinds of week draw the same random numbers.
struct Habits {
  int lunchLock, lunchIdle;          // up to the first lock, up to the second stay idle; above, disconnect
  int leaveLogoff, leaveDisconnect;  // likewise at the end of the day; above both, leave it open and idle
};
constexpr Habits kOfficeHabits{45, 85, 80, 92};
constexpr Habits kRemoteHabits{30, 60, 50, 90};

// A call, a video or a presentation soon after arrival, sat through without input; answers
// when it ends (`arrival` when there is none). It ends at the latest at 11:10, before any lunch.
int MorningCall(DayWriter& out, Random& extras, int arrival) {
  const int kind = extras.Between(1, 100);
  if (kind > 40) return arrival;
  const int from = arrival + extras.Between(5, 20);
  const int until = from + extras.Between(25, 80);
  out.At(from, kind <= 30 ? ScenarioVerb::kAudio : ScenarioVerb::kPresent);
  out.At(from, ScenarioVerb::kIdle);
  out.At(until, kind <= 30 ? ScenarioVerb::kAudioEnd : ScenarioVerb::kPresentEnd);
  out.At(until, ScenarioVerb::kActive);
  return until;
}

Left Workday(DayWriter& out, Random& rnd, Left left, const Habits& habits, Random* extras) {
  if (rnd.Chance(5)) return left;  // ill, on leave, working elsewhere
  const int arrival = 7 * 60 + 30 + rnd.Between(0, 120);
  Arrive(out, arrival, left);
  const int lunch = 11 * 60 + 45 + rnd.Between(0, 90);
  const int lunchLength = rnd.Between(30, 60);
  Pauses(out, rnd, extras ? MorningCall(out, *extras, arrival) : arrival, lunch);
  const int kind = rnd.Between(1, 100);
  if (kind <= habits.lunchLock) {
    out.At(lunch, ScenarioVerb::kLock);
    out.At(lunch + lunchLength, ScenarioVerb::kUnlock);
  } else if (kind <= habits.lunchIdle) {
    out.At(lunch, ScenarioVerb::kIdle);
    out.At(lunch + lunchLength, ScenarioVerb::kActive);
  } else {
    out.At(lunch, ScenarioVerb::kDisconnect);
    out.At(lunch + lunchLength, ScenarioVerb::kReconnect);
  }
  const int departure = 16 * 60 + rnd.Between(0, 150);
  Pauses(out, rnd, lunch + lunchLength, departure);
  const int how = rnd.Between(1, 100);
  if (how <= habits.leaveLogoff) {
    out.At(departure, ScenarioVerb::kLogoff);
    return Left::kNothing;
  }
  // A job started just before leaving, in a session left open for it: it ends in the night.
  if (extras && extras->Chance(40)) out.Job(departure - 2, departure + extras->Between(60, 600), extras->Between(0, 2));
  if (how <= habits.leaveDisconnect) {
    out.At(departure, ScenarioVerb::kDisconnect);
    return Left::kDisconnected;
  }
  out.At(departure, ScenarioVerb::kIdle);
  return Left::kOpenIdle;
}

Left WeekendDay(DayWriter& out, Random& rnd, Left left) {
  if (left != Left::kNothing || !rnd.Chance(4)) return left;
  const int from = 10 * 60 + rnd.Between(0, 300);
  const int until = from + rnd.Between(30, 150);
  out.At(from, ScenarioVerb::kLogon);
  if (rnd.Chance(90)) {
    out.At(until, ScenarioVerb::kLogoff);
    return Left::kNothing;
  }
  out.At(until, ScenarioVerb::kIdle);
  return Left::kOpenIdle;
}

}  // namespace

void GenerateOfficeSessions(const GeneratorParams& params, Scenario* scenario) {
  Random rnd(params.seed);
  std::set<std::wstring> taken;
  for (const ScenarioSession& s : scenario->sessions) taken.insert(s.user);
  const int days = std::min(params.days, scenario->days);
  const int first = static_cast<int>(scenario->sessions.size());
  for (int i = 0; i < params.sessions; ++i) {
    ScenarioSession s;
    s.id = params.firstId + static_cast<SessionId>(i);
    std::wstring name = std::wstring(kFirstNames[rnd.Between(0, std::size(kFirstNames) - 1)]) + L"." +
                        kLastNames[rnd.Between(0, std::size(kLastNames) - 1)];
    const std::wstring base = name;
    for (int n = 2; taken.count(name); ++n) name = base + std::to_wstring(n);
    taken.insert(name);
    s.user = name;
    s.domain = params.domain;
    // One in fifty is an administrator, whom a sensible configuration leaves alone.
    if (rnd.Chance(2)) {
      s.globalGroups = {L"Domain Users", L"Domain Admins"};
      s.localGroups = {L"Users", L"Administrators"};
    } else {
      s.globalGroups = {L"Domain Users", kDepartments[rnd.Between(0, std::size(kDepartments) - 1)]};
      s.localGroups = {L"Users", L"Remote Desktop Users"};
    }
    scenario->sessions.push_back(std::move(s));
  }
  Random extras(params.seed ^ 0xCA11AB1Eull);
  for (int i = 0; i < params.sessions; ++i) {
    const ScenarioSession& s = scenario->sessions[static_cast<std::size_t>(first + i)];
    Left left = Left::kNothing;
    for (int d = 0; d < days; ++d) {
      DayWriter out(scenario, s.id, std::int64_t(d) * 86400);
      const int dow = (scenario->start.dayOfWeek + d) % 7;
      left = (dow == 0 || dow == 6) ? WeekendDay(out, rnd, left)
                                    : Workday(out, rnd, left, params.terminalServer ? kRemoteHabits : kOfficeHabits,
                                              params.callsAndJobs ? &extras : nullptr);
    }
  }
  if (!params.terminalServer) return;
  // A stream of its own, so that the sessions and their days are those of an office week with
  // the same seed.
  Random tokens(params.seed ^ 0x5DEECE66Dull);
  for (int i = 0; i < params.sessions; ++i) {
    scenario->sessions[static_cast<std::size_t>(first + i)].token = !tokens.Chance(10);
  }
  for (int d = 0; d < days; ++d) {
    const int dow = (scenario->start.dayOfWeek + d) % 7;
    if (dow == 0 || dow == 6) continue;
    scenario->outages.push_back({std::int64_t(d) * 86400 + 8 * 3600, std::int64_t(d) * 86400 + 8 * 3600 + 45 * 60, 0});
  }
}

}  // namespace tv
