// The decisions of the service's background thread: when to enumerate the sessions again, and
// the delayed power action (sleep, hibernate or shut down once nobody has been logged on for
// ShutdownTimeout minutes). No thread and no waits here: the background thread's loop (or the
// virtual-time driver) reports each round, and the service's event handling arms and disarms.
#pragma once

#include <atomic>

#include "platform/types.h"

namespace tv {

class ServiceCore;

class BackgroundWork {
 public:
  explicit BackgroundWork(ServiceCore& core) : core_(core) {}
  BackgroundWork(const BackgroundWork&) = delete;
  BackgroundWork& operator=(const BackgroundWork&) = delete;

  // Enumerate the sessions again `seconds` from now.
  void RefreshDelayed(DWORD seconds);
  // With Shutdown on, arms the deadline ShutdownTimeout minutes from now (replacing any).
  void BeginDelayedShutdown();
  // Disarms a pending deadline and calls off a system shutdown still in its delay.
  void CancelDelayedShutdown();
  // Carries out ShutdownAction now: sleep or hibernate (falling back to the other kind, then to a
  // shutdown), or shut down. TRUE on success or when Shutdown is off.
  BOOL DoShutdown();

  // A round of the background loop that ended by the machine policy-change event.
  void OnPolicyChange();
  // A round that timed out, at tick `now`: due rescan, due power action, re-arm after a resume.
  void OnTimeout(Tick now);

  // 0 means none.
  Tick RescanTime() const { return rescan_.load(); }
  Tick Deadline() const { return deadline_.load(); }
  bool Resumed() const { return resumed_.load(); }
  bool DeadlinePending() const { return deadline_.load() != 0; }

 private:
  // `now + ms`, never 0: 0 means "not set".
  static Tick Due(Tick now, std::uint64_t ms);

  ServiceCore& core_;
  std::atomic<Tick> rescan_{0};
  std::atomic<Tick> deadline_{0};
  std::atomic<bool> resumed_{false};
};

}  // namespace tv
