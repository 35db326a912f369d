// The agent's check on its own input hooks. On a busy computer Windows removes a low-level hook
// that misses its time-out, silently: from then on the agent would see no input and the service
// would log an active user off. Once a second the agent compares the session's own last-input
// tick with the hooks' reports: input the hooks did not report still counts as activity, and
// input missed a few times in a row means the hooks are gone and must be installed again.
// Portable: the Win32 glue feeds it ticks and carries out what it answers.
#pragma once

#include <atomic>

#include "platform/clock.h"
#include "platform/types.h"

namespace tv {

class HookWatchdog {
 public:
  // A report this much older than the session's last input still counts as a report of it: the
  // system stamps input with its own coarse tick, which may run a little ahead of the one read
  // when the report arrives.
  static constexpr Tick kReportSlackMs = 250;
  // Ticks of the timer that found input the hooks did not report, with no hook report in
  // between, after which the hooks are installed again.
  static constexpr int kMissesToReinstall = 3;
  // At least this long between two re-installations: input the hooks cannot see by design (on a
  // desktop of the system's own) must not turn into a re-installation, and an entry in the event
  // log, every few seconds.
  static constexpr Tick kMinReinstallGapMs = 5 * 60 * 1000;

  // What one tick found.
  struct Verdict {
    bool missedInput = false;  // the session had input the hooks did not report: count it
    bool reinstall = false;    // the hooks are gone: remove and install them again now
  };

  // Reads time from `clock`, which must outlive the watchdog. `lastInput` is the session's
  // last-input tick as the hooks are installed: input before it was never theirs to report.
  HookWatchdog(const Clock& clock, Tick lastInput);

  HookWatchdog(const HookWatchdog&) = delete;
  HookWatchdog& operator=(const HookWatchdog&) = delete;

  // The hooks reported input (any kind, before any filter). Any thread, lock-free.
  void OnHookInput();

  // The one-second timer with the session's last-input tick (a 32-bit tick: only equality and
  // unsigned differences are used, so the wrap after 49.7 days is harmless).
  Verdict OnTick(Tick lastInput);

  // While the session is locked its input goes to the system's own desktop, which the hooks
  // never see; nothing is counted then. Resuming takes `lastInput` as the new starting point.
  void Suspend();
  void Resume(Tick lastInput);

  // Misses in a row so far.
  int Misses() const { return misses_; }

  // The activity kind that input the hooks missed counts as: the system does not say which
  // device it came from, so it counts when either device is watched (keyboard when that is,
  // else mouse); kActivityNone when neither is.
  static int MissedInputKind(BOOL monitorKeyboard, BOOL monitorMouse);

 private:
  const Clock& clock_;
  // The latest hook report and how many there were; the count tells a report in the same
  // millisecond as the last one apart from none.
  std::atomic<Tick> hookTick_;
  std::atomic<unsigned> hookReports_{0};
  unsigned reportsSeen_ = 0;
  Tick lastInput_;
  int misses_ = 0;
  bool suspended_ = false;
  bool reinstalledOnce_ = false;
  Tick lastReinstall_ = 0;
};

}  // namespace tv
