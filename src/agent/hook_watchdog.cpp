#include "agent/hook_watchdog.h"

#include "foundation/app_message.h"

namespace tv {
namespace {

// Whether tick `a` is `b` or later. Both must lie within 24.8 days of each other, which holds
// here: the caller only compares a report made since the previous timer tick with input made
// since then too.
bool AtOrAfter(Tick a, Tick b) { return static_cast<Tick>(a - b) < 0x80000000u; }

}  // namespace

HookWatchdog::HookWatchdog(const Clock& clock, Tick lastInput)
    : clock_(clock), hookTick_(clock.GetTickCount()), lastInput_(lastInput) {}

void HookWatchdog::OnHookInput() {
  // The tick first: a timer tick that sees the new count then reads a tick at least this new.
  hookTick_.store(clock_.GetTickCount(), std::memory_order_release);
  hookReports_.fetch_add(1, std::memory_order_acq_rel);
}

HookWatchdog::Verdict HookWatchdog::OnTick(Tick lastInput) {
  Verdict verdict;
  const unsigned reports = hookReports_.load(std::memory_order_acquire);
  const Tick hook = hookTick_.load(std::memory_order_acquire);
  const bool reported = reports != reportsSeen_;
  const bool newInput = lastInput != lastInput_;
  reportsSeen_ = reports;
  lastInput_ = lastInput;
  if (suspended_) return verdict;

  // A report since the last tick that is not older than the session's last input: the hooks
  // work. This also settles a report that came in just after the previous tick looked.
  if (reported && AtOrAfter(static_cast<Tick>(hook + kReportSlackMs), lastInput)) {
    misses_ = 0;
    return verdict;
  }
  if (!newInput) return verdict;

  // New input since the last tick, and no report of it: either no report at all, or only of
  // input before it (one of the two hooks is gone).
  verdict.missedInput = true;
  if (misses_ < kMissesToReinstall) ++misses_;
  if (misses_ < kMissesToReinstall) return verdict;
  const Tick now = clock_.GetTickCount();
  if (reinstalledOnce_ && static_cast<Tick>(now - lastReinstall_) < kMinReinstallGapMs) return verdict;
  verdict.reinstall = true;
  reinstalledOnce_ = true;
  lastReinstall_ = now;
  misses_ = 0;
  return verdict;
}

void HookWatchdog::Suspend() { suspended_ = true; }

void HookWatchdog::Resume(Tick lastInput) {
  suspended_ = false;
  lastInput_ = lastInput;
  reportsSeen_ = hookReports_.load(std::memory_order_acquire);
  misses_ = 0;
}

int HookWatchdog::MissedInputKind(BOOL monitorKeyboard, BOOL monitorMouse) {
  if (monitorKeyboard) return kActivityKeyboard;
  if (monitorMouse) return kActivityMouse;
  return kActivityNone;
}

}  // namespace tv
