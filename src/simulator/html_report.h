// The simulator's report as one self-contained HTML page: a row per session across the simulated
// days (what the user was doing, the warnings and the log-offs Tarnvale made), a row for the
// computer's power actions, and the summary. Inline SVG and CSS only, so the file can be mailed or
// opened anywhere without fetching anything.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/scenario.h"
#include "simulator/simulator.h"

namespace tv {

// What a session was doing over a stretch of the run, as the report colours it.
// kKept: away from the keyboard (idle, busy, locked or disconnected), but sound, a presentation
// or a listed program that the run's settings count keeps the session in use.
enum class ActivityState { kActive, kIdle, kBusy, kLocked, kDisconnected, kKept };

struct SessionStretch {
  std::int64_t from = 0;  // seconds since the scenario's start
  std::int64_t to = 0;    // exclusive
  ActivityState state = ActivityState::kActive;
};

// The stretches in which session `id` existed, from the scenario's own verbs and the log-offs the
// service made (a forced log-off ends the session; the user's next sign of life starts a new one,
// as the simulator has it). In time order, never overlapping, clipped to the run.
std::vector<SessionStretch> SessionStretches(const Scenario& scenario, const SimulationResult& result, SessionId id);

// The stretches of day `dayOfWeek` (0 Sunday) outside the run's schedule, as [from, to) seconds
// after midnight, in order; none without a schedule.
std::vector<std::pair<std::int64_t, std::int64_t>> OffScheduleRuns(const SimulationResult& result, int dayOfWeek);

// The most sessions drawn as rows; a larger scenario gets a note and its first ones.
inline constexpr std::size_t kMaxReportRows = 300;
// The most events listed under the chart.
inline constexpr std::size_t kMaxReportEvents = 2000;

// The page, as UTF-8. `settings` are the lines describing the settings the run used.
std::string FormatHtmlReport(const Scenario& scenario, const SimulationResult& result,
                             const std::vector<std::wstring>& settings, const std::wstring& title);

}  // namespace tv
