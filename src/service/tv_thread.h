// The thread that watches one session in the service: it waits a round (a second) at a time on
// the session's idle and cancel events and hands each outcome to the session's SessionMonitor.
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

 protected:
  DWORD DoThreadEx() override;

 private:
  ServiceCore& core_;
  SessionMonitor monitor_;
};

}  // namespace tv
