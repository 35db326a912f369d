// The agent's sources of activity that are not input: sound played or recorded by the session's
// own programs, and a presentation or full-screen program in the session. They are looked at on
// the agent's one-second timer (no thread of their own, and nothing at all while their settings
// are off) and fed to the same rate rule as keyboard and mouse, so the service sees them through
// the session's idle event like any input. Since the service cannot tell them from input, the
// agent itself writes when a source kept the session past its idle time, once per idle stretch.
#pragma once

#include <memory>

#include "platform/clock.h"
#include "platform/types.h"

namespace tv {

// What the session shows now, as the system answers inside it.
class SessionActivityProbe {
 public:
  virtual ~SessionActivityProbe() = default;
  // Whether a program of this session plays or records audible sound: an active stream with a
  // signal, not one that is open but silent or paused.
  virtual bool SoundActive() = 0;
  // Whether the session presents (presentation mode) or shows a full-screen program.
  virtual bool Presenting() = 0;
};

class ActivitySources {
 public:
  // The switches and the time-out (minutes) of the settings in force.
  void SetRules(BOOL audio, BOOL presentation, DWORD timeoutMinutes);
  // Whether the timer needs to ask the probe at all.
  bool WantsProbe() const { return audio_ || presentation_; }

  // Input (or a session change) at `now`: a new idle stretch begins.
  void OnInput(Tick now);

  struct Verdict {
    int kind = 0;         // the activity kind to feed the rate rule; kActivityNone for none
    bool report = false;  // write now that this source keeps the session past its idle time
  };
  // One timer tick at `now`. Asks `probe` only for the sources switched on, sound first.
  Verdict OnTick(Tick now, SessionActivityProbe& probe);

 private:
  BOOL audio_ = 0;
  BOOL presentation_ = 0;
  DWORD timeoutMin_ = 0;
  Tick lastInput_ = 0;
  bool started_ = false;
  int reported_ = 0;  // the kind written in this idle stretch
};

#ifdef _WIN32
// The system's answers for the session `session` the agent runs in.
std::unique_ptr<SessionActivityProbe> CreateSessionActivityProbe(DWORD session);
#endif

}  // namespace tv
