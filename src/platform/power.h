// The power seam: what the service needs to put an unused computer to sleep, hibernate it or
// shut it down, and to call a pending shutdown off. SimulatedPower
// (platform/portable/power.h) records the requests instead of carrying them out.
//
// Suspending and shutting down need the shut-down privilege, which the caller enables first and
// drops afterwards. Operations answer 1 or 0 with the error code in the last-error slot.
#pragma once

#include <memory>
#include <string>

#include "platform/last_error.h"
#include "platform/types.h"

namespace tv {

struct PowerCapabilities {
  bool canSleep = false;      // some sleep state S1..S3 is supported
  bool canHibernate = false;  // S4 is supported and the hibernation file exists
  bool canShutdown = false;   // soft off (S5)
};

// Reason code of a planned shutdown with no further detail (SHTDN_REASON_FLAG_PLANNED).
inline constexpr DWORD kShutdownReasonPlanned = 0x80000000u;

struct ShutdownRequest {
  std::wstring message;         // shown to logged-on users; empty shows none
  DWORD timeoutSeconds = 1;     // delay before the shutdown starts
  bool forceAppsClosed = false;
  bool reboot = false;
  DWORD reason = kShutdownReasonPlanned;
};

namespace err {
inline constexpr ErrorCode kNoShutdownInProgress = 1116;  // ERROR_NO_SHUTDOWN_IN_PROGRESS
inline constexpr ErrorCode kNotAllAssigned = 1300;        // ERROR_NOT_ALL_ASSIGNED
inline constexpr ErrorCode kPrivilegeNotHeld = 1314;      // ERROR_PRIVILEGE_NOT_HELD
}  // namespace err

class Power {
 public:
  virtual ~Power() = default;

  virtual BOOL GetCapabilities(PowerCapabilities& out) = 0;

  // Enables or drops "SeShutdownPrivilege" in the process token. Enabling fails when the
  // process does not hold the privilege at all.
  virtual BOOL SetShutdownPrivilege(bool enable) = 0;

  // Sleeps (or hibernates) the computer: not forced, wake events left enabled. Returns after
  // the computer woke up again.
  virtual BOOL Suspend(bool hibernate) = 0;

  // Starts shutting this computer down as `request` says; returns at once.
  virtual BOOL StartShutdown(const ShutdownRequest& request) = 0;

  // Calls off a shutdown whose delay is still running (kNoShutdownInProgress when none is).
  virtual BOOL AbortShutdown() = 0;
};

// The computer's own power management on Windows; a simulated one elsewhere.
std::unique_ptr<Power> CreateSystemPower();

}  // namespace tv
