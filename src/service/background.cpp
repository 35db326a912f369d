#include "service/background.h"

#include "service/service_core.h"
#include "service/service_log.h"
#include "settings/my_opts.h"

namespace tv {

Tick BackgroundWork::Due(Tick now, std::uint64_t ms) {
  const Tick due = static_cast<Tick>(now + ms);
  return due == 0 ? 1 : due;
}

void BackgroundWork::RefreshDelayed(DWORD seconds) {
  rescan_.store(Due(core_.Environment().clock.GetTickCount(), std::uint64_t(seconds) * 1000));
}

void BackgroundWork::BeginDelayedShutdown() {
  const auto opts = core_.CurrentSettings();
  if (!opts->Shutdown) return;
  deadline_.store(Due(core_.Environment().clock.GetTickCount(), std::uint64_t(opts->ShutdownTimeout) * 60000));
}

void BackgroundWork::CancelDelayedShutdown() {
  if (deadline_.exchange(0) == 0) return;
  (void)core_.Environment().power.AbortShutdown();
}

void BackgroundWork::OnPolicyChange() { core_.RefreshSessions(false); }

void BackgroundWork::OnTimeout(Tick now) {
  // Due times are compared by value, as the service always has: near the wrap of the tick count
  // a due time can come early, which for a rescan is harmless.
  const Tick rescan = rescan_.load();
  if (rescan != 0 && now >= rescan) {
    rescan_.store(0);
    core_.RefreshSessions(true);
  }
  const Tick deadline = deadline_.load();
  if (deadline != 0 && now >= deadline) {
    deadline_.store(0);
    (void)DoShutdown();
  }
  if (resumed_.exchange(false)) BeginDelayedShutdown();
}

BOOL BackgroundWork::DoShutdown() {
  const auto opts = core_.CurrentSettings();
  if (!opts->Shutdown) return kTrue;
  const ServiceEnvironment& env = core_.Environment();
  if (!env.power.SetShutdownPrivilege(true)) return kFalse;
  if (opts->ShutdownAction == kActionSleep || opts->ShutdownAction == kActionHibernate) {
    const bool hibernate = opts->ShutdownAction == kActionHibernate;
    // Suspend returns after the wake-up.
    if (env.power.Suspend(hibernate) || env.power.Suspend(!hibernate)) {
      LogEvent(env.eventLog, evt::kSuspendInitiated);
      // Nobody may log on after the wake-up either: the next round arms a new deadline.
      resumed_.store(true);
      (void)env.power.SetShutdownPrivilege(false);
      return kTrue;
    }
    LogError(env.eventLog, evt::kSuspendFailed, {}, GetLastErrorCode());
  }
  ShutdownRequest request;  // no message, 1 s, applications not forced, no restart, planned
  if (!env.power.StartShutdown(request)) {
    LogError(env.eventLog, evt::kShutdownFailed, {}, GetLastErrorCode());
    return kFalse;
  }
  LogEvent(env.eventLog, evt::kShutdownInitiated);
  (void)env.power.SetShutdownPrivilege(false);
  return kTrue;
}

}  // namespace tv
