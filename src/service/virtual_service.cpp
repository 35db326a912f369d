#include "service/virtual_service.h"

#include <algorithm>

namespace tv {

VirtualService::VirtualService(const ServiceEnvironment& env, SimulatedClock& clock, SimulatedSessions& sessions,
                               VirtualOptions options)
    : ServiceCore(env), clock_(clock), sessions_(sessions), options_(options) {
  status_.currentState = svc::kStartPending;
  status_.controlsAccepted = svc::kAcceptStop;
}

VirtualService::~VirtualService() {
  StopBackground();
  for (const auto& slot : slots_) Registry().Remove(*slot->monitor);
}

void VirtualService::Start() {
  (void)sessions_.TakeNotifications();
  HandleEvent(svc::kControlInitialise, 0, nullptr, &status_);
  HandleEvent(svc::kControlRun, 0, nullptr, &status_);
  status_.currentState = svc::kRunning;
}

void VirtualService::Stop() {
  status_.currentState = svc::kStopPending;
  HandleEvent(svc::kControlStop, 0, nullptr, &status_);
  status_.currentState = svc::kStopped;
}

DWORD VirtualService::Control(DWORD code) { return HandleEvent(code, 0, nullptr, &status_); }

void VirtualService::Step() {
  clock_.Advance(kRoundMs);
  DispatchNotifications();
  const Tick now = clock_.GetTickCount();
  RunMonitorRounds(now);
  if (backgroundRunning_) {
    if (IsQuitting()) {
      StopBackground();
    } else if (policy_.IsReady() && policy_.Wait(0)) {
      Background().OnPolicyChange();
    } else {
      Background().OnTimeout(now);
    }
  }
  DispatchNotifications();
}

void VirtualService::Run(DWORD seconds) {
  for (DWORD i = 0; i < seconds; ++i) Step();
}

bool VirtualService::RunUntil(const std::function<bool()>& done, DWORD maxSeconds, DWORD* stepped) {
  DWORD n = 0;
  bool held = done();
  while (!held && n < maxSeconds) {
    Step();
    ++n;
    held = done();
  }
  if (stepped) *stepped = n;
  return held;
}

void VirtualService::DispatchNotifications() {
  for (const auto& n : sessions_.TakeNotifications()) {
    if (n.change == SessionChange::kLogoff && options_.agentCancelsOnLogoff) (void)SignalCancel(n.id);
    HandleSessionChange(static_cast<DWORD>(n.change), n.id);
  }
}

void VirtualService::RunMonitorRounds(Tick now) {
  // Rounds never add monitors (they only act on sessions and the log), so the list is stable
  // while it is walked.
  for (const auto& slot : slots_) {
    (void)slot->monitor->Round(slot->signals.Wait(0), now);
  }
  auto ended = std::stable_partition(slots_.begin(), slots_.end(),
                                     [](const std::unique_ptr<Slot>& s) { return !s->monitor->HasEnded(); });
  for (auto it = ended; it != slots_.end(); ++it) {
    (*it)->monitor->AttachSignals(nullptr);
    (*it)->signals.SignalQuit();
    Registry().Remove(*(*it)->monitor);
    auto of = slotsOf_.find((*it)->monitor->Id());
    if (of == slotsOf_.end()) continue;
    std::erase(of->second, it->get());
    if (of->second.empty()) slotsOf_.erase(of);
  }
  slots_.erase(ended, slots_.end());
}

BOOL VirtualService::SignalActivity(SessionId session) {
  Slot* slot = FindSlot(session);
  if (!slot) return kFalse;
  slot->signals.SignalIdle();
  return kTrue;
}

BOOL VirtualService::SignalCancel(SessionId session) {
  Slot* slot = FindSlot(session);
  if (!slot) return kFalse;
  slot->signals.SignalCancel();
  return kTrue;
}

void VirtualService::SignalPolicyChange() { policy_.Set(); }

VirtualService::Slot* VirtualService::FindSlot(SessionId session) const {
  auto of = slotsOf_.find(session);
  if (of == slotsOf_.end()) return nullptr;
  // A monitor told to end still has its slot until its next round; the session is no longer its.
  for (Slot* slot : of->second) {
    if (!slot->monitor->EndRequested()) return slot;
  }
  return nullptr;
}

std::uint64_t VirtualService::MsUntilMonitorDue(Tick now) const {
  std::uint64_t first = SessionMonitor::kNeverDue;
  for (const auto& slot : slots_) {
    const SessionMonitor& m = *slot->monitor;
    // One told to end goes with the next round, whenever that comes; one ended has had it.
    if (m.EndRequested() || m.HasEnded()) continue;
    first = std::min(first, m.MsUntilDue(now));
    if (first == 0) break;
  }
  return first;
}

const SessionSignals* VirtualService::FindSignals(SessionId session) const {
  const Slot* slot = FindSlot(session);
  return slot ? &slot->signals : nullptr;
}

const SessionMonitor* VirtualService::FindMonitor(SessionId session) const {
  const Slot* slot = FindSlot(session);
  return slot ? slot->monitor.get() : nullptr;
}

BOOL VirtualService::LaunchMonitor(SessionId session, const std::wstring& account) {
  auto slot = std::make_unique<Slot>();
  slot->monitor = std::make_unique<SessionMonitor>(*this, session, account);
  if (!Registry().Add(*slot->monitor, slot.get())) return kTrue;
  // As on a real thread: events that cannot be had, or an agent that cannot be started the
  // first time, end the monitor before its first round.
  // Attached as a real thread attaches them: a reload reaches the session's agent through them.
  slot->monitor->AttachSignals(&slot->signals);
  if (!slot->monitor->PrepareSignals(slot->signals) || !slot->monitor->Begin(clock_.GetTickCount())) {
    slot->monitor->AttachSignals(nullptr);
    Registry().Remove(*slot->monitor);
    return kTrue;
  }
  slotsOf_[session].push_back(slot.get());
  slots_.push_back(std::move(slot));
  return kTrue;
}

BOOL VirtualService::LaunchBackground() {
  if (backgroundRunning_) return kTrue;
  if (!policy_.IsReady()) (void)policy_.CreateOrOpen(nullptr, kFalse, kFalse, kFalse);
  policyRegistered_ =
      policy_.IsReady() && Environment().sessions.RegisterPolicyNotification(static_cast<void*>(policy_));
  backgroundRunning_ = true;
  return kTrue;
}

void VirtualService::StopBackground() {
  if (policyRegistered_) (void)Environment().sessions.UnregisterPolicyNotification(static_cast<void*>(policy_));
  policyRegistered_ = false;
  backgroundRunning_ = false;
}

void VirtualService::DrainThreads() {
  // Each monitor's next round sees the quit flag, at once: nothing has to wait for a second.
  RunMonitorRounds(clock_.GetTickCount());
  if (backgroundRunning_) StopBackground();
}

}  // namespace tv
