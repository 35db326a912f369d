// The simulator: the real service (VirtualService, with the real session monitors and background
// work) on a simulated terminal server and a simulated clock, driven through a scenario. The
// users' actions become what Windows would report (log-ons, locks, disconnects, log-offs) and what
// the session agent would signal (activity); everything the service then does comes back through
// its seams and is collected as a timeline with a summary.
//
// Virtual time moves a second per round of the service, as its threads do. While no round can
// change anything (every monitor's idle clock is short of its time-out, no background work is
// due, no signal waits) the seconds in between pass without rounds; `exact` turns that off.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "platform/sessions.h"
#include "settings/schedule_grid.h"
#include "simulator/scenario.h"

namespace tv {

struct TimelineEntry {
  enum class Kind {
    kUser,      // what a user did (from the scenario)
    kService,   // an event-log entry of the service (`eventId`, `text` its message)
    kWarning,   // the service warned a session (not an event-log entry)
    kComputer,  // the simulated computer started, woke up, went to sleep or shut down
  };
  std::int64_t at = 0;  // seconds since the scenario's start
  Kind kind = Kind::kUser;
  SessionId session = kNoSession;
  std::wstring account;  // who it concerns, as the service names accounts; may be empty
  DWORD eventId = 0;
  std::wstring text;  // one line
};

struct SimulationSummary {
  int sessions = 0;            // declared or generated
  int userLogons = 0;          // log-ons by users, fresh ones after a forced log-off included
  int userLogoffs = 0;         // users who logged off themselves
  int warnings = 0;            // warnings shown
  int logoffs = 0;             // idle log-offs (0x6000000a)
  int staleLogoffs = 0;        // stale-session log-offs (0x60000017)
  // Of those, the sessions whose user had typed or moved the mouse within the last
  // `inUseMinutes` (the Timeout in force) or was at the keyboard then: the rule is a cap on the
  // number of sessions, not a rule about idle ones.
  int staleInUse = 0;
  int inUseMinutes = 0;
  int sparedLastActive = 0;    // 0xa0000016
  int sparedSchedule = 0;      // 0xa0000019
  int sparedNotEnabled = 0;    // 0xa000000e
  int notMonitored = 0;        // 0x60000007, 0x60000008, 0x60000009
  // Sparings at the time-out by a source other than input (0x60000040, once per idle stretch):
  // no input yet (IdleFromFirstInput) and a listed program, written by the service; sound and a
  // presentation, written by the session's agent.
  int keptNoInput = 0;
  int keptProgram = 0;
  int keptAudio = 0;
  int keptPresentation = 0;
  int shutdowns = 0;           // 0x60000012
  int suspends = 0;            // 0x60000014
  int errors = 0;              // entries of the error type
  int starts = 0;              // the simulated computer started (after a shutdown)
  int wakes = 0;               // it woke up (after a sleep or hibernation)
  std::map<DWORD, int> eventCounts;  // every event-log identifier written, with its count

  int PowerActions() const { return shutdowns + suspends; }
  int Kept() const { return keptNoInput + keptProgram + keptAudio + keptPresentation; }
};

// The sources besides input that the run's settings let keep a session in use (none while the
// log-off is switched off, which then spares everybody anyway).
struct KeepAliveInForce {
  bool audio = false;
  bool presentation = false;
  std::vector<std::wstring> programs;  // KeepAliveProcesses
};

struct SimulationResult {
  std::vector<TimelineEntry> timeline;  // in the order things happened
  SimulationSummary summary;
  KeepAliveInForce keepAlive;
  // The half hours in which the rules are in force, by the schedule the run used; none when no
  // schedule limits them (none set, or one the service would not use).
  std::optional<WeekGrid> schedule;
  std::int64_t rounds = 0;  // rounds of the service run (a second each)
};

struct SimulatorOptions {
  bool exact = false;          // a round every second, also while nothing can happen
  bool keepTimeline = true;    // false: only the summary (large generated runs)
  std::wstring objectPrefix;   // stem of the named events; empty: one of the simulator's own
  std::int64_t seconds = 0;    // stop this long after the start; 0: at the scenario's end
  // The tick count each time the simulated computer starts (default: up for a minute). Close to
  // 0xFFFFFFFF it makes the 49.7-day wrap of the tick count happen during the scenario.
  Tick bootTick = 60000;
};

// Runs `scenario` against the settings in `settings` (the product's key,
// HKLM\SOFTWARE\Brellick\Tarnvale, as a settings file would fill it). The service also writes its
// statistics there. Never throws; false only when memory ran out (with `error`).
bool RunSimulation(const Scenario& scenario, MemKeyStore& settings, const SimulatorOptions& options,
                   SimulationResult* result, std::wstring* error);

}  // namespace tv
