// The decisions of the service's background thread: when to enumerate the sessions again, and
// the delayed power action (sleep, hibernate or shut down once nobody has been logged on for
// ShutdownTimeout minutes). No thread and no waits here: the background thread's loop (or the
// virtual-time driver) reports each round, and the service's event handling arms and disarms.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

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

  // The tick each is due at, for display; 0 means none. Whether one is due is never decided
  // from these values, which wrap: see MsUntilDue.
  Tick RescanTime() const;
  Tick Deadline() const;
  bool Resumed() const { return resumed_.load(); }
  bool DeadlinePending() const;
  // How long after `now` the first armed item (rescan or power action) is due: 0 when one is
  // due, kNothingArmed when none is armed.
  static constexpr std::uint64_t kNothingArmed = ~std::uint64_t(0);
  std::uint64_t MsUntilDue(Tick now) const;

 private:
  // A due time kept as the tick it was armed at and the time it waits, and compared by the
  // difference to now: a deadline armed shortly before the tick count wraps (every 49.7 days)
  // then comes when it should, not at the first round after the wrap or never.
  struct Timer {
    bool armed = false;
    Tick armedAt = 0;
    std::uint64_t ms = 0;
    std::uint64_t Left(Tick now) const;
    Tick DueTick() const;
  };
  // Takes `timer` when it is due at `now`.
  bool TakeIfDue(Timer& timer, Tick now);

  ServiceCore& core_;
  mutable std::mutex mutex_;
  Timer rescan_;
  Timer deadline_;
  std::atomic<bool> resumed_{false};
};

}  // namespace tv
