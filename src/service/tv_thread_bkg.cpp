#include "service/tv_thread_bkg.h"

#include <chrono>
#include <thread>

#include "foundation/event.h"
#include "service/service_core.h"

namespace tv {

TVThreadBkg::TVThreadBkg(ServiceCore& core, std::atomic<TVThreadBkg*>& slot) : core_(core), slot_(slot) {}

TVThreadBkg::~TVThreadBkg() {
  TVThreadBkg* self = this;
  slot_.compare_exchange_strong(self, nullptr);
}

void TVThreadBkg::RefreshDelayed(DWORD seconds) { core_.Background().RefreshDelayed(seconds); }
void TVThreadBkg::BeginDelayedShutdown() { core_.Background().BeginDelayedShutdown(); }
void TVThreadBkg::CancelDelayedShutdown() { core_.Background().CancelDelayedShutdown(); }
BOOL TVThreadBkg::DoShutdown() { return core_.Background().DoShutdown(); }

DWORD TVThreadBkg::DoThreadEx() {
  const ServiceEnvironment& env = core_.Environment();
  Event policy;
  (void)policy.CreateOrOpen(nullptr, kFalse, kFalse, kFalse);
  const bool registered = policy.IsReady() && env.sessions.RegisterPolicyNotification(static_cast<void*>(policy));
  while (!core_.IsQuitting()) {
    bool changed = false;
    if (policy.IsReady()) {
      changed = policy.Wait(env.roundMs) != 0;
    } else {
      // Without the event there are still rescans and the power action to look after.
      std::this_thread::sleep_for(std::chrono::milliseconds(env.roundMs));
    }
    if (core_.IsQuitting()) break;
    if (changed) {
      core_.Background().OnPolicyChange();
    } else {
      core_.Background().OnTimeout(env.clock.GetTickCount());
    }
    if (env.onRound) env.onRound(kNoSession);
  }
  if (registered) (void)env.sessions.UnregisterPolicyNotification(static_cast<void*>(policy));
  return CSThreadExAutoDelete::DoThreadEx();
}

}  // namespace tv
