// Portable simulated power management: records every request in order, behaves like a real
// computer in the ways the product's fallbacks depend on (a missing sleep state fails, nothing
// works without the shut-down privilege, only a pending shutdown can be called off) and fails
// on command.
#pragma once

#include <mutex>
#include <vector>

#include "platform/portable/fault_plan.h"
#include "platform/power.h"

namespace tv {

class SimulatedPower final : public Power {
 public:
  enum class Op { kCapabilities, kPrivilege, kSuspend, kShutdown, kAbort };

  // What was asked, in order. Failed requests are recorded too, with their error.
  struct Request {
    enum class Kind { kPrivilegeOn, kPrivilegeOff, kSleep, kHibernate, kShutdown, kAbort } kind;
    ShutdownRequest shutdown;  // for kShutdown
    ErrorCode error;           // 0 when it succeeded
  };

  // Starts able to sleep, hibernate and shut down, with the privilege held but not enabled.
  SimulatedPower();

  void SetCapabilities(const PowerCapabilities& caps);
  // Whether the process holds the shut-down privilege at all (a service does).
  void SetPrivilegeHeld(bool held);
  void FailOp(Op op, ErrorCode error, int times = 1, int skip = 0);

  std::vector<Request> Requests() const;
  bool ShutdownPending() const;
  bool PrivilegeEnabled() const;
  void ClearRequests();

  BOOL GetCapabilities(PowerCapabilities& out) override;
  BOOL SetShutdownPrivilege(bool enable) override;
  BOOL Suspend(bool hibernate) override;
  BOOL StartShutdown(const ShutdownRequest& request) override;
  BOOL AbortShutdown() override;

 private:
  BOOL Record(Request::Kind kind, ErrorCode error, const ShutdownRequest& shutdown = {});

  mutable std::mutex mutex_;
  PowerCapabilities caps_;
  bool privilegeHeld_ = true;
  bool privilegeEnabled_ = false;
  bool shutdownPending_ = false;
  std::vector<Request> requests_;
  FaultPlan faults_;
};

}  // namespace tv
