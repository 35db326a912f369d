// The pair of named events through which a session's agent speaks to the monitor of its session:
// "idle" (the user did something: restart the idle clock) and "cancel" (stop watching). The real
// monitor thread blocks on them; the virtual-time driver only looks at them once a round.
#pragma once

#include <string>

#include "foundation/event.h"
#include "platform/sessions.h"
#include "platform/types.h"

namespace tv {

// What one wait of a monitor returned.
enum class RoundSignal { kTimeout, kIdle, kCancel };

class SessionSignals {
 public:
  SessionSignals() = default;
  SessionSignals(const SessionSignals&) = delete;
  SessionSignals& operator=(const SessionSignals&) = delete;

  // The event names without the namespace prefix: "<prefix>EventIdle-<id>", "<prefix>EventCancel-<id>".
  static std::wstring IdleName(const std::wstring& prefix, SessionId id);
  static std::wstring CancelName(const std::wstring& prefix, SessionId id);

  // Creates both events in the global namespace: new, auto-reset, clear, inheritable, and
  // settable (only) by interactive users. FALSE when either cannot be created or already
  // existed, which means another monitor watches the session.
  BOOL Create(const std::wstring& prefix, SessionId id);

  // Waits up to `timeoutMs` for either event, or for Wake, and takes the signal; a zero time-out
  // only looks. Activity wins when both are set: the cancel is seen at the next wait. A wake-up
  // answers kTimeout: the round then looks at whatever the waker changed.
  RoundSignal Wait(DWORD timeoutMs);

  // Ends the current or next Wait early (any thread). Without Create it does nothing.
  void Wake() { wake_.Set(); }

  // What the agent does.
  void SignalIdle() { idle_.Set(); }
  void SignalCancel() { cancel_.Set(); }

 private:
  Event idle_;
  Event cancel_;
  Event wake_;  // unnamed: only the service itself wakes its threads
};

}  // namespace tv
