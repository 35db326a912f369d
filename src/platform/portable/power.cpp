// Portable simulated power management (both toolchains): records requests instead of acting.
#include "platform/portable/power.h"

namespace tv {

SimulatedPower::SimulatedPower() {
  caps_.canSleep = true;
  caps_.canHibernate = true;
  caps_.canShutdown = true;
}

void SimulatedPower::SetCapabilities(const PowerCapabilities& caps) {
  std::lock_guard<std::mutex> lock(mutex_);
  caps_ = caps;
}

void SimulatedPower::SetPrivilegeHeld(bool held) {
  std::lock_guard<std::mutex> lock(mutex_);
  privilegeHeld_ = held;
  if (!held) privilegeEnabled_ = false;
}

void SimulatedPower::FailOp(Op op, ErrorCode error, int times, int skip) {
  std::lock_guard<std::mutex> lock(mutex_);
  faults_.Add(static_cast<int>(op), error, times, skip);
}

std::vector<SimulatedPower::Request> SimulatedPower::Requests() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

bool SimulatedPower::ShutdownPending() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return shutdownPending_;
}

bool SimulatedPower::PrivilegeEnabled() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return privilegeEnabled_;
}

void SimulatedPower::ClearRequests() {
  std::lock_guard<std::mutex> lock(mutex_);
  requests_.clear();
}

BOOL SimulatedPower::Record(Request::Kind kind, ErrorCode error, const ShutdownRequest& shutdown) {
  requests_.push_back({kind, shutdown, error});
  if (error != 0) return Fail(error);
  return kTrue;
}

BOOL SimulatedPower::GetCapabilities(PowerCapabilities& out) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kCapabilities))) return Fail(e);
  out = caps_;
  return kTrue;
}

BOOL SimulatedPower::SetShutdownPrivilege(bool enable) {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto kind = enable ? Request::Kind::kPrivilegeOn : Request::Kind::kPrivilegeOff;
  ErrorCode e = faults_.Next(static_cast<int>(Op::kPrivilege));
  if (e == 0 && enable && !privilegeHeld_) e = err::kNotAllAssigned;
  if (e == 0) privilegeEnabled_ = enable;
  return Record(kind, e);
}

BOOL SimulatedPower::Suspend(bool hibernate) {
  std::lock_guard<std::mutex> lock(mutex_);
  ErrorCode e = faults_.Next(static_cast<int>(Op::kSuspend));
  if (e == 0 && !privilegeEnabled_) e = err::kPrivilegeNotHeld;
  if (e == 0 && !(hibernate ? caps_.canHibernate : caps_.canSleep)) e = err::kNotSupported;
  return Record(hibernate ? Request::Kind::kHibernate : Request::Kind::kSleep, e);
}

BOOL SimulatedPower::StartShutdown(const ShutdownRequest& request) {
  std::lock_guard<std::mutex> lock(mutex_);
  ErrorCode e = faults_.Next(static_cast<int>(Op::kShutdown));
  if (e == 0 && !privilegeEnabled_) e = err::kPrivilegeNotHeld;
  if (e == 0) shutdownPending_ = true;
  return Record(Request::Kind::kShutdown, e, request);
}

BOOL SimulatedPower::AbortShutdown() {
  std::lock_guard<std::mutex> lock(mutex_);
  ErrorCode e = faults_.Next(static_cast<int>(Op::kAbort));
  if (e == 0 && !shutdownPending_) e = err::kNoShutdownInProgress;
  if (e == 0) shutdownPending_ = false;
  return Record(Request::Kind::kAbort, e);
}

#ifndef _WIN32
std::unique_ptr<Power> CreateSystemPower() { return std::make_unique<SimulatedPower>(); }
#endif

}  // namespace tv
