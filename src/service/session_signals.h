// The events through which a session's agent speaks to the monitor of its session, and the
// monitor to the agent: "idle" (the user did something: restart the idle clock), "cancel" (stop
// watching) and the session's own "quit" (the agent must leave). The real monitor thread blocks
// on them; the virtual-time driver only looks at them once a round.
//
// On a terminal server every user can open a named object whose access list lets him, and
// session numbers are small and predictable. So each session's events grant their rights to that
// session's logon SID alone (and to local system, which the service runs as), and carry a fresh
// random tag in their names: a name created before the service asks for it is never used.
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

  // Creates the three events in the global namespace under the names tagged `tag` (see
  // foundation/object_names.h): new, auto-reset idle and cancel events that `logonSid` may only
  // set, a manual-reset quit event and an auto-reset reload event it may only wait on; clear,
  // inheritable. FALSE when one
  // cannot be created or already existed (error 183; FailedName() then says which): nothing is
  // kept then.
  BOOL Create(const std::wstring& prefix, SessionId id, const std::wstring& tag, const std::wstring& logonSid);
  // The full name (without namespace) of the event the last Create failed on.
  const std::wstring& FailedName() const { return failedName_; }

  // Waits up to `timeoutMs` for the idle or cancel event, or for Wake, and takes the signal; a
  // zero time-out only looks. Activity wins when both are set: the cancel is seen at the next
  // wait. A wake-up answers kTimeout: the round then looks at whatever the waker changed.
  RoundSignal Wait(DWORD timeoutMs);

  // Ends the current or next Wait early (any thread). Without Create it does nothing.
  void Wake() { wake_.Set(); }
  // Tells the session's agent to leave: the monitor is done with it.
  void SignalQuit() { quit_.Set(); }
  // Tells the session's agent to read the settings again.
  void SignalReload() { reload_.Set(); }

  // What the agent does.
  void SignalIdle() { idle_.Set(); }
  void SignalCancel() { cancel_.Set(); }

  // The events themselves, for looking at their access lists.
  const Event& Idle() const { return idle_; }
  const Event& Cancel() const { return cancel_; }
  const Event& Quit() const { return quit_; }
  const Event& Reload() const { return reload_; }

 private:
  void CloseAll();

  Event idle_;
  Event cancel_;
  Event quit_;
  Event reload_;
  Event wake_;  // unnamed: only the service itself wakes its threads
  std::wstring failedName_;
};

}  // namespace tv
