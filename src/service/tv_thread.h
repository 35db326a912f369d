// The thread that watches one session in the service: it waits on the session's idle and cancel
// events until the monitor's next deadline (never less than a round) and hands each outcome to
// the session's SessionMonitor.
// It deletes itself when its work is done (two-vote auto-delete) and leaves the service's session
// list in its destructor.
#pragma once

#include <string>

#include "foundation/thread.h"
#include "service/session_monitor.h"
#include "service/session_registry.h"

namespace tv {

class ServiceCore;

class TVThread : public CSThreadExAutoDelete {
 public:
  // A thread for `session`, whose user is known as `account`, deciding by `core`'s settings. It
  // is not in the session list yet: the caller adds Monitor() before starting it.
  TVThread(ServiceCore& core, SessionId session, std::wstring account);
  // Takes the session out of the service's list.
  ~TVThread() override;

  SessionMonitor& Monitor() { return monitor_; }
  SessionId GetSessionId() const { return monitor_.Id(); }

  // The first thread in `list` that watches `session`, into `thread` (null when none). The
  // pointer is only safe to use while `list`'s lock is held.
  static BOOL FindThread(SessionRegistry& list, SessionId session, TVThread** thread);
  // The number of live session threads in `list`.
  static std::size_t GetThreadCount(const SessionRegistry& list) { return list.Count(); }

  // How long the thread of `monitor` waits for a signal at tick `now`: until the monitor's next
  // deadline, at least `roundMs`, and never long enough to miss much of a computer's sleep.
  static DWORD NextWaitMs(const SessionMonitor& monitor, Tick now, DWORD roundMs);

 protected:
  DWORD DoThreadEx() override;

 private:
  ServiceCore& core_;
  SessionMonitor monitor_;
};

}  // namespace tv
