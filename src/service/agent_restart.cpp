#include "service/agent_restart.h"

namespace tv {

void AgentRestartPolicy::OnStarted(Tick now) { startedAt_ = now; }

AgentRestartPolicy::Verdict AgentRestartPolicy::OnEnded(Tick now) {
  // Ticks by difference: an agent that ran across the 49.7-day wrap is still one that ran long.
  if (now - startedAt_ >= kStableMs) attempts_ = 0;
  if (attempts_ >= kMaxRestarts) return Verdict::kGiveUp;
  delay_ = kFirstDelayMs << attempts_;
  ++attempts_;
  endedAt_ = now;
  // A failed restart is measured from its own attempt, not from the first start.
  startedAt_ = now;
  return Verdict::kRestartLater;
}

std::uint64_t AgentRestartPolicy::MsUntilDue(Tick now) const {
  const Tick waited = now - endedAt_;
  return waited >= delay_ ? 0 : delay_ - waited;
}

}  // namespace tv
