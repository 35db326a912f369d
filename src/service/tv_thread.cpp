#include "service/tv_thread.h"

#include <algorithm>

#include "service/service_core.h"

namespace tv {

namespace {
// The longest a session thread sleeps without looking at its clock. Waits do not count the time
// the computer sleeps, so after a wake-up a deadline may have passed unseen for this long at
// most; short enough that a session idle through a sleep is handled soon after the wake-up.
constexpr std::uint64_t kLongestWaitMs = 30000;
}  // namespace

DWORD TVThread::NextWaitMs(const SessionMonitor& monitor, Tick now, DWORD roundMs) {
  // Never less than a round: a deadline that is due now is handled after one round's wait, as a
  // thread that looked once a round would have handled it.
  const std::uint64_t due = monitor.MsUntilDue(now);
  return static_cast<DWORD>(std::max<std::uint64_t>(roundMs, std::min(due, kLongestWaitMs)));
}

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
  if (monitor_.PrepareSignals(signals)) {
    // The thread sleeps until the monitor's next deadline or a signal; a stale-log-off request
    // or the service's quit wakes it through the attached signals. Attached before the agent
    // starts, so that nothing asked of the monitor from then on can miss the thread.
    monitor_.AttachSignals(&signals);
    if (monitor_.Begin(env.clock.GetTickCount())) {
      for (;;) {
        // A thread started while the service was stopping would otherwise sleep through its
        // first wait: the stop woke only the threads it knew.
        if (core_.IsQuitting()) break;
        const RoundSignal signal = signals.Wait(NextWaitMs(monitor_, env.clock.GetTickCount(), env.roundMs));
        const bool goOn = monitor_.Round(signal, env.clock.GetTickCount());
        if (env.onRound) env.onRound(monitor_.Id());
        if (!goOn) break;
      }
    }
    monitor_.AttachSignals(nullptr);
    // The agent lives exactly as long as its monitor: one left running would watch for nobody
    // and keep the next agent of its desktop from starting.
    signals.SignalQuit();
  }
  return CSThreadExAutoDelete::DoThreadEx();
}

}  // namespace tv
