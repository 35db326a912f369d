#include "service/tv_thread.h"

#include "service/service_core.h"

namespace tv {

TVThread::TVThread(ServiceCore& core, SessionId session, std::wstring account)
    : core_(core), monitor_(core, session, std::move(account)) {}

TVThread::~TVThread() { core_.Registry().Remove(monitor_); }

BOOL TVThread::FindThread(SessionRegistry& list, SessionId session, TVThread** thread) {
  CritSecLock hold(list.Lock());
  auto* found = static_cast<TVThread*>(list.FindOwner(session));
  if (thread) *thread = found;
  return found ? kTrue : kFalse;
}

DWORD TVThread::DoThreadEx() {
  const ServiceEnvironment& env = core_.Environment();
  SessionSignals signals;
  // Events that exist already belong to another monitor of this session: leave it the session.
  if (signals.Create(env.objectPrefix, monitor_.Id()) && monitor_.Begin(env.clock.GetTickCount())) {
    for (;;) {
      const RoundSignal signal = signals.Wait(env.roundMs);
      const bool goOn = monitor_.Round(signal, env.clock.GetTickCount());
      if (env.onRound) env.onRound(monitor_.Id());
      if (!goOn) break;
    }
  }
  return CSThreadExAutoDelete::DoThreadEx();
}

}  // namespace tv
