// The simulator's printout: a timeline grouped by day (time, session, account, what happened, in
// the event-log texts for what Tarnvale did) and a summary of the counts that matter to an
// administrator. Text is produced as UTF-8, ready to be written to a terminal or a file.
#pragma once

#include <string>
#include <vector>

#include "simulator/scenario.h"
#include "simulator/simulator.h"

namespace tv {

// Wide text as UTF-8 (a character that cannot be encoded becomes U+FFFD).
std::string ToUtf8(const std::wstring& text);

// "Mon 08:30:05": the weekday and the clock time `seconds` after the scenario's start.
std::wstring FormatWhen(const Scenario& scenario, std::int64_t seconds);

// The timeline, one line per entry, with a heading for each day that has entries. Lines with
// "> " after the account are Tarnvale's doing; the others are the users' and the computer's.
std::string FormatTimeline(const Scenario& scenario, const SimulationResult& result);

// The summary table.
std::string FormatSummary(const Scenario& scenario, const SimulationResult& result);

}  // namespace tv
