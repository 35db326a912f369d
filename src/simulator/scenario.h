// A scenario for the simulator: the terminal server's users and what they do over some days, read
// from a small line-based text. One directive per line, "#" starts a comment:
//
//   start 2024-01-08              first simulated day, from 00:00 (default 2024-01-01, a Monday)
//   days 7                        how many days to simulate (default 7)
//   computer TS01                 the server's name (default SIMHOST)
//   session 3 user=alice domain=CORP groups="Domain Users,Sales" local=Users console
//   Mon 08:30 logon 3             at a time: a weekday of the first week, or a date (2024-01-15)
//   Mon 12:00 idle 3 until 12:45  and a verb for one session
//   generate sessions=1000 seed=42 days=7 domain=CORP
//   generate sessions=60 seed=7 kind=terminal-server
//   Mon 08:00 domain down until 08:45   no domain controller answers meanwhile
//   Mon 10:00 plays audio 3 until 11:00      a call or a video with sound
//   Mon 14:00 presents 3 until 14:45         a presentation or a full-screen program
//   Mon 18:00 runs render.exe 3 until Tue 02:00   a program (a long job) runs in the session
//
// Verbs: logon, logoff, lock, unlock, disconnect, reconnect (what Windows reports), and what the
// user does at the keyboard: active (working), idle (away from it), busy (away, a program keeps
// the processor busy). A logged-on user counts as active until told otherwise; locking and
// disconnecting leave the keyboard alone. "until T" adds the opposite verb at T: active/busy ->
// idle, idle -> active, lock -> unlock, disconnect -> reconnect.
// A session's groups are its domain (global) groups; "local" lists its groups on the server
// itself (default "Users"). For an account without a domain, "groups" are local groups too.
// "token" gives the session a logon token the service can read its groups from (as on
// Windows); without it the groups are asked of the domain, which a "domain down" span refuses.
// Sound, a presentation and a program are not input: they neither start nor end the user's
// presence at the keyboard (write "idle" beside them for a user who sits through a call), and
// they wake no sleeping computer. Sound and a presentation start at an unlocked, connected
// screen; a program in any session that is logged on. Each lasts until its "until" or the
// session's end, whichever comes first; the same one cannot start again in a session while it
// runs there.
// The terminal-server kind of generated week has tokens for most users, users who disconnect
// and reconnect over the network through the day, and the domain controller out of reach during
// every weekday's morning log-on storm.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sessions.h"
#include "platform/system_time.h"

namespace tv {

enum class ScenarioVerb {
  kLogon, kLogoff, kLock, kUnlock, kDisconnect, kReconnect, kActive, kIdle, kBusy,
  kAudio, kAudioEnd, kPresent, kPresentEnd, kRun, kRunEnd,
};

// Whether `verb` starts or ends sound, a presentation or a program rather than being done at
// the keyboard.
bool IsSourceVerb(ScenarioVerb verb);

// The verb's word in the scenario text ("logon", ...).
const wchar_t* VerbName(ScenarioVerb verb);

struct ScenarioSession {
  SessionId id = 0;
  std::wstring user;
  std::wstring domain;
  std::vector<std::wstring> globalGroups;
  std::vector<std::wstring> localGroups;
  bool console = false;
  bool token = false;  // the service can read the groups from the session's logon token
  int line = 0;        // 0 for a generated session
};

struct ScenarioEvent {
  std::int64_t at = 0;  // seconds since the start
  SessionId session = 0;
  ScenarioVerb verb = ScenarioVerb::kIdle;
  int line = 0;          // the line that asked for it; 0 for a generated event
  bool implied = false;  // added by "until"
  std::uint16_t program = 0;  // kRun, kRunEnd: the index in Scenario::programs
};

// A span in which no domain controller answers: group look-ups fail with "RPC server unavailable".
struct DomainOutage {
  std::int64_t from = 0;  // seconds since the start
  std::int64_t to = 0;    // first second it answers again
  int line = 0;
};

struct Scenario {
  SystemTime start;  // midnight of the first day
  int days = 7;
  std::wstring computer = L"SIMHOST";
  std::vector<ScenarioSession> sessions;  // by id
  std::vector<ScenarioEvent> events;      // by time; events of one second in the order given
  std::vector<DomainOutage> outages;      // by start
  std::vector<std::wstring> programs;     // the image names "runs" starts, each once
  // The index of image `name` in `programs`, added when new; -1 when the table is full.
  int ProgramIndex(const std::wstring& name);
  // Whether no domain controller answers at second `at`.
  bool DomainDownAt(std::int64_t at) const;

  std::int64_t Seconds() const { return std::int64_t(days) * 86400; }
  const ScenarioSession* FindSession(SessionId id) const;
};

// Limits that keep a scenario (and a generated one) to a size the simulator runs in seconds.
inline constexpr int kMaxScenarioDays = 366;
inline constexpr int kMaxGeneratedSessions = 50000;
inline constexpr std::int64_t kMaxGeneratedSessionDays = 350000;  // a week of the most sessions

// Reads a scenario. On failure answers false with `error` as "<fileName>:<line>: <what>" and
// leaves `out` in an unspecified state. Besides the syntax it checks that each session's verbs
// make sense in order (no lock before logon, no second logon without a logoff between, ...).
bool ParseScenario(std::wstring_view text, const std::wstring& fileName, Scenario* out, std::wstring* error);

// The local time `seconds` after the scenario's start (day of the week filled).
SystemTime ScenarioTime(const Scenario& scenario, std::int64_t seconds);

// Checks the order of each session's verbs (events sorted by time) as ParseScenario does. False
// at the first problem, with the line it was found on (0 for a generated event) and what it is.
bool CheckScenarioOrder(const Scenario& scenario, int* line, std::wstring* what);

}  // namespace tv
