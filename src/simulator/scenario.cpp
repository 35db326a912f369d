#include "simulator/scenario.h"

#include <algorithm>
#include <cwctype>
#include <map>
#include <optional>

#include "foundation/split_text.h"
#include "settings/program_names.h"
#include "platform/local_time.h"
#include "platform/portable/clock.h"
#include "simulator/scenario_generator.h"

namespace tv {

namespace {

struct VerbWord {
  ScenarioVerb verb;
  const wchar_t* word;
};
constexpr VerbWord kVerbs[] = {
    {ScenarioVerb::kLogon, L"logon"},         {ScenarioVerb::kLogoff, L"logoff"},
    {ScenarioVerb::kLock, L"lock"},           {ScenarioVerb::kUnlock, L"unlock"},
    {ScenarioVerb::kDisconnect, L"disconnect"}, {ScenarioVerb::kReconnect, L"reconnect"},
    {ScenarioVerb::kActive, L"active"},       {ScenarioVerb::kIdle, L"idle"},
    {ScenarioVerb::kBusy, L"busy"},
    {ScenarioVerb::kPresent, L"presents"},    {ScenarioVerb::kPresentEnd, L"presentation ends"},
    {ScenarioVerb::kAudio, L"plays audio"},   {ScenarioVerb::kAudioEnd, L"audio ends"},
    {ScenarioVerb::kRun, L"runs"},            {ScenarioVerb::kRunEnd, L"program ends"},
};

constexpr const wchar_t* kDayNames[] = {L"sun", L"mon", L"tue", L"wed", L"thu", L"fri", L"sat"};
constexpr const wchar_t* kLongDayNames[] = {L"sunday",   L"monday", L"tuesday", L"wednesday",
                                            L"thursday", L"friday", L"saturday"};

// A failure on one line; the parser stops at the first.
struct Problem {
  int line = 0;
  std::wstring what;
};

std::wstring Lower(std::wstring_view s) {
  std::wstring out(s);
  for (wchar_t& c : out) c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
  return out;
}

// Words of a line: blanks separate them, double quotes keep blanks inside a word (and are
// dropped), "#" outside quotes ends the line.
bool SplitWords(std::wstring_view line, std::vector<std::wstring>* words, std::wstring* what) {
  std::wstring word;
  bool inWord = false;
  bool quoted = false;
  for (wchar_t c : line) {
    if (quoted) {
      if (c == L'"') {
        quoted = false;
      } else {
        word += c;
      }
      continue;
    }
    if (c == L'#') break;
    if (c == L' ' || c == L'\t' || c == L'\r' || c == L'\v' || c == L'\f') {
      if (inWord) words->push_back(std::move(word));
      word.clear();
      inWord = false;
      continue;
    }
    inWord = true;
    if (c == L'"') {
      quoted = true;
    } else {
      word += c;
    }
  }
  if (quoted) {
    *what = L"a quote is not closed";
    return false;
  }
  if (inWord) words->push_back(std::move(word));
  return true;
}

// A whole decimal number in [lo, hi].
bool ReadNumber(std::wstring_view s, std::int64_t lo, std::int64_t hi, std::int64_t* out) {
  if (s.empty() || s.size() > 18) return false;
  std::int64_t v = 0;
  for (wchar_t c : s) {
    if (c < L'0' || c > L'9') return false;
    v = v * 10 + (c - L'0');
  }
  if (v < lo || v > hi) return false;
  *out = v;
  return true;
}

// "YYYY-MM-DD" as a calendar date.
bool ReadDate(std::wstring_view s, SystemTime* out) {
  std::int64_t y = 0, m = 0, d = 0;
  if (s.size() != 10 || s[4] != L'-' || s[7] != L'-') return false;
  if (!ReadNumber(s.substr(0, 4), 1601, 30827, &y) || !ReadNumber(s.substr(5, 2), 1, 12, &m) ||
      !ReadNumber(s.substr(8, 2), 1, 31, &d)) {
    return false;
  }
  SystemTime t;
  t.year = static_cast<std::uint16_t>(y);
  t.month = static_cast<std::uint16_t>(m);
  t.day = static_cast<std::uint16_t>(d);
  if (!IsValidCalendarTime(t)) return false;
  // AddDays by 0 fills the day of the week.
  return AddDays(t, 0, *out) != 0;
}

// "H:MM" or "HH:MM[:SS]" as seconds of the day.
bool ReadClock(std::wstring_view s, std::int64_t* seconds) {
  const std::size_t c1 = s.find(L':');
  if (c1 == std::wstring_view::npos) return false;
  const std::size_t c2 = s.find(L':', c1 + 1);
  std::int64_t h = 0, m = 0, sec = 0;
  if (c1 == 0 || c1 > 2 || !ReadNumber(s.substr(0, c1), 0, 23, &h)) return false;
  const std::wstring_view mm = s.substr(c1 + 1, c2 == std::wstring_view::npos ? std::wstring_view::npos : c2 - c1 - 1);
  if (mm.size() != 2 || !ReadNumber(mm, 0, 59, &m)) return false;
  if (c2 != std::wstring_view::npos) {
    const std::wstring_view ss = s.substr(c2 + 1);
    if (ss.size() != 2 || !ReadNumber(ss, 0, 59, &sec)) return false;
  }
  *seconds = h * 3600 + m * 60 + sec;
  return true;
}

int DayOfWeekWord(std::wstring_view word) {
  const std::wstring w = Lower(word);
  for (int i = 0; i < 7; ++i) {
    if (w == kDayNames[i] || w == kLongDayNames[i]) return i;
  }
  return -1;
}

bool LooksLikeDay(std::wstring_view word) {
  return DayOfWeekWord(word) >= 0 || (word.size() == 10 && word[4] == L'-');
}

std::int64_t DayNumber(const SystemTime& t) { return DaysFromCivil(t.year, t.month, t.day); }

class Parser {
 public:
  Parser(std::wstring_view text, Scenario* out) : out_(out), lines_(SplitText(text, L'\n', false)) {}

  std::optional<Problem> Run() {
    *out_ = Scenario{};
    out_->start = SimulatedClock::DefaultStart();
    // Settings of the whole scenario first, so that events may come before them in the file.
    for (int pass = 0; pass < 2; ++pass) {
      for (std::size_t i = 0; i < lines_.size(); ++i) {
        const int lineNo = static_cast<int>(i) + 1;
        std::vector<std::wstring> words;
        std::wstring what;
        if (!SplitWords(lines_[i], &words, &what)) return Problem{lineNo, what};
        if (words.empty()) continue;
        if (auto p = pass == 0 ? Declaration(words, lineNo) : Event(words, lineNo)) return p;
      }
      if (pass == 0) {
        if (auto p = Generate()) return p;
      }
    }
    std::stable_sort(out_->events.begin(), out_->events.end(),
                     [](const ScenarioEvent& a, const ScenarioEvent& b) { return a.at < b.at; });
    std::stable_sort(out_->outages.begin(), out_->outages.end(),
                     [](const DomainOutage& a, const DomainOutage& b) { return a.from < b.from; });
    int line = 0;
    std::wstring what;
    if (!CheckScenarioOrder(*out_, &line, &what)) return Problem{line ? line : generateLine_, what};
    return std::nullopt;
  }

 private:
  // Pass one: start, days, computer, session, generate. Anything else must be an event.
  std::optional<Problem> Declaration(const std::vector<std::wstring>& w, int line) {
    const std::wstring key = Lower(w[0]);
    if (key == L"start") {
      if (w.size() != 2 || !ReadDate(w[1], &out_->start)) return Problem{line, L"start needs a date such as 2024-01-08"};
      if (seen(L"start", line)) return Problem{line, L"start is given twice"};
      return std::nullopt;
    }
    if (key == L"days") {
      std::int64_t d = 0;
      if (w.size() != 2 || !ReadNumber(w[1], 1, kMaxScenarioDays, &d)) {
        return Problem{line, L"days needs a number from 1 to " + std::to_wstring(kMaxScenarioDays)};
      }
      if (seen(L"days", line)) return Problem{line, L"days is given twice"};
      out_->days = static_cast<int>(d);
      return std::nullopt;
    }
    if (key == L"computer") {
      if (w.size() != 2 || w[1].size() > 15) return Problem{line, L"computer needs one name of at most 15 characters"};
      out_->computer = w[1];
      return std::nullopt;
    }
    if (key == L"session") return Session(w, line);
    if (key == L"generate") {
      if (generateLine_) return Problem{line, L"only one generate line is allowed (the first is on line " +
                                                  std::to_wstring(generateLine_) + L")"};
      generateLine_ = line;
      generateWords_ = w;
      return std::nullopt;
    }
    if (LooksLikeDay(w[0])) return std::nullopt;  // an event: pass two
    return Problem{line, L"unknown directive '" + w[0] + L"' (expected start, days, computer, session, generate "
                                                         L"or a time such as 'Mon 08:30')"};
  }

  bool seen(const std::wstring& what, int line) {
    auto [it, fresh] = seenLines_.emplace(what, line);
    return !fresh;
  }

  static std::vector<std::wstring> SplitList(const std::wstring& value) {
    std::vector<std::wstring> out;
    std::size_t pos = 0;
    while (pos <= value.size()) {
      std::size_t end = value.find(L',', pos);
      if (end == std::wstring::npos) end = value.size();
      std::wstring item = value.substr(pos, end - pos);
      while (!item.empty() && item.front() == L' ') item.erase(item.begin());
      while (!item.empty() && item.back() == L' ') item.pop_back();
      if (!item.empty()) out.push_back(item);
      pos = end + 1;
    }
    return out;
  }

  std::optional<Problem> Session(const std::vector<std::wstring>& w, int line) {
    std::int64_t id = 0;
    if (w.size() < 2 || !ReadNumber(w[1], 1, 65535, &id)) {
      return Problem{line, L"session needs a number from 1 to 65535, then user=NAME"};
    }
    if (out_->FindSession(static_cast<SessionId>(id))) {
      return Problem{line, L"session " + w[1] + L" is declared twice (first on line " +
                               std::to_wstring(out_->FindSession(static_cast<SessionId>(id))->line) + L")"};
    }
    ScenarioSession s;
    s.id = static_cast<SessionId>(id);
    s.line = line;
    bool haveLocal = false;
    for (std::size_t i = 2; i < w.size(); ++i) {
      const std::size_t eq = w[i].find(L'=');
      const std::wstring key = Lower(w[i].substr(0, eq));
      if (eq == std::wstring::npos) {
        if (key == L"console") {
          s.console = true;
          continue;
        }
        if (key == L"token") {
          s.token = true;
          continue;
        }
        return Problem{line, L"'" + w[i] + L"' is not KEY=VALUE (keys: user, domain, groups, local; or console, token)"};
      }
      const std::wstring value = w[i].substr(eq + 1);
      if (key == L"user") {
        s.user = value;
      } else if (key == L"domain") {
        s.domain = value;
      } else if (key == L"groups") {
        s.globalGroups = SplitList(value);
      } else if (key == L"local") {
        s.localGroups = SplitList(value);
        haveLocal = true;
      } else {
        return Problem{line, L"unknown key '" + w[i].substr(0, eq) + L"' (keys: user, domain, groups, local)"};
      }
    }
    if (s.user.empty()) return Problem{line, L"session " + w[1] + L" needs user=NAME"};
    if (s.user.size() > 104 || s.domain.size() > 104) return Problem{line, L"user or domain name too long"};
    if (s.user.find(L'\\') != std::wstring::npos) {
      return Problem{line, L"give the domain as domain=NAME, not in the user name"};
    }
    if (!haveLocal) s.localGroups = {L"Users"};
    if (s.console && std::any_of(out_->sessions.begin(), out_->sessions.end(),
                                 [](const ScenarioSession& o) { return o.console; })) {
      return Problem{line, L"only one session can be the console"};
    }
    out_->sessions.push_back(std::move(s));
    return std::nullopt;
  }

  std::optional<Problem> Generate() {
    if (!generateLine_) return std::nullopt;
    const int line = generateLine_;
    GeneratorParams params;
    params.days = out_->days;
    bool haveSessions = false;
    for (std::size_t i = 1; i < generateWords_.size(); ++i) {
      const std::wstring& word = generateWords_[i];
      const std::size_t eq = word.find(L'=');
      const std::wstring key = Lower(word.substr(0, eq));
      const std::wstring value = eq == std::wstring::npos ? std::wstring() : word.substr(eq + 1);
      std::int64_t n = 0;
      if (key == L"sessions" && ReadNumber(value, 1, kMaxGeneratedSessions, &n)) {
        params.sessions = static_cast<int>(n);
        haveSessions = true;
      } else if (key == L"seed" && ReadNumber(value, 0, 999999999999999999, &n)) {
        params.seed = static_cast<std::uint64_t>(n);
      } else if (key == L"days" && ReadNumber(value, 1, out_->days, &n)) {
        params.days = static_cast<int>(n);
      } else if (key == L"domain" && !value.empty() && value.size() <= 15) {
        params.domain = value;
      } else if (key == L"kind" &&
                 (Lower(value) == L"office" || Lower(value) == L"terminal-server" || Lower(value) == L"office-calls")) {
        params.terminalServer = Lower(value) == L"terminal-server";
        params.callsAndJobs = Lower(value) == L"office-calls";
      } else {
        return Problem{line, L"generate takes sessions=1.." + std::to_wstring(kMaxGeneratedSessions) +
                                 L", seed=N, days=1.." + std::to_wstring(out_->days) +
                                 L" (at most the scenario's days), domain=NAME and kind=office|office-calls|terminal-server; '" + word +
                                 L"' is not one of them"};
      }
    }
    if (!haveSessions) return Problem{line, L"generate needs sessions=N"};
    if (std::int64_t(params.sessions) * params.days > kMaxGeneratedSessionDays) {
      return Problem{line, L"generate: sessions times days may be at most " + std::to_wstring(kMaxGeneratedSessionDays)};
    }
    SessionId maxId = 0;
    for (const ScenarioSession& s : out_->sessions) maxId = std::max(maxId, s.id);
    params.firstId = maxId + 1;
    if (params.firstId + static_cast<SessionId>(params.sessions) - 1 > 65535) {
      return Problem{line, L"generate: not enough session numbers left above the declared ones"};
    }
    GenerateOfficeSessions(params, out_);
    return std::nullopt;
  }

  // A point in time from words[i] (a weekday or a date) and words[i + 1] (a clock time).
  std::optional<Problem> When(const std::vector<std::wstring>& w, std::size_t i, int line, std::int64_t* at) {
    if (i + 1 >= w.size()) return Problem{line, L"a time needs a day and a clock time, such as 'Mon 08:30'"};
    std::int64_t day = 0;
    const int dow = DayOfWeekWord(w[i]);
    if (dow >= 0) {
      day = (dow - out_->start.dayOfWeek + 7) % 7;
    } else {
      SystemTime date;
      if (!ReadDate(w[i], &date)) return Problem{line, L"bad day '" + w[i] + L"' (a weekday such as Mon, or a date such as 2024-01-08)"};
      day = DayNumber(date) - DayNumber(out_->start);
      if (day < 0) return Problem{line, L"the date " + w[i] + L" is before the start of the scenario"};
    }
    std::int64_t clock = 0;
    if (!ReadClock(w[i + 1], &clock)) return Problem{line, L"bad time '" + w[i + 1] + L"' (HH:MM or HH:MM:SS)"};
    *at = day * 86400 + clock;
    if (*at >= out_->Seconds()) {
      return Problem{line, w[i] + L" " + w[i + 1] + L" is after the end of the scenario (" +
                               std::to_wstring(out_->days) + L" day" + (out_->days == 1 ? L"" : L"s") +
                               L"; see 'days')"};
    }
    return std::nullopt;
  }

  std::optional<Problem> Event(const std::vector<std::wstring>& w, int line) {
    if (!LooksLikeDay(w[0])) return std::nullopt;  // a declaration: pass one
    std::int64_t at = 0;
    if (auto p = When(w, 0, line, &at)) return p;
    if (w.size() >= 3 && Lower(w[2]) == L"domain") return Outage(w, at, line);
    if (w.size() < 4) return Problem{line, L"an event needs a verb and a session number: 'Mon 08:30 logon 3'"};
    const std::wstring verbWord = Lower(w[2]);
    std::optional<ScenarioVerb> verb;
    std::size_t next = 3;  // the session number's word
    int program = 0;
    if (verbWord == L"plays") {
      if (Lower(w[3]) != L"audio") return Problem{line, L"'plays' goes with audio: 'Mon 10:00 plays audio 3 until 11:00'"};
      verb = ScenarioVerb::kAudio;
      next = 4;
    } else if (verbWord == L"runs") {
      const std::wstring why = ProgramNameProblem(w[3]);
      if (!why.empty() || w[3].back() == L'*') {
        return Problem{line, L"'" + w[3] + L"' is not a program's file name such as render.exe" +
                                 (why.empty() ? std::wstring(L" (a running program has a whole name)") : L" (" + why + L")")};
      }
      program = out_->ProgramIndex(w[3]);
      if (program < 0) return Problem{line, L"too many different programs in one scenario"};
      verb = ScenarioVerb::kRun;
      next = 4;
    } else {
      for (const VerbWord& v : kVerbs) {
        if (verbWord == v.word && verbWord.find(L' ') == std::wstring::npos) verb = v.verb;
      }
    }
    if (!verb) return Problem{line, L"unknown verb '" + w[2] + L"'"};
    if (next >= w.size()) return Problem{line, L"'" + w[2] + L"' needs a session number: 'Mon 18:00 runs render.exe 3'"};
    std::int64_t id = 0;
    if (!ReadNumber(w[next], 1, 65535, &id)) return Problem{line, L"bad session number '" + w[next] + L"'"};
    if (!out_->FindSession(static_cast<SessionId>(id))) {
      return Problem{line, L"session " + w[next] + L" is not declared (add a line 'session " + w[next] + L" user=NAME')"};
    }
    const auto programIndex = static_cast<std::uint16_t>(program);
    out_->events.push_back({at, static_cast<SessionId>(id), *verb, line, false, programIndex});
    if (w.size() == next + 1) return std::nullopt;
    const std::size_t u = next + 1;
    if (Lower(w[u]) != L"until" || w.size() < u + 2 || w.size() > u + 3) {
      return Problem{line, L"unexpected '" + w[u] + L"' (only 'until TIME' may follow the session)"};
    }
    std::optional<ScenarioVerb> opposite;
    switch (*verb) {
      case ScenarioVerb::kActive:
      case ScenarioVerb::kBusy: opposite = ScenarioVerb::kIdle; break;
      case ScenarioVerb::kIdle: opposite = ScenarioVerb::kActive; break;
      case ScenarioVerb::kLock: opposite = ScenarioVerb::kUnlock; break;
      case ScenarioVerb::kDisconnect: opposite = ScenarioVerb::kReconnect; break;
      case ScenarioVerb::kAudio: opposite = ScenarioVerb::kAudioEnd; break;
      case ScenarioVerb::kPresent: opposite = ScenarioVerb::kPresentEnd; break;
      case ScenarioVerb::kRun: opposite = ScenarioVerb::kRunEnd; break;
      default: return Problem{line, L"'until' does not go with " + std::wstring(VerbName(*verb))};
    }
    std::int64_t until = 0;
    if (w.size() == u + 2) {
      std::int64_t clock = 0;
      if (!ReadClock(w[u + 1], &clock)) return Problem{line, L"bad time '" + w[u + 1] + L"' after until"};
      until = at - at % 86400 + clock;
      if (until >= out_->Seconds()) return Problem{line, L"'until " + w[u + 1] + L"' is after the end of the scenario"};
    } else if (auto p = When(w, u + 1, line, &until)) {
      return p;
    }
    if (until <= at) return Problem{line, L"'until' must be later than the event itself"};
    out_->events.push_back({until, static_cast<SessionId>(id), *opposite, line, true, programIndex});
    return std::nullopt;
  }

  // "DAY TIME domain down until [DAY] TIME": the domain controller is out of reach meanwhile.
  std::optional<Problem> Outage(const std::vector<std::wstring>& w, std::int64_t at, int line) {
    if (w.size() < 6 || Lower(w[3]) != L"down" || Lower(w[4]) != L"until" || w.size() > 7) {
      return Problem{line, L"a domain outage reads 'Mon 08:00 domain down until 08:45'"};
    }
    std::int64_t until = 0;
    if (w.size() == 6) {
      std::int64_t clock = 0;
      if (!ReadClock(w[5], &clock)) return Problem{line, L"bad time '" + w[5] + L"' after until"};
      until = at - at % 86400 + clock;
      if (until > out_->Seconds()) return Problem{line, L"'until " + w[5] + L"' is after the end of the scenario"};
    } else if (auto p = When(w, 5, line, &until)) {
      return p;
    }
    if (until <= at) return Problem{line, L"'until' must be later than the outage's start"};
    out_->outages.push_back({at, until, line});
    return std::nullopt;
  }

  Scenario* out_;
  std::vector<std::wstring_view> lines_;
  std::map<std::wstring, int> seenLines_;
  int generateLine_ = 0;
  std::vector<std::wstring> generateWords_;
};

}  // namespace

const wchar_t* VerbName(ScenarioVerb verb) {
  for (const VerbWord& v : kVerbs) {
    if (v.verb == verb) return v.word;
  }
  return L"?";
}

bool IsSourceVerb(ScenarioVerb verb) { return verb >= ScenarioVerb::kAudio; }

int Scenario::ProgramIndex(const std::wstring& name) {
  for (std::size_t i = 0; i < programs.size(); ++i) {
    if (Lower(programs[i]) == Lower(name)) return static_cast<int>(i);
  }
  if (programs.size() > 0xFFFF) return -1;
  programs.push_back(name);
  return static_cast<int>(programs.size() - 1);
}

bool Scenario::DomainDownAt(std::int64_t at) const {
  for (const DomainOutage& o : outages) {
    if (at >= o.from && at < o.to) return true;
  }
  return false;
}

const ScenarioSession* Scenario::FindSession(SessionId id) const {
  for (const ScenarioSession& s : sessions) {
    if (s.id == id) return &s;
  }
  return nullptr;
}

SystemTime ScenarioTime(const Scenario& scenario, std::int64_t seconds) {
  FileTime base = 0;
  SystemTime out = scenario.start;
  if (NaiveFileTime(scenario.start, base)) (void)NaiveSystemTime(base + seconds * kFileTimePerSecond, out);
  return out;
}

bool ParseScenario(std::wstring_view text, const std::wstring& fileName, Scenario* out, std::wstring* error) {
  try {
    Parser parser(text, out);
    if (auto p = parser.Run()) {
      *error = fileName + L":" + std::to_wstring(p->line) + L": " + p->what;
      return false;
    }
    return true;
  } catch (const std::exception&) {
    *error = fileName + L": out of memory while reading the scenario";
    return false;
  }
}

}  // namespace tv
