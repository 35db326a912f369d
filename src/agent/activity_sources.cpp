#include "agent/activity_sources.h"

#include <cstdint>

#include "foundation/app_message.h"

namespace tv {

void ActivitySources::SetRules(BOOL audio, BOOL presentation, DWORD timeoutMinutes) {
  audio_ = audio;
  presentation_ = presentation;
  timeoutMin_ = timeoutMinutes;
}

void ActivitySources::OnInput(Tick now) {
  lastInput_ = now;
  started_ = true;
  reported_ = kActivityNone;
}

ActivitySources::Verdict ActivitySources::OnTick(Tick now, SessionActivityProbe& probe) {
  Verdict v;
  // The agent's start counts as the start of the first stretch, as it does for the service.
  if (!started_) OnInput(now);
  if (audio_ && probe.SoundActive()) {
    v.kind = kActivityAudio;
  } else if (presentation_ && probe.Presenting()) {
    v.kind = kActivityPresentation;
  }
  if (v.kind == kActivityNone) return v;
  // Sixty-four bits: a time-out beyond the tick range is never reached rather than wrapped short.
  const std::uint64_t idleMs = static_cast<Tick>(now - lastInput_);
  if (idleMs >= std::uint64_t(timeoutMin_) * 60000 && reported_ != v.kind) {
    v.report = true;
    reported_ = v.kind;
  }
  return v;
}

}  // namespace tv
