#include "service/background.h"

#include "service/service_core.h"
#include "foundation/service_log.h"
#include "settings/my_opts.h"

namespace tv {

std::uint64_t BackgroundWork::Timer::Left(Tick now) const {
  const Tick waited = now - armedAt;  // unsigned: survives the wrap
  return waited >= ms ? 0 : ms - waited;
}

Tick BackgroundWork::Timer::DueTick() const {
  if (!armed) return 0;
  const Tick due = static_cast<Tick>(armedAt + ms);
  return due == 0 ? 1 : due;
}

bool BackgroundWork::TakeIfDue(Timer& timer, Tick now) {
  std::lock_guard<std::mutex> hold(mutex_);
  if (!timer.armed || timer.Left(now) != 0) return false;
  timer.armed = false;
  return true;
}

Tick BackgroundWork::RescanTime() const {
  std::lock_guard<std::mutex> hold(mutex_);
  return rescan_.DueTick();
}

Tick BackgroundWork::Deadline() const {
  std::lock_guard<std::mutex> hold(mutex_);
  return deadline_.DueTick();
}

bool BackgroundWork::DeadlinePending() const {
  std::lock_guard<std::mutex> hold(mutex_);
  return deadline_.armed;
}

std::uint64_t BackgroundWork::MsUntilDue(Tick now) const {
  std::lock_guard<std::mutex> hold(mutex_);
  std::uint64_t best = kNothingArmed;
  for (const Timer* t : {&rescan_, &deadline_}) {
    if (t->armed && t->Left(now) < best) best = t->Left(now);
  }
  return best;
}

void BackgroundWork::RefreshDelayed(DWORD seconds) {
  const Tick now = core_.Environment().clock.GetTickCount();
  std::lock_guard<std::mutex> hold(mutex_);
  rescan_ = Timer{true, now, std::uint64_t(seconds) * 1000};
}

void BackgroundWork::BeginDelayedShutdown() {
  const auto opts = core_.CurrentSettings();
  if (!opts->Shutdown) return;
  const Tick now = core_.Environment().clock.GetTickCount();
  std::lock_guard<std::mutex> hold(mutex_);
  deadline_ = Timer{true, now, std::uint64_t(opts->ShutdownTimeout) * 60000};
}

void BackgroundWork::CancelDelayedShutdown() {
  {
    std::lock_guard<std::mutex> hold(mutex_);
    if (!deadline_.armed) return;
    deadline_.armed = false;
  }
  (void)core_.Environment().power.AbortShutdown();
}

void BackgroundWork::OnPolicyChange() { core_.RefreshSessions(false); }

void BackgroundWork::OnTimeout(Tick now) {
  if (TakeIfDue(rescan_, now)) core_.RefreshSessions(true);
  if (TakeIfDue(deadline_, now)) (void)DoShutdown();
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
