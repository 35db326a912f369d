// When a session's agent has gone while its session is still watched: start it again, a few
// times, further apart each time, and give up when it keeps ending. Without an agent nobody
// reports the user's input, so a monitor that carried on would log off a working user; one
// that gives up leaves the session unwatched, which the event log says.
#pragma once

#include <cstdint>

#include "platform/types.h"

namespace tv {

class AgentRestartPolicy {
 public:
  // Restarts in a row before giving up; the first waits kFirstDelayMs, each next one twice as
  // long. An agent that ran kStableMs before it ended starts the count afresh.
  static constexpr int kMaxRestarts = 5;
  static constexpr Tick kFirstDelayMs = 5000;
  static constexpr Tick kStableMs = 10 * 60 * 1000;

  enum class Verdict { kRestartLater, kGiveUp };

  // The agent was started at `now`.
  void OnStarted(Tick now);
  // The agent was found gone (or could not be started again) at `now`.
  Verdict OnEnded(Tick now);
  // Whether the restart asked for by the last kRestartLater is due at `now`, and how long
  // until it is (0 when due).
  bool Due(Tick now) const { return MsUntilDue(now) == 0; }
  std::uint64_t MsUntilDue(Tick now) const;
  // Restarts asked for since the count last started afresh.
  int Attempts() const { return attempts_; }

 private:
  int attempts_ = 0;
  Tick startedAt_ = 0;
  Tick endedAt_ = 0;
  Tick delay_ = 0;
};

}  // namespace tv
