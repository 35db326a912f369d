// What a simulation run reports: the timeline entries and the summary's counts, kept apart from
// the simulated computer that produces them. The driver says what happened and when; the
// recorder decides what is counted, what is shown (nothing after the scenario's end, nothing at
// all for a summary-only run) and how a service entry reads.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/simulator.h"

namespace tv {

class TimelineRecorder {
 public:
  // Records into `result`; `keepTimeline` false keeps only the counts; nothing that happens at or
  // after second `end` is shown.
  TimelineRecorder(SimulationResult& result, bool keepTimeline, std::int64_t end)
      : result_(result), keep_(keepTimeline), end_(end) {}

  // Whether a line at second `at` would be shown: worth the work of composing it.
  bool Shows(std::int64_t at) const { return keep_ && at < end_; }

  // Whether the text of service entry `eventId` names an account in its first insertion, so the
  // caller should say whose session it concerns.
  static bool NamesAccount(DWORD eventId);

  // An event-log entry of the service at second `at`, counted by its identifier and shown in its
  // own words; `session` is the session its account belongs to (kNoSession: none or unknown).
  void ServiceEvent(std::int64_t at, DWORD eventId, const std::vector<std::wstring>& strings, SessionId session);

  // A line of the simulated world (a user's action, a warning, the computer) at second `at`.
  void Line(std::int64_t at, TimelineEntry::Kind kind, SessionId session, const std::wstring& account,
            std::wstring text);

  SimulationSummary& Summary() { return result_.summary; }
  void CountRound() { ++result_.rounds; }

 private:
  SimulationResult& result_;
  const bool keep_;
  const std::int64_t end_;
};

}  // namespace tv
