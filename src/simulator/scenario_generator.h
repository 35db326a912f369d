// Office-like days for many users of a terminal server, made up from a seed: the same seed gives
// the same sessions and the same events on every platform (the generator has its own random
// numbers; the standard library's distributions differ between implementations).
//
// A working day: arrival between 07:30 and 09:30, a few short breaks (some long enough for a
// warning), lunch around noon with the screen locked, left idle or disconnected, and departure
// between 16:00 and 18:30: most log off, some disconnect, a few simply go home. A few users stay
// away on any given day; at weekends a few come in for an hour or two. A user who left a session
// open comes back to it the next morning.
#pragma once

#include <cstdint>
#include <string>

#include "simulator/scenario.h"

namespace tv {

struct GeneratorParams {
  int sessions = 100;
  std::uint64_t seed = 1;
  int days = 7;
  std::wstring domain = L"CORP";
  SessionId firstId = 1;
  // A terminal server's week: users with readable logon tokens (one in ten without), who also
  // disconnect and come back over the network during the day, and the domain controller out of
  // reach from 08:00 to 08:45 on every weekday.
  bool terminalServer = false;
  // An office week in which some users sit through a call, a training video or their own
  // presentation without input, and some leave a long job running in the session they leave
  // open at night (render.exe, export.exe, backup.exe). Drawn from a stream of its own, so the
  // rest of each day is that of an office week with the same seed, shifted only where a call
  // opens the morning.
  bool callsAndJobs = false;
};

// Appends `params.sessions` sessions (ids from `params.firstId`) and their events over the first
// `params.days` days of `scenario` (its start and days must be set; days beyond them are not
// generated). Events are appended in no particular order: sort them by time afterwards.
void GenerateOfficeSessions(const GeneratorParams& params, Scenario* scenario);

}  // namespace tv
